#include "units/ToneCurve.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "units/Truncation.h"

using namespace ICC40::ICC_UNIT;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

}  // namespace

TEST(Truncation, GoesTowardZeroAndIsDefinedEverywhere) {
  const struct {
    const char* what;
    double value;
    std::int64_t expected;
  } kRows[] = {
      {"positive", 2.9, 2},
      {"negative", -2.9, -2},
      {"below one", -0.9, 0},
      {"largest double below 2^63", 9223372036854774784.0, 9223372036854774784},
      {"2^63", 9223372036854775808.0, kLowest},
      {"-2^63", -9223372036854775808.0, kLowest},
      {"far below", -1e300, kLowest},
      {"not a number", kNaN, kLowest},
      {"infinite", kInfinity, kLowest},
  };
  for (const auto& row : kRows) EXPECT_EQ(TruncateToInt64(row.value), row.expected) << row.what;
  EXPECT_EQ(static_cast<std::uint32_t>(kLowest), 0u) << "as a level";
}

TEST(ToneCurve, StepOfTheIdentityCurve) {
  EXPECT_EQ(kIdentityStep, 16.003663003663004);
  EXPECT_EQ(CurveStep(256), 257.0);
  EXPECT_EQ(CurveStep(65535), 65535.0 / 65534) << "of all entries, held or not";
  EXPECT_EQ(HeldEntries(4095), 4095);
  EXPECT_EQ(HeldEntries(65535), 4096);
}

TEST(ToneCurve, Interpolates) {
  ToneCurve curve = {0, 1024, 65535};
  curve[kCurveEntries - 2] = 10;
  curve[kCurveEntries - 1] = 65520;
  const struct {
    const char* what;
    double step, divisor;
    int level;
    std::int64_t expected;
  } kRows[] = {
      {"at an entry", 100.0, 100.0, 100, 1024},
      {"halfway", 100.0, 100.0, 50, 512},
      {"0.5 rounds up", 2048.0, 2048.0, 1, 1},
      {"below 0.5 rounds down", 4096.0, 4096.0, 1, 0},
      {"a divisor below the step overshoots: f = 2", 3.0, 1.0, 2, 2048},
      {"and can go below 0: 65535 * (1 - 2) + 0.5", 2.0, 0.5, 5, -65534},
      {"last entry of a full curve", 16.003663003663004, 15.0, 65535, 65520},
      {"beyond the curve the last entry holds", 1.0, 65536.0, 60000, 65520},
      {"no step stays at the first entry, f = 5", 0.0, 1.0, 5, 5120},
      {"no step at level 0", 0.0, 1.0, 0, 0},
      {"no divisor", 100.0, 0.0, 50, kLowest},
      {"no number", kNaN, kNaN, 50, kLowest},
      {"infinite step", kInfinity, kInfinity, 50, kLowest},
      {"negative step stays at the first entry", -65535.0, -65535.0, 65535, -1023},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(InterpolateCurve(curve, row.step, row.divisor, row.level), row.expected) << row.what;
  }
}

TEST(ToneCurve, LevelsBeyondTheHeldEntries) {
  for (const int entries : {4097, 5000, 8191, 16384, 65534, 65535}) {
    const double step = CurveStep(entries);
    const int first = FirstUnheldLevel(step);
    for (int level = 0; level < kTopLevel; ++level) {
      const CurvePosition position = PositionOn(entries, step, step, level);
      ASSERT_LT(position.entry, entries - 1) << entries << ' ' << level;
      const bool isHeld = position.entry + 1 < kCurveEntries;
      ASSERT_TRUE(level == first || isHeld == (level < first)) << entries << ' ' << level;
    }
  }
}

TEST(ToneCurve, CopiesTheFirst4096EntriesOfEachTable) {
  constexpr int kEntries = 5000;
  const auto tables = std::make_unique<unsigned short[]>(2 * kEntries);
  for (int i = 0; i < 2 * kEntries; ++i) tables[i] = static_cast<unsigned short>(i);
  const auto curves = std::make_unique<ToneCurve[]>(2);
  CopyCurves(tables.get(), 2, kEntries, curves.get());
  EXPECT_EQ(curves[0][0], 0u);
  EXPECT_EQ(curves[0][4095], 4095u);
  EXPECT_EQ(curves[1][0], 5000u);
  EXPECT_EQ(curves[1][4095], 9095u);
}
