#include "units/ToneCurve.h"

#include <algorithm>
#include <cstddef>

#include "units/Truncation.h"

namespace ICC40 {
namespace ICC_UNIT {

void FillIdentityCurve(ToneCurve& curve) {
  for (unsigned int i = 0; i < kCurveEntries; ++i) curve[i] = 16 * i;
}

void CopyCurves(const unsigned short* tables, int channels, int tableEntries, ToneCurve* curves) {
  for (int c = 0; c < channels; ++c) {
    std::copy_n(tables + static_cast<std::size_t>(c) * tableEntries, UsableEntries(tableEntries),
                curves[c]);
  }
}

std::int64_t InterpolateCurve(const ToneCurve& curve, double step, double divisor, int level) {
  constexpr std::int64_t kLast = kCurveEntries - 1;
  const std::int64_t i = std::clamp<std::int64_t>(TruncateToInt64(level / step), 0, kLast);
  const double f = (level - static_cast<double>(i) * step) / divisor;
  // Only the top level of a full curve has no next entry, and there f is 0.
  const unsigned int next = curve[std::min(i + 1, kLast)];
  return TruncateToInt64(curve[i] * (1 - f) + next * f + 0.5);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
