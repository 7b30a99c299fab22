#include "colormath/RgbMatrices.h"

#include <gtest/gtest.h>

#include <array>

namespace {

struct Matrix {
  const char* what;
  const double* values;
  double expected[9];
};

const Matrix kMatrices[] = {
    {"sRGB_D50",
     sRGB_D50,
     {0.4361, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7141}},
    {"inv_sRGB_D50",
     inv_sRGB_D50,
     {3.1341, -1.6174, -0.4907, -0.9788, 1.9163, 0.0334, 0.072, -0.229, 1.4054}},
    {"AdobeRGB_D50",
     AdobeRGB_D50,
     {0.6098, 0.2053, 0.1492, 0.3111, 0.6257, 0.0632, 0.0195, 0.0609, 0.7448}},
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

TEST(RgbMatrices, Values) {
  for (const Matrix& m : kMatrices) {
    for (int i = 0; i < 9; ++i) EXPECT_EQ(m.values[i], m.expected[i]) << m.what << " [" << i << "]";
  }
}

// RGB white is D50 (ASTM E308: 0.96422, 1, 0.82521); three terms of four rounded decimals are off
// by at most 1.5e-4.
TEST(RgbMatrices, WhiteIsD50) {
  const double d50[3] = {0.96422, 1.0, 0.82521};
  for (const Matrix& m : {kMatrices[0], kMatrices[2], kMatrices[4], kMatrices[6]}) {
    for (int row = 0; row < 3; ++row) {
      const double* r = m.values + 3 * row;
      EXPECT_NEAR(r[0] + r[1] + r[2], d50[row], 1.5e-4) << m.what << " row " << row;
    }
  }
}

// Four decimals on each side: a product is off by at most about 3 * (3.2 + 1) * 5e-5 = 6.3e-4.
TEST(RgbMatrices, InversesAreInverses) {
  for (int pair = 0; pair < 8; pair += 2) {
    const double* m = kMatrices[pair].values;
    const double* inverse = kMatrices[pair + 1].values;
    for (int row = 0; row < 3; ++row) {
      for (int col = 0; col < 3; ++col) {
        double sum = 0.0;
        for (int k = 0; k < 3; ++k) sum += inverse[3 * row + k] * m[3 * k + col];
        EXPECT_NEAR(sum, row == col ? 1.0 : 0.0, 6.3e-4)
            << kMatrices[pair + 1].what << " row " << row << " column " << col;
      }
    }
  }
}

using Vector = std::array<double, 3>;
using Matrix3 = std::array<Vector, 3>;  // rows

Vector Times(const Matrix3& m, const Vector& v) {
  Vector product{};
  for (int row = 0; row < 3; ++row) {
    for (int k = 0; k < 3; ++k) product[row] += m[row][k] * v[k];
  }
  return product;
}

Matrix3 Times(const Matrix3& a, const Matrix3& b) {
  Matrix3 product{};
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      for (int k = 0; k < 3; ++k) product[row][col] += a[row][k] * b[k][col];
    }
  }
  return product;
}

// By cofactors.
Matrix3 Inverse(const Matrix3& m) {
  const auto cofactor = [&m](int row, int col) {
    const int r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (col + 1) % 3, c2 = (col + 2) % 3;
    return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
  };
  double determinant = 0.0;
  for (int col = 0; col < 3; ++col) determinant += m[0][col] * cofactor(0, col);
  Matrix3 inverse;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) inverse[row][col] = cofactor(col, row) / determinant;
  }
  return inverse;
}

// XYZ of a chromaticity, with Y = 1.
struct Chromaticity {
  double x, y;
  Vector Xyz() const { return {x / y, 1.0, (1.0 - x - y) / y}; }
};

constexpr Chromaticity kD65 = {0.3127, 0.3290}, kD50 = {0.3457, 0.3585};

struct WorkingSpace {
  const char* what;
  Chromaticity primaries[3];  // of R, G, B
  Chromaticity white;
  const double* toXyz;
  const double* toRgb;
};

