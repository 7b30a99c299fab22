#include "colormath/CLCH.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "colormath/RgbMatrices.h"

namespace {

using ColorLch::CLCH;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// ICC PCS white, D50 (0.9643, 1, 0.8251), as 16-bit fractions of 1.
constexpr double kD50White16[3] = {63195, 65535, 54073};

CLCH WithD50() {
  return CLCH(kD50White16[0], kD50White16[1], kD50White16[2]);
}

// Keeps the compiler from evaluating an expected value itself, with a rounding of its own.
double AtRunTime(double v) {
  volatile double kept = v;
  return kept;
}

double Root(double t) {
  return ::pow(AtRunTime(t), 0.3333333);
}
double Toe(double t) {
  return 7.787 * t + 0.137931;
}

// Names the pair of matrices that an object holds.
void ExpectMatrices(const CLCH& color, const double* toXyz, const double* toRgb, const char* what) {
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(color.RGB2XYZ_Matrix[i], toXyz[i]) << what << " RGB2XYZ " << i;
    EXPECT_EQ(color.XYZ2RGB_Matrix[i], toRgb[i]) << what << " XYZ2RGB " << i;
  }
}

TEST(ClchConstruction, FieldsAreZeroWhiteIsScaledMatricesAreSRgb) {
  const CLCH color(65535, 65535, 65535);
  EXPECT_EQ(color.Xw, 1.0);
  EXPECT_EQ(color.Yw, 1.0);
  EXPECT_EQ(color.Zw, 1.0);
  for (double field : {color.L, color.C, color.H, color.a, color.b, color.R, color.G, color.B,
                       color.X, color.Y, color.Z}) {
    EXPECT_EQ(field, 0.0);
  }
  ExpectMatrices(color, sRGB_D50, inv_sRGB_D50, "constructed");
}

TEST(ClchConstruction, WhiteIsInSixteenBitUnits) {
  CLCH color = WithD50();
  EXPECT_EQ(color.Xw, 63195 / 65535.0);
  EXPECT_EQ(color.Yw, 1.0);
  EXPECT_EQ(color.Zw, 54073 / 65535.0);
  color.SetWhite(13107, 131070, 0.5);
  EXPECT_EQ(color.Xw, 13107 / 65535.0);
  EXPECT_EQ(color.Yw, 2.0);
  EXPECT_EQ(color.Zw, 0.5 / 65535.0);
}

TEST(ClchColorSpace, LoadsThePairOfMatrices) {
  const struct {
    const char* what;
    int space;
    const double *toXyz, *toRgb;
  } kRows[] = {
      {"sRGB", 0, sRGB_D50, inv_sRGB_D50},
      {"Adobe RGB", 1, AdobeRGB_D50, inv_AdobeRGB_D50},
      {"Apple RGB", 2, AppleRGB_D50, inv_AppleRGB_D50},
      {"ColorMatch RGB", 3, ColorMatchRGB_D50, inv_ColorMatchRGB_D50},
      {"default is sRGB", 65535, sRGB_D50, inv_sRGB_D50},
  };
  for (const auto& row : kRows) {
    CLCH color = WithD50();
    color.SetColorSpace(row.space == 1 ? ColorLch::kColorSpaceAppleRgb
                                       : ColorLch::kColorSpaceAdobeRgb);
    color.SetColorSpace(static_cast<ColorLch::ColorSpace>(row.space));
    ExpectMatrices(color, row.toXyz, row.toRgb, row.what);
  }
}

TEST(ClchColorSpace, UnknownValueChangesNothing) {
  for (int space : {7, 4, -1, 65534, 65536}) {
    CLCH color = WithD50();
    color.SetColorSpace(ColorLch::kColorSpaceAppleRgb);
    color.SetColorSpace(static_cast<ColorLch::ColorSpace>(space));
    ExpectMatrices(color, AppleRGB_D50, inv_AppleRGB_D50, "after an unknown value");
  }
}

