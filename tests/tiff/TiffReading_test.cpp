#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "TiffBytes.h"
#include "base/FileStream.h"
#include "tests/TemporaryFile.h"
#include "tiff/BitsPerSampleTag.h"
#include "tiff/CTiff.h"
#include "tiff/Exif_IFD_Tag.h"
#include "tiff/ImageBytes.h"
#include "tiff/ResolutionTag.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

/// 2 x 2 RGB, 8 bits, one strip of the bytes 1..12.
TiffBytes SmallImage() {
  return ImageEntries(2, 2, 3, 8, 2, 1).AddStrips({Ramp(12)});
}

/// `count` entries in all, the added ones from number 1000 on.
TiffBytes WithEntries(unsigned count) {
  TiffBytes tiff = SmallImage();
  for (unsigned i = 9; i < count; ++i) tiff.Add(1000 + i, kLong, 1, i);
  return tiff;
}

TEST(TiffReading, EveryFormBecomesOneInterleavedBuffer) {
  // Rows of 2 RGB pixels: planes 1.., 41.., 81..
  const Bytes red = Ramp(6, 1), green = Ramp(6, 41), blue = Ramp(6, 81);
  Bytes interleaved8;
  for (int i = 0; i < 6; ++i) Append(interleaved8, {red[i], green[i], blue[i]});
  const Bytes red16 = Ramp(12, 1), green16 = Ramp(12, 41), blue16 = Ramp(12, 81);
  Bytes interleaved16;
  for (int i = 0; i < 12; i += 2) {
    Append(interleaved16,
           {red16[i], red16[i + 1], green16[i], green16[i + 1], blue16[i], blue16[i + 1]});
  }
  Bytes planes8 = red;
  Append(planes8, green);
  Append(planes8, blue);

  const struct {
    const char* what;
    Bytes file;
    Bytes pixels;
    unsigned planar;
  } kRows[] = {
      {"single strip", ImageEntries(2, 3, 3, 8, 3, 1).AddStrips({Ramp(18)}).Build(), Ramp(18), 1},
      {"single strip, 16 bits", ImageEntries(2, 3, 3, 16, 3, 1).AddStrips({Ramp(36)}).Build(),
       Ramp(36), 1},
      {"single strip, SHORT offset",
       ImageEntries(2, 3, 3, 8, 3, 1).AddStrips({Ramp(18)}, kShort, kShort).Build(), Ramp(18), 1},
      {"no PlanarConfiguration", ImageEntries(2, 3, 3, 8, 3, 0).AddStrips({Ramp(18)}).Build(),
       Ramp(18), 0},
      {"one strip, RowsPerStrip larger than the length",
       ImageEntries(2, 3, 3, 8, 0xFFFFFFFF, 1).AddStrips({Ramp(18)}).Build(), Ramp(18), 1},
      {"one strip, RowsPerStrip smaller than the length",
       ImageEntries(2, 3, 3, 8, 1, 1).AddStrips({Ramp(18)}).Build(), Ramp(18), 1},
      {"no RowsPerStrip", ImageEntries(2, 3, 3, 8, 0, 1).AddStrips({Ramp(18)}).Build(), Ramp(18),
       1},
      {"three LONG strips",
       ImageEntries(2, 3, 3, 8, 1, 1).AddStrips({Ramp(6, 1), Ramp(6, 7), Ramp(6, 13)}).Build(),
       Ramp(18), 1},
      {"two strips, the last one short",
       ImageEntries(2, 3, 3, 8, 2, 1).AddStrips({Ramp(12, 1), Ramp(6, 13)}).Build(), Ramp(18), 1},
      {"three SHORT strips",
       ImageEntries(2, 3, 3, 8, 1, 1)
           .AddStrips({Ramp(6, 1), Ramp(6, 7), Ramp(6, 13)}, kShort, kShort)
           .Build(),
       Ramp(18), 1},
      {"two inline SHORT strips",
       ImageEntries(2, 3, 3, 8, 2, 1).AddStrips({Ramp(12, 1), Ramp(6, 13)}, kShort, kShort).Build(),
       Ramp(18), 1},
      {"LONG offsets, SHORT byte counts",
       ImageEntries(2, 3, 3, 8, 1, 1)
           .AddStrips({Ramp(6, 1), Ramp(6, 7), Ramp(6, 13)}, kLong, kShort)
           .Build(),
       Ramp(18), 1},
      {"SHORT offsets, LONG byte counts",
       ImageEntries(2, 3, 3, 8, 1, 1)
           .AddStrips({Ramp(6, 1), Ramp(6, 7), Ramp(6, 13)}, kShort, kLong)
           .Build(),
       Ramp(18), 1},
      {"three planes of 8 bits",
       ImageEntries(2, 3, 3, 8, 3, 2).AddStrips({red, green, blue}).Build(), interleaved8, 1},
      {"three planes of 16 bits",
       ImageEntries(2, 3, 3, 16, 3, 2).AddStrips({red16, green16, blue16}).Build(), interleaved16,
       1},
      {"three planes without RowsPerStrip",
       ImageEntries(2, 3, 3, 8, 0, 2).AddStrips({red, green, blue}).Build(), interleaved8, 1},
      {"three planes in one strip", ImageEntries(2, 3, 3, 8, 3, 2).AddStrips({planes8}).Build(),
       interleaved8, 1},
      {"kept: planes in several strips stay planes",
       ImageEntries(2, 3, 3, 8, 2, 2)
           .AddStrips({Slice(red, 0, 4), Slice(red, 4, 2), Slice(green, 0, 4), Slice(green, 4, 2),
                       Slice(blue, 0, 4), Slice(blue, 4, 2)})
           .Build(),
       planes8, 2},
      {"one-bit chunky", ImageEntries(16, 3, 1, 1, 3, 1).AddStrips({Ramp(6)}).Build(), Ramp(6), 1},
      {"kept: one-bit planes stay planes",
       ImageEntries(16, 3, 3, 1, 3, 2).AddStrips({Ramp(18)}).Build(), Ramp(18), 2},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), row.pixels.size()), row.pixels) << row.what;
    EXPECT_EQ(image.GetTagValue(PlanarConfiguration), row.planar) << row.what;
    EXPECT_EQ(image.GetTagValue(StripByteCounts), row.pixels.size()) << row.what;
    EXPECT_EQ(ImageBytes(image), row.pixels.size()) << row.what;
    const auto strips = image.GetTag(StripOffsets);
    EXPECT_EQ(strips->count, 1u) << row.what;
    EXPECT_EQ(strips->GetData(), image.GetImageBuf()) << row.what;
  }
}

