#ifndef KXCMS_UNITS_LABENCODING_H
#define KXCMS_UNITS_LABENCODING_H

#include "units/Truncation.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Lab in the 16-bit encoding of lut16Type (ICC.1:2010 10.8, legacy PCSLAB): L* 100 is 65280; a*,
/// b* are offset by 32768, 256 per unit. Of a node value only the low 16 bits count.

constexpr int LowWord(std::int64_t value) {
  return static_cast<int>(value & 0xFFFF);
}

constexpr double DecodeL(int value) {
  return LowWord(value) * 100.0 / 65280.0;
}
constexpr double DecodeAb(int value) {
  return (LowWord(value) - 32768) * 0.00390625;
}

/// L* is limited to 0..100; NaN becomes 0.
constexpr int EncodeL(double y) {
  if (!(y >= 0.0)) return 0;
  if (y > 100.0) return 65280;
  return LowWord(TruncateToInt64(y * 65280.0 / 100.0));
}

/// a* and b* are not limited and wrap within 16 bits: kept so that results stay identical.
constexpr int EncodeAb(double y) {
  return LowWord(TruncateToInt64(256.0 * y + 32768.0));
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
