#include "exact/Elements.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <variant>
#include <vector>

namespace kxcms::exact {

namespace {

// ---- Curves -------------------------------------------------------------------------------------

// Where x lies between `points` equidistant points over [0, 1]: the lower one, and the fraction of
// the way to the next. x = 1 is the end of the last interval.
struct Position {
  std::size_t point;
  double fraction;
};

Position Locate(double x, std::size_t points) {
  const double position = Clip(x) * static_cast<double>(points - 1);
  const std::size_t point = std::min(static_cast<std::size_t>(position), points - 2);
  return {point, position - static_cast<double>(point)};
}

// ICC.1:2010 10.5, curveType: without entries, with one, with more.
double Formula(const IdentityCurve&, double x) {
  return x;
}

double Formula(const GammaCurve& curve, double x) {
  return std::pow(x, curve.gamma);
}

double Formula(const SampledCurve& curve, double x) {
  const auto [point, fraction] = Locate(x, curve.values.size());
  const double low = curve.values[point], high = curve.values[point + 1];
  return (low + fraction * (high - low)) / curve.maximum;
}

// The x from which the power formula of a parametric curve holds.
double BreakOf(const ParametricCurve& p) {
  switch (p.function) {
    case 0:
      return 0;
    case 1:
    case 2:
      return -p.b / p.a;
    default:
      return p.d;
  }
}

// A negative base, such as rounded parameters may leave where a power should begin at 0, counts as
// 0 if it has no power.
double Power(double base, double exponent) {
  const double power = std::pow(base, exponent);
  return std::isnan(power) ? 0 : power;
}

// ICC.1:2010 10.16, table 65.
double Formula(const ParametricCurve& p, double x) {
  const bool isPower = x >= BreakOf(p);
  const double base = p.a * x + p.b;
  switch (p.function) {
    case 0:
      return std::pow(x, p.g);
    case 1:
      return isPower ? Power(base, p.g) : 0;
    case 2:
      return isPower ? Power(base, p.g) + p.c : p.c;
    case 3:
      return isPower ? Power(base, p.g) : p.c * x;
    default:
      return isPower ? Power(base, p.g) + p.e : p.c * x + p.f;
  }
}

// ---- Inverses of curves -------------------------------------------------------------------------

// A part of a curve on which it only rises or only falls; the ends belong to it.
struct Stretch {
  double from, to;
};

// A parametric curve may jump at its break, and where the base of its power passes 0; the power may
// turn there too. The point itself may have a value of its own.
std::vector<Stretch> StretchesOf(const ParametricCurve& curve) {
  std::array<double, 2> cuts = {BreakOf(curve), -curve.b / curve.a};
  if (cuts[1] < cuts[0]) std::swap(cuts[0], cuts[1]);
  std::vector<Stretch> stretches;
  double from = 0;
  for (const double cut : cuts) {
    if (!(cut > from && cut <= 1)) continue;
    stretches.push_back({from, std::nextafter(cut, 0.0)});
    stretches.push_back({cut, cut});
    from = std::nextafter(cut, 2.0);
  }
  if (from <= 1) stretches.push_back({from, 1});
  return stretches;
}

// Values of the curve, from x = 0 to x = 1, between which it only rises or only falls.
std::vector<double> Landmarks(const Curve& curve) {
  if (const auto* sampled = std::get_if<SampledCurve>(&curve)) {
    return {sampled->values.begin(), sampled->values.end()};
  }
  std::vector<Stretch> stretches = {{0, 1}};
  if (const auto* parametric = std::get_if<ParametricCurve>(&curve)) {
    stretches = StretchesOf(*parametric);
  }
  std::vector<double> values;
  for (const Stretch& stretch : stretches) {
    values.push_back(Evaluate(curve, stretch.from));
    values.push_back(Evaluate(curve, stretch.to));
  }
  return values;
}

// Narrower than any part of a curve that matters.
bool IsFlatAtZero(const Curve& curve) {
  return Evaluate(curve, 0) == Evaluate(curve, 1.0 / 65536);
}

// Where the formula of a parametric curve gives y, but for rounding, if it is the power, or the
// line before it. May be anything, not a number too, where it is not.
double Guess(const ParametricCurve& p, double y, bool isPower) {
  if (!isPower) return (y - (p.function == 4 ? p.f : 0)) / p.c;
  const double added = p.function == 2 ? p.c : p.function == 4 ? p.e : 0;
  const double base = std::pow(y - added, 1 / p.g);
  return p.function == 0 ? base : (base - p.b) / p.a;
}

}  // namespace

double Evaluate(const Curve& curve, double x) {
  return Clip(std::visit([x](const auto& form) { return Formula(form, Clip(x)); }, curve));
}

Invertibility CanInvert(const Curve& curve) {
  std::vector<double> values = Landmarks(curve);
  if (values.front() == values.back()) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return *lowest == *highest ? Invertibility::kConstant : Invertibility::kNotMonotonic;
  }
  if (values.back() < values.front()) std::reverse(values.begin(), values.end());
  const double stepBack = std::holds_alternative<ParametricCurve>(curve) ? kLargestStepBack : 0;
  double highest = values.front();
  for (const double value : values) {
    if (value < highest - stepBack) return Invertibility::kNotMonotonic;
    highest = std::max(highest, value);
  }
  return Invertibility::kInvertible;
}

