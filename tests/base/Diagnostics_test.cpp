#include "base/Diagnostics.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/OddStreamState.h"

namespace {

TEST(Decimal, Digits) {
  const struct {
    std::int64_t number;
    const char* text;
  } kRows[] = {
      {0, "0"},
      {7, "7"},
      {-7, "-7"},
      {4294967295, "4294967295"},
      {INT64_MAX, "9223372036854775807"},
      {INT64_MIN, "-9223372036854775808"},
  };
  for (const auto& row : kRows) EXPECT_EQ(std::string_view(Decimal(row.number)), row.text);
}

TEST(PrintLine, IsWhatItsPartsAre) {
  const auto print = [] {
    PrintLine({"one ", Decimal(-1234567), std::string("|") + "two"});
    PrintLine({});
    PrintLine({"three"});
  };
  const char* const expected = "one -1234567|two\n\nthree\n";
  testing::internal::CaptureStdout();
  print();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
  EXPECT_EQ(PrintedOddly(print), expected);
}

}  // namespace
