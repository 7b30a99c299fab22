#ifndef KXCMS_UNITS_LUTCURVES_H
#define KXCMS_UNITS_LUTCURVES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "iccfile/CLut16Type.h"
#include "units/ToneCurve.h"

namespace ICC40 {
namespace ICC_UNIT {

/// The curves on one side of a lookup tag, evaluated level by level where a whole table is not
/// worth its making: the values are those of `InputTable33::lookup` (before any indexing by 8-bit
/// levels) and `OutputTable33::lookup`, low 16 bits. Borrows the tag.
class LutCurves {
 public:
  /// Fewer than 3 entries mean exact identity. Not for channels that the tag lacks.
  static LutCurves Input(const ICCFILE::CLut16Type& lut);
  /// Fewer than 3 entries mean the interpolated 16 * i curve. Channels that the tag lacks, or whose
  /// tables are absent, are identity.
  static LutCurves Output(const ICCFILE::CLut16Type& lut);

  /// Where a level 0..65535 stands on the curves of all channels. As `PositionOn`, without its
  /// guards: a curve of a lookup tag has 3 to 65535 entries.
  CurvePosition PositionOf(int level) const {
    const int entry = static_cast<int>(level / step_);
    return {entry, (level - entry * step_) / divisor_};
  }

  /// Value of a channel at a level, given the level's position.
  std::uint16_t At(int channel, int level, const CurvePosition& position) const {
    if (channel >= channels_) return static_cast<std::uint16_t>(level);
    const unsigned short* curve = tables_ + static_cast<std::ptrdiff_t>(channel) * stride_;
    if (level == kTopLevel) return curve[entries_ - 1];
    // A 16-bit curve keeps the value within an int, whatever the fraction (at most 1.5).
    return static_cast<std::uint16_t>(static_cast<int>(RoundedAt(curve, entries_, position)));
  }
  std::uint16_t At(int channel, int level) const { return At(channel, level, PositionOf(level)); }

  /// Calls `take(level, value)` for all levels of a channel, with the values of `At`. Goes interval
  /// by interval, which saves finding the position of every level.
  template <typename Take>
  void ForEachLevel(int channel, const Take& take) const {
    if (channel >= channels_) {
      for (int level = 0; level <= kTopLevel; ++level) take(level, At(channel, level));
      return;
    }
    const unsigned short* curve = tables_ + static_cast<std::ptrdiff_t>(channel) * stride_;
    for (int level = 0, entry = 0; level < kTopLevel; ++entry) {
      const double start = entry * step_;
      const int end = EndOfInterval(entry);
      for (; level < end; ++level) {
        const CurvePosition position = {entry, (level - start) / divisor_};
        take(level,
             static_cast<std::uint16_t>(static_cast<int>(RoundedAt(curve, entries_, position))));
      }
    }
    take(kTopLevel, At(channel, kTopLevel));
  }

 private:
  LutCurves(const unsigned short* tables, int channels, int entries, double divisor);

  // The first level past an interval, or the highest one.
  int EndOfInterval(int entry) const {
    int end = std::min(static_cast<int>((entry + 1) * step_), kTopLevel);
    while (end < kTopLevel && PositionOf(end).entry <= entry) ++end;
    while (end > 0 && PositionOf(end - 1).entry > entry) --end;
    return end;
  }

  const unsigned short* tables_;
  int channels_;  // those with a curve of their own
  int stride_;
  int entries_;
  double step_;
  double divisor_;
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
