#include "units/LutCurves.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/units/UnitFixtures.h"
#include "units/InputTable33.h"
#include "units/OutputTable33.h"

using namespace ICC40::ICC_UNIT;
using units_test::InputLut;
using units_test::OutputLut;
using units_test::Random;

namespace {

using Words = std::vector<unsigned short>;

// The same curve for three channels.
Words Thrice(const Words& curve) {
  Words curves;
  for (int c = 0; c < 3; ++c) curves.insert(curves.end(), curve.begin(), curve.end());
  return curves;
}

const Words kKnee = {0, 1000, 65535}, kValley = {65535, 0, 65535};

struct Row {
  const char* what;
  Words curve;
  int level, expected;
};

// Entry i stands at i * s, s = 65535 / (entries - 1): the interpolated value + 0.5, truncated.
TEST(LutCurves, InputValues) {
  const Row kRows[] = {
      {"level 0", kKnee, 0, 0},
      {"halfway to entry 1: 1000 * 16384 / 32767.5 = 500.008", kKnee, 16384, 500},
      {"just below entry 1: 999.98 is rounded", kKnee, 32767, 1000},
      {"just above it: 1000 + 64535 * 0.5 / 32767.5 = 1000.98", kKnee, 32768, 1001},
      {"the top level takes the last entry", kKnee, 65535, 65535},
      {"falling: 65535 * (1 - 10000 / 32767.5) = 45535", kValley, 10000, 45535},
      {"two entries stand for identity", {7, 9}, 12345, 12345},
      {"and are not read at the top either", {7, 9}, 65535, 65535},
  };
  for (const Row& row : kRows) {
    const auto lut = InputLut(3, Thrice(row.curve));
    const LutCurves curves = LutCurves::Input(*lut);
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(curves.At(c, row.level), row.expected) << row.what << ", channel " << c;
    }
  }
}

// Within an interval the fraction is that of 65536 / entries, so that it goes up to 1.5.
TEST(LutCurves, OutputValues) {
  const Row kRows[] = {
      {"three quarters: 16384 * 3 / 65536", kKnee, 16384, 750},
      {"beyond entry 1: 1000 * 32767 * 3 / 65536 = 1499.95", kKnee, 32767, 1500},
      {"the next interval: 1000 + 64535 * 0.5 * 3 / 65536 = 1001.48", kKnee, 32768, 1001},
      {"the top level takes the last entry", kKnee, 65535, 65535},
      {"below 0, 65535 * (1 - 30000 * 3 / 65536) + 0.5 = -24463.1, wraps", kValley, 30000, 41073},
      {"two entries stand for 16 * i: 15 / 15 of the first step", {7, 9}, 15, 16},
      {"16 / 15 of it: 17.07", {7, 9}, 16, 17},
      {"the second step begins at 16.0037", {7, 9}, 17, 17},
      {"the last entry is 16 * 4095", {7, 9}, 65535, 65520},
  };
  for (const Row& row : kRows) {
    const auto lut = OutputLut(3, Thrice(row.curve));
    const LutCurves curves = LutCurves::Output(*lut);
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(curves.At(c, row.level), row.expected) << row.what << ", channel " << c;
    }
    EXPECT_EQ(curves.At(3, row.level), row.level) << row.what << ", a channel that the tag lacks";
  }
}

TEST(LutCurves, AbsentTablesAreIdentity) {
  const auto lut = units_test::EmptyLut(3, 3, 2);
  lut->inputEntries = 256;
  lut->outputEntries = 256;
  for (const int level : {0, 1, 4711, 65535}) {
    EXPECT_EQ(LutCurves::Input(*lut).At(0, level), level);
    EXPECT_EQ(LutCurves::Output(*lut).At(2, level), level);
  }
}

// Of more than 4096 the table classes hold the first alone.
constexpr int kEntries[] = {2,    3,    4,    5,    16,   255,   256,  257,
                            1024, 4095, 4096, 4097, 5000, 16385, 65535};

template <typename Table>
void ExpectSameLevels(const LutCurves& curves, const Table& table, int entries) {
  for (int c = 0; c < 3; ++c) {
    int next = 0, differences = 0;
    curves.ForEachLevel(c, [&](int level, std::uint16_t value) {
      EXPECT_EQ(level, next++);
      if (value != curves.At(c, level)) ++differences;
      if (value != static_cast<std::uint16_t>(table.lookup[c][level])) ++differences;
    });
    EXPECT_EQ(next, 65536) << entries << " entries";
    EXPECT_EQ(differences, 0) << entries << " entries, channel " << c;
  }
}

TEST(LutCurves, InputLevelsAreThoseOfTheTableClass) {
  for (const int entries : kEntries) {
    const auto lut = InputLut(3, Random(91).Words(std::size_t{3} * entries));
    const auto table = std::make_unique<InputTable33>();
    table->Initial(lut.get(), ICC40::ICCFILE::RGB_16);
    ExpectSameLevels(LutCurves::Input(*lut), *table, entries);
  }
}

TEST(LutCurves, OutputLevelsAreThoseOfTheTableClass) {
  for (const int entries : kEntries) {
    const auto lut = OutputLut(3, Random(92).Words(std::size_t{3} * entries));
    const auto table = std::make_unique<OutputTable33>();
    table->Initial(lut.get());
    ExpectSameLevels(LutCurves::Output(*lut), *table, entries);
  }
}

TEST(LutCurves, AStraightCurveOf5000EntriesIsIdentity) {
  const auto lut = InputLut(3, units_test::LinearCurves(3, 5000));
  EXPECT_NEAR(LutCurves::Input(*lut).At(0, 20000), 20000, 1);
  EXPECT_EQ(LutCurves::Input(*lut).At(2, 65535), 65535);
}

TEST(LutCurves, ATagOfOneChannelHasItsCurve) {
  for (const int entries : kEntries) {
    const Words words = Random(93).Words(static_cast<std::size_t>(entries));
    const auto input = InputLut(1, words);
    const auto output = OutputLut(1, words);
    const auto inputTable = std::make_unique<InputTable33>();
    const auto outputTable = std::make_unique<OutputTable33>();
    inputTable->Initial(input.get(), ICC40::ICCFILE::RGB_16);
    outputTable->Initial(output.get());
    int differences = 0;
    for (int level = 0; level < 65536; ++level) {
      differences += LutCurves::Input(*input).At(0, level) != inputTable->lookup[0][level];
      for (int c = 0; c < 3; ++c) {
        differences += LutCurves::Output(*output).At(c, level) !=
                       static_cast<std::uint16_t>(outputTable->lookup[c][level]);
      }
    }
    EXPECT_EQ(differences, 0) << entries << " entries";
  }
}

}  // namespace
