#include "pipeline/precise/Power.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace kxcms {

namespace {

constexpr int kFractionBits = 52;
constexpr std::int64_t kExponentBias = 1023;
constexpr double kLn2 = 0.693147180559945309417;
constexpr double kSqrt2 = 1.41421356237309504880;

double TwoToThe(std::int64_t exponent) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + kExponentBias)
                               << kFractionBits);
}

// The binary logarithm of a normal number above 0.
double Log2(double x) {
  const auto bits = std::bit_cast<std::uint64_t>(x);
  auto exponent = static_cast<std::int64_t>(bits >> kFractionBits) - kExponentBias;
  double m = x * TwoToThe(-exponent);
  if (m > kSqrt2) {
    m /= 2;
    ++exponent;
  }
  // ln m = 2 artanh s = 2 (s + s^3 / 3 + s^5 / 5 + ...); |s| < 0.172, so that the terms from s^25
  // on are below the last bit.
  const double s = (m - 1) / (m + 1);
  double sum = 0;
  for (int n = 23; n >= 1; n -= 2) sum = sum * (s * s) + 1.0 / n;
  return static_cast<double>(exponent) + 2 * s * sum / kLn2;
}

double Exp2(double x) {
  const double limited = std::clamp(x, -1022.0, 1022.0);
  const auto whole = static_cast<std::int64_t>(limited + (limited < 0 ? -0.5 : 0.5));
  const double r = (limited - static_cast<double>(whole)) * kLn2;
  // e^r with |r| < 0.35: the terms from r^15 on are below the last bit.
  double sum = 1;
  for (int n = 14; n >= 1; --n) sum = 1 + sum * r / n;
  return sum * TwoToThe(whole);
}

}  // namespace

double Power(double x, double y) {
  return Exp2(y * Log2(x));
}

}  // namespace kxcms
