#ifndef KXCMS_UNITS_TONECURVE_H
#define KXCMS_UNITS_TONECURVE_H

#include <cstdint>

namespace ICC40 {
namespace ICC_UNIT {

/// Entries that a table class holds per tone curve.
constexpr int kCurveEntries = 4096;
/// Levels of a 16-bit sample, and the highest one.
constexpr int kLevels = 65536;
constexpr int kTopLevel = kLevels - 1;
/// Curves with fewer entries stand for identity and are not read.
constexpr int kMinCurveEntries = 3;

/// A tone curve of 16-bit values. Entries past the used ones are kept, never meaningful.
using ToneCurve = unsigned int[kCurveEntries];

/// Input spacing of a curve of `entries` entries over the 16-bit range.
constexpr double CurveStep(int entries) {
  return static_cast<double>(kTopLevel) / (entries - 1);
}
/// Spacing of the stand-in for an identity curve, 16 * i for i = 0..4095: 16.0036..., not 16.
constexpr double kIdentityStep = CurveStep(kCurveEntries);

/// The entries of a lookup tag's tables that a curve can take.
constexpr int UsableEntries(int entries) {
  return entries < kCurveEntries ? entries : kCurveEntries;
}

/// The 16 * i curve that stands for identity.
void FillIdentityCurve(ToneCurve& curve);

/// Copies the tables of a lookup tag, channel after channel, into curves.
/// @param tables      channels * tableEntries values, borrowed; not read when there are none
/// @param curves      at least `channels`, each filled up to UsableEntries(tableEntries)
void CopyCurves(const unsigned short* tables, int channels, int tableEntries, ToneCurve* curves);

/// Value of a curve at a 16-bit level, linearly interpolated, rounded by +0.5 and truncation.
///
/// The position within an interval is divided by `divisor`, which the output tables choose smaller
/// than `step`: the result can overshoot the next entry and even be negative. Callers keep the low
/// bits that they need. Nothing outside the curve is read, whatever the step.
std::int64_t InterpolateCurve(const ToneCurve& curve, double step, double divisor, int level);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
