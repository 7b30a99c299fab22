#include "colormath/CLCH.h"

#include <algorithm>
#include <cmath>

#include "colormath/RgbMatrices.h"

namespace ColorLch {
namespace {

constexpr double kRadPerDeg = 0.0174533;
constexpr double kDegPerRad = 57.2958;

// The white arrives as 16-bit fractions of 1.
constexpr double kWhiteUnit = 65535.0;

// CIE 15:2004 8.2.1: f(t) is the cube root of t above the toe, linear below it. The rounded
// constants (0.3333333 and not 1/3) keep results identical bit for bit.
constexpr double kToeXyz = 0.008856;  // end of the toe in t
constexpr double kToeF = 0.2069;      // and in f(t)
constexpr double kToeL = 7.9996;      // and in L*
constexpr double kToeSlope = 7.787;
constexpr double kToeOffset = 0.137931;
constexpr double kToeLPerY = 903.3;
constexpr double kOneThird = 0.3333333;

double CubeRoot(double t) {
  return ::std::pow(t, kOneThird);
}

double Cube(double x) {
  return x * x * x;
}

double ToeF(double t) {
  return kToeSlope * t + kToeOffset;
}

double InverseF(double f) {
  return f > kToeF ? Cube(f) : (f - kToeOffset) / kToeSlope;
}

// First the upper bound, then the lower; NaN passes.
double Clamp(double value, double upper) {
  if (value > upper) value = upper;
  if (value < 0.0) value = 0.0;
  return value;
}

double Clamp255(double value) {
  return Clamp(value, 255.0);
}

// One row of a matrix times a column.
double Dot(const double* row, double x, double y, double z) {
  return row[0] * x + row[1] * y + row[2] * z;
}

// The rounding to single precision is part of the result. It goes through a volatile, since g++ 12
// drops a conversion to float and back when it vectorises two of them side by side.
double XyzFromRgb255(const double* row, double r, double g, double b) {
  const volatile float single = static_cast<float>(Dot(row, r, g, b));
  return single / 255.0;
}

}  // namespace

CLCH::CLCH(double whiteX, double whiteY, double whiteZ)
    : L(0.0),
      C(0.0),
      H(0.0),
      a(0.0),
      b(0.0),
      R(0.0),
      G(0.0),
      B(0.0),
      X(0.0),
      Y(0.0),
      Z(0.0),
      Xw(whiteX / kWhiteUnit),
      Yw(whiteY / kWhiteUnit),
      Zw(whiteZ / kWhiteUnit) {
  SetColorSpace(kColorSpaceSRgb);
}

CLCH::~CLCH() = default;

void CLCH::SetColorSpace(ColorSpace space) {
  const auto load = [this](const double(&toXyz)[9], const double(&toRgb)[9]) {
    std::copy_n(toXyz, 9, RGB2XYZ_Matrix);
    std::copy_n(toRgb, 9, XYZ2RGB_Matrix);
  };
  switch (space) {
    case kColorSpaceSRgb:
    case kColorSpaceDefault:
      return load(sRGB_D50, inv_sRGB_D50);
    case kColorSpaceAdobeRgb:
      return load(AdobeRGB_D50, inv_AdobeRGB_D50);
    case kColorSpaceAppleRgb:
      return load(AppleRGB_D50, inv_AppleRGB_D50);
    case kColorSpaceColorMatchRgb:
      return load(ColorMatchRGB_D50, inv_ColorMatchRGB_D50);
  }
}

void CLCH::SetWhite(double whiteX, double whiteY, double whiteZ) {
  Xw = whiteX / kWhiteUnit;
  Yw = whiteY / kWhiteUnit;
  Zw = whiteZ / kWhiteUnit;
}

void CLCH::LCH2LAB() {
  const double hueRad = kRadPerDeg * H;
  a = C * ::std::cos(hueRad);
  b = C * ::std::sin(hueRad);
}

void CLCH::LAB2LCH() {
  C = ::std::sqrt(a * a + b * b);
  H = ::std::atan2(b, a) * kDegPerRad;
  if (H < 0.0) H += 360.0;
}

void CLCH::LAB2XYZ() {
  double fy;
  if (L > kToeL) {
    fy = (L + 16.0) / 116.0;
    Y = Cube(fy);
  } else {
    Y = L / kToeLPerY;
    fy = ToeF(Y);
  }
  X = InverseF(a / 500.0 + fy);
  Z = InverseF(fy - b / 200.0);
  X *= Xw;
  Y *= Yw;
  Z *= Zw;
}

void CLCH::XYZ2LAB() {
  const double xr = X / Xw;
  const double yr = Y / Yw;
  const double zr = Z / Zw;
  L = yr > kToeXyz ? 116.0 * CubeRoot(yr) - 16.0 : kToeLPerY * yr;
  const double fx = xr > kToeXyz ? CubeRoot(xr) : ToeF(xr);
  // L* and fx look at the ratio to the white, fy and fz at the absolute Y and Z: kept so that
  // results stay identical bit for bit.
  const double fy = Y > kToeXyz ? CubeRoot(yr) : ToeF(yr);
  const double fz = Z > kToeXyz ? CubeRoot(zr) : ToeF(zr);
  a = 500.0 * (fx - fy);
  b = 200.0 * (fy - fz);
}

void CLCH::XYZ2RGB() {
  R = Clamp255(255.0 * Dot(XYZ2RGB_Matrix, X, Y, Z));
  G = Clamp255(255.0 * Dot(XYZ2RGB_Matrix + 3, X, Y, Z));
  B = Clamp255(255.0 * Dot(XYZ2RGB_Matrix + 6, X, Y, Z));
}

void CLCH::RGB2XYZ() {
  X = XyzFromRgb255(RGB2XYZ_Matrix, R, G, B);
  Y = XyzFromRgb255(RGB2XYZ_Matrix + 3, R, G, B);
  Z = XyzFromRgb255(RGB2XYZ_Matrix + 6, R, G, B);
}

void CLCH::PutData_Lch(double newL, double newC, double newH) {
  L = newL;
  C = newC;
  H = newH;
  LCH2LAB();
  LAB2XYZ();
  XYZ2LAB();
}

void CLCH::PutData_Lab(double newL, double newA, double newB) {
  L = newL;
  a = newA;
  b = newB;
  LAB2LCH();
  LAB2XYZ();
  XYZ2RGB();
}

void CLCH::PutData_RGB(double newR, double newG, double newB) {
  R = Clamp255(newR);
  G = Clamp255(newG);
  B = Clamp255(newB);
  RGB2XYZ();
  XYZ2LAB();
  LAB2LCH();
}

void CLCH::PutData_XYZ(double newX, double newY, double newZ) {
  X = newX;
  Y = newY;
  Z = newZ;
  XYZ2LAB();
  LAB2LCH();
  XYZ2RGB();
}

CLCH& CLCH::operator=(CLCH const& other) {
  PutData_Lch(other.L, other.C, other.H);
  return *this;
}

void CLCH::Adjust(double dL, double dC, double dH) {
  L = Clamp(L + dL, 100.0);
  C = Clamp(C + dC, 100.0);
  // Wrapped once: an offset of several turns leaves 0..360.
  H += dH;
  if (H > 360.0) {
    H -= 360.0;
  } else if (H < 0.0) {
    H += 360.0;
  }
  LCH2LAB();
  LAB2XYZ();
  XYZ2RGB();
}

}  // namespace ColorLch
