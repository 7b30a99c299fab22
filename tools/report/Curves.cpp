#include "tools/report/Curves.h"

#include <cmath>
#include <variant>

#include "exact/Elements.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

std::string FormOf(const Curve& curve) {
  if (const auto* gamma = std::get_if<GammaCurve>(&curve)) {
    return "gamma " + Fixed(gamma->gamma, 4);
  }
  if (const auto* parametric = std::get_if<ParametricCurve>(&curve)) {
    return "parametric, function " + std::to_string(parametric->function);
  }
  return std::holds_alternative<SampledCurve>(curve) ? "table" : "identity";
}

}  // namespace

CurveNumbers MeasureCurve(const Curve& curve) {
  const auto* table = std::get_if<SampledCurve>(&curve);
  CurveNumbers numbers{};
  numbers.form = FormOf(curve);
  numbers.entries = table != nullptr ? table->values.size() : 0;
  numbers.first = exact::Evaluate(curve, 0);
  numbers.last = exact::Evaluate(curve, 1);

  const std::size_t places = table != nullptr ? table->values.size() : 256;
  const auto placeOf = [places](std::size_t n) {
    return static_cast<double>(n) / static_cast<double>(places - 1);
  };
  const auto valueAt = [&](std::size_t n) {
    return table != nullptr ? static_cast<double>(table->values[n]) / table->maximum
                            : exact::Evaluate(curve, placeOf(n));
  };
  const double direction = numbers.first <= numbers.last ? 1 : -1;
  double before = valueAt(0);
  for (std::size_t n = 1; n < places; ++n) {
    const double value = valueAt(n);
    const double step = std::abs(value - before);
    // The first of equal ones, which rounding tells apart.
    constexpr double kRounding = 1e-12;
    if (step > numbers.largestStep + kRounding) {
      numbers.largestStep = step;
      numbers.largestStepAt = placeOf(n - 1);
    }
    if (direction * (value - before) < 0 && !numbers.turnsAt) numbers.turnsAt = placeOf(n - 1);
    before = value;
  }
  for (std::size_t n = 0; n < numbers.samples.size(); ++n) {
    const double x = static_cast<double>(n) / static_cast<double>(numbers.samples.size() - 1);
    numbers.samples[n] = exact::Evaluate(curve, x);
  }
  return numbers;
}

}  // namespace kxcms::report