TEST(ClchSteps, LchToLab) {
  for (double hueDeg : {0.0, 30.0, 90.0, 180.0, 270.0, 359.5}) {
    CLCH color = WithD50();
    color.C = 40.0;
    color.H = hueDeg;
    color.LCH2LAB();
    // 0.0174533 and not pi / 180.
    const double hueRad = AtRunTime(0.0174533 * hueDeg);
    EXPECT_EQ(color.a, 40.0 * ::cos(hueRad)) << hueDeg;
    EXPECT_EQ(color.b, 40.0 * ::sin(hueRad)) << hueDeg;
  }
}

TEST(ClchSteps, LabToLch) {
  const struct {
    const char* what;
    double a, b, C, H;
  } kRows[] = {
      {"neutral", 0, 0, 0, 0},
      {"red axis", 5, 0, 5, 0},
      {"3-4-5", 3, 4, 5, ::atan2(AtRunTime(4), 3) * 57.2958},
      {"yellow axis", 0, 2, 2, ::atan2(AtRunTime(2), 0) * 57.2958},
      {"green axis", -1, 0, 1, ::atan2(AtRunTime(0), -1) * 57.2958},
      {"below the axis gains 360", 3, -4, 5, ::atan2(AtRunTime(-4), 3) * 57.2958 + 360.0},
  };
  for (const auto& row : kRows) {
    CLCH color = WithD50();
    color.a = row.a;
    color.b = row.b;
    color.LAB2LCH();
    EXPECT_EQ(color.C, row.C) << row.what;
    EXPECT_EQ(color.H, row.H) << row.what;
  }
}

// 57.2958 is 4e-8 off per part: 90 degrees come out within 1e-5.
TEST(ClchSteps, BlueAxisHasHue270) {
  CLCH color = WithD50();
  color.a = 0.0;
  color.b = -1.0;
  color.LAB2LCH();
  EXPECT_NEAR(color.H, 270.0, 5e-5);
  EXPECT_EQ(color.C, 1.0);
}

TEST(ClchSteps, LabToXyz) {
  enum Part { kCube, kLine };
  const struct {
    const char* what;
    double L, a, b;
    Part x, y, z;
  } kRows[] = {
      {"white", 100, 0, 0, kCube, kCube, kCube},
      {"mid colour", 50, 20, -30, kCube, kCube, kCube},
      {"black", 0, 0, 0, kLine, kLine, kLine},
      {"L 7.9996 is on the line", 7.9996, 10, -10, kCube, kLine, kCube},
      {"just above 7.9996 is on the cube", std::nextafter(7.9996, 9), 10, -10, kCube, kCube, kCube},
      {"dark and green: X on the line", 20, -60, 0, kLine, kCube, kCube},
      {"dark and yellow: Z on the line", 20, 0, 30, kCube, kCube, kLine},
      {"negative L", -5, 0, 0, kLine, kLine, kLine},
  };
  for (const auto& row : kRows) {
    CLCH color = WithD50();
    color.L = row.L;
    color.a = row.a;
    color.b = row.b;
    color.LAB2XYZ();

    const double fy = row.y == kCube ? (row.L + 16) / 116 : 7.787 * (row.L / 903.3) + 0.137931;
    const double y = row.y == kCube ? fy * fy * fy : row.L / 903.3;
    const double fx = row.a / 500 + fy;
    const double x = row.x == kCube ? fx * fx * fx : (fx - 0.137931) / 7.787;
    const double fz = fy - row.b / 200;
    const double z = row.z == kCube ? fz * fz * fz : (fz - 0.137931) / 7.787;
    EXPECT_EQ(color.X, x * (63195 / 65535.0)) << row.what;
    EXPECT_EQ(color.Y, y) << row.what;
    EXPECT_EQ(color.Z, z * (54073 / 65535.0)) << row.what;
  }
}

