#include "tiff/TiffTag.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "TiffBytes.h"
#include "base/FileStream.h"
#include "tests/TemporaryFile.h"
#include "tiff/BitsPerSampleTag.h"
#include "tiff/Exif_IFD_Tag.h"
#include "tiff/ResolutionTag.h"
#include "tiff/TagData.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

constexpr unsigned Packed(unsigned tag, unsigned type) {
  return type << 16 | tag;
}

TEST(TiffCodes, ItemSizesOfTypesTenToTwelveAreShifted) {
  const unsigned kExpected[16] = {1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 4, 8, 1, 1, 1, 1};
  for (int type = 0; type < 16; ++type) EXPECT_EQ(DataType[type], kExpected[type]) << type;
}

TEST(TiffTag, InMemoryConstructors) {
  const TiffTag empty;
  EXPECT_EQ(empty.tag, 0u);
  EXPECT_EQ(empty.type, 0u);
  EXPECT_EQ(empty.count, 0u);
  EXPECT_EQ(empty.value, 0u);
  EXPECT_EQ(empty.GetData(), nullptr);

  const TiffTag named(Software);
  EXPECT_EQ(named.tag, 305u);
  EXPECT_EQ(named.type, 0u);
  EXPECT_EQ(named.count, 0u);
  EXPECT_EQ(named.value, 0u);
  EXPECT_EQ(named.GetData(), nullptr);

  auto* bytes = new unsigned char[6]{7, 1, 0, 0, 0, 0};
  const TiffTag full(BitsPerSample, TIFF_SHORT, 3, 99, bytes);
  EXPECT_EQ(full.tag, 258u);
  EXPECT_EQ(full.type, 3u);
  EXPECT_EQ(full.count, 3u);
  EXPECT_EQ(full.value, 99u);
  EXPECT_EQ(full.GetData(), bytes);
  EXPECT_EQ(full.GetValue(), 263u);
}

TEST(TiffTag, FromADirectoryEntry) {
  // At offset 4: 11 01 12 01 13 01 ...
  const TemporaryFile scratch({0, 0, 0, 0, 0x11, 1, 0x12, 1, 0x13, 1, 0x14, 1, 0x15, 1, 0x16, 1});
  const OwnedStream file = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned word, count, value;
    unsigned type;
    bool outOfLine;
    unsigned expected;
  } kRows[] = {
      {"SHORT x 2 is inline", Packed(700, 3), 2, 0x00080010, 3, false, 0x00080010},
      {"SHORT x 3 is out of line", Packed(700, 3), 3, 4, 3, true, 0x0111},
      {"LONG x 1 is inline", Packed(256, 4), 1, 70000, 4, false, 70000},
      {"LONG array: low half of the first", Packed(273, 4), 2, 6, 4, true, 0x0112},
      {"RATIONAL: low half of the numerator", Packed(700, 5), 1, 8, 5, true, 0x0113},
      {"BYTE x 4 is inline", Packed(700, 1), 4, 5, 1, false, 5},
      {"BYTE x 5 is out of line", Packed(700, 1), 5, 4, 1, true, 0x0111},
      {"kept: SRATIONAL x 1 is inline", Packed(700, 10), 1, 4, 10, false, 4},
      {"kept: FLOAT x 1 is out of line", Packed(700, 11), 1, 4, 11, true, 0x0111},
      {"kept: DOUBLE x 4 is inline", Packed(700, 12), 4, 4, 12, false, 4},
      {"type 19 is reduced to 3", Packed(700, 19), 3, 4, 3, true, 0x0111},
      {"type 0 counts bytes", Packed(700, 0), 4, 4, 0, false, 4},
      {"count 0", Packed(700, 7), 0, 12, 7, false, 12},
      {"tag numbers are 16 bits", Packed(65535, 4), 1, 1, 4, false, 1},
  };
  for (const auto& row : kRows) {
    const TiffTag tag(row.word, row.count, row.value, file.get());
    EXPECT_EQ(tag.tag, row.word & 0xFFFF) << row.what;
    EXPECT_EQ(tag.type, row.type) << row.what;
    EXPECT_EQ(tag.count, row.count) << row.what;
    EXPECT_EQ(tag.value, row.value) << row.what;
    EXPECT_EQ(tag.ValueIsOffset(), row.outOfLine) << row.what;
    EXPECT_EQ(tag.GetData() != nullptr, row.outOfLine) << row.what;
    EXPECT_EQ(tag.GetValue(), row.expected) << row.what;
  }
}

TEST(TiffTag, WithoutAFileTheDataAreNull) {
  TiffTag tag(Packed(700, 1), 10, 1234, nullptr);
  EXPECT_EQ(tag.GetData(), nullptr);
  EXPECT_TRUE(tag.ValueIsOffset());
  EXPECT_EQ(tag.GetValue(), 0u);
}

