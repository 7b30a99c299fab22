#ifndef KXCMS_BASE_SATURATINGMATH_H
#define KXCMS_BASE_SATURATINGMATH_H

#include <cstdint>
#include <limits>

/// a * b, or 2^64 - 1 when that is too large: whatever a file claims can then be compared with a
/// limit.
constexpr std::uint64_t SaturatingProduct(std::uint64_t a, std::uint64_t b) {
  std::uint64_t product = 0;
  return __builtin_mul_overflow(a, b, &product) ? std::numeric_limits<std::uint64_t>::max()
                                                : product;
}

#endif
