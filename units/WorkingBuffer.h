#ifndef KXCMS_UNITS_WORKINGBUFFER_H
#define KXCMS_UNITS_WORKINGBUFFER_H

#include <algorithm>
#include <cstdint>
#include <optional>

#include "units/Info.h"
#include "units/WorkingBufferSizes.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Pixels of `samplesPerPixel` 16-bit samples that a conversion may touch in a run state's working
/// buffer: its pixel count, but only whole pixels that fit. Of a buffer that the caller set by
/// hand, with a size of 0, nobody knows the size: the pixel count is trusted.
/// @return 0 without run state, buffer or pixels.
inline std::int64_t WorkingPixels(const Info* info, int samplesPerPixel) {
  if (info == nullptr || info->workingBuf == nullptr || info->workingCount < 1) return 0;
  const std::optional<int> samples =
      info->workingSize > 0 ? info->workingSize : WorkingBufferSamples(*info);
  return samples ? std::min(info->workingCount, *samples / samplesPerPixel) : info->workingCount;
}

/// Conversion type of an input class (1 = 8-bit, 2 = 16-bit samples) and an output class.
constexpr int ConversionType(int inputClass, int outputClass) {
  return (inputClass << 8) + outputClass;
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