// The end of the toe in f(t) is the strict comparison with 0.2069.
TEST(ClchSteps, LabToXyzAtTheEndOfTheToe) {
  CLCH color(65535, 65535, 65535);
  color.L = 0.0;
  const double fy = 7.787 * 0.0 + 0.137931;
  const auto xFor = [&color](double a) {
    color.a = a;
    color.LAB2XYZ();
    return color.X;
  };
  const double below = 34.484, above = 34.485;  // 0.206899 and 0.206901
  ASSERT_LE(below / 500 + fy, 0.2069);
  ASSERT_GT(above / 500 + fy, 0.2069);
  EXPECT_EQ(xFor(below), (below / 500 + fy - 0.137931) / 7.787);
  const double f = above / 500 + fy;
  EXPECT_EQ(xFor(above), f * f * f);
}

TEST(ClchSteps, XyzToLab) {
  enum Part { kRoot, kToe };
  const struct {
    const char* what;
    double white16[3];
    double X, Y, Z;
    Part l, x, y, z;
  } kRows[] = {
      {"mid colour", {63195, 65535, 54073}, 0.3, 0.25, 0.2, kRoot, kRoot, kRoot, kRoot},
      {"black", {63195, 65535, 54073}, 0, 0, 0, kToe, kToe, kToe, kToe},
      {"limit itself is on the toe",
       {65535, 65535, 65535},
       0.008856,
       0.008856,
       0.008856,
       kToe,
       kToe,
       kToe,
       kToe},
      {"just above the limit",
       {65535, 65535, 65535},
       0.0088561,
       0.0088561,
       0.0088561,
       kRoot,
       kRoot,
       kRoot,
       kRoot},
      {"kept: fy looks at Y, not at Y / Yw; Y below, ratio above",
       {63195, 32767.5, 54073},
       0.3,
       0.006,
       0.2,
       kRoot,
       kRoot,
       kToe,
       kRoot},
      {"kept: fy looks at Y, not at Y / Yw; Y above, ratio below",
       {63195, 131070, 54073},
       0.3,
       0.012,
       0.2,
       kToe,
       kRoot,
       kRoot,
       kRoot},
      {"kept: fz looks at Z, not at Z / Zw; Z below, ratio above",
       {63195, 65535, 32767.5},
       0.3,
       0.25,
       0.006,
       kRoot,
       kRoot,
       kRoot,
       kToe},
      {"kept: fz looks at Z, not at Z / Zw; Z above, ratio below",
       {63195, 65535, 131070},
       0.3,
       0.25,
       0.012,
       kRoot,
       kRoot,
       kRoot,
       kRoot},
      {"fx looks at the ratio; X below, ratio above",
       {32767.5, 65535, 54073},
       0.006,
       0.25,
       0.2,
       kRoot,
       kRoot,
       kRoot,
       kRoot},
  };
  for (const auto& row : kRows) {
    CLCH color(row.white16[0], row.white16[1], row.white16[2]);
    color.X = row.X;
    color.Y = row.Y;
    color.Z = row.Z;
    color.XYZ2LAB();

    const double xr = row.X / (row.white16[0] / 65535.0);
    const double yr = row.Y / (row.white16[1] / 65535.0);
    const double zr = row.Z / (row.white16[2] / 65535.0);
    const double fx = row.x == kRoot ? Root(xr) : Toe(xr);
    const double fy = row.y == kRoot ? Root(yr) : Toe(yr);
    const double fz = row.z == kRoot ? Root(zr) : Toe(zr);
    EXPECT_EQ(color.L, row.l == kRoot ? 116 * Root(yr) - 16 : 903.3 * yr) << row.what;
    EXPECT_EQ(color.a, 500 * (fx - fy)) << row.what;
    EXPECT_EQ(color.b, 200 * (fy - fz)) << row.what;
  }
}

TEST(ClchSteps, WhiteHasL100AndNoChroma) {
  CLCH color = WithD50();
  color.X = color.Xw;
  color.Y = color.Yw;
  color.Z = color.Zw;
  color.XYZ2LAB();
  EXPECT_NEAR(color.L, 100.0, 1e-4);
  EXPECT_NEAR(color.a, 0.0, 1e-4);
  EXPECT_NEAR(color.b, 0.0, 1e-4);
}

