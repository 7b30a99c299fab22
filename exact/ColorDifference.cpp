#include "exact/ColorDifference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kxcms {

namespace {

constexpr double kDegree = std::numbers::pi / 180;

double ToThe7th(double x) {
  const double x2 = x * x;
  return x2 * x2 * x2 * x;
}

// 25^7, where the chroma corrections turn over.
constexpr double k25ToThe7th = 6103515625;

// The factor 2 in RC, and in G with 0.5 before it, of a chroma.
double ChromaFactor(double meanC) {
  const double meanC7 = ToThe7th(meanC);
  return std::sqrt(meanC7 / (meanC7 + k25ToThe7th));
}

// A hue, as a direction.
struct Direction {
  double cosine, sine;
};

// Hue angle in degrees, 0 up to 360.
double HueDeg(const Direction& hue) {
  const double angle = std::atan2(hue.sine, hue.cosine) / kDegree;
  return angle < 0 ? angle + 360 : angle;
}

// A colour's a' and b, and its chroma from these, not 0.
struct Chromatic {
  double a, b, C;
};

// The middle of two hues, on the shorter way between them. Where both ways are about as long, the
// formula's own rule decides, on angles.
Direction MeanHue(const Chromatic& first, const Chromatic& second) {
  // The sum of both directions, times both chromas.
  const Direction sum = {first.a * second.C + second.a * first.C,
                         first.b * second.C + second.b * first.C};
  const double length = std::sqrt(sum.cosine * sum.cosine + sum.sine * sum.sine);
  constexpr double kNearlyOpposite = 0.01;
  if (length > kNearlyOpposite * first.C * second.C) {
    const double scale = 1 / length;
    return {scale * sum.cosine, scale * sum.sine};
  }
  const double h1 = HueDeg({first.a, first.b}), h2 = HueDeg({second.a, second.b});
  double mean = (h1 + h2) / 2;
  if (std::abs(h1 - h2) > 180) mean += mean < 180 ? 180 : -180;
  return {std::cos(mean * kDegree), std::sin(mean * kDegree)};
}

const double kCos30 = std::cos(30 * kDegree), kSin30 = std::sin(30 * kDegree);
const double kCos6 = std::cos(6 * kDegree), kSin6 = std::sin(6 * kDegree);
const double kCos63 = std::cos(63 * kDegree), kSin63 = std::sin(63 * kDegree);

// T of the formula: cosines of multiples of the mean hue, by the theorem of sums.
double WeightOfHue(const Direction& hue) {
  const auto [c1, s1] = hue;
  const double c2 = c1 * c1 - s1 * s1, s2 = 2 * s1 * c1;
  const double c3 = c1 * c2 - s1 * s2, s3 = s1 * c2 + c1 * s2;
  const double c4 = c2 * c2 - s2 * s2, s4 = 2 * s2 * c2;
  return 1 - 0.17 * (c1 * kCos30 + s1 * kSin30) + 0.24 * c2 + 0.32 * (c3 * kCos6 - s3 * kSin6) -
         0.20 * (c4 * kCos63 + s4 * kSin63);
}

// The sine of 2 deltaTheta, which turns hue into chroma about blue.
double Rotation(const Direction& hue) {
  // Up to 120 degrees it is below 1e-16.
  if (hue.sine >= 0 && hue.cosine >= -0.5) return 0;
  const double away = (HueDeg(hue) - 275) / 25;
  return std::sin(2 * 30 * kDegree * std::exp(-away * away));
}

}  // namespace

// Hues are directions here and not angles: a difference of hues that is small comes out of a cross
// product as precise as it went in, and few functions of angles are left.
double DeltaE2000(const std::array<double, 3>& lab1, const std::array<double, 3>& lab2) {
  const auto [L1, a1, b1] = lab1;
  const auto [L2, a2, b2] = lab2;
  const double meanLab = (std::sqrt(a1 * a1 + b1 * b1) + std::sqrt(a2 * a2 + b2 * b2)) / 2;
  const double g = 0.5 * (1 - ChromaFactor(meanLab));
  const double a1p = (1 + g) * a1, a2p = (1 + g) * a2;
  const double C1 = std::sqrt(a1p * a1p + b1 * b1), C2 = std::sqrt(a2p * a2p + b2 * b2);

  const double meanL50 = (L1 + L2) / 2 - 50;
  const double L50 = meanL50 * meanL50;
  const double meanC = (C1 + C2) / 2;
  // SL = 1 + 0.015 L50 / root.
  const double root = std::sqrt(20 + L50);
  const double l = (L2 - L1) * root / (root + 0.015 * L50);
  const double c = (C2 - C1) / (1 + 0.045 * meanC);
  const double product = C1 * C2;
  // A grey has no hue: there the terms with hue are 0.
  if (product == 0) return std::sqrt(l * l + c * c);

  // dH = 2 sqrt(C1 C2) sin(dh/2), where the products are C1 C2 sin dh and C1 C2 cos dh.
  const double cross = a1p * b2 - a2p * b1, dot = a1p * a2p + b1 * b2;
  const double dH = dot > 0 ? cross / std::sqrt((product + dot) / 2)
                            : std::copysign(std::sqrt(2 * (product - dot)), cross);
  const Direction hue = MeanHue({a1p, b1, C1}, {a2p, b2, C2});
  const double h = dH / (1 + 0.015 * meanC * WeightOfHue(hue));
  const double squares = l * l + c * c + h * h;
  const double rotation = Rotation(hue);
  if (rotation == 0) return std::sqrt(squares);
  const double RT = -2 * ChromaFactor(meanC) * rotation;
  return std::sqrt(std::max(0.0, squares + RT * c * h));
}

}  // namespace kxcms
