#include "base/Bytes.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace kxcms {
namespace {

constexpr unsigned char kBytes[] = {0x81, 0x02, 0x03, 0x04, 0x05, 0x06};
constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

// Numbers of both byte orders at a position of the first `size` bytes.
const struct {
  const char* what;
  std::size_t size;
  std::uint64_t position;
  std::uint64_t big64;
  std::uint32_t big32;
  std::uint16_t big16;
  std::uint64_t little64;
  std::uint32_t little32;
  std::uint16_t little16;
  std::uint8_t byte;
} kRows[] = {
    {"from the start", 6, 0, 0x8102030405060000, 0x81020304, 0x8102,  //
     0x0000060504030281, 0x04030281, 0x0281, 0x81},
    {"from the middle", 6, 2, 0x0304050600000000, 0x03040506, 0x0304,  //
     0x0000000006050403, 0x06050403, 0x0403, 0x03},
    {"three of four", 6, 3, 0x0405060000000000, 0x04050600, 0x0405,  //
     0x0000000000060504, 0x00060504, 0x0504, 0x04},
    {"one of four", 6, 5, 0x0600000000000000, 0x06000000, 0x0600,  //
     0x0000000000000006, 0x00000006, 0x0006, 0x06},
    {"at the end", 6, 6, 0, 0, 0, 0, 0, 0, 0},
    {"past the end", 6, 7, 0, 0, 0, 0, 0, 0, 0},
    {"the last position there is", 6, kMost, 0, 0, 0, 0, 0, 0, 0},
    {"no bytes", 0, 0, 0, 0, 0, 0, 0, 0, 0},
};

template <ByteOrder kOrder>
ByteReader<kOrder> ReaderAt(std::size_t size, std::uint64_t position) {
  ByteReader<kOrder> reader(kBytes, size);
  reader.Seek(position);
  return reader;
}

TEST(Bytes, MissingBytesAreZeroSingly) {
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const BigEndianView big(kBytes, row.size);
    EXPECT_EQ(big.U64(row.position), row.big64);
    EXPECT_EQ(big.U32(row.position), row.big32);
    EXPECT_EQ(big.S32(row.position), static_cast<std::int32_t>(row.big32));
    EXPECT_EQ(big.U16(row.position), row.big16);
    EXPECT_EQ(big.U8(row.position), row.byte);
    const auto bigAt = [&row] { return ReaderAt<ByteOrder::kBig>(row.size, row.position); };
    EXPECT_EQ(bigAt().U64(), row.big64);
    EXPECT_EQ(bigAt().U32(), row.big32);
    EXPECT_EQ(bigAt().S32(), static_cast<std::int32_t>(row.big32));
    EXPECT_EQ(bigAt().U16(), row.big16);
    EXPECT_EQ(bigAt().U8(), row.byte);

    const LittleEndianView little(kBytes, row.size);
    EXPECT_EQ(little.U64(row.position), row.little64);
    EXPECT_EQ(little.U32(row.position), row.little32);
    EXPECT_EQ(little.U16(row.position), row.little16);
    EXPECT_EQ(little.U8(row.position), row.byte);
    const auto littleAt = [&row] { return ReaderAt<ByteOrder::kLittle>(row.size, row.position); };
    EXPECT_EQ(littleAt().U64(), row.little64);
    EXPECT_EQ(littleAt().U32(), row.little32);
    EXPECT_EQ(littleAt().U16(), row.little16);
    EXPECT_EQ(littleAt().U8(), row.byte);
  }
}

TEST(Bytes, HoldsAndParts) {
  const struct {
    const char* what;
    std::uint64_t at, count;
    bool holds;
    std::size_t partSize;
  } kRanges[] = {
      {"all", 0, 6, true, 6},
      {"one too many", 0, 7, false, 6},
      {"the last one", 5, 1, true, 1},
      {"none at the end", 6, 0, true, 0},
      {"none past the end", 7, 0, false, 0},
      {"an end that wraps", 5, kMost, false, 1},
      {"a start that wraps", kMost, 1, false, 0},
  };
  const BigEndianView view(kBytes, sizeof kBytes);
  for (const auto& row : kRanges) {
    EXPECT_EQ(view.Holds(row.at, row.count), row.holds) << row.what;
    EXPECT_EQ(view.Part(row.at, row.count).size(), row.partSize) << row.what;
  }
  EXPECT_EQ(view.Part(2, 2).U32(0), 0x03040000u) << "a part ends where it ends";
  EXPECT_FALSE(BigEndianView(nullptr, 6).Holds(0, 1));
}

TEST(Bytes, AReaderReadsOnBehindWhatWasRead) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7};
  BigEndianReader reader(bytes, sizeof bytes);
  EXPECT_EQ(reader.U8(), 1);
  EXPECT_EQ(reader.U16(), 0x0203);
  reader.Skip(1);
  EXPECT_EQ(reader.left(), 3u);
  EXPECT_TRUE(reader.ok());
  EXPECT_EQ(reader.U32(), 0x05060700u);
  EXPECT_FALSE(reader.ok()) << "a byte was missing";
  EXPECT_EQ(reader.left(), 0u);
  reader.Skip(100);
  EXPECT_EQ(reader.U8(), 0);

  LittleEndianReader little(bytes, sizeof bytes);
  EXPECT_EQ(little.U32(), 0x04030201u);
  EXPECT_EQ(little.U16(), 0x0605u);
}

TEST(Bytes, TablesEndInZeros) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5};
  std::vector<std::uint8_t> narrow(7, 0xEE);
  BigEndianReader(bytes, 5).Read(narrow.data(), narrow.size());
  EXPECT_EQ(narrow, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 0, 0}));

  std::vector<std::uint16_t> wide(4, 0xEEEE);
  BigEndianReader(bytes, 5).Read(wide.data(), wide.size());
  EXPECT_EQ(wide, (std::vector<std::uint16_t>{0x0102, 0x0304, 0x0500, 0}));
  LittleEndianReader(bytes, 5).Read(wide.data(), wide.size());
  EXPECT_EQ(wide, (std::vector<std::uint16_t>{0x0201, 0x0403, 0x0005, 0}));
  BigEndianReader(nullptr, 100).Read(wide.data(), wide.size());
  EXPECT_EQ(wide, (std::vector<std::uint16_t>(4, 0)));
}

TEST(Bytes, Stores) {
  unsigned char bytes[7] = {9, 9, 9, 9, 9, 9, 9};
  StoreLittle16(bytes, 0x12345);
  StoreLittle32(bytes + 2, 0xA1B2C3D4);
  const unsigned char little[] = {0x45, 0x23, 0xD4, 0xC3, 0xB2, 0xA1, 9};
  EXPECT_EQ(std::memcmp(bytes, little, sizeof little), 0);
  StoreBig16(bytes, 0x12345);
  StoreBig32(bytes + 2, 0xA1B2C3D4);
  const unsigned char big[] = {0x23, 0x45, 0xA1, 0xB2, 0xC3, 0xD4, 9};
  EXPECT_EQ(std::memcmp(bytes, big, sizeof big), 0);
}

TEST(Bytes, SwappedWordsHaveTheMostSignificantByteFirstInMemory) {
  const std::uint32_t word = SwapBigEndian(std::uint32_t{0x01020304});
  EXPECT_EQ(std::memcmp(&word, "\1\2\3\4", 4), 0);
  EXPECT_EQ(SwapBigEndian(word), 0x01020304u);
  const std::uint16_t half = SwapBigEndian(std::uint16_t{0x0102});
  EXPECT_EQ(std::memcmp(&half, "\1\2", 2), 0);
}

}  // namespace
}  // namespace kxcms