TEST(TiffTag, ValueIsOffsetIsASigned32BitTest) {
  const struct {
    unsigned type, count;
    bool expected;
  } kRows[] = {{1, 5, true},           {1, 0x7FFFFFFF, true},  {1, 0x80000000, false},
               {3, 0x40000000, false}, {5, 0x20000000, false}, {5, 0x20000001, true}};
  for (const auto& row : kRows) {
    const TiffTag tag(IccProfile, static_cast<FieldType>(row.type), row.count, 0, nullptr);
    EXPECT_EQ(tag.ValueIsOffset(), row.expected) << row.type << " x " << row.count;
  }
}

TEST(TiffTag, MissingBytesAreZeroAndDataOutOfProportionAreNull) {
  // Tags may hold half of what a reader may: (32 MiB + 4 * 100 bytes) / 2.
  constexpr unsigned kMostBytes = 16777416;
  const TemporaryFile scratch(Bytes(100, 0xAA));
  const OwnedStream file = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned type, count, offset;
    bool held;
    std::size_t present;
  } kRows[] = {
      {"all there", 1, 90, 10, true, 90},
      {"ten bytes missing", 1, 100, 10, true, 90},
      {"offset past the end", 1, 100, 5000, true, 0},
      {"offset 4 GiB", 1, 100, 0xFFFFFFFF, true, 0},
      {"64 KiB more than there are", 1, 65536 + 90, 10, true, 90},
      {"most that is held", 1, kMostBytes, 10, true, 90},
      {"one byte more than that", 1, kMostBytes + 1, 10, false, 0},
      {"2 GiB", 1, 0x7FFFFFFF, 0, false, 0},
      {"4 GiB", 1, 0xFFFFFFFF, 0, false, 0},
      {"8 * 2^29 does not wrap to 0", 5, 0x20000000, 0, false, 0},
      {"32 GiB", 5, 0xFFFFFFFF, 0, false, 0},
  };
  for (const auto& row : kRows) {
    const TiffTag tag(Packed(700, row.type), row.count, row.offset, file.get());
    ASSERT_EQ(tag.GetData() != nullptr, row.held) << row.what;
    EXPECT_EQ(tag.count, row.count) << row.what;
    EXPECT_EQ(tag.GetValue(), row.present ? 0xAAAAu : 0u) << row.what;
    if (!row.held) continue;
    Bytes expected(row.count);
    std::fill_n(expected.begin(), row.present, 0xAA);
    EXPECT_EQ(CopyOf(tag.GetData(), row.count), expected) << row.what;
  }
}

TEST(TiffTag, AStreamThatCannotSeekReadsAsZeros) {
  FILE* pipe = popen("head -c 1000 /dev/zero | tr '\\0' x", "r");
  ASSERT_NE(pipe, nullptr);
  const TiffTag tag(Packed(700, 1), 8, 0, pipe);
  ASSERT_NE(tag.GetData(), nullptr);
  EXPECT_EQ(CopyOf(tag.GetData(), 8), Bytes(8));
  pclose(pipe);
}

TEST(TiffTag, CopiesLeaveTheValue) {
  TiffTag inlineTag(ImageWidth, TIFF_LONG, 1, 640, nullptr);
  const TiffTag copy(inlineTag);
  EXPECT_EQ(copy.tag, 256u);
  EXPECT_EQ(copy.type, 4u);
  EXPECT_EQ(copy.count, 1u);
  EXPECT_EQ(copy.value, 0u);

  TiffTag assigned(Software, TIFF_ASCII, 1, 7, nullptr);
  assigned = inlineTag;
  EXPECT_EQ(assigned.tag, 256u);
  EXPECT_EQ(assigned.value, 7u);

  const TiffTag moved(std::move(inlineTag));
  EXPECT_EQ(moved.value, 640u) << "a move constructor takes all four numbers";

  TiffTag moveAssigned(Software, TIFF_ASCII, 1, 7, nullptr);
  moveAssigned = TiffTag(ImageLength, TIFF_LONG, 1, 480, nullptr);
  EXPECT_EQ(moveAssigned.tag, 257u);
  EXPECT_EQ(moveAssigned.value, 7u);
}

