#include "colormath/ColorFormulas.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Keeps the compiler from evaluating an expected power itself, with a rounding of its own.
double AtRunTime(double v) {
  volatile double kept = v;
  return kept;
}

double Power(double base, double exponent) {
  return ::pow(AtRunTime(base), AtRunTime(exponent));
}

TEST(SRgbGamma, Decode) {
  const struct {
    const char* what;
    double v, expected;
  } kRows[] = {
      {"black", 0.0, 0.0},
      {"linear part", 0.02, 0.02 / 12.92},
      {"threshold itself is linear", 0.03928, 0.03928 / 12.92},
      {"just above the threshold", std::nextafter(0.03928, 1.0),
       Power((std::nextafter(0.03928, 1.0) + 0.055) / 1.055, 2.4)},
      {"half", 0.5, Power((0.5 + 0.055) / 1.055, 2.4)},
      {"white", 1.0, 1.0},
      {"negative stays linear", -0.5, -0.5 / 12.92},
  };
  for (const auto& row : kRows) EXPECT_EQ(sRGB_Gamma_Decode(row.v), row.expected) << row.what;
  EXPECT_TRUE(std::isnan(sRGB_Gamma_Decode(kNaN)));
}

TEST(SRgbGamma, Encode) {
  const struct {
    const char* what;
    double v, expected;
  } kRows[] = {
      {"black", 0.0, 0.0},
      {"linear part", 0.003, 0.003 * 12.92},
      {"threshold itself is on the power", 0.00304, 1.055 * Power(0.00304, 0.4167) - 0.055},
      {"just below the threshold", std::nextafter(0.00304, 0.0),
       std::nextafter(0.00304, 0.0) * 12.92},
      {"half", 0.5, 1.055 * Power(0.5, 0.4167) - 0.055},
      {"white", 1.0, 1.055 - 0.055},
      {"negative stays linear", -0.5, -0.5 * 12.92},
  };
  for (const auto& row : kRows) EXPECT_EQ(sRGB_Gamma_Encode(row.v), row.expected) << row.what;
  EXPECT_TRUE(std::isnan(sRGB_Gamma_Encode(kNaN)));
}

TEST(SRgbGamma, RoundedExponentAndThresholdDoNotMirror) {
  // 0.4167 is not 1 / 2.4, and 0.00304 * 12.92 is not 0.03928.
  EXPECT_NE(sRGB_Gamma_Encode(0.5), 1.055 * Power(0.5, 1.0 / 2.4) - 0.055);
  EXPECT_NE(sRGB_Gamma_Decode(sRGB_Gamma_Encode(0.5)), 0.5);
  EXPECT_NEAR(sRGB_Gamma_Decode(sRGB_Gamma_Encode(0.5)), 0.5, 1e-4);
}

// Hand values: 1 / 255 / 12.92 * 255 + 0.5 = 0.577; ((128 / 255 + 0.055) / 1.055)^2.4 * 255
// = 55.04; 1 / 255 = 0.00392 is on the power: (1.055 * 0.09929 - 0.055) * 255 = 12.69; 128: 187.5
// (IEC 61966-2-1: 187.52).
TEST(SRgbGamma, EightBit) {
  const struct {
    const char* what;
    unsigned char c;
    int decoded, encoded;
  } kRows[] = {
      {"black", 0, 0, 0},
      {"one", 1, 0, 13},
      {"seven", 7, 1, 46},
      {"mid", 128, 55, 188},
      {"near white", 254, 253, 255},
      {"white", 255, 255, 255},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(sRGB_Gamma_Decode255(row.c), row.decoded) << row.what;
    EXPECT_EQ(sRGB_Gamma_Encode255(row.c), row.encoded) << row.what;
  }
}