TEST(TiffReading, FourPlanesForAnySampleCountButThree) {
  const struct {
    const char* what;
    unsigned samples;
    std::vector<Bytes> planes;
    Bytes expected;
  } kRows[] = {
      {"four", 4, {{1, 2}, {3, 4}, {5, 6}, {7, 8}}, {1, 3, 5, 7, 2, 4, 6, 8}},
      {"kept: five give four",
       5,
       {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}},
       {1, 3, 5, 7, 2, 4, 6, 8, 0, 0}},
      {"kept: one gives four, missing planes are 0", 1, {{1, 2}}, {1, 0, 0, 0, 2, 0, 0, 0}},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(
        ImageEntries(2, 1, row.samples, 8, 1, 2).AddStrips(row.planes).Build());
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), row.expected.size()), row.expected) << row.what;
  }
}

TEST(TiffReading, IntactPlanesOfOneSampleAreReadAtAnySize) {
  // A sparse file of 35 MB, whose samples take 140 MB when they are interleaved with three absent
  // planes, and 35 MB more while that happens.
  constexpr unsigned kWidth = 7000, kLength = 5000, kPixels = kWidth * kLength;
  constexpr unsigned kPixelsAt = 10 + 12 * 9 + 4;
  const TemporaryFile scratch(ImageEntries(kWidth, kLength, 1, 8, kLength, 2)
                                  .Add(273, kLong, 1, kPixelsAt)
                                  .Add(279, kLong, 1, kPixels)
                                  .Build());
  std::filesystem::resize_file(scratch.Path(), kPixelsAt + kPixels - 1);
  std::ofstream(scratch.Path(), std::ios::binary | std::ios::app).put(77);
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(image.GetTagValue(PlanarConfiguration), 1u);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 8), Bytes(8));
  EXPECT_EQ(CopyOf(image.GetImageBuf() + 4 * (kPixels - 1), 4), (Bytes{77, 0, 0, 0}));
}