TEST(TiffTag, CopiesOwnTheirData) {
  TiffTag source(Software, TIFF_ASCII, 5, 0, new unsigned char[5]{'a', 'b', 'c', 'd', 0});
  TiffTag copy(source);
  ASSERT_NE(copy.GetData(), nullptr);
  EXPECT_NE(copy.GetData(), source.GetData());
  EXPECT_EQ(CopyOf(copy.GetData(), 5), (Bytes{'a', 'b', 'c', 'd', 0}));

  TiffTag assigned(Artist, TIFF_ASCII, 6, 0, new unsigned char[6]{});
  assigned = source;
  EXPECT_EQ(CopyOf(assigned.GetData(), 5), (Bytes{'a', 'b', 'c', 'd', 0}));
  const unsigned char* held = assigned.GetData();
  const TiffTag& self = assigned;
  assigned = self;
  EXPECT_EQ(assigned.GetData(), held) << "self-assignment does nothing";

  unsigned char* bytes = source.GetData();
  TiffTag moved(std::move(source));
  EXPECT_EQ(moved.GetData(), bytes);
  EXPECT_EQ(source.data, nullptr);
  assigned = std::move(moved);
  EXPECT_EQ(assigned.GetData(), bytes);
  EXPECT_EQ(moved.data, nullptr);
}

TEST(TiffTag, InlineTagsAreCopiedWithoutTheBufferTheyCarry) {
  const TiffTag strips(StripOffsets, TIFF_LONG, 1, 8, new unsigned char[9]{});
  const TiffTag copy(strips);
  EXPECT_EQ(copy.GetData(), nullptr);
}

TEST(TiffTag, SaveFileWritesOutOfLineDataOnly) {
  const struct {
    const char* what;
    unsigned type, count;
    Bytes data;
    int items;
    Bytes written;
  } kRows[] = {
      {"inline", 4, 1, {}, 0, {}},
      {"inline with a buffer", 4, 1, {1, 2, 3, 4, 5, 6}, 0, {}},
      {"three SHORTs", 3, 3, {1, 2, 3, 4, 5, 6}, 3, {1, 2, 3, 4, 5, 6}},
      {"one RATIONAL", 5, 1, {1, 2, 3, 4, 5, 6, 7, 8}, 1, {1, 2, 3, 4, 5, 6, 7, 8}},
      {"absent data are zeros", 3, 3, {}, 3, Bytes(6)},
      {"absent data of 64 KiB", 1, 65536, {}, 65536, Bytes(65536)},
      {"larger absent data are not written", 1, 65537, {}, 0, {}},
      {"absent 32 GiB", 5, 0xFFFFFFFF, {}, 0, {}},
  };
  for (const auto& row : kRows) {
    unsigned char* data = row.data.empty() ? nullptr : new unsigned char[row.data.size()];
    std::copy(row.data.begin(), row.data.end(), data);
    TiffTag tag(Software, static_cast<FieldType>(row.type), row.count, 0, data);
    const TemporaryFile scratch;
    OwnedStream file = OpenForWriting(scratch.Path());
    EXPECT_EQ(tag.SaveFile(file.get()), row.items) << row.what;
    file.reset();
    EXPECT_EQ(scratch.Read(), row.written) << row.what;
  }
}

TEST(BitsPerSampleTag, ForANewImage) {
  const struct {
    const char* what;
    unsigned count, bits;
    Bytes data;
    unsigned expected;
  } kRows[] = {
      {"one sample is inline", 1, 8, {}, 8},
      {"two samples have entries all the same", 2, 16, Shorts({16, 16}), 16},
      {"three samples", 3, 8, Shorts({8, 8, 8}), 8},
      {"four samples", 4, 16, Shorts({16, 16, 16, 16}), 16},
      {"no sample", 0, 8, {}, 0},
      {"more samples than there can be", 65536, 8, {}, 0},
      {"minus one samples", 0xFFFFFFFF, 8, {}, 0},
  };
  for (const auto& row : kRows) {
    const BitsPerSampleTag tag(Packed(258, 3), row.count, row.bits, nullptr);
    EXPECT_EQ(tag.GetValue(), row.expected) << row.what;
    EXPECT_EQ(tag.value, row.bits) << row.what;
    ASSERT_EQ(tag.GetData() != nullptr, !row.data.empty()) << row.what;
    if (tag.GetData()) {
      EXPECT_EQ(CopyOf(tag.GetData(), row.data.size()), row.data) << row.what;
    }
  }
}

TEST(BitsPerSampleTag, FromAFile) {
  std::vector<unsigned> depths(40000, 7);
  depths[0] = 12;
  const TemporaryFile scratch(Shorts(depths));
  const OwnedStream file = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned type, count, value, expected;
  } kRows[] = {
      {"one sample", 3, 1, 16, 16},
      {"two inline samples read 0", 3, 2, 0x00080008, 0},
      {"three samples give the first", 3, 3, 0, 12},
      {"so do forty thousand", 3, 40000, 0, 12},
      {"and a million, most of them missing", 3, 1000000, 0, 12},
      {"no sample", 3, 0, 5, 0},
      {"a count out of proportion", 3, 0x7FFFFFFF, 0, 0},
  };
  for (const auto& row : kRows) {
    const BitsPerSampleTag tag(Packed(258, row.type), row.count, row.value, file.get());
    EXPECT_EQ(tag.GetValue(), row.expected) << row.what;
  }
}