TEST(SRgbGamma, EightBitIsTruncationOfHalfAdded) {
  for (int c = 0; c < 256; ++c) {
    const double v = c / 255.0;
    const double linear = v <= 0.03928 ? v / 12.92 : Power((v + 0.055) / 1.055, 2.4);
    const double encoded = v < 0.00304 ? v * 12.92 : 1.055 * Power(v, 0.4167) - 0.055;
    EXPECT_EQ(sRGB_Gamma_Decode255(static_cast<unsigned char>(c)),
              static_cast<int>(linear * 255.0 + 0.5))
        << c;
    EXPECT_EQ(sRGB_Gamma_Encode255(static_cast<unsigned char>(c)),
              static_cast<int>(encoded * 255.0 + 0.5))
        << c;
  }
}

TEST(Density, FromRgb) {
  EXPECT_EQ(RGB2Density(1.0), 0.0);
  EXPECT_EQ(RGB2Density(0.1), 1.0);
  EXPECT_EQ(RGB2Density(0.001), 3.0);
  EXPECT_EQ(RGB2Density(0.0), kInf);
  EXPECT_TRUE(std::isnan(RGB2Density(-1.0)));
  EXPECT_EQ(RGB2Density255(255), 0.0);
  EXPECT_EQ(RGB2Density255(0), kInf);
  EXPECT_EQ(RGB2Density255(51), -::log10(AtRunTime(51 / 255.0)));
}

TEST(Density, ToRgb) {
  EXPECT_EQ(Density2RGB(0.0), 1.0);
  EXPECT_EQ(Density2RGB(2.0), 0.01);
  EXPECT_EQ(Density2RGB(-1.0), 10.0);
  EXPECT_EQ(Density2RGB(0.3), Power(10.0, -0.3));
  EXPECT_EQ(Density2RGB(kInf), 0.0);
  EXPECT_EQ(Density2RGB(-kInf), kInf);
}

TEST(Density, ToRgb255) {
  const struct {
    const char* what;
    double d;
    int expected;
  } kRows[] = {
      {"clear", 0.0, 255},
      {"0.3: 255 * 0.50119 = 127.80", 0.3, 128},
      {"one decade: 25.5 + 0.5", 1.0, 26},
      {"two decades: 2.55 + 0.5", 2.0, 3},
      {"opaque", 10.0, 0},
      {"infinite density", kInf, 0},
      {"amplifying: 2550.5", -1.0, 2550},
      {"beyond int", -300.0, INT_MAX},
      {"beyond double", -400.0, INT_MAX},
      {"minus infinity", -kInf, INT_MAX},
      {"not a number", kNaN, 0},
  };
  for (const auto& row : kRows) EXPECT_EQ(Density2RGB255(row.d), row.expected) << row.what;
}

struct Tristimulus {
  double xyz[3];
};

Tristimulus FromXy(double x, double y) {
  return {{x / y, 1.0, (1.0 - x - y) / y}};
}

// From CIE 1960 u, v with X + 15 Y + 3 Z = 1.
Tristimulus FromUv(double u, double v) {
  const double X = u / 4.0;
  const double Y = v / 6.0;
  return {{X, Y, (1.0 - X - 15.0 * Y) / 3.0}};
}

// CIE 15:2004 tables T.3 and 3: chromaticities and correlated colour temperatures. Robertson's
// interpolation is good to about 0.1 %.
TEST(CorrelatedColorTemperature, StandardIlluminants) {
  const struct {
    const char* what;
    double x, y, kelvin;
  } kRows[] = {
      {"A", 0.44758, 0.40745, 2856},   {"D50", 0.34567, 0.35851, 5003},
      {"D55", 0.33243, 0.34744, 5503}, {"D65", 0.31272, 0.32903, 6504},
      {"D75", 0.29903, 0.31488, 7504},
  };
  for (const auto& row : kRows) {
    Tristimulus color = FromXy(row.x, row.y);
    double kelvin = 0.0;
    EXPECT_EQ(XYZtoCorColorTemp(color.xyz, &kelvin), 0) << row.what;
    EXPECT_NEAR(kelvin, row.kelvin, 0.001 * row.kelvin) << row.what;
  }
}

