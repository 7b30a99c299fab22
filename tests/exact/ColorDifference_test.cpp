#include "exact/ColorDifference.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <random>

namespace {

// G. Sharma, W. Wu, E. N. Dalal: The CIEDE2000 color-difference formula: implementation notes,
// supplementary test data, and mathematical observations. Color Research and Application 30, 21
// (2005), table 1. The pairs lie about the formula's discontinuities and turning points.
TEST(ColorDifference, GivesThePublishedDifferences) {
  const struct {
    std::array<double, 3> lab1, lab2;
    double deltaE;
  } kRows[] = {
      {{50.0000, 2.6772, -79.7751}, {50.0000, 0.0000, -82.7485}, 2.0425},
      {{50.0000, 3.1571, -77.2803}, {50.0000, 0.0000, -82.7485}, 2.8615},
      {{50.0000, 2.8361, -74.0200}, {50.0000, 0.0000, -82.7485}, 3.4412},
      {{50.0000, -1.3802, -84.2814}, {50.0000, 0.0000, -82.7485}, 1.0000},
      {{50.0000, -1.1848, -84.8006}, {50.0000, 0.0000, -82.7485}, 1.0000},
      {{50.0000, -0.9009, -85.5211}, {50.0000, 0.0000, -82.7485}, 1.0000},
      {{50.0000, 0.0000, 0.0000}, {50.0000, -1.0000, 2.0000}, 2.3669},
      {{50.0000, -1.0000, 2.0000}, {50.0000, 0.0000, 0.0000}, 2.3669},
      {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0009}, 7.1792},
      {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0010}, 7.1792},
      {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0011}, 7.2195},
      {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0012}, 7.2195},
      {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0009, -2.4900}, 4.8045},
      {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0010, -2.4900}, 4.8045},
      {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0011, -2.4900}, 4.7461},
      {{50.0000, 2.5000, 0.0000}, {50.0000, 0.0000, -2.5000}, 4.3065},
      {{50.0000, 2.5000, 0.0000}, {73.0000, 25.0000, -18.0000}, 27.1492},
      {{50.0000, 2.5000, 0.0000}, {61.0000, -5.0000, 29.0000}, 22.8977},
      {{50.0000, 2.5000, 0.0000}, {56.0000, -27.0000, -3.0000}, 31.9030},
      {{50.0000, 2.5000, 0.0000}, {58.0000, 24.0000, 15.0000}, 19.4535},
      {{50.0000, 2.5000, 0.0000}, {50.0000, 3.1736, 0.5854}, 1.0000},
      {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2972, 0.0000}, 1.0000},
      {{50.0000, 2.5000, 0.0000}, {50.0000, 1.8634, 0.5757}, 1.0000},
      {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2592, 0.3350}, 1.0000},
      {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
      {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
      {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
      {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
      {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
      {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
      {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
      {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
      {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
      {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
  };
  // The table has four decimals.
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << "pair " << &row - kRows + 1);
    EXPECT_NEAR(kxcms::DeltaE2000(row.lab1, row.lab2), row.deltaE, 0.00005);
    EXPECT_NEAR(kxcms::DeltaE2000(row.lab2, row.lab1), row.deltaE, 0.00005);
  }
}

TEST(ColorDifference, IsNothingBetweenEqualColours) {
  const std::array<double, 3> kColors[] = {
      {0, 0, 0}, {100, 0, 0}, {50, 20, -30}, {50, -128, 127}, {-3, 1e-9, 0}};
  for (const auto& color : kColors) EXPECT_EQ(kxcms::DeltaE2000(color, color), 0);
}

// Along the axis of grey SL is all there is: 10 / (1 + 0.015 * 5^2 / sqrt(20 + 5^2)) at a mean L*
// of 55.
TEST(ColorDifference, WeighsLightnessAlone) {
  EXPECT_NEAR(kxcms::DeltaE2000({50, 0, 0}, {60, 0, 0}), 10 / (1 + 0.375 / std::sqrt(45.0)), 1e-12);
}

// The formula as its authors write it, with hues as angles in degrees.
double ByAngles(const std::array<double, 3>& lab1, const std::array<double, 3>& lab2) {
  const double degree = std::acos(-1.0) / 180;
  const double meanLab = (std::hypot(lab1[1], lab1[2]) + std::hypot(lab2[1], lab2[2])) / 2;
  const double g =
      0.5 * (1 - std::sqrt(std::pow(meanLab, 7) / (std::pow(meanLab, 7) + std::pow(25.0, 7))));
  const double a1 = (1 + g) * lab1[1], a2 = (1 + g) * lab2[1];
  const double C1 = std::hypot(a1, lab1[2]), C2 = std::hypot(a2, lab2[2]);
  double h1 = std::atan2(lab1[2], a1) / degree, h2 = std::atan2(lab2[2], a2) / degree;
  if (h1 < 0) h1 += 360;
  if (h2 < 0) h2 += 360;
  double dh = h2 - h1;
  if (dh > 180) dh -= 360;
  if (dh < -180) dh += 360;
  double h = (h1 + h2) / 2;
  if (std::abs(h1 - h2) > 180) h += h1 + h2 < 360 ? 180 : -180;
  const double T = 1 - 0.17 * std::cos((h - 30) * degree) + 0.24 * std::cos(2 * h * degree) +
                   0.32 * std::cos((3 * h + 6) * degree) - 0.20 * std::cos((4 * h - 63) * degree);
  const double C = (C1 + C2) / 2, L = (lab1[0] + lab2[0]) / 2;
  const double RC = 2 * std::sqrt(std::pow(C, 7) / (std::pow(C, 7) + std::pow(25.0, 7)));
  const double RT = -std::sin(60 * std::exp(-std::pow((h - 275) / 25, 2)) * degree) * RC;
  const double l =
      (lab2[0] - lab1[0]) / (1 + 0.015 * std::pow(L - 50, 2) / std::sqrt(20 + std::pow(L - 50, 2)));
  const double c = (C2 - C1) / (1 + 0.045 * C);
  const double H = 2 * std::sqrt(C1 * C2) * std::sin(dh / 2 * degree) / (1 + 0.015 * C * T);
  return std::sqrt(l * l + c * c + H * H + RT * c * H);
}

// Far apart and close together, all hues.
TEST(ColorDifference, IsTheFormulaInAngles) {
  std::mt19937_64 dice(2000);
  std::uniform_real_distribution<double> lightness(0, 100), chromatic(-110, 110), small(-1, 1);
  for (int n = 0; n < 200000; ++n) {
    const std::array<double, 3> first = {lightness(dice), chromatic(dice), chromatic(dice)};
    std::array<double, 3> second = {lightness(dice), chromatic(dice), chromatic(dice)};
    if (n % 2 == 0) {
      for (std::size_t i = 0; i < 3; ++i) second[i] = first[i] + small(dice);
    }
    const double difference = kxcms::DeltaE2000(first, second);
    const std::array<double, 3> near = {first[0], second[1], first[2]};
    const auto both = kxcms::DeltasE2000(first, {second, near});
    ASSERT_EQ(both[0], difference);
    ASSERT_EQ(both[1], kxcms::DeltaE2000(first, near));
    ASSERT_NEAR(difference, ByAngles(first, second), 1e-9)
        << first[0] << ' ' << first[1] << ' ' << first[2] << ' ' << second[0] << ' ' << second[1]
        << ' ' << second[2];
  }
}

}  // namespace
