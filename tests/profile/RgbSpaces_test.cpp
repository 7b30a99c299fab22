#include "profile/RgbSpaces.h"

#include <gtest/gtest.h>

#include <string>

namespace kxcms {
namespace {

// The numbers were published with four or five decimals, and computed with whites of as many.
constexpr double kRounding = 1.5e-4;
// These were computed for the D50 of ASTM E308, whose Z is 0.8252, not 0.8249.
constexpr double kOtherWhite = 4e-4;

void ExpectNear(const Matrix3& matrix, const Matrix3& expected, double tolerance,
                const char* what) {
  for (std::size_t n = 0; n < matrix.size(); ++n) {
    EXPECT_NEAR(matrix[n], expected[n], tolerance) << what << ", element " << n;
  }
}

TEST(RgbSpaces, MatricesToThePcs) {
  const struct {
    const char* name;
    double tolerance;
    Matrix3 matrix;
  } kRows[] = {
      // The colorants of the ICC's own sRGB profiles.
      {"srgb", kRounding, {0.4360, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7139}},
      // Those that Adobe RGB (1998) gives for its ICC profile.
      {"adobe-rgb",
       kRounding,
       {0.60974, 0.20528, 0.14919, 0.31111, 0.62567, 0.06322, 0.01947, 0.06087, 0.74457}},
      {"display-p3",
       kRounding,
       {0.5151, 0.2920, 0.1571, 0.2412, 0.6922, 0.0666, -0.0010, 0.0419, 0.7841}},
      // ISO 22028-2.
      {"prophoto", kRounding, {0.7977, 0.1352, 0.0313, 0.2880, 0.7119, 0.0001, 0, 0, 0.8249}},
      {"ecirgb-v2",
       kOtherWhite,
       {0.6502, 0.1781, 0.1359, 0.3202, 0.6021, 0.0777, 0, 0.0678, 0.7574}},
      {"rec2020",
       kOtherWhite,
       {0.6735, 0.1657, 0.1251, 0.2790, 0.6753, 0.0456, -0.0019, 0.0300, 0.7972}},
  };
  for (const auto& row : kRows) {
    const RgbSpace* space = FindRgbSpace(row.name);
    ASSERT_NE(space, nullptr) << row.name;
    ExpectNear(RgbToPcs(*space), row.matrix, row.tolerance, row.name);
    const RgbSpace* linear = FindRgbSpace(std::string(row.name) + "-linear");
    ASSERT_NE(linear, nullptr) << row.name;
    EXPECT_EQ(RgbToPcs(*linear), RgbToPcs(*space)) << row.name;
  }
}

// In units of s15Fixed16: the profiles' own rounding, after which their colorants add up to the
// white.
constexpr double kOwnRounding = 1.5;
// The D65 of these profiles, as their chad shows, is daylight of 6504 K by formula, not (0.3127,
// 0.3290). Their Adobe RGB is 12 units from the published one for the same reason.
constexpr double kDaylight = 14;

// Red, green, blue in units of s15Fixed16, as profiles of these spaces that others made have them.
TEST(RgbSpaces, ColorantsOfOtherProfiles) {
  const struct {
    const char* name;
    const char* profile;
    double tolerance;
    Matrix3 colorants;
  } kRows[] = {
      {"srgb",
       "argyll-ref: sRGB.icm",
       kOwnRounding,
       {28576, 14581, 912, 25239, 46983, 6361, 9375, 3972, 46788}},
      {"adobe-rgb",
       "icc-profiles-free: compatibleWithAdobeRGB1998.icc",
       kOwnRounding,
       {39960, 20389, 1276, 13453, 41004, 3989, 9777, 4143, 48796}},
      {"display-p3",
       "argyll-ref: DisplayP3.icm",
       kOwnRounding,
       {33759, 15807, -69, 19135, 45367, 2745, 10296, 4362, 51385}},
      {"prophoto",
       "colord-data: ProPhotoRGB.icc",
       kOwnRounding,
       {52276, 18877, 0, 8860, 46654, 0, 2054, 6, 54061}},
      {"ecirgb-v2",
       "colord-data: ECI-RGBv2.icc",
       kOwnRounding,
       {42614, 20989, 0, 11671, 39458, 4446, 8905, 5089, 49615}},
      {"rec2020",
       "argyll-ref: Rec2020.icm",
       kOwnRounding,
       {44137, 18287, -127, 10858, 44260, 1965, 8195, 2989, 52223}},
      {"adobe-18",
       "icc-profiles-free: compatibleWithAdobeRGB1998.icc",
       kOwnRounding,
       {39960, 20389, 1276, 13453, 41004, 3989, 9777, 4143, 48796}},
      {"colormatch",
       "colord-data: ColorMatchRGB.icc",
       kOwnRounding,
       {33383, 18016, 1590, 21031, 43132, 7129, 8776, 4388, 45342}},
      {"apple",
       "colord-data: AppleRGB.icc",
       kDaylight,
       {31154, 16715, 1210, 22277, 44089, 7433, 9759, 4732, 45418}},
  };
  for (const auto& row : kRows) {
    const Matrix3 matrix = RgbToPcs(*FindRgbSpace(row.name));
    for (std::size_t n = 0; n < matrix.size(); ++n) {
      EXPECT_NEAR(65536 * matrix[n % 3 * 3 + n / 3], row.colorants[n], row.tolerance)
          << row.name << " and " << row.profile << ", number " << n;
    }
  }
}

// IEC 61966-2-1: linear RGB to XYZ, unadapted.
TEST(RgbSpaces, MatrixOfSrgbBeforeAdaptation) {
  const Matrix3 fromPcs = Inverse(AdaptationToPcs({0.3127 / 0.3290, 1, 0.3583 / 0.3290}));
  ExpectNear(Product(fromPcs, RgbToPcs(*FindRgbSpace("srgb"))),
             {0.4124, 0.3576, 0.1805, 0.2126, 0.7152, 0.0722, 0.0193, 0.1192, 0.9505}, kRounding,
             "sRGB");
}

// The chad tag of the ICC's sRGB profiles of version 4.
TEST(RgbSpaces, AdaptationFromD65) {
  ExpectNear(AdaptationToPcs({0.3127 / 0.3290, 1, 0.3583 / 0.3290}),
             {1.0479, 0.0229, -0.0502, 0.0296, 0.9905, -0.0171, -0.0092, 0.0151, 0.7517}, kRounding,
             "D65");
}

TEST(RgbSpaces, WhiteIsThatOfThePcs) {
  for (const RgbSpace& space : RgbSpaces()) {
    const Xyz white = Product(RgbToPcs(space), Xyz{1, 1, 1});
    for (std::size_t n = 0; n < 3; ++n) EXPECT_NEAR(white[n], kPcsWhite[n], 1e-14) << space.name;
  }
}

TEST(RgbSpaces, Listed) {
  const struct {
    const char* name;
    Transfer transfer;
  } kRows[] = {
      {"srgb", Transfer::kSRgb},
      {"srgb-linear", Transfer::kLinear},
      {"adobe-rgb", Transfer::kAdobeRgb},
      {"adobe-rgb-linear", Transfer::kLinear},
      {"display-p3", Transfer::kSRgb},
      {"display-p3-linear", Transfer::kLinear},
      {"prophoto", Transfer::kRomm},
      {"prophoto-linear", Transfer::kLinear},
      {"ecirgb-v2", Transfer::kLStar},
      {"ecirgb-v2-linear", Transfer::kLinear},
      {"rec2020", Transfer::kRec2020},
      {"rec2020-linear", Transfer::kLinear},
      {"adobe-18", Transfer::kGamma18},
      {"apple", Transfer::kGamma18},
      {"apple-linear", Transfer::kLinear},
      {"colormatch", Transfer::kGamma18},
      {"colormatch-linear", Transfer::kLinear},
  };
  ASSERT_EQ(RgbSpaces().size(), std::size(kRows));
  for (std::size_t n = 0; n < std::size(kRows); ++n) {
    EXPECT_EQ(std::string(RgbSpaces()[n].name), kRows[n].name);
    EXPECT_EQ(RgbSpaces()[n].transfer, kRows[n].transfer) << kRows[n].name;
    EXPECT_EQ(FindRgbSpace(kRows[n].name), &RgbSpaces()[n]);
  }
  for (const char* name : {"", "sRGB", "srgb ", "srgb-", "rec2020-linear-linear"}) {
    EXPECT_EQ(FindRgbSpace(name), nullptr) << name;
  }
}

TEST(RgbSpaces, MatrixArithmetic) {
  const Matrix3 kMatrix = {2, 0, 1, 0, 4, 0, 1, 0, 1};
  EXPECT_EQ(Inverse(kMatrix), (Matrix3{1, 0, -1, 0, 0.25, 0, -1, 0, 2}));
  EXPECT_EQ(Product(kMatrix, Matrix3{1, 2, 3, 4, 5, 6, 7, 8, 9}),
            (Matrix3{9, 12, 15, 16, 20, 24, 8, 10, 12}));
  EXPECT_EQ(Product(kMatrix, Xyz{1, 2, 3}), (Xyz{5, 8, 4}));
}

}  // namespace
}  // namespace kxcms