TEST(TiffReading, SeparateSamplesThatAreNot8BitsAreTakenAs16) {
  // 12 bits a sample: the strips hold 3 bytes a plane, the interleaver takes 4.
  const TemporaryFile scratch(
      ImageEntries(2, 1, 3, 12, 1, 2).AddStrips({Ramp(4, 1), Ramp(4, 5), Ramp(4, 9)}).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), (Bytes{1, 2, 5, 6, 9, 10, 3, 4, 7, 8, 11, 12}));
}

TEST(TiffReading, FieldsAfterASuccessfulRead) {
  const TemporaryFile scratch(ImageEntries(10, 2, 3, 8, 2, 1)
                                  .AddStrips({Ramp(60)})
                                  .AddData(282, kRational, 1, Longs({6000, 20}))
                                  .Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(image.Width, 10);
  EXPECT_EQ(image.Length, 2);
  EXPECT_EQ(image.Samples, 3);
  EXPECT_EQ(image.Bits, 8);
  EXPECT_EQ(image.RowBytes, 30);
  EXPECT_EQ(image.Resolution, 300);
  EXPECT_EQ(image.IFDOffset, 8u);

  const TemporaryFile bits(ImageEntries(10, 3, 1, 1, 3, 1).AddStrips({Ramp(6)}).Build());
  ASSERT_EQ(image.ReadFile(bits.Path()), 0);
  EXPECT_EQ(image.RowBytes, 2);
  EXPECT_EQ(image.Resolution, 0);
  EXPECT_EQ(image.GetTagValue(StripByteCounts), 3u) << "kept: 30 bits rounded down";
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 6), (Bytes{1, 2, 3, 0, 0, 0})) << "whole rows are held";
}

TEST(TiffReading, TheFactoryChoosesTheClassByNumber) {
  Tiff tiff;
  for (unsigned number : {258u, 282u, 283u, 34665u, 256u, 34675u, 700u, 60000u}) {
    const auto tag = tiff.CreateTag(kLong << 16 | number, 1, 7, nullptr);
    ASSERT_TRUE(tag);
    EXPECT_EQ(dynamic_cast<BitsPerSampleTag*>(tag.get()) != nullptr, number == 258) << number;
    EXPECT_EQ(dynamic_cast<ResolutionTag*>(tag.get()) != nullptr, number == 282 || number == 283)
        << number;
    EXPECT_EQ(dynamic_cast<Exif_IFD_Tag*>(tag.get()) != nullptr, number == 34665) << number;
    EXPECT_EQ(tag->tag, number);
  }
}

TEST(TiffReading, TagsKeepFileOrderAndDuplicates) {
  const TemporaryFile scratch(
      SmallImage().Add(60000, kLong, 1, 5).Add(60000, kLong, 1, 6).Add(33, kShort, 1, 7).Build());
  Tiff tiff;
  ASSERT_EQ(tiff.ReadFile(scratch.Path()), 0);
  std::vector<unsigned> numbers;
  for (const auto& tag : tiff.tags) numbers.push_back(tag->tag);
  EXPECT_EQ(numbers,
            (std::vector<unsigned>{256, 257, 258, 259, 277, 278, 284, 273, 279, 60000, 60000, 33}));
  EXPECT_EQ(tiff.GetTagValue(static_cast<TiffTagSignature>(60000)), 5u) << "the first one";
  EXPECT_EQ(tiff.GetTagValue(Software), 0u) << "absent";
  EXPECT_FALSE(tiff.GetTag(Software));
}

TEST(TiffReading, DirectoryOfUpTo39Entries) {
  const struct {
    unsigned entries;
    int result;
  } kRows[] = {{39, 0}, {40, -3}, {65535, -3}};
  for (const auto& row : kRows) {
    const TemporaryFile scratch(WithEntries(row.entries).Build());
    CTiff image;
    int result = 0;
    EXPECT_EQ(PrintedBy([&] { result = image.ReadFile(scratch.Path()); }), "") << row.entries;
    EXPECT_EQ(result, row.result) << row.entries;
    EXPECT_EQ(image.tags.size(), row.result ? 0u : row.entries) << row.entries;
    Tiff tiff;
    EXPECT_EQ(tiff.ReadFile(scratch.Path()), row.result) << row.entries;
  }
}

