#include "exact/ColorDifference.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace kxcms {

namespace {

constexpr double kDegree = std::numbers::pi / 180;

// Two numbers that take the same steps: one alone spends its time waiting for roots and quotients.
// GCC and Clang compute with both at once where the processor can.
using Two [[gnu::vector_size(2 * sizeof(double))]] = double;

double Root(double x) {
  return std::sqrt(x);
}
Two Root(Two x) {
  return Two{std::sqrt(x[0]), std::sqrt(x[1])};
}

template <typename Number>
Number ToThe7th(Number x) {
  const Number x2 = x * x;
  return x2 * x2 * x2 * x;
}

// 25^7, where the chroma corrections turn over.
constexpr double k25ToThe7th = 6103515625;

// The factor 2 in RC, and in G with 0.5 before it, of a chroma.
template <typename Number>
Number ChromaFactor(Number meanC) {
  const Number meanC7 = ToThe7th(meanC);
  return Root(meanC7 / (meanC7 + k25ToThe7th));
}

// A hue, as a direction.
template <typename Number>
struct Direction {
  Number cosine, sine;
};

// Hue angle in degrees, 0 up to 360.
double HueDeg(const Direction<double>& hue) {
  const double angle = std::atan2(hue.sine, hue.cosine) / kDegree;
  return angle < 0 ? angle + 360 : angle;
}

const double kCos30 = std::cos(30 * kDegree), kSin30 = std::sin(30 * kDegree);
const double kCos6 = std::cos(6 * kDegree), kSin6 = std::sin(6 * kDegree);
const double kCos63 = std::cos(63 * kDegree), kSin63 = std::sin(63 * kDegree);

// T of the formula: cosines of multiples of the mean hue, by the theorem of sums.
template <typename Number>
Number WeightOfHue(const Direction<Number>& hue) {
  const auto& [c1, s1] = hue;
  const Number c2 = c1 * c1 - s1 * s1, s2 = 2 * (s1 * c1);
  const Number c3 = c1 * c2 - s1 * s2, s3 = s1 * c2 + c1 * s2;
  const Number c4 = c2 * c2 - s2 * s2, s4 = 2 * (s2 * c2);
  return 1 - 0.17 * (kCos30 * c1 + kSin30 * s1) + 0.24 * c2 + 0.32 * (kCos6 * c3 - kSin6 * s3) -
         0.20 * (kCos63 * c4 + kSin63 * s4);
}

// The sine of 2 deltaTheta, which turns hue into chroma about blue.
double Rotation(const Direction<double>& hue) {
  // Up to 120 degrees it is below 1e-16.
  if (hue.sine >= 0 && hue.cosine >= -0.5) return 0;
  const double away = (HueDeg(hue) - 275) / 25;
  return std::sin(2 * 30 * kDegree * std::exp(-away * away));
}

// Two colours beside one another.
template <typename Number>
struct Pair {
  Number a1, b1, C1, a2, b2, C2;  // a' and C'
  Number meanC;
  Number l, c;  // differences of lightness and chroma, with their weights
  // C1 C2, and this times cosine and sine of the difference of hues.
  Number product, dot, cross;
};

template <typename Number>
Pair<Number> PairOf(const std::array<Number, 3>& lab1, const std::array<Number, 3>& lab2) {
  const auto& [L1, a1, b1] = lab1;
  const auto& [L2, a2, b2] = lab2;
  const Number meanLab = (Root(a1 * a1 + b1 * b1) + Root(a2 * a2 + b2 * b2)) / 2;
  const Number g = 0.5 * (1 - ChromaFactor(meanLab));
  Pair<Number> pair;
  pair.a1 = (1 + g) * a1;
  pair.a2 = (1 + g) * a2;
  pair.b1 = b1;
  pair.b2 = b2;
  pair.C1 = Root(pair.a1 * pair.a1 + b1 * b1);
  pair.C2 = Root(pair.a2 * pair.a2 + b2 * b2);
  const Number meanL50 = (L1 + L2) / 2 - 50;
  const Number L50 = meanL50 * meanL50;
  pair.meanC = (pair.C1 + pair.C2) / 2;
  // SL = 1 + 0.015 L50 / root.
  const Number root = Root(20 + L50);
  pair.l = (L2 - L1) * root / (root + 0.015 * L50);
  pair.c = (pair.C2 - pair.C1) / (1 + 0.045 * pair.meanC);
  pair.product = pair.C1 * pair.C2;
  pair.dot = pair.a1 * pair.a2 + b1 * b2;
  pair.cross = pair.a1 * b2 - pair.a2 * b1;
  return pair;
}

// The sum of both hues as directions, times both chromas.
template <typename Number>
Direction<Number> SumOfHues(const Pair<Number>& pair) {
  return {pair.a1 * pair.C2 + pair.a2 * pair.C1, pair.b1 * pair.C2 + pair.b2 * pair.C1};
}

template <typename Number>
Direction<Number> Normalized(const Direction<Number>& sum) {
  const Number scale = 1 / Root(sum.cosine * sum.cosine + sum.sine * sum.sine);
  return {scale * sum.cosine, scale * sum.sine};
}

// With the weight of hue.
template <typename Number>
Number Weighted(Number dH, Number meanC, const Direction<Number>& hue) {
  return dH / (1 + 0.015 * (meanC * WeightOfHue(hue)));
}

// dH = 2 sqrt(C1 C2) sin(dh/2), for hues less than 90 degrees apart.
template <typename Number>
Number HueDifference(const Pair<Number>& pair) {
  return pair.cross / Root((pair.product + pair.dot) / 2);
}

double Length(double l, double c, double h, double meanC, const Direction<double>& hue) {
  const double squares = l * l + c * c + h * h;
  const double rotation = Rotation(hue);
  if (rotation == 0) return std::sqrt(squares);
  const double RT = -2 * ChromaFactor(meanC) * rotation;
  return std::sqrt(std::max(0.0, squares + RT * c * h));
}

// The middle of two hues that are 90 degrees apart or more, on the shorter way between them. Where
// both ways are about as long, the formula's own rule decides, on angles.
Direction<double> MeanOfFarHues(const Pair<double>& pair) {
  const Direction<double> sum = SumOfHues(pair);
  constexpr double kNearlyOpposite = 0.01;
  if (std::hypot(sum.cosine, sum.sine) > kNearlyOpposite * pair.product) return Normalized(sum);
  const double h1 = HueDeg({pair.a1, pair.b1}), h2 = HueDeg({pair.a2, pair.b2});
  double mean = (h1 + h2) / 2;
  if (std::abs(h1 - h2) > 180) mean += mean < 180 ? 180 : -180;
  return {std::cos(mean * kDegree), std::sin(mean * kDegree)};
}

}  // namespace

