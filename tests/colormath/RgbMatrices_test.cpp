#include "colormath/RgbMatrices.h"

#include <gtest/gtest.h>

#include <cmath>

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

TEST(RgbMatrices, DeliberateSecondRowOfInverseAdobeIsThatOfSRgb) {
  for (int i = 3; i < 6; ++i) EXPECT_EQ(inv_AdobeRGB_D50[i], inv_sRGB_D50[i]) << i;
}

}  // namespace
