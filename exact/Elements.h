#ifndef KXCMS_EXACT_ELEMENTS_H
#define KXCMS_EXACT_ELEMENTS_H

#include <algorithm>
#include <array>
#include <vector>

#include "profile/DeviceProfile.h"

/// @file
/// The processing elements of a profile, in double precision, as ICC.1:2010 defines them. Curves
/// and grids clip their inputs to [0, 1], their domain; what is not a number counts as 0 there. A
/// matrix clips nothing.

namespace kxcms::exact {

/// Device values, encoded PCS values, linear values, and Lab.
using Triple = std::array<double, 3>;

/// Into [0, 1]; 0 for what is not a number.
inline double Clip(double x) {
  return x > 0 ? std::min(x, 1.0) : 0;
}
inline Triple Clip(const Triple& values) {
  return {Clip(values[0]), Clip(values[1]), Clip(values[2])};
}

/// The curve at x, in [0, 1].
double Evaluate(const Curve& curve, double x);

/// Whether a curve can be undone, and if not, why.
enum class Invertibility {
  kInvertible,
  kConstant,
  kNotMonotonic,  ///< it rises and falls
};
/// A curve that only rises or only falls can be undone, even where it is flat for a while. Where
/// the formulas of a parametric curve meet, a step in the other direction of no more than
/// `kLargestStepBack` is taken for the rounding of its parameters.
Invertibility CanInvert(const Curve& curve);

/// The formulas of ITU-R BT.709, with their parameters in three decimals, meet with a step of
/// 0.00006.
constexpr double kLargestStepBack = 1.0 / 4096;

/// More than single precision leaves of black, and a fifteenth of a level of 16 bits.
constexpr double kBlackNoise = 1e-6;

/// The lowest x in [0, 1] at which a curve that can be undone reaches y: the lowest x with
/// curve(x) >= y for a rising curve, with curve(x) <= y for a falling one. A y beyond the last
/// value counts as that value. To the precision of double.
///
/// A curve that is flat at x = 0 would send black to the end of the flat part as soon as rounding
/// leaves anything of it: there a y within `kBlackNoise` of the first value counts as that value.
double EvaluateInverse(const Curve& curve, double y);

/// `EvaluateInverse` of one curve for many values, the same bits: what depends on the curve alone
/// is found out once.
class InverseCurve {
 public:
  /// @param curve  that can be undone; borrowed
  explicit InverseCurve(const Curve& curve);

  double At(double y) const;

 private:
  /// A part on which the curve only rises or only falls; its ends belong to it.
  struct Stretch {
    double from, to;
    double first, last;  ///< values there
  };

  double InverseOf(const IdentityCurve& curve, double y) const;
  double InverseOf(const GammaCurve& curve, double y) const;
  double InverseOf(const ParametricCurve& curve, double y) const;
  double InverseOf(const SampledCurve& curve, double y) const;

  const Curve& curve_;
  double first_, last_, direction_;  ///< values at 0 and 1; 1 if they rise, -1 if they fall
  bool isFlatAtZero_;
  std::vector<Stretch> stretches_;  ///< of a parametric curve
  std::vector<double> values_;      ///< of a table, times the direction: they rise
};

/// Interpolation in the tetrahedron of the cell that x lies in. Where tetrahedra meet, they give
/// the same colour.
Triple Evaluate(const ColorGrid& grid, const Triple& x);

Triple Evaluate(const CurveSet& set, const Triple& x);
Triple Evaluate(const MatrixElement& element, const Triple& x);
Triple Evaluate(const Element& element, const Triple& x);

}  // namespace kxcms::exact

#endif
