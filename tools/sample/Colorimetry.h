#ifndef KXCMS_TOOLS_SAMPLE_COLORIMETRY_H
#define KXCMS_TOOLS_SAMPLE_COLORIMETRY_H

#include <array>

// Colour formulas at full precision, apart from the library's, which measures of the library must
// not rest on.

using Vector3 = std::array<double, 3>;
using Matrix3 = std::array<Vector3, 3>;  ///< rows

Vector3 operator*(const Matrix3& m, const Vector3& v);
Matrix3 operator*(const Matrix3& a, const Matrix3& b);
Matrix3 Inverse(const Matrix3& m);

struct Chromaticity {
  double x, y;
};

/// The matrix from linear RGB to XYZ of three primaries whose full sum is `white` with Y = 1.
Matrix3 RgbToXyz(const std::array<Chromaticity, 3>& primaries, const Vector3& white);

/// ICC profile connection space white, D50.
constexpr Vector3 kD50 = {0.9642, 1.0, 0.8249};

/// CIE 15:2004, white D50.
Vector3 LabToXyz(const Vector3& lab);
Vector3 XyzToLab(const Vector3& xyz);

/// The difference of 1976.
double DeltaE76(const Vector3& lab1, const Vector3& lab2);

/// Linear sRGB (IEC 61966-2-1), its D65 white adapted to D50 by the Bradford transform.
Vector3 XyzToLinearSrgb(const Vector3& xyz);
Vector3 SrgbToLab(const Vector3& encoded);

#endif