TEST(ClchSteps, XyzToRgbAddsRowsLeftToRightThenTimes255) {
  CLCH color = WithD50();
  color.SetColorSpace(ColorLch::kColorSpaceAppleRgb);
  color.X = 0.31;
  color.Y = 0.29;
  color.Z = 0.17;
  color.XYZ2RGB();
  EXPECT_EQ(color.R, 255 * (2.8513 * 0.31 + -1.361 * 0.29 + -0.4709 * 0.17));
  EXPECT_EQ(color.G, 255 * (-1.0928 * 0.31 + 2.035 * 0.29 + 0.0227 * 0.17));
  EXPECT_EQ(color.B, 255 * (0.1027 * 0.31 + -0.2965 * 0.29 + 1.4512 * 0.17));
}

TEST(ClchSteps, XyzToRgbIsLimited) {
  CLCH color = WithD50();
  color.X = 2.0;
  color.Y = 0.1;
  color.Z = 0.3;
  color.XYZ2RGB();
  EXPECT_EQ(color.R, 255.0);
  EXPECT_EQ(color.G, 0.0);
  EXPECT_EQ(color.B, 255 * (0.072 * 2.0 + -0.229 * 0.1 + 1.4054 * 0.3));
}

// No transfer curve: half of the white is half of 255, within the four decimals of the matrices.
TEST(ClchSteps, RgbIsLinear) {
  CLCH color = WithD50();
  color.PutData_XYZ(0.5 * 0.9642, 0.5, 0.5 * 0.8249);
  EXPECT_NEAR(color.R, 127.5, 0.05);
  EXPECT_NEAR(color.G, 127.5, 0.05);
  EXPECT_NEAR(color.B, 127.5, 0.05);
}

TEST(ClchSteps, SinglePrecisionInRgbToXyz) {
  CLCH color = WithD50();
  color.R = 10.0;
  color.G = 20.0;
  color.B = 30.0;
  color.RGB2XYZ();
  const double x = 0.4361 * 10 + 0.3851 * 20 + 0.1431 * 30;
  const double y = 0.2225 * 10 + 0.7169 * 20 + 0.0606 * 30;
  const double z = 0.0139 * 10 + 0.0971 * 20 + 0.7141 * 30;
  EXPECT_EQ(color.X, static_cast<double>(static_cast<float>(x)) / 255.0);
  EXPECT_EQ(color.Y, static_cast<double>(static_cast<float>(y)) / 255.0);
  EXPECT_EQ(color.Z, static_cast<double>(static_cast<float>(z)) / 255.0);
  EXPECT_NE(color.X, x / 255.0);
}

TEST(ClchSetters, PutLchRecomputesLabFromXyzAndLeavesRgb) {
  CLCH color = WithD50();
  color.R = 1.0;
  color.G = 2.0;
  color.B = 3.0;
  color.PutData_Lch(60.0, 30.0, 120.0);
  EXPECT_EQ(color.C, 30.0);
  EXPECT_EQ(color.H, 120.0);
  EXPECT_EQ(color.R, 1.0);
  EXPECT_EQ(color.G, 2.0);
  EXPECT_EQ(color.B, 3.0);
  EXPECT_NEAR(color.X, 0.2356, 1e-4);  // 0.9643 * ((60 + 16) / 116 - 15 / 500)^3
  // Through XYZ and back, with 0.3333333 for one third: close to what was put, not equal.
  EXPECT_NEAR(color.L, 60.0, 1e-4);
  EXPECT_NE(color.L, 60.0);
  EXPECT_NEAR(color.a, 30.0 * std::cos(120 * 0.0174533), 1e-3);
  EXPECT_NEAR(color.b, 30.0 * std::sin(120 * 0.0174533), 1e-3);
}

