#include "Colorimetry.h"

#include <cmath>

namespace {

// CIE 15:2004: exact form of 0.008856 and 903.3.
constexpr double kEpsilon = 216.0 / 24389.0;
constexpr double kKappa = 24389.0 / 27.0;

double Lightness(double t) {
  return t > kEpsilon ? std::cbrt(t) : (kKappa * t + 16) / 116;
}
double FromLightness(double f) {
  const double cubed = f * f * f;
  return cubed > kEpsilon ? cubed : (116 * f - 16) / kKappa;
}

Matrix3 Diagonal(const Vector3& v) {
  return {{{v[0], 0, 0}, {0, v[1], 0}, {0, 0, v[2]}}};
}

Matrix3 SrgbToXyz() {
  constexpr std::array<Chromaticity, 3> kPrimaries = {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}};
  constexpr double kWhiteX = 0.3127;
  constexpr double kWhiteY = 0.3290;
  constexpr Vector3 kD65 = {kWhiteX / kWhiteY, 1.0, (1 - kWhiteX - kWhiteY) / kWhiteY};
  // ICC.1:2010, annex E.3 (linearized Bradford).
  constexpr Matrix3 kBradford = {
      {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
  const Vector3 from = kBradford * kD65;
  const Vector3 to = kBradford * kD50;
  const Matrix3 scale = Diagonal({to[0] / from[0], to[1] / from[1], to[2] / from[2]});
  return Inverse(kBradford) * scale * kBradford * RgbToXyz(kPrimaries, kD65);
}

double DecodeSrgb(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

}  // namespace

Vector3 operator*(const Matrix3& m, const Vector3& v) {
  Vector3 product;
  for (int i = 0; i < 3; ++i) product[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
  return product;
}

Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 product;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      product[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    }
  }
  return product;
}

Matrix3 Inverse(const Matrix3& m) {
  const auto cofactor = [&m](int i, int j) {
    const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
    return m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1];
  };
  const double determinant =
      m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
  Matrix3 inverse;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) inverse[i][j] = cofactor(j, i) / determinant;
  }
  return inverse;
}

Matrix3 RgbToXyz(const std::array<Chromaticity, 3>& primaries, const Vector3& white) {
  Matrix3 columns;
  for (int c = 0; c < 3; ++c) {
    const auto [x, y] = primaries[c];
    columns[0][c] = x / y;
    columns[1][c] = 1;
    columns[2][c] = (1 - x - y) / y;
  }
  return columns * Diagonal(Inverse(columns) * white);
}

Vector3 LabToXyz(const Vector3& lab) {
  const double fy = (lab[0] + 16) / 116;
  const Vector3 f = {fy + lab[1] / 500, fy, fy - lab[2] / 200};
  Vector3 xyz;
  for (int i = 0; i < 3; ++i) xyz[i] = kD50[i] * FromLightness(f[i]);
  return xyz;
}

Vector3 XyzToLab(const Vector3& xyz) {
  Vector3 f;
  for (int i = 0; i < 3; ++i) f[i] = Lightness(xyz[i] / kD50[i]);
  return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

double DeltaE76(const Vector3& lab1, const Vector3& lab2) {
  return std::hypot(lab1[0] - lab2[0], lab1[1] - lab2[1], lab1[2] - lab2[2]);
}

Vector3 XyzToLinearSrgb(const Vector3& xyz) {
  static const Matrix3 kFromXyz = Inverse(SrgbToXyz());
  return kFromXyz * xyz;
}

Vector3 SrgbToLab(const Vector3& encoded) {
  static const Matrix3 kToXyz = SrgbToXyz();
  return XyzToLab(kToXyz *
                  Vector3{DecodeSrgb(encoded[0]), DecodeSrgb(encoded[1]), DecodeSrgb(encoded[2])});
}
