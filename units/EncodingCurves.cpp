#include "units/EncodingCurves.h"

#include <algorithm>
#include <cmath>

#include "units/ToneCurve.h"
#include "units/Truncation.h"

namespace ICC40 {
namespace ICC_UNIT {
namespace {

constexpr double kTop = 65535.0;
constexpr double kSRgbToeEnd = 0.00304;

std::uint32_t Truncated(double value) {
  return static_cast<std::uint32_t>(TruncateToInt64(value));
}

// Both terms count: the +128.0 here and the +127 of the reduction.
std::uint32_t Level8(double value16) {
  return ReduceTo8(Truncated(value16 + 128.0));
}

bool IsInSRgbToe(double n) {
  return n < kSRgbToeEnd;
}

double SRgbValue16(double n) {
  if (IsInSRgbToe(n)) return n * kTop * 12.92;
  return (::std::pow(n, 0.4167) * 1.055 - 0.055) * kTop;
}

double Gamma180Value16(double n) {
  return ::std::pow(n, 0.5556) * kTop;
}

}  // namespace

std::uint32_t ReduceTo8(std::uint32_t value16) {
  // Added before the sign is looked at, so that the sum wraps.
  const auto rounded = static_cast<std::int32_t>(value16 + 127) >> 8;
  return static_cast<std::uint32_t>(std::min(rounded, 255));
}

std::uint32_t SRgbLevel16(int level) {
  const double n = level / kTop;
  const double x = SRgbValue16(n);
  return Truncated(IsInSRgbToe(n) ? x : x + 0.5);
}

std::uint32_t SRgbLevel8(int level) {
  return Level8(SRgbValue16(level / kTop));
}

std::uint32_t Gamma180Level16(int level) {
  return Truncated(Gamma180Value16(level / kTop) + 0.5);
}

std::uint32_t Gamma180Level8(int level) {
  return Level8(Gamma180Value16(level / kTop));
}

KodakToneCurve::KodakToneCurve(int x0, int x1, double g, double d, double gd)
    : x0_(x0), x1_(x1), exponent_(g / gd), scale_(::std::pow(10.0, d / gd)) {
  const double y1 = ::std::pow(x1 / kTop, exponent_) * kTop * scale_;
  const double width = static_cast<double>(std::int64_t{x1} - x0);
  slope_ = y1 / width;
  intercept_ = -(y1 * x0) / width;
}

std::uint32_t KodakToneCurve::At(int level) const {
  if (level < x1_) {
    if (level <= x0_) return 0;
    const std::int64_t value = TruncateToInt64(level * slope_ + intercept_);
    return static_cast<std::uint32_t>(std::max<std::int64_t>(value, 0));
  }
  // Only this part has the +128.0, by which the curve steps up at x1: kept so that results stay
  // identical.
  const std::int64_t value =
      TruncateToInt64(::std::pow(level / kTop, exponent_) * kTop * scale_ + 128.0);
  return static_cast<std::uint32_t>(std::min<std::int64_t>(value, 65535));
}

KodakToneCurve KodakCurveOf(kxcms::EncodingCurve curve, int bits) {
  if (curve == kxcms::EncodingCurve::kKodakPhoto) return KodakToneCurve(0, 1024, 1.2, 0.0, 2.2);
  if (curve == kxcms::EncodingCurve::kKodakText) return KodakToneCurve(2048, 10240, 2.0, 0.3, 2.2);
  // The 16-bit form has no density offset, unlike its 8-bit twin: kept so that results stay
  // identical.
  return KodakToneCurve(512, 2048, 1.5, bits == 8 ? 0.2 : 0.0, 2.2);
}

void FillEncodedLevels(kxcms::EncodingCurve curve, int bits, std::uint16_t* levels) {
  const auto fill = [levels](const auto& encode) {
    for (int level = 0; level < kLevels; ++level) {
      levels[level] = static_cast<std::uint16_t>(encode(level));
    }
  };
  const auto reduced = [bits](std::uint32_t value16) {
    return bits == 8 ? ReduceTo8(value16) : value16;
  };
  switch (curve) {
    case kxcms::EncodingCurve::kNone:
      break;
    case kxcms::EncodingCurve::kSRgb:
      return fill(bits == 8 ? SRgbLevel8 : SRgbLevel16);
    case kxcms::EncodingCurve::kGamma180:
      return fill(bits == 8 ? Gamma180Level8 : Gamma180Level16);
    case kxcms::EncodingCurve::kLinear:
      return fill([&](int level) { return reduced(static_cast<std::uint32_t>(level)); });
    case kxcms::EncodingCurve::kKodakPhoto:
    case kxcms::EncodingCurve::kKodakMix:
    case kxcms::EncodingCurve::kKodakText:
      // The top level stays.
      return fill([&, kodak = KodakCurveOf(curve, bits)](int level) {
        return reduced(level == kTopLevel ? kTopLevel : kodak.At(level));
      });
  }
}

}  // namespace ICC_UNIT
}  // namespace ICC40
