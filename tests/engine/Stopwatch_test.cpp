#include "engine/Stopwatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include "tests/OddStreamState.h"

using ICC40::ICC_ENG_S4::Stopwatch;

namespace {

constexpr char kStartLine[] = "Start Conversion(Start) : New ID\n";

// Two blanks behind the second colon.
std::string StopLines(std::time_t seconds) {
  const std::string count = std::to_string(seconds);
  return "Start Conversion(Pause) : End Conversion(count : " + count +
         ")\nStart Conversion(Stop) :  End Conversion(count : " + count + ")\n";
}

TEST(Stopwatch, PrintsTheStartAtOnce) {
  testing::internal::CaptureStdout();
  const Stopwatch stopwatch;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), kStartLine);
}

// Ticks of the clock's seconds, of which one may fall between any two lines of this test.
TEST(Stopwatch, CountsSecondsUntilItIsStopped) {
  for (const int milliseconds : {0, 1100}) {
    testing::internal::CaptureStdout();
    const std::time_t beforeStart = std::time(nullptr);
    Stopwatch stopwatch;
    const std::time_t afterStart = std::time(nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    const std::time_t beforeStop = std::time(nullptr);
    stopwatch.Stop();
    const std::time_t afterStop = std::time(nullptr);
    const std::string printed = testing::internal::GetCapturedStdout();
    std::time_t seconds = beforeStop - afterStart;
    while (seconds < afterStop - beforeStart && printed != kStartLine + StopLines(seconds)) {
      ++seconds;
    }
    EXPECT_EQ(printed, kStartLine + StopLines(seconds)) << milliseconds << " ms";
    EXPECT_GE(seconds, milliseconds / 1000);
  }
}

// A loaded machine may take a second or two; both lines then say so.
TEST(Stopwatch, PrintsThemWhateverTheApplicationDidToTheStream) {
  const std::string printed = PrintedOddly([] { Stopwatch().Stop(); });
  std::time_t seconds = 0;
  while (seconds < 60 && printed != kStartLine + StopLines(seconds)) ++seconds;
  EXPECT_EQ(printed, kStartLine + StopLines(seconds));
}

}  // namespace