TEST(TiffReading, MissingRowsPerStripIsAppended) {
  const TemporaryFile scratch(ImageEntries(2, 2, 3, 8, 0, 1).AddStrips({Ramp(12)}).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  const auto& last = image.tags.back();
  EXPECT_EQ(last->tag, 278u);
  EXPECT_EQ(last->type, 3u);
  EXPECT_EQ(last->count, 1u);
  EXPECT_EQ(last->value, 2u);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12));
}

TEST(TiffReading, WithoutRowsPerStripSeveralStripsAreOneAtAHalfWordOffset) {
  // A LONG array counts as its first 16 bits: here the offset of its first strip.
  const TemporaryFile scratch(
      ImageEntries(2, 2, 3, 8, 0, 1).AddStrips({Ramp(6), Ramp(6, 7)}).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12));
  EXPECT_EQ(image.GetTag(StripOffsets)->type, 4u);
  EXPECT_EQ(image.GetTag(StripOffsets)->count, 1u);
  // An array of byte counts cannot be corrected by its value; the image is good for its first 16
  // bits only.
  EXPECT_EQ(image.GetTag(StripByteCounts)->count, 2u);
  EXPECT_EQ(image.GetTag(StripByteCounts)->value, 12u);
  EXPECT_EQ(image.GetTagValue(StripByteCounts), 6u);
  EXPECT_EQ(ImageBytes(image), 6u);
}

TEST(TiffReading, SingleStripByteCountIsCorrected) {
  const struct {
    const char* what;
    unsigned claimed;
  } kRows[] = {{"too small", 5}, {"too large", 4000000000}, {"right", 12}};
  for (const auto& row : kRows) {
    const TemporaryFile scratch(SmallImage().Change(279, kLong, 1, row.claimed).Build());
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    EXPECT_EQ(image.GetTagValue(StripByteCounts), 12u) << row.what;
    EXPECT_EQ(image.GetTag(StripByteCounts)->type, 4u) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12)) << row.what;
  }
  const TemporaryFile without(SmallImage().Drop(279).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(without.Path()), 0);
  EXPECT_FALSE(image.GetTag(StripByteCounts)) << "a missing tag is not created";
  EXPECT_EQ(ImageBytes(image), 12u);
}

// Types 6 to 9 too keep type and count; the bit planes' value is not touched at all.
TEST(TiffReading, OnlyTheValueOfAByteCountIsCorrected) {
  const struct {
    const char* what;
    unsigned type, count, claimed;
  } kRows[] = {
      {"one SBYTE", 6, 1, 5},      {"four UNDEFINED", 7, 4, 5},    {"no UNDEFINED", 7, 0, 0},
      {"one SSHORT", 8, 1, 70000}, {"one SLONG, right", 9, 1, 12}, {"one SLONG", 9, 1, 4000000000},
      {"one SHORT", 3, 1, 5},      {"four BYTEs", 1, 4, 5},        {"one LONG", 4, 1, 5},
  };
  for (const auto& row : kRows) {
    const TemporaryFile chunky(SmallImage().Change(279, row.type, row.count, row.claimed).Build());
    CTiff image;
    ASSERT_EQ(image.ReadFile(chunky.Path()), 0) << row.what;
    const auto counts = image.GetTag(StripByteCounts);
    EXPECT_EQ(counts->type, row.type) << row.what;
    EXPECT_EQ(counts->count, row.count) << row.what;
    EXPECT_EQ(counts->value, 12u) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12)) << row.what;
    EXPECT_EQ(ImageBytes(image), 12u) << row.what;

    if (row.claimed > 100) continue;
    const TemporaryFile planes(ImageEntries(16, 2, 3, 1, 2, 2)
                                   .AddStrips({Ramp(12)})
                                   .Change(279, row.type, row.count, row.claimed)
                                   .Build());
    ASSERT_EQ(image.ReadFile(planes.Path()), 0) << row.what;
    EXPECT_EQ(image.GetTag(StripByteCounts)->type, row.type) << row.what;
    EXPECT_EQ(image.GetTag(StripByteCounts)->value, row.claimed) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12)) << row.what;
  }
}

