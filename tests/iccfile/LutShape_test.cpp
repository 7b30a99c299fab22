#include "iccfile/LutShape.h"

#include <gtest/gtest.h>

#include <limits>

namespace ICC40::ICCFILE {
namespace {

TEST(LutShape, CountsSaturate) {
  const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(TableValueCount(9, 4, 3), 9u * 9 * 9 * 9 * 3);
  EXPECT_EQ(TableValueCount(9, 0, 3), 3u);
  EXPECT_EQ(TableValueCount(1, 255, 255), 255u);
  EXPECT_EQ(TableValueCount(2, 255, 3), most);
  EXPECT_EQ(TableValueCount(255, 255, 0), 0u);
  EXPECT_EQ(CubeValueCount(33, 3), 107811u);
  EXPECT_EQ(CubeValueCount(255, 255), 4228250625u);

  LutGrid grid{};
  for (unsigned char& points : grid.gridPoints) points = 255;
  grid.precision = 255;
  EXPECT_EQ(GridValueCount(grid, 2, 3), 195075u);
  EXPECT_EQ(GridValueCount(grid, 16, 3), most);
  EXPECT_EQ(GridByteCount(grid, 16, 3), most);
  for (unsigned char& points : grid.gridPoints) points = 2;
  EXPECT_EQ(GridValueCount(grid, 255, 1), 65536u) << "there are 16 grid bytes, not 255";
  EXPECT_EQ(GridByteCount(grid, 1, 1), 510u);
}

TEST(LutShape, DirectionIsInTheFirstThreeCharacters) {
  const struct {
    std::uint32_t signature;
    bool aToB;
  } kRows[] = {
      {0x41324230, true},                        // A2B0
      {0x41324239, true},                        // A2B9
      {0x41324200, true},  {0x42324130, false},  // B2A0
      {0x41324330, false},                       // A2C0
      {0x00324230, false},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(IsAToB(static_cast<ICC4_HEADER::icTagSignature>(row.signature)), row.aToB)
        << std::hex << row.signature;
  }
}

}  // namespace
}  // namespace ICC40::ICCFILE