double EvaluateInverse(const Curve& curve, double y) {
  return InverseCurve(curve).At(y);
}

InverseCurve::InverseCurve(const Curve& curve)
    : curve_(curve),
      first_(Evaluate(curve, 0)),
      last_(Evaluate(curve, 1)),
      direction_(first_ < last_ ? 1 : -1),
      isFlatAtZero_(IsFlatAtZero(curve)) {
  if (const auto* parametric = std::get_if<ParametricCurve>(&curve)) {
    for (const auto& [from, to] : StretchesOf(*parametric)) {
      stretches_.push_back({from, to, Evaluate(curve, from), Evaluate(curve, to)});
    }
  } else if (const auto* sampled = std::get_if<SampledCurve>(&curve)) {
    values_.reserve(sampled->values.size());
    for (const std::uint16_t value : sampled->values) {
      values_.push_back(direction_ * value / sampled->maximum);
    }
  }
}

double InverseCurve::At(double y) const {
  if (std::abs(y - first_) <= kBlackNoise && isFlatAtZero_) return 0;
  const double reached = std::clamp(y, std::min(first_, last_), std::max(first_, last_));
  return std::visit([&](const auto& form) { return InverseOf(form, reached); }, curve_);
}

double InverseCurve::InverseOf(const IdentityCurve&, double y) const {
  return y;
}

double InverseCurve::InverseOf(const GammaCurve& curve, double y) const {
  return std::pow(y, 1 / curve.gamma);
}

double InverseCurve::InverseOf(const SampledCurve& curve, double y) const {
  const auto found = std::lower_bound(values_.begin(), values_.end(), direction_ * y);
  if (found == values_.begin()) return 0;
  const auto next = static_cast<std::size_t>(found - values_.begin());
  const double value = curve.values[next], before = curve.values[next - 1];
  const double fraction = (y * curve.maximum - before) / (value - before);
  return (static_cast<double>(next - 1) + fraction) / static_cast<double>(values_.size() - 1);
}

double InverseCurve::InverseOf(const ParametricCurve& curve, double y) const {
  const double wanted = direction_ * y;
  for (const auto& [from, to, first, last] : stretches_) {
    if (direction_ * first >= wanted) return from;
    if (direction_ * last < wanted) continue;
    // Within a stretch the formula can be undone in one place alone.
    const double guess = Guess(curve, y, to >= BreakOf(curve));
    if (from < guess && guess < to) return guess;
    // Bisection, until no number lies between the last x that does not reach y and the first that
    // does.
    double low = from, high = to;
    for (double middle = (low + high) / 2; low < middle && middle < high;
         middle = (low + high) / 2) {
      (direction_ * Evaluate(curve_, middle) >= wanted ? high : low) = middle;
    }
    return high;
  }
  return 1;
}

// ---- Grids and matrices -------------------------------------------------------------------------

Triple Evaluate(const ColorGrid& grid, const Triple& x) {
  // The cell's lowest corner, and the position in the cell along each axis.
  std::array<std::size_t, 3> corner;
  Triple fraction;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto [point, part] = Locate(x[axis], static_cast<std::size_t>(grid.points[axis]));
    corner[axis] = point;
    fraction[axis] = part;
  }
  const auto valueAt = [&grid](const std::array<std::size_t, 3>& point) -> Triple {
    const auto green = static_cast<std::size_t>(grid.points[1]);
    const auto blue = static_cast<std::size_t>(grid.points[2]);
    const std::size_t first = 3 * ((point[0] * green + point[1]) * blue + point[2]);
    return {static_cast<double>(grid.values[first]), static_cast<double>(grid.values[first + 1]),
            static_cast<double>(grid.values[first + 2])};
  };

  // From the lowest corner to the highest along the edges of the tetrahedron: first along the axis
  // with the largest fraction, last along the one with the smallest. Each edge adds its difference
  // of values, times the fraction.
  std::array<std::size_t, 3> axes = {0, 1, 2};
  const auto order = [&](std::size_t first) {
    if (fraction[axes[first]] < fraction[axes[first + 1]]) std::swap(axes[first], axes[first + 1]);
  };
  order(0);
  order(1);
  order(0);
  Triple from = valueAt(corner);
  Triple result = from;
  for (const std::size_t axis : axes) {
    ++corner[axis];
    const Triple to = valueAt(corner);
    for (std::size_t n = 0; n < 3; ++n) result[n] += fraction[axis] * (to[n] - from[n]);
    from = to;
  }
  for (double& value : result) value /= grid.maximum;
  return result;
}

Triple Evaluate(const CurveSet& set, const Triple& x) {
  return {Evaluate(set.curves[0], x[0]), Evaluate(set.curves[1], x[1]),
          Evaluate(set.curves[2], x[2])};
}

Triple Evaluate(const MatrixElement& element, const Triple& x) {
  const auto& m = element.matrix;
  const auto& o = element.offset;
  return {m[0] * x[0] + m[1] * x[1] + m[2] * x[2] + o[0],
          m[3] * x[0] + m[4] * x[1] + m[5] * x[2] + o[1],
          m[6] * x[0] + m[7] * x[1] + m[8] * x[2] + o[2]};
}

Triple Evaluate(const Element& element, const Triple& x) {
  return std::visit([&x](const auto& kind) { return Evaluate(kind, x); }, element);
}

}  // namespace kxcms::exact
