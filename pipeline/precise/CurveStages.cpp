#include "pipeline/precise/CurveStages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "pipeline/precise/FunctionTables.h"
#include "pipeline/precise/PipelineError.h"
#include "pipeline/precise/Power.h"

namespace kxcms {

namespace {

// The least float that takes `largest` to `last` or beyond.
float FactorTo(double last, double largest) {
  const auto top = static_cast<float>(largest);
  auto factor = static_cast<float>(last / largest);
  while (factor * top < static_cast<float>(last)) factor = std::nextafter(factor, 2 * factor);
  return factor;
}

// ---- Tables -------------------------------------------------------------------------------------

// Whether the table is a straight line from 0 to the maximum, rounded as the kernels would.
bool IsStraight(const SampledCurve& curve, float step) {
  for (std::size_t n = 0; n < curve.values.size(); ++n) {
    const float value = static_cast<float>(n) * step + 0.5f;
    if (curve.values[n] != static_cast<std::int32_t>(value)) return false;
  }
  return true;
}

const std::uint16_t* CopyWithNext(const std::vector<std::uint16_t>& values, Arena& arena) {
  auto* const copy = arena.New<std::uint16_t>(values.size() + 1);
  *std::copy(values.begin(), values.end(), copy) = values.back();
  return copy;
}

CurveStage Along(const SampledCurve& curve, double& unit, Arena& arena) {
  CurveStage stage{};
  if (IsIdentity(curve)) return stage;
  const auto last = static_cast<double>(curve.values.size() - 1);
  stage.factor = FactorTo(last, 1 / unit);
  stage.step = static_cast<float>(curve.maximum / last);
  unit = 1.0 / curve.maximum;
  if (IsStraight(curve, stage.step)) {
    stage.kind = CurveKind::kStraight;
    return stage;
  }
  stage.kind = CurveKind::kSampled;
  stage.values = CopyWithNext(curve.values, arena);
  return stage;
}

// The line between two points, along y.
Line LineBetween(double x0, double y0, double x1, double y1) {
  const auto slope = static_cast<float>((x1 - x0) / (y1 - y0));
  const double middle = (x0 + x1) / 2;
  return {static_cast<float>(middle - slope * (y0 + y1) / 2), slope};
}

// ---- Powers -------------------------------------------------------------------------------------

constexpr double kNever = -1;  // no x is below it

// All functions of parametricCurveType in one form: x < split ? slope x + offset :
// (factor x + base)^exponent + shift, within [0, 1]. Where the base of the power is negative, the
// power is that of its magnitude times `negativeSign`.
struct BrokenPower {
  double split, slope, offset;
  double factor, base, exponent, shift;

