#include "exact/ColorDifference.h"

#include <cmath>
#include <numbers>

namespace kxcms {

namespace {

constexpr double kDegree = std::numbers::pi / 180;

double ToThe7th(double x) {
  return std::pow(x, 7);
}

// 25^7, where the chroma corrections turn over.
constexpr double k25ToThe7th = 6103515625;

// Hue angle in degrees, 0 up to 360; 0 for a grey.
double HueDeg(double a, double b) {
  if (a == 0 && b == 0) return 0;
  const double hue = std::atan2(b, a) / kDegree;
  return hue < 0 ? hue + 360 : hue;
}

}  // namespace

double DeltaE2000(const std::array<double, 3>& lab1, const std::array<double, 3>& lab2) {
  const auto [L1, a1, b1] = lab1;
  const auto [L2, a2, b2] = lab2;
  const double meanC7 = ToThe7th((std::hypot(a1, b1) + std::hypot(a2, b2)) / 2);
  const double g = 0.5 * (1 - std::sqrt(meanC7 / (meanC7 + k25ToThe7th)));
  const double a1p = (1 + g) * a1, a2p = (1 + g) * a2;
  const double C1 = std::hypot(a1p, b1), C2 = std::hypot(a2p, b2);
  const double h1 = HueDeg(a1p, b1), h2 = HueDeg(a2p, b2);
  const bool isGrey = C1 * C2 == 0;

  const double dL = L2 - L1;
  const double dC = C2 - C1;
  double dh = isGrey ? 0 : h2 - h1;
  if (dh > 180) dh -= 360;
  if (dh < -180) dh += 360;
  const double dH = 2 * std::sqrt(C1 * C2) * std::sin(dh / 2 * kDegree);

  const double meanL = (L1 + L2) / 2;
  const double meanC = (C1 + C2) / 2;
  double meanH = h1 + h2;
  if (!isGrey) {
    if (std::abs(h1 - h2) > 180) meanH += meanH < 360 ? 360 : -360;
    meanH /= 2;
  }
  const double T =
      1 - 0.17 * std::cos((meanH - 30) * kDegree) + 0.24 * std::cos(2 * meanH * kDegree) +
      0.32 * std::cos((3 * meanH + 6) * kDegree) - 0.20 * std::cos((4 * meanH - 63) * kDegree);
  const double rotationDeg = 30 * std::exp(-std::pow((meanH - 275) / 25, 2));
  const double meanCp7 = ToThe7th(meanC);
  const double RC = 2 * std::sqrt(meanCp7 / (meanCp7 + k25ToThe7th));
  const double L50 = (meanL - 50) * (meanL - 50);
  const double SL = 1 + 0.015 * L50 / std::sqrt(20 + L50);
  const double SC = 1 + 0.045 * meanC;
  const double SH = 1 + 0.015 * meanC * T;
  const double RT = -std::sin(2 * rotationDeg * kDegree) * RC;

  const double l = dL / SL, c = dC / SC, h = dH / SH;
  return std::sqrt(l * l + c * c + h * h + RT * c * h);
}

}  // namespace kxcms
