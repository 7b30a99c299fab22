#include "units/ToneCurve.h"

#include <algorithm>
#include <cstddef>

namespace ICC40 {
namespace ICC_UNIT {

void FillIdentityCurve(ToneCurve& curve) {
  for (unsigned int i = 0; i < kCurveEntries; ++i) curve[i] = 16 * i;
}

void CopyCurves(const unsigned short* tables, int channels, int tableEntries, ToneCurve* curves) {
  for (int c = 0; c < channels; ++c) {
    std::copy_n(tables + static_cast<std::size_t>(c) * tableEntries, HeldEntries(tableEntries),
                curves[c]);
  }
}

void ExpandUnheldLevels(const unsigned short* curve, int entries, double divisor,
                        unsigned int* lookup) {
  if (entries <= kCurveEntries) return;
  const double step = CurveStep(entries);
  for (int v = FirstUnheldLevel(step); v < kTopLevel; ++v) {
    lookup[v] = static_cast<unsigned int>(InterpolateCurve(curve, entries, step, divisor, v));
  }
  lookup[kTopLevel] = curve[entries - 1];
}

}  // namespace ICC_UNIT
}  // namespace ICC40