TEST(TiffReading, SeveralStripsLeaveOne) {
  const TemporaryFile scratch(
      ImageEntries(2, 3, 3, 8, 1, 1).AddStrips({Ramp(6), Ramp(6, 7), Ramp(5, 13)}).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  const auto strips = image.GetTag(StripOffsets);
  EXPECT_EQ(strips->type, 4u);
  EXPECT_EQ(strips->count, 1u);
  const auto byteCounts = image.GetTag(StripByteCounts);
  EXPECT_EQ(byteCounts->type, 3u) << "kept: SHORT for a 32-bit total";
  EXPECT_EQ(byteCounts->count, 1u);
  EXPECT_EQ(byteCounts->value, 17u);
  EXPECT_EQ(byteCounts->GetData(), nullptr);
  EXPECT_EQ(image.GetTagValue(RowsPerStrip), 3u);
  Bytes expected = Ramp(17);
  expected.push_back(0);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 18), expected) << "whole rows are held";
  EXPECT_EQ(ImageBytes(image), 17u) << "but the image is good for the strips only";
}

// StripByteCounts decides, although the buffer is larger: it is what saving writes.
TEST(ImageBytes, AreTheBytesThatSavingWrites) {
  const struct {
    const char* what;
    Bytes file;
    std::uint64_t expected;
  } kRows[] = {
      {"one strip", SmallImage().Build(), 12},
      {"an array left on the single-strip path counts as its first 16 bits",
       ImageEntries(2, 2, 3, 8, 0, 1).AddStrips({Ramp(5), Ramp(7)}).Build(), 5},
      {"planes shorter than the image",
       ImageEntries(4, 3, 3, 8, 3, 2).AddStrips({Ramp(12), Ramp(12), Ramp(5)}).Build(), 29},
      {"planes longer than the image",
       ImageEntries(2, 1, 3, 8, 1, 2).AddStrips({Ramp(2), Ramp(2), Ramp(9)}).Build(), 13},
      {"one plane, interleaved with three absent ones",
       ImageEntries(4, 3, 1, 8, 3, 2).AddStrips({Ramp(12)}).Build(), 12},
      {"strips shorter than the image",
       ImageEntries(2, 2, 3, 8, 1, 1).AddStrips({Ramp(6), Ramp(1)}).Build(), 7},
      {"rows of bits, rounded down by the pixel",
       ImageEntries(10, 3, 1, 1, 3, 1).AddStrips({Ramp(6)}).Build(), 3},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    EXPECT_EQ(ImageBytes(image), row.expected) << row.what;
    const TemporaryFile raw;
    PrintedBy([&] { EXPECT_EQ(image.SaveRaw(raw.Path()), 0); });
    EXPECT_EQ(raw.Read(), CopyOf(image.GetImageBuf(), row.expected)) << row.what;
  }
}

TEST(TiffReading, FewerByteCountsThanStripsReadZeroBytes) {
  const TemporaryFile scratch(ImageEntries(2, 2, 3, 8, 1, 1)
                                  .AddStrips({Ramp(6), Ramp(6, 7)})
                                  .Change(279, kLong, 1, 6)
                                  .Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(image.GetTagValue(StripByteCounts), 6u);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 6), Ramp(6));
}

TEST(TiffReading, ReadFileOfTiffThrows) {
  Tiff tiff;
  try {
    tiff.ReadFile(nullptr);
    ADD_FAILURE() << "no exception";
  } catch (char const* message) {
    EXPECT_STREQ(message, " *** Tiff::ReadFile() --> FileName is nullptr. *** ");
  }
  const char* missing = "no/such/file.tif";
  try {
    tiff.ReadFile(missing);
    ADD_FAILURE() << "no exception";
  } catch (char const* message) {
    EXPECT_EQ(message, missing) << "the path itself";
  }
  EXPECT_THROW(Tiff("no/such/file.tif"), char const*);
  const TemporaryFile big({'M', 'M', 0, 42, 0, 0, 0, 8});
  try {
    tiff.ReadFile(big.Path());
    ADD_FAILURE() << "no exception";
  } catch (char const* message) {
    EXPECT_STREQ(message, " *** Tiff is not PC version. *** ");
  }
  const TemporaryFile compressed(SmallImage().Change(259, kShort, 1, 5).Build());
  try {
    tiff.ReadFile(compressed.Path());
    ADD_FAILURE() << "no exception";
  } catch (const ErrCode& failure) {
    EXPECT_EQ(failure.code, -7);
  }
}

