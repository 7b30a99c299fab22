#include "codes/ColorCodes.h"

#include <gtest/gtest.h>

#include <iterator>
#include <type_traits>

#include "interface/kxcms.h"

namespace {

using namespace ICC40::ICCFILE;

TEST(ColorCodes, ValueNameAndCConstant) {
  const struct {
    int value;
    ColorSpaceSignature code;
    int cConstant;
    const char* name;
  } kRows[] = {
      {0, RGB, KX_COLOR_RGB, "RGB"},
      {1, RGB_16, KX_COLOR_RGB_16, "RGB_16"},
      {2, Lab, KX_COLOR_LAB, "Lab"},
      {3, Lab_16, KX_COLOR_LAB_16, "Lab_16"},
      {4, CMYK, KX_COLOR_CMYK, "CMYK"},
      {5, CMYK_16, KX_COLOR_CMYK_16, "CMYK_16"},
      {6, XYZ, KX_COLOR_XYZ, "XYZ"},
      {7, XYZ_16, KX_COLOR_XYZ_16, "XYZ_16"},
      {8, sRGB220, KX_COLOR_SRGB220, "sRGB220"},
      {9, sRGB220_16, KX_COLOR_SRGB220_16, "sRGB220_16"},
      {10, sRGB100, KX_COLOR_SRGB100, "sRGB100"},
      {11, sRGB100_16, KX_COLOR_SRGB100_16, "sRGB100_16"},
      {12, sRGB, KX_COLOR_SRGB, "sRGB"},
      {13, sRGB_16, KX_COLOR_SRGB_16, "sRGB_16"},
      {14, CMY, KX_COLOR_CMY, "CMY"},
      {15, CMY_16, KX_COLOR_CMY_16, "CMY_16"},
      {16, CLR6, KX_COLOR_CLR6, "CLR6"},
      {17, CLR6_16, KX_COLOR_CLR6_16, "CLR6_16"},
      {18, CLR7, KX_COLOR_CLR7, "CLR7"},
      {19, CLR7_16, KX_COLOR_CLR7_16, "CLR7_16"},
      {20, Adobe100, KX_COLOR_ADOBE100, "Adobe100"},
      {21, Adobe100_16, KX_COLOR_ADOBE100_16, "Adobe100_16"},
      {22, Adobe, KX_COLOR_ADOBE, "Adobe"},
      {23, Adobe_16, KX_COLOR_ADOBE_16, "Adobe_16"},
      {24, Apple100, KX_COLOR_APPLE100, "Apple100"},
      {25, Apple100_16, KX_COLOR_APPLE100_16, "Apple100_16"},
      {26, Apple, KX_COLOR_APPLE, "Apple"},
      {27, Apple_16, KX_COLOR_APPLE_16, "Apple_16"},
      {28, ColorMatch100, KX_COLOR_COLORMATCH100, "ColorMatch100"},
      {29, ColorMatch100_16, KX_COLOR_COLORMATCH100_16, "ColorMatch100_16"},
      {30, ColorMatch, KX_COLOR_COLORMATCH, "ColorMatch"},
      {31, ColorMatch_16, KX_COLOR_COLORMATCH_16, "ColorMatch_16"},
      {32, Ycc, KX_COLOR_YCC, "Ycc"},
      {33, Ycc_16, KX_COLOR_YCC_16, "Ycc_16"},
      {34, sRGB_KodakPhoto, KX_COLOR_SRGB_KODAKPHOTO, "sRGB_KodakPhoto"},
      {35, sRGB_KodakPhoto_16, KX_COLOR_SRGB_KODAKPHOTO_16, "sRGB_KodakPhoto_16"},
      {36, sRGB_KodakMix, KX_COLOR_SRGB_KODAKMIX, "sRGB_KodakMix"},
      {37, sRGB_KodakMix_16, KX_COLOR_SRGB_KODAKMIX_16, "sRGB_KodakMix_16"},
      {38, sRGB_KodakText, KX_COLOR_SRGB_KODAKTEXT, "sRGB_KodakText"},
      {39, sRGB_KodakText_16, KX_COLOR_SRGB_KODAKTEXT_16, "sRGB_KodakText_16"},
  };
  ASSERT_EQ(std::size(kRows), std::size(strColor));
  ASSERT_EQ(kColorCodeCount, 40);
  for (const auto& row : kRows) {
    EXPECT_EQ(static_cast<int>(row.code), row.value) << row.name;
    EXPECT_EQ(row.cConstant, row.value) << row.name;
    EXPECT_STREQ(strColor[row.value], row.name);
  }
  EXPECT_EQ(kNoColorCode, 65535);
  EXPECT_EQ(static_cast<int>(KX_COLOR_NONE), 65535);
}

TEST(ColorCodes, Intents) {
  const struct {
    int value;
    Intent intent;
    int cConstant;
    const char* name;
  } kRows[] = {
      {0, Percepture, KX_INTENT_PERCEPTUAL, "Percepture"},
      {1, Relative, KX_INTENT_RELATIVE, "Relative"},
      {2, Saturation, KX_INTENT_SATURATION, "Saturation"},
      {3, Absolute, KX_INTENT_ABSOLUTE, "Absolute"},
  };
  ASSERT_EQ(std::size(kRows), std::size(strIntent));
  ASSERT_EQ(kIntentCount, 4);
  for (const auto& row : kRows) {
    EXPECT_EQ(static_cast<int>(row.intent), row.value) << row.name;
    EXPECT_EQ(row.cConstant, row.value) << row.name;
    EXPECT_STREQ(strIntent[row.value], row.name);
  }
}

TEST(ColorCodes, EveryIntIsALegalValue) {
  static_assert(std::is_same_v<std::underlying_type_t<ColorSpaceSignature>, int>);
  static_assert(std::is_same_v<std::underlying_type_t<Intent>, int>);
  EXPECT_EQ(static_cast<int>(static_cast<ColorSpaceSignature>(65535)), 65535);
  EXPECT_EQ(static_cast<int>(static_cast<Intent>(65535)), 65535);
}

}  // namespace