TEST(ClchSetters, PutLabDerivesLchXyzAndRgb) {
  CLCH color = WithD50();
  color.PutData_Lab(100.0, 0.0, 0.0);
  EXPECT_EQ(color.C, 0.0);
  EXPECT_EQ(color.H, 0.0);
  EXPECT_EQ(color.X, 63195 / 65535.0);
  EXPECT_EQ(color.Y, 1.0);
  EXPECT_EQ(color.Z, 54073 / 65535.0);
  // 255 * 0.99995 and so on: the matrix has four decimals.
  EXPECT_NEAR(color.R, 255.0, 0.1);
  EXPECT_NEAR(color.G, 255.0, 0.1);
  EXPECT_NEAR(color.B, 255.0, 0.1);
  EXPECT_EQ(color.L, 100.0) << "Lab is stored as given";
}

TEST(ClchSetters, PutRgbClampsBeforeItStores) {
  CLCH color = WithD50();
  color.PutData_RGB(300, -4, 128);
  EXPECT_EQ(color.R, 255.0);
  EXPECT_EQ(color.G, 0.0);
  EXPECT_EQ(color.B, 128.0);
}

// Lab of the sRGB primaries relative to D50; hand-computed from the matrix, for red: L* = 116 *
// 0.2225^(1/3) - 16, a* = 500 * (0.45228^(1/3) - 0.2225^(1/3)), b* = 200 * (0.2225^(1/3) -
// 0.016846^(1/3)).
TEST(ClchSetters, PutRgbDerivesXyzLabAndLch) {
  const struct {
    const char* what;
    double rgb[3], lab[3];
  } kRows[] = {
      {"red", {255, 0, 0}, {54.29, 80.81, 69.89}},
      {"green", {0, 255, 0}, {87.82, -79.27, 80.99}},
      {"blue", {0, 0, 255}, {29.57, 68.30, -112.03}},
      {"white", {255, 255, 255}, {100.0, 0.0, 0.0}},
  };
  for (const auto& row : kRows) {
    CLCH color = WithD50();
    color.PutData_RGB(row.rgb[0], row.rgb[1], row.rgb[2]);
    EXPECT_NEAR(color.L, row.lab[0], 0.05) << row.what;
    EXPECT_NEAR(color.a, row.lab[1], 0.05) << row.what;
    EXPECT_NEAR(color.b, row.lab[2], 0.05) << row.what;
    EXPECT_NEAR(color.C, std::hypot(row.lab[1], row.lab[2]), 0.1) << row.what;
  }
}

TEST(ClchSetters, PutXyzDerivesLabLchAndRgb) {
  CLCH color = WithD50();
  color.PutData_XYZ(0.2, 0.3, 0.1);
  const double xr = 0.2 / (63195 / 65535.0);
  const double zr = 0.1 / (54073 / 65535.0);
  const double a = 500 * (Root(xr) - Root(0.3));
  const double b = 200 * (Root(0.3) - Root(zr));
  EXPECT_EQ(color.X, 0.2);
  EXPECT_EQ(color.L, 116 * Root(0.3) - 16);
  EXPECT_EQ(color.a, a);
  EXPECT_EQ(color.b, b);
  EXPECT_EQ(color.C, std::sqrt(a * a + b * b));
  EXPECT_EQ(color.G, 255 * (-0.9788 * 0.2 + 1.9163 * 0.3 + 0.0334 * 0.1));
}

TEST(ClchAssignment, TakesLchAndKeepsWhiteAndMatrices) {
  CLCH source(65535, 65535, 65535);
  source.PutData_Lab(40.0, 10.0, 20.0);
  CLCH target = WithD50();
  target.SetColorSpace(ColorLch::kColorSpaceAdobeRgb);
  target.R = 9.0;
  CLCH& result = target = source;

  CLCH expected = WithD50();
  expected.PutData_Lch(source.L, source.C, source.H);
  EXPECT_EQ(&result, &target);
  EXPECT_EQ(target.C, source.C);
  EXPECT_EQ(target.H, source.H);
  EXPECT_EQ(target.L, expected.L);
  EXPECT_EQ(target.a, expected.a);
  EXPECT_EQ(target.X, expected.X);
  EXPECT_EQ(target.R, 9.0);
  EXPECT_EQ(target.Xw, 63195 / 65535.0);
  ExpectMatrices(target, AdobeRGB_D50, inv_AdobeRGB_D50, "assigned");
}

