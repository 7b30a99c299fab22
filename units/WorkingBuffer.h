#ifndef KXCMS_UNITS_WORKINGBUFFER_H
#define KXCMS_UNITS_WORKINGBUFFER_H

#include <cstdint>

#include "codes/ResultCodes.h"
#include "units/Info.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Pixels of `samplesPerPixel` 16-bit samples that a conversion may touch in a run state's working
/// buffer: its pixel count, but only whole pixels that fit where the buffer's size is known. A size
/// of 0 is unknown (the caller set the buffer by hand) and the pixel count is trusted.
/// @return 0 without run state, buffer or pixels, and where `CheckWorkingBuf` refused the count.
inline std::int64_t WorkingPixels(const Info* info, int samplesPerPixel) {
  if (info == nullptr || info->workingBuf == nullptr || info->workingCount < 1) return 0;
  if (info->reserved == IccResultNoConversionType) return 0;
  const int fitting = info->workingSize / samplesPerPixel;
  return info->workingSize > 0 && fitting < info->workingCount ? fitting : info->workingCount;
}

/// Conversion type of an input class (1 = 8-bit, 2 = 16-bit samples) and an output class.
constexpr int ConversionType(int inputClass, int outputClass) {
  return (inputClass << 8) + outputClass;
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