TEST(TiffReading, ReadFileOfCTiffPrintsAndReturns) {
  const struct {
    const char* what;
    Bytes file;
    int result;
    const char* printed;
  } kRows[] = {
      {"good", SmallImage().Build(), 0, ""},
      {"big-endian",
       {'M', 'M', 0, 42, 0, 0, 0, 8},
       -1,
       "***  *** Tiff is not PC version. ***  Open Error. ***\n"},
      {"empty", {}, -1, "***  *** Tiff is not PC version. ***  Open Error. ***\n"},
      {"version 43",
       {'I', 'I', 43, 0, 8, 0, 0, 0},
       -1,
       "***  *** Tiff is not PC version. ***  Open Error. ***\n"},
      {"compressed", SmallImage().Change(259, kShort, 1, 5).Build(), -7,
       "Tiff Read Filer Error:-7\n"},
      {"no Compression", SmallImage().Drop(259).Build(), -7, "Tiff Read Filer Error:-7\n"},
      {"header only", {'I', 'I', 42, 0, 8, 0, 0, 0}, -7, "Tiff Read Filer Error:-7\n"},
      {"no StripOffsets", SmallImage().Drop(273).Build(), -1, ""},
      {"planar configuration 3", SmallImage().Change(284, kShort, 1, 3).Build(), -1, ""},
      {"several strips without byte counts",
       ImageEntries(2, 2, 3, 8, 1, 1).AddStrips({Ramp(6), Ramp(6)}).Drop(279).Build(), -1, ""},
      {"planes without byte counts",
       ImageEntries(2, 1, 3, 8, 1, 2).AddStrips({Ramp(2), Ramp(2), Ramp(2)}).Drop(279).Build(), -1,
       ""},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    CTiff image;
    int result = 1;
    EXPECT_EQ(PrintedBy([&] { result = image.ReadFile(scratch.Path()); }), row.printed) << row.what;
    EXPECT_EQ(result, row.result) << row.what;
    EXPECT_EQ(image.GetImageBuf() != nullptr, row.result == 0) << row.what;
  }
}

TEST(TiffReading, ReadFileOfCTiffWithoutAFile) {
  CTiff image;
  int result = 0;
  EXPECT_EQ(PrintedBy([&] { result = image.ReadFile("no/such/file.tif"); }),
            "no/such/file.tif Open fail.\n");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(PrintedBy([&] { result = image.ReadFile(nullptr); }), " Open fail.\n");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(PrintedBy([] {
              CTiff failed("no/such/file.tif");
              EXPECT_EQ(failed.GetImageBuf(), nullptr);
              EXPECT_EQ(failed.Width, 0);
            }),
            "no/such/file.tif Open fail.\n");
}

TEST(TiffReading, AFailedReadKeepsTheGeometryAndDropsThePixels) {
  const TemporaryFile good(SmallImage().Build());
  const TemporaryFile bad(ImageEntries(7, 7, 3, 8, 7, 1).AddStrips({Ramp(9)}).Drop(273).Build());
  CTiff image(good.Path());
  ASSERT_EQ(image.ReadFile(bad.Path()), -1);
  EXPECT_EQ(image.Width, 2);
  EXPECT_EQ(image.Length, 2);
  EXPECT_EQ(image.RowBytes, 6);
  EXPECT_EQ(image.GetImageBuf(), nullptr);
  EXPECT_EQ(image.GetTagValue(ImageWidth), 7u) << "tags read so far stay";
}