TEST(ResolutionTag, ForANewImage) {
  const ResolutionTag tag(Packed(282, 5), 1, 300, nullptr);
  ASSERT_NE(tag.GetData(), nullptr);
  EXPECT_EQ(CopyOf(tag.GetData(), 8), Longs({30000, 100}));
  EXPECT_EQ(tag.value, 300u);
  EXPECT_EQ(tag.GetValue(), 300u);
}

TEST(ResolutionTag, FromAFile) {
  const struct {
    const char* what;
    Bytes file;
    unsigned type, count, expected;
  } kRows[] = {
      {"300/1", Longs({300, 1}), 5, 1, 300},
      {"30000/100", Longs({30000, 100}), 5, 1, 300},
      {"integer division", Longs({2999, 10}), 5, 1, 299},
      {"unsigned division", Longs({0xFFFFFFFF, 2}), 5, 1, 0x7FFFFFFF},
      {"zero denominator", Longs({300, 0}), 5, 1, 0},
      {"missing denominator", Longs({300}), 5, 1, 0},
      {"nothing there", {}, 5, 1, 0},
      {"inline type", Longs({300, 1}), 3, 1, 0},
      {"five bytes", Longs({300, 1}), 1, 5, 300},
      {"ten thousand, of which the first is there", Longs({300, 1}), 5, 10000, 300},
      {"a count out of proportion", Longs({300, 1}), 5, 0xFFFFFFFF, 0},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    const OwnedStream file = OpenForReading(scratch.Path());
    const ResolutionTag tag(Packed(282, row.type), row.count, 0, file.get());
    EXPECT_EQ(tag.GetValue(), row.expected) << row.what;
  }
}

TEST(ExifTag, CarriesABlockOf256Bytes) {
  const Bytes file = Ramp(1000);
  const TemporaryFile scratch(file);
  const OwnedStream stream = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned offset;
    std::size_t present;
  } kRows[] = {
      {"inside", 300, 256}, {"100 bytes before the end", 900, 100}, {"past the end", 5000, 0}};
  for (const auto& row : kRows) {
    const Exif_IFD_Tag tag(Packed(34665, 4), 1, row.offset, stream.get());
    Bytes expected = Slice(file, row.offset, row.present);
    expected.resize(256);
    ASSERT_NE(tag.GetData(), nullptr) << row.what;
    EXPECT_EQ(CopyOf(tag.GetData(), 256), expected) << row.what;
    EXPECT_EQ(tag.GetValue(), row.offset) << row.what;
  }
  const Exif_IFD_Tag fileless(Packed(34665, 4), 1, 300, nullptr);
  EXPECT_EQ(CopyOf(fileless.GetData(), 256), Bytes(256));
}

TEST(ExifTag, OddCountsNeverReadPastTheBlock) {
  const Bytes file = Ramp(1000);
  const TemporaryFile scratch(file);
  const OwnedStream stream = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned type, count;
    std::size_t written;
  } kRows[] = {
      {"100 bytes", 7, 100, 100},
      {"400 bytes, 300 of them there", 7, 400, 400},
      {"largest", 7, 65536, 65536},
      {"larger: the block alone is held, and written elsewhere", 7, 65537, 0},
      {"out of proportion", 5, 0xFFFFFFFF, 0},
  };
  for (const auto& row : kRows) {
    Exif_IFD_Tag tag(Packed(34665, row.type), row.count, 700, stream.get());
    Exif_IFD_Tag copy(tag);
    for (Exif_IFD_Tag* each : {&tag, &copy}) {
      ASSERT_NE(each->GetData(), nullptr) << row.what;
      const auto shown = static_cast<std::size_t>(std::min<std::uint64_t>(TagDataBytes(tag), 256));
      EXPECT_EQ(CopyOf(each->GetData(), shown), Slice(file, 700, shown)) << row.what;
      const TemporaryFile saved;
      OwnedStream out = OpenForWriting(saved.Path());
      each->SaveFile(out.get());
      out.reset();
      Bytes expected = Slice(file, 700, std::min<std::size_t>(row.written, 300));
      expected.resize(row.written);
      EXPECT_EQ(saved.Read(), expected) << row.what;
    }
  }
}

TEST(ExifTag, ACopyLosesTheBlock) {
  const Exif_IFD_Tag tag(Packed(34665, 4), 1, 0, nullptr);
  const Exif_IFD_Tag copy(tag);
  EXPECT_EQ(copy.GetData(), nullptr);
}

}  // namespace
