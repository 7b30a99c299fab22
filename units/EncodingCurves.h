#ifndef KXCMS_UNITS_ENCODINGCURVES_H
#define KXCMS_UNITS_ENCODINGCURVES_H

#include <cstdint>

#include "codes/ColorCodeTable.h"

namespace ICC40 {
namespace ICC_UNIT {

/// The encoding curves that an output table can take instead of a profile's own, from a linear
/// 16-bit level 0..65535 to an encoded level of 16 or 8 bits.
///
/// The constants are rounded and used exactly as written, so that results stay identical bit for
/// bit; so do the different roundings of the two depths.

/// Rounds a 16-bit lookup value to 8 bits. The value counts as signed; only the top is limited.
std::uint32_t ReduceTo8(std::uint32_t value16);

/// IEC 61966-2-1 with the rounded constants of `sRGB_Gamma_Encode`. The linear toe of the 16-bit
/// form is truncated, the rest rounded.
std::uint32_t SRgbLevel16(int level);
std::uint32_t SRgbLevel8(int level);

/// Gamma 1.8 (exponent 0.5556).
std::uint32_t Gamma180Level16(int level);
std::uint32_t Gamma180Level8(int level);

/// A Kodak tone curve: 0 up to x0, a line from x0 to x1, from x1 a power curve of exponent g / gd
/// raised by the density offset d / gd. x0 and x1 are 16-bit levels.
class KodakToneCurve {
 public:
  KodakToneCurve(int x0, int x1, double g, double d, double gd);

  /// 16-bit value at a level 0..65534. Arguments that make no curve give some defined value.
  std::uint32_t At(int level) const;

 private:
  int x0_, x1_;
  double exponent_, scale_;
  double slope_, intercept_;
};

/// The curve of one of the three Kodak encodings, whose depth makes a difference.
KodakToneCurve KodakCurveOf(kxcms::EncodingCurve curve, int bits);

/// Fills the 65536 output levels of an encoding, but not of EncodingCurve::kNone: what the steps of
/// `OutputTable33` that are named there make of identity lookups.
void FillEncodedLevels(kxcms::EncodingCurve curve, int bits, std::uint16_t* levels);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
