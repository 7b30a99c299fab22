#include "units/ColorGrid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "tests/units/UnitFixtures.h"
#include "units/ColorTable33.h"
#include "units/ColorTableNodes.h"
#include "units/OutputTable33.h"

// The grid as a value beside the table class that programs know.

using namespace ICC40::ICC_UNIT;
using ICC40::ICCFILE::CLut16Type;
using units_test::Random;

namespace {

std::unique_ptr<CLut16Type> LutOf(int outputs, int gridPoints) {
  Random random(static_cast<std::uint64_t>(100 * outputs + gridPoints));
  auto lut = units_test::EmptyLut(3, outputs, gridPoints);
  lut->colorTable = units_test::NewArray(
      random.Words(static_cast<std::size_t>(gridPoints * gridPoints * gridPoints * outputs)));
  return lut;
}

// Values of the nodes that differ in the first three channels; -1 where the sizes do.
int Differences(ColorGrid& grid, const ColorTable33& table) {
  const GridNodes<int> nodes = grid.nodes();
  if (nodes.points != table.gridPoints) return -1;
  int differences = 0;
  for (int i = 0; i < nodes.points; ++i) {
    for (int j = 0; j < nodes.points; ++j) {
      for (int k = 0; k < nodes.points; ++k) {
        for (int c = 0; c < 3; ++c) differences += nodes.At(i, j, k)[c] != table.grid[i][j][k][c];
      }
    }
  }
  return differences;
}

TEST(ColorGrid, EveryStepIsTheTables) {
  for (const int gridPoints : {2, 3, 9, 16, 17, 18, 33}) {
    for (const int outputs : {0, 1, 2, 3, 7}) {
      SCOPED_TRACE(testing::Message() << gridPoints << " points, " << outputs << " outputs");
      const auto lut = LutOf(outputs, gridPoints);
      const auto table = std::make_unique<ColorTable33>();
      table->Initial(lut.get());
      ColorGrid grid(*lut);
      EXPECT_EQ(Differences(grid, *table), 0);
      EXPECT_EQ(table->gridPoints, HasPowerOfTwoSpacing(gridPoints) ? gridPoints : 17);

      table->Adjust_Lch(7, -3, 100);
      AdjustLch(grid.nodes(), 7, -3, 100);
      EXPECT_EQ(Differences(grid, *table), 0) << "adjusted";

      for (const int resized : {17, 5, 5, 33}) {
        table->TableResize(resized);
        grid.Resize(resized);
        EXPECT_EQ(Differences(grid, *table), 0) << "resized to " << resized;
      }
      const auto curves = std::make_unique<OutputTable33>();
      table->Lab2RGB100_16_1D(curves.get(), ICC40::ICCFILE::Apple, nullptr);
      LabToRgb(grid.nodes(), ColorLch::kColorSpaceAppleRgb, nullptr,
               [](int, int level) { return level; });
      EXPECT_EQ(Differences(grid, *table), 0) << "RGB";
    }
  }
}

// Nodes of 17 points lie halfway between those of 9.
TEST(ColorGrid, ResizingInterpolates) {
  auto lut = units_test::EmptyLut(3, 3, 9);
  std::vector<unsigned short> values;
  for (int i = 0; i < 9; ++i) {
    for (int j = 0; j < 9; ++j) {
      for (int k = 0; k < 9; ++k) {
        for (const int level : {100 * i, 1000 * j, 8000 - 1000 * k}) {
          values.push_back(static_cast<unsigned short>(level));
        }
      }
    }
  }
  lut->colorTable = units_test::NewArray(values);
  ColorGrid grid(*lut);
  grid.Resize(17);
  const GridNodes<int> nodes = grid.nodes();
  ASSERT_EQ(nodes.points, 17);
  const struct {
    int at[3];
    int value[3];
  } kRows[] = {
      {{0, 0, 0}, {0, 0, 8000}},
      {{2, 4, 6}, {100, 2000, 5000}},
      {{1, 3, 5}, {50, 1500, 5500}},
      // Sampled at 65535, 1/8192 of a cell short of the end; the way there, 99.99, 999.9 and -999.9
      // from 700, 7000 and 1000, is truncated toward zero.
      {{16, 16, 16}, {799, 7999, 1}},
  };
  for (const auto& row : kRows) {
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(nodes.At(row.at[0], row.at[1], row.at[2])[c], row.value[c])
          << row.at[0] << ", channel " << c;
    }
  }
}

TEST(ColorGrid, TagsThatNoTableHolds) {
  const struct {
    const char* what;
    int outputs, gridPoints;
    bool hasTable;
  } kRows[] = {
      {"one grid point", 3, 1, true},
      {"34 grid points", 3, 34, true},
      {"eight outputs", 8, 2, true},
      {"no colour table", 3, 2, false},
  };
  for (const auto& row : kRows) {
    const auto lut =
        row.hasTable ? LutOf(row.outputs, row.gridPoints) : units_test::EmptyLut(3, 3, 2);
    ColorGrid grid(*lut);
    EXPECT_EQ(grid.nodes().points, 0) << row.what;
    grid.Resize(17);
    EXPECT_EQ(grid.nodes().points, 0) << row.what << ", resized";
  }
}

TEST(ColorGrid, WorkingSpaces) {
  using kxcms::Primaries;
  EXPECT_EQ(WorkingSpaceOf(Primaries::kNone), ColorLch::kColorSpaceSRgb);
  EXPECT_EQ(WorkingSpaceOf(Primaries::kSRgb), ColorLch::kColorSpaceSRgb);
  EXPECT_EQ(WorkingSpaceOf(Primaries::kAdobeRgb), ColorLch::kColorSpaceAdobeRgb);
  EXPECT_EQ(WorkingSpaceOf(Primaries::kAppleRgb), ColorLch::kColorSpaceAppleRgb);
  EXPECT_EQ(WorkingSpaceOf(Primaries::kColorMatchRgb), ColorLch::kColorSpaceColorMatchRgb);
}

}  // namespace
