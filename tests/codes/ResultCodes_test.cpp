#include "codes/ResultCodes.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>

#include "codes/CodeNames.h"
#include "codes/ColorCodes.h"
#include "interface/kxcms.h"

namespace {

TEST(ResultCodes, Values) {
  const struct {
    const char* what;
    int code;
    unsigned value;
  } kRows[] = {
      {"IccResultOk", IccResultOk, 0},
      {"IccResultNotSet", IccResultNotSet, 0xFFFF},
      {"IccResultNoConversionType", IccResultNoConversionType, 0xFFFE},
      {"IccResultUnused", IccResultUnused, 0xFFFD},
      {"IccResultProfileRead", IccResultProfileRead, 0xFFFB},
      {"IccResultInputColor", IccResultInputColor, 0xFFFA},
      {"IccResultFail", IccResultFail, 0xFFFFFFFF},
      {"KX_RESULT_OK", KX_RESULT_OK, 0},
      {"KX_RESULT_UNUSED", KX_RESULT_UNUSED, 65533},
      {"KX_RESULT_NOT_SET", KX_RESULT_NOT_SET, 65535},
      {"KX_RESULT_FAIL", KX_RESULT_FAIL, 0xFFFFFFFF},
  };
  for (const auto& row : kRows) EXPECT_EQ(static_cast<unsigned>(row.code), row.value) << row.what;
}

TEST(ResultCodes, NamesAreSevenTextsThenNulls) {
  const char* const kNames[] = {"IccNoError",       "InputColorError", "NotInputProfile",
                                "NotOutputProfile", "UnUsedFun",       "UnDefinedError",
                                "UnKnownErrorCode"};
  ASSERT_EQ(std::size(strErr), 40u);
  for (int i = 0; i < 7; ++i) EXPECT_STREQ(strErr[i], kNames[i]) << i;
  for (int i = 7; i < 40; ++i) EXPECT_EQ(strErr[i], nullptr) << i;
}

TEST(CodeNames, TextOrEmptyString) {
  const struct {
    const char* what;
    const char* actual;
    const char* expected;
  } kRows[] = {
      {"first colour", NameOf(strColor, 0), "RGB"},
      {"last colour", NameOf(strColor, 39), "sRGB_KodakText_16"},
      {"colour past the end", NameOf(strColor, 40), ""},
      {"no colour", NameOf(strColor, 65535), ""},
      {"negative colour", NameOf(strColor, -1), ""},
      {"smallest int", NameOf(strColor, INT_MIN), ""},
      {"largest int", NameOf(strColor, INT_MAX), ""},
      {"last intent", NameOf(strIntent, 3), "Absolute"},
      {"intent past the end", NameOf(strIntent, 4), ""},
      {"negative intent", NameOf(strIntent, -1), ""},
      {"last text of the results", NameOf(strErr, 6), "UnKnownErrorCode"},
      {"null entry", NameOf(strErr, 7), ""},
      {"last null entry", NameOf(strErr, 39), ""},
      {"profile could not be read", NameOf(strErr, 65531), ""},
      {"input code refused", NameOf(strErr, 65530), ""},
      {"all ones", NameOf(strErr, -1), ""},
  };
  for (const auto& row : kRows) EXPECT_STREQ(row.actual, row.expected) << row.what;
}

}  // namespace
