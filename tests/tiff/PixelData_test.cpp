#include "tiff/PixelData.h"

#include "TiffBytes.h"
#include "base/FileStream.h"
#include "tests/TemporaryFile.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

TEST(PixelData, BytesPerRowRoundUpAndWrapAt32Bits) {
  const struct {
    const char* what;
    int bits, width, samples, expected;
  } kRows[] = {
      {"ten 8-bit RGB pixels", 8, 10, 3, 30},
      {"ten 1-bit pixels", 1, 10, 1, 2},
      {"one 12-bit sample", 12, 1, 1, 2},
      {"a hundred 16-bit RGB pixels", 16, 100, 3, 600},
      {"nothing", 0, 100, 3, 0},
      {"negative width", 8, -1, 3, -3},
      {"kept: 2^31 bits wrap", 16, 1 << 27, 1, -(1 << 28)},
      {"kept: 2^32 bits wrap", 32, 1 << 27, 1, 0},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(BytesPerRow(row.bits, row.width, row.samples), row.expected) << row.what;
  }
}

TEST(PixelData, SizesAreFormedIn64Bits) {
  EXPECT_EQ(ChunkyBytes({100, 50, 3, 16}), 30000u);
  EXPECT_EQ(ChunkyBytes({10, 3, 1, 1}), 3u) << "30 bits, rounded down";
  EXPECT_EQ(ChunkyBytes({100000, 100000, 3, 8}), 30000000000u);
  EXPECT_GE(ChunkyBytes({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}), 1ull << 60);
  EXPECT_EQ(ChunkyBytes({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0}), 0u);
  EXPECT_EQ(PlanarBytes(10, 3, 2), 60u);
  EXPECT_EQ(PlanarBytes(10, 1, 2), 80u) << "four planes for any count but 3";
  EXPECT_EQ(PlanarBytes(~0ull, 3, 1), ~0ull);
  EXPECT_EQ(PixelBufferBytes({10, 3, 1, 1}, 0), 6u) << "three whole rows of two bytes";
  EXPECT_EQ(PixelBufferBytes({10, 3, 1, 1}, 99), 99u);
}

TEST(StripArray, ReadsInlineAndOutOfLineNumbers) {
  const struct {
    const char* what;
    unsigned type, count, value;
    Bytes data;
    std::vector<unsigned> expected;
  } kRows[] = {
      {"one LONG", 4, 1, 70000, {}, {70000}},
      {"kept: one SHORT is one number of 32 bits", 3, 1, 0x0001D4C0, {}, {120000}},
      {"two inline SHORTs", 3, 2, 0x00090007, {}, {7, 9}},
      {"three SHORTs", 3, 3, 0, Shorts({1, 2, 60000}), {1, 2, 60000}},
      {"two LONGs", 4, 2, 0, Longs({1, 0xFFFFFFFF}), {1, 0xFFFFFFFF}},
      {"kept: bytes count as LONGs", 1, 8, 0, Longs({5, 6}), {5, 6}},
      {"none", 4, 0, 77, {}, {}},
  };
  for (const auto& row : kRows) {
    unsigned char* data = row.data.empty() ? nullptr : new unsigned char[row.data.size()];
    std::copy(row.data.begin(), row.data.end(), data);
    const TiffTag tag(StripOffsets, static_cast<FieldType>(row.type), row.count, row.value, data);
    const StripArray numbers(tag);
    EXPECT_FALSE(numbers.IsAbsent()) << row.what;
    ASSERT_EQ(numbers.Size(), row.expected.size()) << row.what;
    for (std::size_t i = 0; i < row.expected.size(); ++i) {
      EXPECT_EQ(numbers[i], row.expected[i]) << row.what;
    }
    EXPECT_EQ(numbers[row.expected.size()], 0u) << row.what << ": past the end";
    EXPECT_EQ(numbers[~0ull], 0u) << row.what << ": far past the end";
  }
  const TiffTag absent(StripOffsets, TIFF_LONG, 0x40000000, 0, nullptr);
  EXPECT_TRUE(StripArray(absent).IsAbsent());
  EXPECT_EQ(StripArray(absent).Size(), 0u);
}