TEST(TiffReading, CTiffReportsWhateverASubclassThrows) {
  struct Throwing : CTiff {
    explicit Throwing(int what) : what_(what) {}
    std::shared_ptr<TiffTag> CreateTag(unsigned, unsigned, unsigned, FILE*) override {
      if (what_ == 0) throw "text";
      if (what_ == 1) throw ErrCode{-42};
      throw 3.5;
    }
    int what_;
  };
  struct ThrowingLater : CTiff {
    explicit ThrowingLater(int what) : what_(what) {}
    int ReadTiff(FILE*) override {
      if (what_ == 0) throw "text";
      if (what_ == 1) throw ErrCode{-42};
      throw 3.5;
    }
    int what_;
  };
  const struct {
    int what, readTiffResult, readFileResult;
    const char *readTiffLine, *readFileLine;
  } kRows[] = {
      {0, -1, -1, "*** text Open Error. ***\n", "text Open fail.\n"},
      {1, -42, -42, "Tiff Read Filer Error:-42\n", "Tiff Open fail, Error Code:-42\n"},
      {2, -9999, -1, "*** CTiff::ReadFile() --> unknown Error. ***\n",
       "Tiff Open fail, Unknown Error\n"},
  };
  const TemporaryFile good(SmallImage().Build());
  for (const auto& row : kRows) {
    Throwing inside(row.what);
    int result = 0;
    EXPECT_EQ(PrintedBy([&] { result = inside.ReadFile(good.Path()); }), row.readTiffLine);
    EXPECT_EQ(result, row.readTiffResult);
    ThrowingLater outside(row.what);
    EXPECT_EQ(PrintedBy([&] { result = outside.ReadFile(good.Path()); }), row.readFileLine);
    EXPECT_EQ(result, row.readFileResult);
  }
}

TEST(TiffReading, CheckFileIsAHook) {
  Tiff tiff;
  EXPECT_EQ(tiff.CheckFile(nullptr), -1);
  EXPECT_EQ(tiff.CheckFile(stdin), 0);
  struct Refusing : Tiff {
    int CheckFile(FILE*) override { return -1; }
  } refusing;
  const TemporaryFile good(SmallImage().Build());
  EXPECT_THROW(refusing.ReadFile(good.Path()), char const*);
}

TEST(TiffReading, AnAllocationFailureSkipsTheTag) {
  struct Exhausted : Tiff {
    std::shared_ptr<TiffTag> CreateTag(unsigned, unsigned, unsigned, FILE*) override {
      return nullptr;
    }
  } tiff;
  EXPECT_EQ(tiff.AddTags(kLong << 16 | 256, 1, 5, nullptr), 0);
  EXPECT_TRUE(tiff.tags.empty());
}

TEST(TiffReading, ResetReleasesTheTags) {
  const TemporaryFile good(SmallImage().Build());
  CTiff image(good.Path());
  const std::weak_ptr<TiffTag> strips = image.GetTag(StripOffsets);
  EXPECT_FALSE(strips.expired());
  image.Reset();
  EXPECT_TRUE(strips.expired());
  EXPECT_TRUE(image.tags.empty());
  EXPECT_EQ(image.Width, 2) << "fields stay";
}

TEST(TiffReading, TheStreamIsLeftOpenAndThePositionDoesNotMatter) {
  const TemporaryFile good(SmallImage().Build());
  const OwnedStream file = OpenForReading(good.Path());
  for (int i = 0; i < 2; ++i) {
    CTiff image;
    ASSERT_EQ(image.ReadTiff(file.get()), 0);
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), Ramp(12));
  }
}

TEST(TiffReading, OnlyTheFirstDirectoryCounts) {
  Bytes file = SmallImage().Build();
  const std::size_t next = 10 + 12 * 9;
  const Bytes offset = Longs({unsigned(file.size())});
  std::copy(offset.begin(), offset.end(), file.begin() + next);
  Append(file, Shorts({65535}));
  const TemporaryFile scratch(file);
  CTiff image;
  EXPECT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(image.tags.size(), 9u);
}

TEST(TiffReading, ALargeProfileLoadsInFull) {
  const Bytes profile = Ramp(3 << 20, 5, 7);
  const TemporaryFile scratch(
      SmallImage().AddData(34675, kUndefined, unsigned(profile.size()), profile).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  const auto tag = image.GetTag(IccProfile);
  ASSERT_NE(tag->GetData(), nullptr);
  EXPECT_EQ(CopyOf(tag->GetData(), profile.size()), profile);
}

}  // namespace
