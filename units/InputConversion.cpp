#include "units/InputConversion.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "codes/ResultCodes.h"
#include "units/WorkingBuffer.h"

namespace ICC40 {
namespace ICC_UNIT {
namespace {

constexpr int kInputs = 3;

// The source may lie at any address.
template <typename Sample>
void Fill(const unsigned int (&lookup)[kInputs][65536], const Info& info, int samplesPerPixel) {
  const std::int64_t pixels = WorkingPixels(&info, samplesPerPixel);
  const unsigned char* source = info.srcBuf;
  unsigned short* working = info.workingBuf;
  for (std::int64_t p = 0; p < pixels; ++p) {
    Sample sample[kInputs];
    std::memcpy(sample, source, sizeof sample);
    source += sizeof sample;
    for (int c = 0; c < kInputs; ++c) {
      working[c] = static_cast<unsigned short>(lookup[c][sample[c]]);
    }
    std::fill(working + kInputs, working + samplesPerPixel, static_cast<unsigned short>(0));
    working += samplesPerPixel;
  }
}

}  // namespace

int FillWorkingBuffer(const unsigned int (&lookup)[kInputs][65536], const Info* info,
                      int samplesPerPixel, int outputClass) {
  if (info == nullptr) return IccResultNotSet;
  const int type = info->conversionType;
  const bool from8 =
      type == ConversionType(1, outputClass) || type == ConversionType(1, outputClass + 1);
  const bool from16 =
      type == ConversionType(2, outputClass) || type == ConversionType(2, outputClass + 1);
  if (!from8 && !from16) return IccResultNotSet;
  if (info->srcBuf == nullptr) return IccResultOk;
  if (from8) {
    Fill<std::uint8_t>(lookup, *info, samplesPerPixel);
  } else {
    Fill<std::uint16_t>(lookup, *info, samplesPerPixel);
  }
  return IccResultOk;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