// Hues are directions here and not angles: a difference of hues that is small comes out of a cross
// product as precise as it went in, and few functions of angles are left.
double DeltaE2000(const std::array<double, 3>& lab1, const std::array<double, 3>& lab2) {
  const Pair<double> pair = PairOf(lab1, lab2);
  // A grey has no hue: there the terms with hue are 0.
  if (pair.product == 0) return std::sqrt(pair.l * pair.l + pair.c * pair.c);
  const bool isNear = pair.dot > 0;
  const Direction<double> hue = isNear ? Normalized(SumOfHues(pair)) : MeanOfFarHues(pair);
  const double dH = isNear ? HueDifference(pair)
                           : std::copysign(std::sqrt(2 * (pair.product - pair.dot)), pair.cross);
  return Length(pair.l, pair.c, Weighted(dH, pair.meanC, hue), pair.meanC, hue);
}

std::array<double, 2> DeltasE2000(const std::array<double, 3>& lab,
                                  const std::array<std::array<double, 3>, 2>& others) {
  const auto& [one, other] = others;
  const std::array<Two, 3> first = {Two{lab[0], lab[0]}, Two{lab[1], lab[1]}, Two{lab[2], lab[2]}};
  const std::array<Two, 3> second = {Two{one[0], other[0]}, Two{one[1], other[1]},
                                     Two{one[2], other[2]}};
  const Pair<Two> pair = PairOf(first, second);
  if (!(pair.dot[0] > 0 && pair.dot[1] > 0)) {
    return {DeltaE2000(lab, one), DeltaE2000(lab, other)};
  }
  const Direction<Two> hue = Normalized(SumOfHues(pair));
  const Two h = Weighted(HueDifference(pair), pair.meanC, hue);
  std::array<double, 2> lengths;
  for (std::size_t n = 0; n < 2; ++n) {
    lengths[n] = Length(pair.l[n], pair.c[n], h[n], pair.meanC[n], {hue.cosine[n], hue.sine[n]});
  }
  return lengths;
}

}  // namespace kxcms
