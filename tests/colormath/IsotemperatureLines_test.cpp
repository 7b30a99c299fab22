#include "colormath/IsotemperatureLines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

// Reciprocal megakelvin of each line: steps of 10 up to 100, then of 25.
int Mired(int line) {
  return line <= 10 ? 10 * line : 100 + 25 * (line - 10);
}

double AngleDeg(double slope) {
  return std::atan(slope) * 180.0 / kPi;
}

std::vector<double> Difference(std::vector<double> values, int order) {
  for (; order > 0; --order) {
    for (std::size_t i = 0; i + 1 < values.size(); ++i) values[i] = values[i + 1] - values[i];
    values.pop_back();
  }
  return values;
}

TEST(IsotemperatureLines, SpotRows) {
  const struct {
    int line;
    double u, v, t;
  } kRows[] = {
      {0, 0.18006, 0.26352, -0.24341}, {1, 0.18066, 0.26589, -0.25479},
      {2, 0.18133, 0.26846, -0.26876}, {15, 0.21807, 0.32909, -1.2168},
      {29, 0.32931, 0.36038, -40.77},  {30, 0.33724, 0.36051, -116.45},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(uvt[row.line][0], row.u) << row.line;
    EXPECT_EQ(uvt[row.line][1], row.v) << row.line;
    EXPECT_EQ(uvt[row.line][2], row.t) << row.line;
  }
}

TEST(IsotemperatureLines, ReciprocalTemperatures) {
  EXPECT_EQ(rt[0], std::numeric_limits<double>::min());
  // The quotient of two exact integers rounds to the double that the decimal fraction rounds to.
  for (int i = 1; i < kIsotemperatureLines; ++i) EXPECT_EQ(rt[i], Mired(i) / 1e6) << i;
}

TEST(IsotemperatureLines, MisprintAt325MiredIsCorrected) {
  ASSERT_EQ(Mired(19), 325);
  EXPECT_EQ(uvt[19][0], 0.24792);
}

// The locus is smooth, so the differences of a correct table are small and steady. Five rounded
// decimals make a fourth difference uncertain by up to 16 * 0.5e-5 = 8e-5, the bend of the locus
// adds less than 5e-5; a misprint by d shows as 6d.
TEST(IsotemperatureLines, FourthDifferencesOfLocusAreSmall) {
  for (int coordinate = 0; coordinate < 2; ++coordinate) {
    for (const auto& [first, last] : {std::pair{0, 10}, std::pair{10, 30}}) {
      std::vector<double> values;
      for (int i = first; i <= last; ++i) values.push_back(uvt[i][coordinate]);
      for (double d : Difference(values, 4)) {
        EXPECT_LT(std::fabs(d), 1.3e-4) << (coordinate == 0 ? "u" : "v") << " from line " << first;
      }
    }
  }
}

// Second differences: each lies within the step that its neighbours allow. u at 325 mired as
// misprinted (0.24702) would make one of 1.8e-3 next to ones of 2e-4.
TEST(IsotemperatureLines, SecondDifferencesOfLocusChangeSlowly) {
  for (int coordinate = 0; coordinate < 2; ++coordinate) {
    for (const auto& [first, last] : {std::pair{0, 10}, std::pair{10, 30}}) {
      std::vector<double> values;
      for (int i = first; i <= last; ++i) values.push_back(uvt[i][coordinate]);
      const std::vector<double> second = Difference(values, 2);
      for (std::size_t i = 1; i < second.size(); ++i) {
        EXPECT_LT(std::fabs(second[i] - second[i - 1]), 2e-4)
            << (coordinate == 0 ? "u" : "v") << " near line " << first + static_cast<int>(i);
      }
    }
  }
}

// The slope as an angle is smooth too: its bend makes fourth differences of up to 0.035 degrees,
// the five digits of the slope less than 0.005.
TEST(IsotemperatureLines, AnglesOfLinesChangeSlowly) {
  for (const auto& [first, last] : {std::pair{0, 10}, std::pair{10, 30}}) {
    std::vector<double> angles;
    for (int i = first; i <= last; ++i) angles.push_back(AngleDeg(uvt[i][2]));
    const std::vector<double> fourth = Difference(angles, 4);
    for (std::size_t i = 0; i < fourth.size(); ++i) {
      EXPECT_LT(std::fabs(fourth[i]), 0.04) << "near line " << first + static_cast<int>(i) + 2;
    }
  }
}

// Krystek's rational approximation of the Planckian locus (Color Res. Appl. 10, 38, 1985), 1000 K
// to 15000 K; it lies within 1e-4 of the locus in u and v, which leaves 2e-4 for both roundings.
// An isotemperature line is perpendicular to the locus in u, v.
double KrystekU(double kelvin) {
  return (0.860117757 + 1.54118254e-4 * kelvin + 1.28641212e-7 * kelvin * kelvin) /
         (1.0 + 8.42420235e-4 * kelvin + 7.08145163e-7 * kelvin * kelvin);
}

double KrystekV(double kelvin) {
  return (0.317398726 + 4.22806245e-5 * kelvin + 4.20481691e-8 * kelvin * kelvin) /
         (1.0 - 2.89741816e-5 * kelvin + 1.61456053e-7 * kelvin * kelvin);
}

TEST(IsotemperatureLines, PointsLieOnPlanckianLocus) {
  for (int i = 0; i < kIsotemperatureLines; ++i) {
    if (Mired(i) < 70) continue;
    const double kelvin = 1e6 / Mired(i);
    EXPECT_NEAR(uvt[i][0], KrystekU(kelvin), 2e-4) << Mired(i) << " mired";
    EXPECT_NEAR(uvt[i][1], KrystekV(kelvin), 2e-4) << Mired(i) << " mired";
  }
}

TEST(IsotemperatureLines, LinesArePerpendicularToLocus) {
  for (int i = 0; i < kIsotemperatureLines; ++i) {
    if (Mired(i) < 70) continue;
    const double kelvin = 1e6 / Mired(i);
    const double du = KrystekU(kelvin + 0.5) - KrystekU(kelvin - 0.5);
    const double dv = KrystekV(kelvin + 0.5) - KrystekV(kelvin - 0.5);
    // 1.5 degrees: the approximation's direction is worst at its hot end.
    EXPECT_NEAR(AngleDeg(uvt[i][2]), AngleDeg(-du / dv), 1.5) << Mired(i) << " mired";
  }
}

}  // namespace
