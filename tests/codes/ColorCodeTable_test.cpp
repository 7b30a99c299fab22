#include "codes/ColorCodeTable.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <string>

namespace kxcms {
namespace {

using enum EncodingCurve;
using P = Primaries;

TEST(ColorCodeTable, Rows) {
  // Of both codes of an encoding: the 8-bit one's classes, and the 16-bit one's.
  const struct {
    int code8;
    int in8, out8, in16, out16;
    Primaries primaries;
    EncodingCurve curve;
    const char* command;
  } kRows[] = {
      {0, 1, 1, 2, 2, P::kNone, kNone, ""},
      {2, 1, 1, 2, 2, P::kNone, kNone, ""},
      {4, 0, 3, 0, 4, P::kNone, kNone, ""},
      {6, 0, 0, 0, 0, P::kNone, kNone, ""},
      {8, 0, 1, 0, 2, P::kSRgb, kSRgb, "srgb-220"},
      {10, 0, 1, 0, 2, P::kSRgb, kLinear, "srgb-linear"},
      {12, 0, 1, 0, 2, P::kSRgb, kSRgb, "srgb"},
      {14, 0, 0, 0, 0, P::kNone, kNone, ""},
      {16, 0, 5, 0, 6, P::kNone, kNone, ""},
      {18, 0, 7, 0, 8, P::kNone, kNone, ""},
      {20, 0, 1, 0, 2, P::kAdobeRgb, kLinear, "adobe-rgb-linear"},
      {22, 0, 1, 0, 2, P::kAdobeRgb, kGamma180, "adobe-18"},
      {24, 0, 1, 0, 2, P::kAppleRgb, kLinear, "apple-linear"},
      {26, 0, 1, 0, 2, P::kAppleRgb, kGamma180, "apple"},
      {28, 0, 1, 0, 2, P::kColorMatchRgb, kLinear, "colormatch-linear"},
      {30, 0, 1, 0, 2, P::kColorMatchRgb, kGamma180, "colormatch"},
      {32, 0, 0, 0, 0, P::kNone, kNone, ""},
      {34, 0, 1, 0, 2, P::kSRgb, kKodakPhoto, "srgb-kodak-photo"},
      {36, 0, 1, 0, 2, P::kSRgb, kKodakMix, "srgb-kodak-mix"},
      {38, 0, 1, 0, 2, P::kSRgb, kKodakText, "srgb-kodak-text"},
  };
  ASSERT_EQ(kColorCodes.size(), 2 * std::size(kRows));
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.code8);
    for (const bool is16 : {false, true}) {
      const ColorCode* code = FindColorCode(row.code8 + is16);
      ASSERT_NE(code, nullptr);
      EXPECT_EQ(static_cast<int>(code->code), row.code8 + is16);
      EXPECT_EQ(code->bits, is16 ? 16 : 8);
      EXPECT_EQ(code->inputClass, is16 ? row.in16 : row.in8);
      EXPECT_EQ(code->outputClass, is16 ? row.out16 : row.out8);
      EXPECT_EQ(code->primaries, row.primaries);
      EXPECT_EQ(code->curve, row.curve);
      EXPECT_STREQ(code->command, row.command);
      EXPECT_EQ(std::string(code->description).empty(), row.curve == kNone);
    }
  }
}

TEST(ColorCodeTable, OtherNumbersAreNoCodes) {
  for (const int code : {-1, 40, 41, 65535, INT_MIN, INT_MAX}) {
    EXPECT_EQ(FindColorCode(code), nullptr) << code;
  }
}

}  // namespace
}  // namespace kxcms
