#include "engine/Stopwatch.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/OddStreamState.h"

namespace {

using ICC40::ICC_ENG_S4::Stopwatch;

// A loaded machine may take a second or two; both lines then say so.
bool AreTheLines(const std::string& printed) {
  for (int seconds = 0; seconds < 60; ++seconds) {
    const std::string count = "(count : " + std::to_string(seconds) + ")\n";
    if (printed ==
        "Start Conversion(Start) : New ID\n"
        "Start Conversion(Pause) : End Conversion" +
            count + "Start Conversion(Stop) :  End Conversion" + count) {
      return true;
    }
  }
  return false;
}

TEST(Stopwatch, PrintsThreeLines) {
  testing::internal::CaptureStdout();
  Stopwatch().Stop();
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(AreTheLines(printed)) << printed;
}

TEST(Stopwatch, PrintsThemWhateverTheApplicationDidToTheStream) {
  const std::string printed = PrintedOddly([] { Stopwatch().Stop(); });
  EXPECT_TRUE(AreTheLines(printed)) << printed;
}

}  // namespace
