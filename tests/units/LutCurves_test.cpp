#include "units/LutCurves.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/units/UnitFixtures.h"
#include "units/InputTable33.h"
#include "units/OutputTable33.h"

// The tables that programs know are the measure.

using namespace ICC40::ICC_UNIT;
using units_test::Random;

namespace {

constexpr int kEntries[] = {0, 1, 2, 3, 4, 255, 256, 1000, 4095, 4096, 4097, 5000, 16385, 65535};

std::unique_ptr<units_test::CLut16Type> RandomLut(int channels, int entries) {
  Random random(static_cast<std::uint64_t>(entries));
  auto lut = units_test::EmptyLut(channels, channels, 2);
  lut->inputEntries = lut->outputEntries = static_cast<unsigned short>(entries);
  lut->inputTables = units_test::NewArray(random.Words(channels * entries));
  lut->outputTables = units_test::NewArray(random.Words(channels * entries));
  return lut;
}

void ExpectSameLevels(const LutCurves& curves, int channel, const unsigned int (&lookup)[65536]) {
  for (int level = 0; level < 65536; ++level) {
    ASSERT_EQ(curves.At(channel, level), lookup[level] & 0xFFFF) << level;
  }
  int next = 0;
  curves.ForEachLevel(channel, [&](int level, unsigned value) {
    ASSERT_EQ(level, next++);
    ASSERT_EQ(value, lookup[level] & 0xFFFF) << level;
  });
  EXPECT_EQ(next, 65536);
}

}  // namespace

TEST(LutCurves, AreThoseOfTheTables) {
  for (int entries : kEntries) {
    for (int channels : {1, 3}) {
      SCOPED_TRACE(testing::Message() << entries << " entries, " << channels << " channels");
      const auto lut = RandomLut(channels, entries);
      const auto input = std::make_unique<InputTable33>();
      input->Initial(lut.get(), ICC40::ICCFILE::RGB_16);
      const auto output = std::make_unique<OutputTable33>();
      output->Initial(lut.get());
      const LutCurves inputCurves = LutCurves::Input(*lut);
      const LutCurves outputCurves = LutCurves::Output(*lut);
      for (int c = 0; c < 3; ++c) {
        SCOPED_TRACE(c);
        if (c < channels) ExpectSameLevels(inputCurves, c, input->lookup[c]);
        ExpectSameLevels(outputCurves, c, output->lookup[c]);
      }
    }
  }
}

TEST(LutCurves, AStraightCurveOf5000EntriesIsIdentity) {
  const auto lut = units_test::InputLut(3, units_test::LinearCurves(3, 5000));
  EXPECT_NEAR(LutCurves::Input(*lut).At(0, 20000), 20000, 1);
  EXPECT_EQ(LutCurves::Input(*lut).At(2, 65535), 65535);
}
