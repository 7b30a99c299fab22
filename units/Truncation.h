#ifndef KXCMS_UNITS_TRUNCATION_H
#define KXCMS_UNITS_TRUNCATION_H

#include <cstdint>
#include <limits>

namespace ICC40 {
namespace ICC_UNIT {

/// Truncates toward zero. NaN and what 64 bits cannot hold give the lowest value, whose low words
/// are 0: every level made from such a number is 0.
constexpr std::int64_t TruncateToInt64(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  return value >= -kLimit && value < kLimit ? static_cast<std::int64_t>(value)
                                            : std::numeric_limits<std::int64_t>::min();
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