  double NegativeSign() const {
    if (exponent != std::floor(exponent)) return 0;
    return std::fmod(exponent, 2) == 0 ? 1 : -1;
  }
  double operator()(double x) const {
    if (x < split) return std::clamp(slope * x + offset, 0.0, 1.0);
    const double t = factor * x + base;
    double power = 0;
    if (t != 0) {
      power = Power(std::abs(t), exponent) * (t < 0 ? NegativeSign() : 1);
    } else if (exponent <= 0) {
      power = exponent == 0 ? 1 : 0x1p40;
    }
    return std::clamp(power + shift, 0.0, 1.0);
  }
};

// ICC.1:2010 10.16, table 65.
BrokenPower FormOf(const ParametricCurve& p) {
  switch (p.function) {
    case 0:
      return {kNever, 0, 0, 1, 0, p.g, 0};
    case 1:
      return {-p.b / p.a, 0, 0, p.a, p.b, p.g, 0};
    case 2:
      return {-p.b / p.a, 0, p.c, p.a, p.b, p.g, p.c};
    case 3:
      return {p.d, p.c, 0, p.a, p.b, p.g, 0};
    default:
      return {p.d, p.c, p.f, p.a, p.b, p.g, p.e};
  }
}
BrokenPower FormOf(const GammaCurve& curve) {
  return {kNever, 0, 0, 1, 0, curve.gamma, 0};
}

// With results in [0, 1] for all of [0, 1].
bool IsPurePower(const BrokenPower& form) {
  return form.exponent > 0 && form.split <= 0 && form.factor == 1 && form.base == 0 &&
         form.shift == 0;
}

// The power alone.
CurveStage PowerOf(double exponent, double highest, Arena& arena) {
  CurveStage stage{};
  if (exponent == 1) return stage;
  stage.kind = CurveKind::kPower;
  stage.factor = 1;
  stage.power = MakePowerTable(exponent, highest, arena);
  return stage;
}

// A number that decides between two formulas: comparisons in single precision come out as those
// with the number itself.
float Threshold(double x) {
  auto rounded = static_cast<float>(x);
  if (rounded < x) rounded = std::nextafter(rounded, INFINITY);
  return rounded;
}

CurveStage StageOf(const BrokenPower& form, Arena& arena) {
  const double from = std::clamp(form.split, 0.0, 1.0);
  const double highest =
      std::max(std::abs(form.factor * from + form.base), std::abs(form.factor + form.base));
  CurveStage stage{};
  stage.kind = CurveKind::kBrokenPower;
  stage.power = MakePowerTable(form.exponent, highest, arena);
  stage.split = Threshold(form.split);
  stage.slope = static_cast<float>(form.slope);
  stage.offset = static_cast<float>(form.offset);
  stage.factor = static_cast<float>(form.factor);
  stage.base = static_cast<float>(form.base);
  stage.scale = 1;
  stage.shift = static_cast<float>(form.shift);
  stage.negativeSign = static_cast<float>(form.NegativeSign());
  stage.zeroUpTo = kNever;
  return stage;
}

// ---- Inverses of powers -------------------------------------------------------------------------

// Where the two formulas meet, rounded parameters may leave a small step in the other direction:
// those of ITU-R BT.709 in three decimals leave 0.00006.
constexpr double kLargestStepBack = 1.0 / 4096;

[[noreturn]] void Refuse(Signature tag, const char* why) {
  const char name[] = {static_cast<char>(tag >> 24), static_cast<char>(tag >> 16),
                       static_cast<char>(tag >> 8), static_cast<char>(tag), '\0'};
  throw PipelineError(
      PipelineFault::kNotInvertible, tag,
      std::string("the curve ") + name + " of the destination " + why + ", so it cannot be undone");
}

// Between these points, in order, a curve only rises or only falls: the ends, where its formulas
// meet, and where the base of its power passes 0.
std::vector<double> Landmarks(const BrokenPower& form) {
  std::vector<double> points = {0, 1};
  for (const double cut : {form.split, -form.base / form.factor}) {
    if (!(cut >= 0 && cut <= 1)) continue;
    for (const double x : {std::nextafter(cut, -1.0), cut, std::nextafter(cut, 2.0)}) {
      if (x >= 0 && x <= 1) points.push_back(x);
    }
  }
  std::sort(points.begin(), points.end());
  return points;
}

// 1 if the curve rises, -1 if it falls; refuses what does neither.
int DirectionOf(const BrokenPower& form, Signature tag) {
  const std::vector<double> points = Landmarks(form);
  std::vector<double> values(points.size());
  std::transform(points.begin(), points.end(), values.begin(), form);
  const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
  if (*least == *greatest) Refuse(tag, "is constant");
  if (values.front() == values.back()) Refuse(tag, "rises and falls");
  const int direction = values.front() < values.back() ? 1 : -1;
  double farthest = values.front();
  for (const double value : values) {
    if (direction * (farthest - value) > kLargestStepBack) Refuse(tag, "rises and falls");
    farthest = direction > 0 ? std::max(farthest, value) : std::min(farthest, value);
  }
  return direction;
}

// Whether the curve consists of a line that does not fall, and above it of the rising power of a
// base that is not negative: then a line and another power undo it.
bool IsOrdinary(const BrokenPower& form) {
  const double from = std::max(form.split, 0.0);
  return (form.split <= 0 || form.slope >= 0) &&
         (from >= 1 ||
          (form.exponent > 0 && form.factor > 0 && form.factor * from + form.base >= 0));
}

CurveStage UndoOrdinary(const BrokenPower& form, Arena& arena) {
  // The power, undone: x = ((y - shift)^(1 / exponent) - base) / factor, not below the split.
  const double split = std::clamp(form.split, 0.0, 1.0);
  CurveStage stage{};
  stage.kind = CurveKind::kBrokenPower;
  const bool hasPower = split < 1;
  stage.power =
      MakePowerTable(hasPower ? 1 / form.exponent : 1, 1 - std::min(form.shift, 0.0), arena);
  stage.factor = 1;
  stage.base = static_cast<float>(-form.shift);
  stage.scale = static_cast<float>(hasPower ? 1 / form.factor : 0);
  stage.shift = static_cast<float>(hasPower ? -form.base / form.factor : 1);
  stage.floor = static_cast<float>(split);
  // The line reaches all y up to its end, that included.
  stage.split = kNever;
  if (form.split > 0) {
    const double end = std::clamp(form.slope * split + form.offset, 0.0, 1.0);
    stage.split = std::nextafter(static_cast<float>(end), 2.0f);
    stage.slope = static_cast<float>(form.slope > 0 ? 1 / form.slope : 0);
    stage.offset = static_cast<float>(form.slope > 0 ? -form.offset / form.slope : 0);
  }
  stage.zeroUpTo = static_cast<float>(form(0));
  return stage;
}

CurveStage Undo(const BrokenPower& form, Signature tag, Arena& arena) {
  const int direction = DirectionOf(form, tag);
  if (IsPurePower(form)) return PowerOf(1 / form.exponent, 1, arena);
  if (IsOrdinary(form)) return UndoOrdinary(form, arena);
  CurveStage stage = StageOf(form, arena);
  stage.kind = CurveKind::kInverseSearched;
  stage.direction = static_cast<float>(direction);
  stage.lowest = static_cast<float>(std::min(form(0), form(1)));
  stage.highest = static_cast<float>(std::max(form(0), form(1)));
  return stage;
}

// ---- Inverses of tables -------------------------------------------------------------------------

// Entry by entry from the first one, upward: a falling curve is read from its end.
CurveStage Undo(const SampledCurve& curve, Signature tag, Arena& arena) {
  if (IsIdentity(curve)) return {};
  const std::vector<std::uint16_t>& values = curve.values;
  const bool rises = values.front() < values.back();
  const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
  if (*least == *greatest) Refuse(tag, "is constant");
  if (values.front() == values.back() ||
      !(rises ? std::is_sorted(values.begin(), values.end())
              : std::is_sorted(values.rbegin(), values.rend()))) {
    Refuse(tag, "rises and falls");
  }

  // A falling curve is undone as the rising one of what is missing to the maximum.
  const int maximum = curve.maximum;
  const auto level = [&](std::size_t n) { return rises ? values[n] : maximum - values[n]; };
  const auto last = static_cast<double>(values.size() - 1);
  // Line 0 is x = 0, up to the first level; each of the others leads up from a level to the next.
  std::vector<Line> lines = {{0, 0}};
  auto* const segments = arena.New<std::uint16_t>(static_cast<std::size_t>(maximum) + 1);
  std::fill_n(segments, maximum + 1, std::uint16_t{0});
  for (std::size_t n = 1; n < values.size(); ++n) {
    const int from = level(n - 1), to = level(n);
    if (from == to) continue;
    const auto x = static_cast<double>(n);
    lines.push_back(LineBetween((x - 1) / last, from, x / last, to));
    const auto number = static_cast<std::uint16_t>(lines.size() - 1);
    std::fill(segments + from + 1, segments + to + 1, number);
  }
  CurveStage stage{};
  stage.kind = CurveKind::kInverseSampled;
  stage.factor = static_cast<float>(rises ? maximum : -maximum);
  stage.base = static_cast<float>(rises ? 0 : maximum);
  stage.segments = segments;
  auto* const ownLines = arena.New<Line>(lines.size());
  std::copy(lines.begin(), lines.end(), ownLines);
  stage.lines = ownLines;
  stage.lowest = static_cast<float>(level(0));
  stage.highest = static_cast<float>(level(values.size() - 1));
  return stage;
}

}  // namespace

bool AreAlike(const Curve& a, const Curve& b) {
  if (a.index() != b.index()) return false;
  if (const auto* sampled = std::get_if<SampledCurve>(&a)) {
    const auto& other = std::get<SampledCurve>(b);
    return sampled->maximum == other.maximum && sampled->values == other.values;
  }
  if (const auto* gamma = std::get_if<GammaCurve>(&a)) {
    return gamma->gamma == std::get<GammaCurve>(b).gamma;
  }
  if (const auto* p = std::get_if<ParametricCurve>(&a)) {
    const auto& q = std::get<ParametricCurve>(b);
    return p->function == q.function && p->g == q.g && p->a == q.a && p->b == q.b && p->c == q.c &&
           p->d == q.d && p->e == q.e && p->f == q.f;
  }
  return true;
}

CurveStage MakeCurve(const Curve& curve, double& unit, Arena& arena) {
  if (std::holds_alternative<IdentityCurve>(curve)) return {};
  if (const auto* sampled = std::get_if<SampledCurve>(&curve)) return Along(*sampled, unit, arena);
  const auto* gamma = std::get_if<GammaCurve>(&curve);
  const BrokenPower form =
      gamma != nullptr ? FormOf(*gamma) : FormOf(std::get<ParametricCurve>(curve));
  CurveStage stage = IsPurePower(form) ? PowerOf(form.exponent, 1, arena) : StageOf(form, arena);
  if (stage.kind == CurveKind::kNone) return stage;
  stage.split = static_cast<float>(stage.split / unit);
  stage.slope = static_cast<float>(form.slope * unit);
  stage.factor = static_cast<float>(form.factor * unit);
  unit = 1;
  return stage;
}

CurveStage MakeInverse(const Curve& curve, Signature tag, Arena& arena) {
  if (std::holds_alternative<IdentityCurve>(curve)) return {};
  if (const auto* sampled = std::get_if<SampledCurve>(&curve)) return Undo(*sampled, tag, arena);
  const auto* gamma = std::get_if<GammaCurve>(&curve);
  return Undo(gamma != nullptr ? FormOf(*gamma) : FormOf(std::get<ParametricCurve>(curve)), tag,
              arena);
}

}  // namespace kxcms