TEST(ClchAssignment, ToItselfGoesThroughPutLch) {
  CLCH color = WithD50();
  color.PutData_Lab(40.0, 10.0, 20.0);
  CLCH expected = WithD50();
  expected.PutData_Lch(color.L, color.C, color.H);
  CLCH& same = color;
  color = same;
  EXPECT_EQ(color.L, expected.L);
  EXPECT_EQ(color.a, expected.a);
  EXPECT_EQ(color.b, expected.b);
}

TEST(ClchAdjust, LimitsAndWrapsOnce) {
  const struct {
    const char* what;
    double L, C, H, dL, dC, dH, expectedL, expectedC, expectedH;
  } kRows[] = {
      {"hue wraps up", 50, 20, 350, 0, 0, 30, 50, 20, 20},
      {"L limited above", 80, 20, 0, 50, 0, 0, 100, 20, 0},
      {"L limited below", 20, 20, 0, -50, 0, 0, 0, 20, 0},
      {"C limited above", 50, 90, 0, 0, 20, 0, 50, 100, 0},
      {"C limited below", 50, 10, 0, 0, -20, 0, 50, 0, 0},
      {"hue wraps down", 50, 20, 10, 0, 0, -30, 50, 20, 340},
      {"360 itself stays", 50, 20, 350, 0, 0, 10, 50, 20, 360},
      {"0 itself stays", 50, 20, 10, 0, 0, -10, 50, 20, 0},
      {"kept: one turn only, upwards", 50, 20, 350, 0, 0, 800, 50, 20, 790},
      {"kept: one turn only, downwards", 50, 20, 10, 0, 0, -800, 50, 20, -430},
      {"huge", 50, 20, 10, 1e300, 1e300, 0, 100, 100, 10},
      {"infinite", 50, 20, 10, -kInf, kInf, 0, 0, 100, 10},
  };
  for (const auto& row : kRows) {
    CLCH color = WithD50();
    color.L = row.L;
    color.C = row.C;
    color.H = row.H;
    color.Adjust(row.dL, row.dC, row.dH);
    EXPECT_EQ(color.L, row.expectedL) << row.what;
    EXPECT_EQ(color.C, row.expectedC) << row.what;
    EXPECT_EQ(color.H, row.expectedH) << row.what;

    // Lab, XYZ and RGB follow; L, C, h stay.
    CLCH derived = WithD50();
    derived.L = row.expectedL;
    derived.C = row.expectedC;
    derived.H = row.expectedH;
    derived.LCH2LAB();
    derived.LAB2XYZ();
    derived.XYZ2RGB();
    EXPECT_EQ(color.a, derived.a) << row.what;
    EXPECT_EQ(color.X, derived.X) << row.what;
    EXPECT_EQ(color.R, derived.R) << row.what;
  }
}

TEST(ClchBadInput, NotANumberPassesThroughBothLimits) {
  CLCH color = WithD50();
  color.PutData_RGB(kNaN, kNaN, kNaN);
  EXPECT_TRUE(std::isnan(color.R));
  EXPECT_TRUE(std::isnan(color.X));
  EXPECT_TRUE(std::isnan(color.L));
  color.PutData_Lab(50, 0, 0);
  color.Adjust(kNaN, 0, 0);
  EXPECT_TRUE(std::isnan(color.L));
  EXPECT_TRUE(std::isnan(color.R));
}

TEST(ClchBadInput, ZeroWhiteGivesInfinitiesAndNaNs) {
  CLCH color(0, 0, 0);
  color.PutData_XYZ(0.5, 0.5, 0.5);
  EXPECT_EQ(color.L, kInf);
  EXPECT_TRUE(std::isnan(color.a));
  color.PutData_XYZ(0, 0, 0);
  EXPECT_TRUE(std::isnan(color.L));
}

}  // namespace
