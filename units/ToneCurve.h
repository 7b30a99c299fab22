#ifndef KXCMS_UNITS_TONECURVE_H
#define KXCMS_UNITS_TONECURVE_H

#include <algorithm>
#include <cstdint>

#include "units/Truncation.h"

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

/// The output side divides the position within an interval by these, not by the step: kept so that
/// results stay identical bit for bit.
constexpr double OutputDivisor(int entries) {
  return static_cast<double>(kLevels) / entries;
}
constexpr double kIdentityDivisor = 15.0;

/// The entries of a lookup tag's table that a curve can take. Where a level lies on a table is a
/// matter of all its entries; a table class looks into the tag for those that it cannot hold.
constexpr int HeldEntries(int tableEntries) {
  return tableEntries < kCurveEntries ? tableEntries : kCurveEntries;
}

/// The 16 * i curve that stands for identity.
void FillIdentityCurve(ToneCurve& curve);

/// Copies the tables of a lookup tag, channel after channel, into curves.
/// @param tables      channels * tableEntries values, borrowed; not read when there are none
/// @param curves      at least `channels`, each filled up to HeldEntries(tableEntries)
void CopyCurves(const unsigned short* tables, int channels, int tableEntries, ToneCurve* curves);

/// Where a 16-bit level stands between the entries of a curve.
struct CurvePosition {
  int entry;        ///< 0 .. entries - 1
  double fraction;  ///< of the interval to the next entry, in units of the divisor
};

/// The position within an interval is divided by `divisor`, which the output side chooses smaller
/// than `step`: the fraction can exceed 1. A level beyond the last entry stands at that one.
inline CurvePosition PositionOn(int entries, double step, double divisor, int level) {
  const std::int64_t i = std::clamp<std::int64_t>(TruncateToInt64(level / step), 0, entries - 1);
  return {static_cast<int>(i), (level - static_cast<double>(i) * step) / divisor};
}

/// Of a table's curve of more entries than are held: no level below this one needs those that are
/// not.
constexpr int FirstUnheldLevel(double step) {
  return static_cast<int>((kCurveEntries - 1) * step);
}

/// The interpolated value, before its truncation: linear, plus 0.5. It can overshoot the next entry
/// and even be negative. Nothing outside the curve of `entries` entries is read.
template <typename Entry>
double RoundedAt(const Entry* curve, int entries, const CurvePosition& position) {
  // Only the top level of a full curve has no next entry, and there the fraction is 0.
  const int last = entries - 1;
  const Entry here = curve[std::min(position.entry, last)];
  const Entry next = curve[std::min(position.entry + 1, last)];
  return here * (1 - position.fraction) + next * position.fraction + 0.5;
}

/// Value of a curve at a 16-bit level, truncated; callers keep the low bits that they need.
template <typename Entry>
std::int64_t InterpolateCurve(const Entry* curve, int entries, double step, double divisor,
                              int level) {
  return TruncateToInt64(RoundedAt(curve, entries, PositionOn(entries, step, divisor, level)));
}
/// The same of the curve that a table class holds.
inline std::int64_t InterpolateCurve(const ToneCurve& curve, double step, double divisor,
                                     int level) {
  return InterpolateCurve(curve, kCurveEntries, step, divisor, level);
}

/// Gives a table class's lookup its values past the entries that its curve can take, from the tag's
/// own curve. Shorter curves change nothing.
void ExpandUnheldLevels(const unsigned short* curve, int entries, double divisor,
                        unsigned int* lookup);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
