#include "iccfile/BigEndian.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "iccfile/LutShape.h"
#include "iccfile/ReadBudget.h"

namespace ICC40::ICCFILE {
namespace {

TEST(ByteReader, NumbersAreBigEndianAndMissingBytesAreZero) {
  const unsigned char bytes[] = {0x81, 0x02, 0x03, 0x04, 0x05, 0x06};
  const struct {
    const char* what;
    std::size_t size;
    std::uint64_t position;
    std::uint32_t u32;
    std::uint16_t u16;
    std::uint8_t u8;
  } kRows[] = {
      {"all there", 6, 0, 0x81020304, 0x8102, 0x81},
      {"from the middle", 6, 2, 0x03040506, 0x0304, 0x03},
      {"three of four", 6, 3, 0x04050600, 0x0405, 0x04},
      {"one of four", 6, 5, 0x06000000, 0x0600, 0x06},
      {"at the end", 6, 6, 0, 0, 0},
      {"past the end", 6, 7, 0, 0, 0},
      {"far past the end", 6, std::numeric_limits<std::uint64_t>::max(), 0, 0, 0},
      {"no bytes", 0, 0, 0, 0, 0},
  };
  for (const auto& row : kRows) {
    const auto at = [&row, &bytes] {
      ByteReader reader(bytes, row.size);
      reader.Seek(row.position);
      return reader;
    };
    EXPECT_EQ(at().U32(), row.u32) << row.what;
    EXPECT_EQ(at().S32(), static_cast<std::int32_t>(row.u32)) << row.what;
    EXPECT_EQ(at().U16(), row.u16) << row.what;
    EXPECT_EQ(at().U8(), row.u8) << row.what;
  }
}

TEST(ByteReader, ReadsOnBehindWhatWasRead) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7};
  ByteReader reader(bytes, sizeof bytes);
  EXPECT_EQ(reader.U8(), 1);
  EXPECT_EQ(reader.U16(), 0x0203);
  reader.Skip(1);
  EXPECT_EQ(reader.left(), 3u);
  EXPECT_EQ(reader.U32(), 0x05060700u);
  EXPECT_EQ(reader.left(), 0u);
  reader.Skip(100);
  EXPECT_EQ(reader.U8(), 0);
}

TEST(ByteReader, TablesEndInZeros) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5};
  std::vector<std::uint8_t> narrow(7, 0xEE);
  ByteReader(bytes, 5).Read(narrow.data(), narrow.size());
  EXPECT_EQ(narrow, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 0, 0}));

  std::vector<std::uint16_t> wide(4, 0xEEEE);
  ByteReader(bytes, 5).Read(wide.data(), wide.size());
  EXPECT_EQ(wide, (std::vector<std::uint16_t>{0x0102, 0x0304, 0x0500, 0}));

  ByteReader(nullptr, 100).Read(wide.data(), wide.size());
  EXPECT_EQ(wide, (std::vector<std::uint16_t>(4, 0)));
}

TEST(SwapFileOrder, PutsTheMostSignificantByteFirstInMemory) {
  const std::uint32_t word = SwapFileOrder(std::uint32_t{0x01020304});
  EXPECT_EQ(std::memcmp(&word, "\1\2\3\4", 4), 0);
  EXPECT_EQ(SwapFileOrder(word), 0x01020304u);
  const std::uint16_t half = SwapFileOrder(std::uint16_t{0x0102});
  EXPECT_EQ(std::memcmp(&half, "\1\2", 2), 0);
}

TEST(ReadBudget, GivesWhatIsLeftAndNoMore) {
  ReadBudget budget(10);
  EXPECT_TRUE(budget.Take(4));
  EXPECT_FALSE(budget.Take(7));
  EXPECT_TRUE(budget.Take(6));
  EXPECT_TRUE(budget.Take(0));
  EXPECT_FALSE(budget.Take(1));
}

TEST(ReadBudget, TableBeyondTheBudgetIsAbsent) {
  ReadBudget budget(10);
  EXPECT_EQ(NewTable<std::uint16_t>(6, budget), nullptr);
  EXPECT_EQ(NewTable<std::uint16_t>(std::numeric_limits<std::uint64_t>::max(), budget), nullptr);
  EXPECT_EQ(budget.left(), 10u);
  const auto table = NewTable<std::uint16_t>(5, budget);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[4], 0);
  EXPECT_EQ(budget.left(), 0u);
  EXPECT_NE(NewTable<std::uint16_t>(0, budget), nullptr) << "an empty table is not an absent one";
}

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