// A point of the locus has the temperature of its line. 1e-4 mired stands for the rounding of u, v
// to doubles times the steepest slope.
TEST(CorrelatedColorTemperature, PointsOfTheTable) {
  const struct {
    double mired, u, v;
  } kRows[] = {
      {10, 0.18066, 0.26589},  {50, 0.18388, 0.27709},  {100, 0.19032, 0.29326},
      {225, 0.21807, 0.32909}, {325, 0.24792, 0.34655}, {575, 0.32931, 0.36038},
  };
  for (const auto& row : kRows) {
    Tristimulus color = FromUv(row.u, row.v);
    double kelvin = 0.0;
    EXPECT_EQ(XYZtoCorColorTemp(color.xyz, &kelvin), 0) << row.mired;
    EXPECT_NEAR(1e6 / kelvin, row.mired, 1e-4);
  }
}

// Between the lines of 225 and 250 mired, worked out from the two rows of the table.
TEST(CorrelatedColorTemperature, InterpolationBetweenTwoLines) {
  Tristimulus color = FromUv(0.2216, 0.3317);
  const double X = color.xyz[0], Y = color.xyz[1], Z = color.xyz[2];
  const double d = X + 15.0 * Y + 3.0 * Z;
  const double us = 4.0 * X / d;
  const double vs = 6.0 * Y / d;
  const double d15 = (vs - 0.32909) - -1.2168 * (us - 0.21807);
  const double d16 = (vs - 0.33439) - -1.4512 * (us - 0.22511);
  ASSERT_GT(d15, 0.0);
  ASSERT_LT(d16, 0.0);
  const double n15 = d15 / std::sqrt(1.0 + -1.2168 * -1.2168);
  const double n16 = d16 / std::sqrt(1.0 + -1.4512 * -1.4512);
  const double p = n15 / (n15 - n16);
  double kelvin = 0.0;
  EXPECT_EQ(XYZtoCorColorTemp(color.xyz, &kelvin), 0);
  EXPECT_EQ(kelvin, 1.0 / (0.000225 + p * (0.00025 - 0.000225)));
}

TEST(CorrelatedColorTemperature, ScaleDoesNotMatter) {
  double once[3] = {0.95047, 1.0, 1.08883};
  double times1024[3] = {0.95047 * 1024, 1024, 1.08883 * 1024};
  double a = 0.0, b = 0.0;
  EXPECT_EQ(XYZtoCorColorTemp(once, &a), 0);
  EXPECT_EQ(XYZtoCorColorTemp(times1024, &b), 0);
  EXPECT_EQ(a, b);
}

TEST(CorrelatedColorTemperature, Refused) {
  const struct {
    const char* what;
    double xyz[3];
  } kRows[] = {
      {"black", {0, 0, 0}},
      {"all just below 1e-20", {9e-21, 9e-21, 9e-21}},
      {"all negative", {-1, -1, -1}},
      {"blue beyond the first line", {0, 0, 1}},
      {"red beyond the last line", {1, 0.3, 0}},
      {"denominator 0", {15, -1, 0}},
      {"not a number", {kNaN, 1, 1}},
      {"all not a number", {kNaN, kNaN, kNaN}},
      {"infinite", {kInf, 1, 1}},
      {"overflowing sum", {1e308, 1e308, 1e308}},
  };
  for (const auto& row : kRows) {
    double xyz[3] = {row.xyz[0], row.xyz[1], row.xyz[2]};
    double kelvin = -7.0;
    EXPECT_EQ(XYZtoCorColorTemp(xyz, &kelvin), -1) << row.what;
    EXPECT_EQ(kelvin, -7.0) << row.what << ": temperature touched";
  }
}

TEST(CorrelatedColorTemperature, OneComponentAtTheBlackLimitIsEnough) {
  double d65[3] = {0.95047e-20, 1e-20, 1.08883e-20};
  double kelvin = 0.0;
  EXPECT_EQ(XYZtoCorColorTemp(d65, &kelvin), 0);
  EXPECT_NEAR(kelvin, 6504, 7);
}

TEST(CorrelatedColorTemperature, NullPointers) {
  double xyz[3] = {0.95047, 1.0, 1.08883};
  double kelvin = -7.0;
  EXPECT_EQ(XYZtoCorColorTemp(nullptr, &kelvin), -1);
  EXPECT_EQ(XYZtoCorColorTemp(xyz, nullptr), -1);
  EXPECT_EQ(kelvin, -7.0);
}

