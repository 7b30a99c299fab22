#include <cmath>
#include <memory>

#include "checks.h"
#include "declarations.h"

using namespace client;

namespace {

void Matrices() {
  const struct {
    const char* name;
    const double* table;
    double values[9];
  } kTables[] = {
      {"sRGB_D50",
       sRGB_D50,
       {0.4361, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7141}},
      {"inv_sRGB_D50",
       inv_sRGB_D50,
       {3.1341, -1.6174, -0.4907, -0.9788, 1.9163, 0.0334, 0.072, -0.229, 1.4054}},
      {"AdobeRGB_D50",
       AdobeRGB_D50,
       {0.6098, 0.2053, 0.1492, 0.3111, 0.6257, 0.0632, 0.0195, 0.0609, 0.7448}},
      // The second row equals that of inv_sRGB_D50.
      {"inv_AdobeRGB_D50",
       inv_AdobeRGB_D50,
       {1.9625, -0.6107, -0.3414, -0.9788, 1.9163, 0.0334, 0.0287, -0.1407, 1.3489}},
      {"AppleRGB_D50",
       AppleRGB_D50,
       {0.4756, 0.3397, 0.149, 0.2552, 0.6726, 0.0723, 0.0185, 0.1133, 0.6933}},
      {"inv_AppleRGB_D50",
       inv_AppleRGB_D50,
       {2.8513, -1.361, -0.4709, -1.0928, 2.035, 0.0227, 0.1027, -0.2965, 1.4512}},
      {"ColorMatchRGB_D50",
       ColorMatchRGB_D50,
       {0.5095, 0.3209, 0.1339, 0.275, 0.6581, 0.067, 0.0243, 0.1088, 0.6921}},
      {"inv_ColorMatchRGB_D50",
       inv_ColorMatchRGB_D50,
       {2.6416, -1.2231, -0.3929, -1.1121, 2.0592, 0.016, 0.0822, -0.2808, 1.4562}},
  };
  for (const auto& table : kTables) {
    for (int i = 0; i < 9; ++i) {
      if (table.table[i] != table.values[i]) {
        Fail(__FILE__, __LINE__, std::string(table.name) + " differs at " + std::to_string(i));
      }
    }
  }
}

bool Near(double a, double b, double tolerance) {
  return std::fabs(a - b) <= tolerance;
}

void Lch() {
  using ColorLch::CLCH;
  // On the heap between guards: the constructor must not write past the object.
  struct Guarded {
    CLCH colour{65535, 65535, 65535};
    double guard = 4711;
  };
  const auto guarded = std::make_unique<Guarded>();
  CLCH& lch = guarded->colour;
  CHECK_EQ(guarded->guard, 4711.0);
  CHECK_EQ(lch.whiteX, 1.0);
  CHECK_EQ(lch.whiteZ, 1.0);
  CHECK_EQ(lch.l, 0.0);
  CHECK_EQ(lch.z, 0.0);
  CHECK_EQ(lch.toXYZ[0], 0.4361);
  CHECK_EQ(lch.toRGB[8], 1.4054);
  const struct {
    int space;
    double toXYZ0, toRGB0;
  } kSpaces[] = {{1, 0.6098, 1.9625},     {2, 0.4756, 2.8513},
                 {3, 0.5095, 2.6416},     {7, 0.5095, 2.6416},  // unknown: unchanged
                 {65535, 0.4361, 3.1341}, {0, 0.4361, 3.1341}};
  for (const auto& row : kSpaces) {
    lch.SetColorSpace(static_cast<ColorLch::ColorSpace>(row.space));
    CHECK_EQ(lch.toXYZ[0], row.toXYZ0);
    CHECK_EQ(lch.toRGB[0], row.toRGB0);
  }
  lch.SetWhite(32767.5, 65535, 131070);
  CHECK_EQ(lch.whiteX, 0.5);
  CHECK_EQ(lch.whiteY, 1.0);
  CHECK_EQ(lch.whiteZ, 2.0);
  lch.SetWhite(65535, 65535, 65535);

  lch.PutData_RGB(300, -4, 128);
  CHECK_EQ(lch.red, 255.0);
  CHECK_EQ(lch.green, 0.0);
  CHECK_EQ(lch.blue, 128.0);
  // 0.4361 * 255 + 0.1431 * 128, rounded to single precision, over 255.
  CHECK_EQ(
      lch.x,
      static_cast<double>(static_cast<float>(0.4361 * 255 + 0.3851 * 0 + 0.1431 * 128)) / 255.0);

  lch.PutData_Lch(80, 10, 350);
  lch.Adjust(50, 0, 30);
  CHECK_EQ(lch.l, 100.0);
  CHECK_EQ(lch.hue, 20.0);
  lch.PutData_Lab(50, 0, -1);
  CHECK_EQ(lch.chroma, 1.0);
  CHECK_EQ(lch.hue, std::atan2(-1.0, 0.0) * 57.2958 + 360);
  CHECK(Near(lch.hue, 270, 1e-4));
  lch.PutData_XYZ(1, 1, 1);
  CHECK(Near(lch.l, 100, 1e-4) && Near(lch.labA, 0, 1e-3) && Near(lch.labB, 0, 1e-3));

  // The steps one by one.
  lch.l = 50;
  lch.chroma = 30;
  lch.hue = 60;
  lch.LCH2LAB();
  CHECK_EQ(lch.labA, 30 * std::cos(0.0174533 * 60));
  CHECK_EQ(lch.labB, 30 * std::sin(0.0174533 * 60));
  lch.LAB2LCH();
  CHECK(Near(lch.chroma, 30, 1e-12) && Near(lch.hue, 60, 1e-3));
  lch.LAB2XYZ();
  const double fy = (50.0 + 16) / 116;
  CHECK_EQ(lch.y, fy * fy * fy);
  lch.x = lch.y = lch.z = 0.5;
  lch.XYZ2LAB();
  CHECK_EQ(lch.l, 116 * std::pow(0.5, 0.3333333) - 16);
  CHECK_EQ(lch.labA, 0.0);
  lch.XYZ2RGB();
  CHECK_EQ(lch.red, 255 * (3.1341 * 0.5 + -1.6174 * 0.5 + -0.4907 * 0.5));
  lch.red = 255;
  lch.green = lch.blue = 0;
  lch.RGB2XYZ();
  CHECK_EQ(lch.y, static_cast<double>(static_cast<float>(0.2225 * 255)) / 255.0);

  CLCH other(63195, 65535, 54073);
  other.SetColorSpace(ColorLch::SpaceAdobe);
  CHECK(&(other = lch) == &other);
  CHECK_EQ(other.toXYZ[0], 0.6098);
  CHECK_EQ(other.whiteX, 63195 / 65535.0);
  CHECK_EQ(guarded->guard, 4711.0);
}

void Formulas() {
  CHECK_EQ(sRGB_Gamma_Decode(0.03), 0.03 / 12.92);
  CHECK_EQ(sRGB_Gamma_Decode(0.5), std::pow((0.5 + 0.055) / 1.055, 2.4));
  CHECK_EQ(sRGB_Gamma_Encode(0.003), 0.003 * 12.92);
  CHECK_EQ(sRGB_Gamma_Encode(0.5), 1.055 * std::pow(0.5, 0.4167) - 0.055);
  CHECK_EQ(sRGB_Gamma_Decode255(0), 0);
  CHECK_EQ(sRGB_Gamma_Decode255(255), 255);
  CHECK_EQ(sRGB_Gamma_Encode255(0), 0);
  CHECK_EQ(sRGB_Gamma_Encode255(255), 255);
  CHECK_EQ(RGB2Density(0.01), 2.0);
  CHECK(std::isinf(RGB2Density(0)) && RGB2Density(0) > 0);
  CHECK_EQ(RGB2Density255(255), 0.0);
  CHECK_EQ(Density2RGB(0), 1.0);
  CHECK(Near(Density2RGB(2), 0.01, 1e-15));
  CHECK_EQ(Density2RGB255(0), 255);
  CHECK_EQ(Density2RGB255(1), 26);  // 25.5 + 0.5

  double xyz[3] = {0, 0, 0}, temperature = -1;
  CHECK_EQ(XYZtoCorColorTemp(xyz, &temperature), -1);
  CHECK_EQ(temperature, -1.0);
  // CIE illuminant D65: 6504 K, to which the method comes within a few kelvin.
  double d65[3] = {0.95047, 1.0, 1.08883};
  CHECK_EQ(XYZtoCorColorTemp(d65, &temperature), 0);
  CHECK(Near(temperature, 6504, 5));

  const struct {
    int r, g, b, h, s, v;
  } kRows[] = {
      {255, 0, 0, 0, 100, 100},
      {0, 0, 255, 240, 100, 100},
      {128, 128, 128, 0, 0, 50},
  };
  for (const auto& row : kRows) {
    int h = -1, s = -1, v = -1;
    RGB2HSB(row.r, row.g, row.b, h, s, v);
    CHECK_EQ(h, row.h);
    CHECK_EQ(s, row.s);
    CHECK_EQ(v, row.v);
  }
}

}  // namespace

void CheckColorMath() {
  Matrices();
  Lch();
  Formulas();
}