const WorkingSpace kSpaces[] = {
    {"sRGB, IEC 61966-2-1",
     {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}},
     kD65,
     sRGB_D50,
     inv_sRGB_D50},
    {"Adobe RGB (1998)",
     {{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}},
     kD65,
     AdobeRGB_D50,
     inv_AdobeRGB_D50},
    {"Apple RGB",
     {{0.625, 0.34}, {0.28, 0.595}, {0.155, 0.07}},
     kD65,
     AppleRGB_D50,
     inv_AppleRGB_D50},
    {"ColorMatch RGB",
     {{0.63, 0.34}, {0.295, 0.605}, {0.15, 0.075}},
     kD50,
     ColorMatchRGB_D50,
     inv_ColorMatchRGB_D50},
};

// Columns are the primaries, each as bright as the white needs it.
Matrix3 UnadaptedToXyz(const WorkingSpace& space) {
  Matrix3 primaries;
  for (int col = 0; col < 3; ++col) {
    const Vector xyz = space.primaries[col].Xyz();
    for (int row = 0; row < 3; ++row) primaries[row][col] = xyz[row];
  }
  const Vector amounts = Times(Inverse(primaries), space.white.Xyz());
  for (Vector& row : primaries) {
    for (int col = 0; col < 3; ++col) row[col] *= amounts[col];
  }
  return primaries;
}

// The linearized Bradford transform (ICC.1:2010, annex E.3) from the space's white to D50.
Matrix3 ToD50(const WorkingSpace& space) {
  constexpr Matrix3 kConeResponse = {
      {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
  const Vector from = Times(kConeResponse, space.white.Xyz());
  const Vector to = Times(kConeResponse, kD50.Xyz());
  Matrix3 scaled = kConeResponse;
  for (int row = 0; row < 3; ++row) {
    for (double& value : scaled[row]) value *= to[row] / from[row];
  }
  return Times(Inverse(kConeResponse), scaled);
}

// Half a unit of the fourth decimal. One number of the 72 is off by a little more.
TEST(RgbMatrices, FollowFromPrimariesAndWhiteWithinTheirRounding) {
  constexpr double kRounding = 0.5e-4;
  constexpr double kOfSRgbXFromG = 0.52e-4;
  for (const WorkingSpace& space : kSpaces) {
    const Matrix3 toXyz = Times(ToD50(space), UnadaptedToXyz(space));
    const Matrix3 toRgb = Inverse(toXyz);
    for (int row = 0; row < 3; ++row) {
      for (int col = 0; col < 3; ++col) {
        const int i = 3 * row + col;
        const bool isException = space.toXyz == sRGB_D50 && i == 1;
        EXPECT_NEAR(space.toXyz[i], toXyz[row][col], isException ? kOfSRgbXFromG : kRounding)
            << space.what << " [" << i << "]";
        EXPECT_NEAR(space.toRgb[i], toRgb[row][col], kRounding)
            << space.what << ", inverse [" << i << "]";
      }
    }
  }
}

// The row that gives G is 0 for red and blue and 1 for the white, which determines it: sRGB and
// Adobe RGB share all three.
TEST(RgbMatrices, InversesOfSRgbAndAdobeRgbShareTheSecondRow) {
  const WorkingSpace& sRgb = kSpaces[0];
  const WorkingSpace& adobe = kSpaces[1];
  const Vector ofSRgb = Inverse(Times(ToD50(sRgb), UnadaptedToXyz(sRgb)))[1];
  const Vector ofAdobe = Inverse(Times(ToD50(adobe), UnadaptedToXyz(adobe)))[1];
  for (int col = 0; col < 3; ++col) {
    EXPECT_NEAR(ofSRgb[col], ofAdobe[col], 1e-14) << col;
    EXPECT_EQ(inv_sRGB_D50[3 + col], inv_AdobeRGB_D50[3 + col]) << col;
  }
}

}  // namespace