TEST(Hsb, Table) {
  const struct {
    const char* what;
    int r, g, b, h, s, v;
  } kRows[] = {
      {"red", 255, 0, 0, 0, 100, 100},
      {"yellow: r equals g", 255, 255, 0, 60, 100, 100},
      {"green", 0, 255, 0, 120, 100, 100},
      {"cyan: g equals b", 0, 255, 255, 180, 100, 100},
      {"blue", 0, 0, 255, 240, 100, 100},
      {"magenta: b equals r", 255, 0, 255, 300, 100, 100},
      {"black", 0, 0, 0, 0, 0, 0},
      {"mid grey", 128, 128, 128, 0, 0, 50},
      {"white", 255, 255, 255, 0, 0, 100},
      {"r > g > b: 60*50/150, 100*150/200, 100*200/255", 200, 100, 50, 20, 75, 78},
      {"b > r > g: 60*50/150 + 240", 100, 50, 200, 260, 75, 78},
      {"r > b > g: 360 - 60*50/150", 200, 50, 100, 340, 75, 78},
      {"g > r > b: 120 - 60*50/150", 100, 200, 50, 100, 75, 78},
      {"g > b > r: 60*50/150 + 120", 50, 200, 100, 140, 75, 78},
      {"b > g > r: 240 - 60*50/150", 50, 100, 200, 220, 75, 78},
      {"truncation: 60*1/7 = 8, 100*7/10 = 70, 100*10/255 = 3", 10, 4, 3, 8, 70, 3},
      {"truncation is before the subtraction: 360 - 8", 10, 3, 4, 352, 70, 3},
      {"truncation is before the subtraction: 240 - 8", 3, 4, 10, 232, 70, 3},
  };
  for (const auto& row : kRows) {
    int h = -1, s = -1, v = -1;
    RGB2HSB(row.r, row.g, row.b, h, s, v);
    EXPECT_EQ(h, row.h) << row.what << ": hue";
    EXPECT_EQ(s, row.s) << row.what << ": saturation";
    EXPECT_EQ(v, row.v) << row.what << ": brightness";
  }
}

// Outside 0..255 the formulas still hold; a zero denominator gives 0 and what an int cannot hold,
// its nearest limit.
TEST(Hsb, OutsideTheRange) {
  const struct {
    const char* what;
    int r, g, b, h, s, v;
  } kRows[] = {
      {"r is 0, the others negative", 0, -1, -2, 30, 0, 0},
      {"r is 0, b between", 0, -2, -1, 330, 0, 0},
      {"g is 0, the others negative", -1, 0, -2, 90, 0, 0},
      {"g is 0, r smallest", -2, 0, -1, 150, 0, 0},
      {"b is 0, r > g", -1, -2, 0, 270, 0, 0},
      {"kept: b is 0, r smallest, all three are 0", -2, -1, 0, 0, 0, 0},
      {"all negative: 60*1/2, 100*2/-1, 100*-1/255", -1, -2, -3, 30, -200, 0},
      {"largest", INT_MAX, 0, 0, 0, 100, 842150449},
      {"whole range: 100*(2^32-1)/(2^31-1)", INT_MAX, INT_MIN, INT_MIN, 0, 200, 842150449},
      {"beyond int: 100*(2^31+1)/1", 1, INT_MIN, INT_MIN, 0, INT_MAX, 0},
      {"below int: 100*(2^31-1)/-1", -1, INT_MIN, INT_MIN, 0, INT_MIN, 0},
      {"smallest grey", INT_MIN, INT_MIN, INT_MIN, 0, 0, -842150450},
  };
  for (const auto& row : kRows) {
    int h = -1, s = -1, v = -1;
    RGB2HSB(row.r, row.g, row.b, h, s, v);
    EXPECT_EQ(h, row.h) << row.what << ": hue";
    EXPECT_EQ(s, row.s) << row.what << ": saturation";
    EXPECT_EQ(v, row.v) << row.what << ": brightness";
  }
}

}  // namespace
