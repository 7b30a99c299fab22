#include "units/InputTable43.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/units/UnitFixtures.h"

using namespace ICC40::ICC_UNIT;
using units_test::InputLut;

namespace {

struct Samples {
  unsigned short c0, c1, c2, o0, o1, o2, o3;
};

Samples Convert(InputTable43& table, unsigned short level) {
  Samples s = {level, level, level, level, 91, 92, 93};
  table.Conversion(s.c0, s.c1, s.c2, s.o0, s.o1, s.o2, s.o3);
  return s;
}

}  // namespace

TEST(InputTable43, StartsEmpty) {
  const auto table = std::make_unique<InputTable43>();
  EXPECT_STREQ(table->name, "InputTable43");
  EXPECT_EQ(table->depth, 16u);
  EXPECT_EQ(table->step, 0.0);
  EXPECT_EQ(table->curves[3][4095], 0u);
  EXPECT_EQ(Convert(*table, 1234).o0, 1234) << "nothing to convert with";
}

TEST(InputTable43, InterpolatesFourCurves) {
  // Step 21845: level 10000 lies 0.45777... of the way, level 50000 0.28885... into the third.
  const auto lut = InputLut(5, {0,     1000,  2000, 3000,   //
                                65535, 65535, 0,    0,      //
                                5,     5,     5,    5,      //
                                0,     65535, 0,    65535,  //
                                9,     9,     9,    9});
  const auto table = std::make_unique<InputTable43>();
  EXPECT_EQ(table->Initial(lut.get()), 0);
  EXPECT_EQ(table->step, 21845.0);
  const struct {
    unsigned short level, c0, c1, c2, o0;
  } kRows[] = {
      {0, 0, 65535, 5, 0},        {10000, 458, 65535, 5, 30000}, {21845, 1000, 65535, 5, 65535},
      {50000, 2289, 0, 5, 18930}, {65535, 3000, 0, 5, 65535},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.level);
    const Samples s = Convert(*table, row.level);
    EXPECT_EQ(s.c0, row.c0);
    EXPECT_EQ(s.c1, row.c1);
    EXPECT_EQ(s.c2, row.c2);
    EXPECT_EQ(s.o0, row.o0);
    EXPECT_EQ(s.o1, 91);
    EXPECT_EQ(s.o2, 92);
    EXPECT_EQ(s.o3, 93);
  }
}

TEST(InputTable43, TwoEntriesAreInterpolated) {
  const auto lut = InputLut(4, {65535, 0, 65535, 0, 65535, 0, 65535, 0});
  const auto table = std::make_unique<InputTable43>();
  table->Initial(lut.get());
  EXPECT_EQ(table->step, 65535.0);
  EXPECT_EQ(Convert(*table, 10000).o0, 55535);
  EXPECT_EQ(Convert(*table, 65535).c0, 0);
}

TEST(InputTable43, HostileTags) {
  const auto table = std::make_unique<InputTable43>();
  auto lut = units_test::EmptyLut(4, 3, 2);
  EXPECT_EQ(table->Initial(nullptr), 0);
  EXPECT_EQ(table->step, 0.0);
  lut->inputEntries = 1;
  EXPECT_EQ(table->Initial(lut.get()), 0) << "absent tables";
  EXPECT_EQ(table->step, 0.0);
  lut->inputEntries = 0;
  EXPECT_EQ(table->Initial(lut.get()), 0);
  EXPECT_EQ(table->step, -65535.0);
  EXPECT_EQ(Convert(*table, 65535).c0, 0);

  const auto single = InputLut(4, {7, 7, 7, 7});
  EXPECT_EQ(table->Initial(single.get()), 0);
  EXPECT_EQ(Convert(*table, 65535).c0, 0) << "one entry has no spacing";

  auto none = units_test::EmptyLut(0, 3, 2);
  none->inputEntries = 256;
  const auto fresh = std::make_unique<InputTable43>();
  EXPECT_EQ(fresh->Initial(none.get()), 0);
  EXPECT_EQ(fresh->step, 257.0) << "tables of no channels need not be there";
  EXPECT_EQ(Convert(*fresh, 40000).o0, 0);
}

// Step 65535 / 4999: entry 4095 stands at 53684.03.
TEST(InputTable43, LongCurvesEndAtTheLastHeldEntry) {
  std::vector<unsigned short> curves = units_test::LinearCurves(4, 5000);
  const auto lut = InputLut(4, curves);
  const auto table = std::make_unique<InputTable43>();
  EXPECT_EQ(table->Initial(lut.get()), 0);
  EXPECT_EQ(table->step, 65535.0 / 4999);
  const struct {
    unsigned short level, expected;
  } kRows[] = {{0, 0}, {20000, 20000}, {53684, 53684}, {53685, 53684}, {65535, 53684}};
  for (const auto& row : kRows) EXPECT_NEAR(Convert(*table, row.level).o0, row.expected, 1);
  EXPECT_EQ(Convert(*table, 65535).o0, curves[3 * 5000 + 4095]);
  EXPECT_EQ(Convert(*table, 60000).c0, curves[4095]);
}

TEST(InputTable43, BufferConversionsDoNothing) {
  const auto table = std::make_unique<InputTable43>();
  unsigned char bytes[4] = {1, 2, 3, 4};
  Base& base = *table;
  base.Conversion(bytes, 1);
  EXPECT_EQ(bytes[3], 4);
  Info info;
  info.conversionType = 257;
  EXPECT_EQ(base.Conversion(&info), 0);
  EXPECT_EQ(base.Conversion(static_cast<Info*>(nullptr)), 0);
}