TEST(StripTable, StripsWithoutByteCountAddNothing) {
  const TiffTag offsets(StripOffsets, TIFF_SHORT, 0x7FFFFFFF, 0, new unsigned char[8]{});
  const TiffTag byteCounts(StripByteCounts, TIFF_SHORT, 2, 3u << 16 | 2u, nullptr);
  const StripTable strips(offsets, byteCounts);
  EXPECT_EQ(strips.stripCount, 2u);
  EXPECT_EQ(strips.totalBytes, 5u);
}

TEST(StripTable, GathersStripsInTheirOrder) {
  const struct {
    const char* what;
    unsigned fileBytes;
    unsigned offsets[3], byteCounts[3];
    Bytes expected;
  } kRows[] = {
      {"more strips than blocks of 512 bytes",
       1535,
       {1533, 0, 1},
       {3, 0, 2},
       {0xFE, 0xFF, 0, 2, 3}},
      {"as many, read one by one", 1536, {1534, 0, 1}, {3, 0, 2}, {0xFF, 0, 0, 2, 3}},
      {"past the end of a copy", 100, {100, 0xFFFFFFFF, 99}, {1, 2, 1}, {0, 0, 0, 100}},
      {"past the end of a file", 2000, {2000, 0xFFFFFFFF, 99}, {1, 2, 1}, {0, 0, 0, 100}},
      {"an empty file", 0, {0, 1, 2}, {1, 1, 1}, Bytes(3)},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(Ramp(row.fileBytes));
    const OwnedStream file = OpenForReading(scratch.Path());
    const auto array = [](TiffTagSignature number, const unsigned(&numbers)[3]) {
      const Bytes bytes = Longs({numbers[0], numbers[1], numbers[2]});
      auto* data = new unsigned char[bytes.size()];
      std::copy(bytes.begin(), bytes.end(), data);
      return TiffTag(number, TIFF_LONG, 3, 0, data);
    };
    const TiffTag offsets = array(StripOffsets, row.offsets);
    const TiffTag byteCounts = array(StripByteCounts, row.byteCounts);
    const StripTable strips(offsets, byteCounts);
    Bytes pixels(strips.totalBytes, 0xEE);
    GatherStrips(file.get(), strips, pixels.data());
    EXPECT_EQ(pixels, row.expected) << row.what;
  }
}

TEST(InterleavePlanes, SampleIOfEveryPlaneGoesToPixelI) {
  Bytes pixels(6);
  InterleavePlanes<unsigned char>(Bytes{1, 2, 11, 12, 21, 22}.data(), 6, 2, 3, pixels.data());
  EXPECT_EQ(pixels, (Bytes{1, 11, 21, 2, 12, 22}));

  Bytes words(12);
  InterleavePlanes<unsigned short>(Ramp(12).data(), 12, 2, 3, words.data());
  EXPECT_EQ(words, (Bytes{1, 2, 5, 6, 9, 10, 3, 4, 7, 8, 11, 12}));
}

TEST(InterleavePlanes, MissingBytesAreZero) {
  const struct {
    const char* what;
    std::size_t available;
    Bytes expected;
  } kRows[] = {
      {"nothing", 0, Bytes(12)},
      {"half a sample", 1, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"one plane", 4, {1, 2, 0, 0, 0, 0, 3, 4, 0, 0, 0, 0}},
      {"three and a half samples", 7, {1, 2, 5, 6, 0, 0, 3, 4, 7, 0, 0, 0}},
      {"more than needed", 99, {1, 2, 5, 6, 9, 10, 3, 4, 7, 8, 11, 12}},
  };
  for (const auto& row : kRows) {
    const Bytes planes = Ramp(row.available);
    Bytes pixels(12);
    InterleavePlanes<unsigned short>(planes.data(), planes.size(), 2, 3, pixels.data());
    EXPECT_EQ(pixels, row.expected) << row.what;
  }
}

}  // namespace
