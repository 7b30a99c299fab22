#include "tiff/CTiff.h"

#include <algorithm>

#include "TiffBytes.h"
#include "tests/TemporaryFile.h"
#include "tiff/ImageBytes.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

/// An image whose bytes are 0, 1, 2, ...
void FillRamp(CTiff& image) {
  const Bytes ramp = Ramp(std::size_t(image.RowBytes) * image.Length, 0);
  std::copy(ramp.begin(), ramp.end(), image.GetImageBuf());
}

TEST(CTiffCreateNew, FifteenTagsInOrder) {
  CTiff image;
  ASSERT_EQ(image.CreateNew(100, 50, 300, 3, 16, 1), 0);
  const struct {
    unsigned tag, type, count, value;
  } kTags[] = {
      {254, 4, 1, 0},   {256, 4, 1, 100}, {257, 4, 1, 50}, {258, 3, 3, 16},    {259, 3, 1, 1},
      {262, 3, 1, 2},   {277, 3, 1, 3},   {278, 4, 1, 50}, {279, 4, 1, 30000}, {273, 4, 1, 0},
      {282, 5, 1, 300}, {283, 5, 1, 300}, {296, 3, 1, 2},  {284, 3, 1, 1},     {34675, 7, 0, 0},
  };
  ASSERT_EQ(image.tags.size(), std::size(kTags));
  for (std::size_t i = 0; i < std::size(kTags); ++i) {
    EXPECT_EQ(image.tags[i]->tag, kTags[i].tag) << i;
    EXPECT_EQ(image.tags[i]->type, kTags[i].type) << i;
    EXPECT_EQ(image.tags[i]->count, kTags[i].count) << i;
    EXPECT_EQ(image.tags[i]->value, kTags[i].value) << i;
  }
  EXPECT_EQ(CopyOf(image.GetTag(BitsPerSample)->GetData(), 6), Shorts({16, 16, 16}));
  EXPECT_EQ(image.GetTagValue(XResolution), 300u);
  EXPECT_EQ(image.Width, 100);
  EXPECT_EQ(image.Length, 50);
  EXPECT_EQ(image.Samples, 3);
  EXPECT_EQ(image.Bits, 16);
  EXPECT_EQ(image.RowBytes, 600);
  EXPECT_EQ(image.Resolution, 300);
  EXPECT_EQ(image.GetImageBuf(), image.GetTag(StripOffsets)->GetData());
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 30000), Bytes(30000));
  EXPECT_EQ(ImageBytes(image), 30000u);
}

TEST(CTiffCreateNew, PhotometricBySamples) {
  const struct {
    int samples;
    unsigned photometric;
  } kRows[] = {{1, 1}, {2, 1}, {3, 2}, {4, 5}, {5, 1}, {6, 0}, {7, 0}, {8, 1}};
  for (const auto& row : kRows) {
    CTiff image(2, 2, 300, row.samples, 8, 1);
    EXPECT_EQ(image.GetTagValue(PhotometricInterpretation), row.photometric) << row.samples;
  }
}

TEST(CTiffCreateNew, SizesAndBuffer) {
  const struct {
    const char* what;
    int width, length, samples, bits, allocate;
    unsigned stripBytes;
    int rowBytes;
    bool buffer;
  } kRows[] = {
      {"8-bit grey", 10, 4, 1, 8, 1, 40, 10, true},
      {"1-bit, rows rounded up", 10, 4, 1, 1, 1, 8, 2, true},
      {"kept: 1-bit RGB rounds up by plane", 10, 4, 3, 1, 1, 24, 4, true},
      {"not allocated", 10, 4, 3, 8, 0, 120, 30, false},
      {"allocate 2 is not 1", 10, 4, 3, 8, 2, 120, 30, false},
      {"no width", 0, 4, 3, 8, 1, 0, 0, true},
      {"no length", 10, 0, 3, 8, 1, 0, 30, true},
      {"negative width", -10, 4, 3, 8, 1, 0, -30, true},
      {"negative length", 10, -4, 3, 8, 1, 0, 30, true},
      {"negative samples", 10, 4, -3, 8, 1, 0, -30, true},
      {"4 GiB", 65536, 65536, 1, 8, 1, 0, 65536, false},
      {"absurd", 0x7FFFFFFF, 0x7FFFFFFF, 1, 8, 1, 0, -1, true},
  };
  for (const auto& row : kRows) {
    CTiff image(row.width, row.length, 300, row.samples, row.bits, row.allocate);
    EXPECT_EQ(image.GetTagValue(StripByteCounts), row.stripBytes) << row.what;
    EXPECT_EQ(image.RowBytes, row.rowBytes) << row.what;
    EXPECT_EQ(image.GetImageBuf() != nullptr, row.buffer) << row.what;
    EXPECT_EQ(ImageBytes(image), row.buffer ? row.stripBytes : 0) << row.what;
  }
}

TEST(CTiffCreateNew, FromARawFile) {
  const TemporaryFile raw(Ramp(20));
  CTiff image;
  ASSERT_EQ(image.CreateNew(4, 2, 300, 3, 8, raw.Path()), 0);
  Bytes expected = Ramp(20);
  expected.resize(24);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 24), expected) << "a short file leaves the rest zero";

  const TemporaryFile tiff;
  ASSERT_EQ(image.CreateNew(4, 2, 300, 3, 8, raw.Path(), tiff.Path()), 0);
  CTiff again(tiff.Path());
  EXPECT_EQ(CopyOf(again.GetImageBuf(), 24), expected);
}

TEST(CTiffCreateNew, AMissingRawFileLeavesTheImage) {
  CTiff image(2, 2, 300, 3, 8, 1);
  const unsigned char* buffer = image.GetImageBuf();
  int result = 0;
  const char* missing = "no/such/file.raw";
  EXPECT_EQ(PrintedBy([&] { result = image.CreateNew(4, 2, 300, 3, 8, missing); }),
            "*** CTiff::CreateNew() --> Create File Fail *** \n");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(image.Width, 2);
  EXPECT_EQ(image.GetImageBuf(), buffer);

  CTiff empty;
  EXPECT_EQ(PrintedBy([&] { result = empty.CreateNew(4, 2, 300, 3, 8, missing, "no/x.tif"); }),
            "*** CTiff::CreateNew() --> Create File Fail *** \n*** File(Save) Open Error. ***\n");
  EXPECT_EQ(result, 0) << "kept: whatever happened";
}

TEST(CTiffSetTag, GoesThroughTheFactoryWithoutData) {
  CTiff image(2, 2, 300, 3, 8, 1);
  unsigned char ignored[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(image.SetTag(XResolution, TIFF_RATIONAL, 1, 72, ignored), 0);
  EXPECT_EQ(image.GetTagValue(XResolution), 72u);
  EXPECT_EQ(image.SetTag(BitsPerSample, TIFF_SHORT, 4, 12, nullptr), 0);
  EXPECT_EQ(CopyOf(image.GetTag(BitsPerSample)->GetData(), 8), Shorts({12, 12, 12, 12}));
  EXPECT_EQ(image.tags.size(), 15u);
  EXPECT_EQ(image.SetTag(ImageDescription, TIFF_ASCII, 8, 0, ignored), 0);
  EXPECT_EQ(image.tags.size(), 16u);
  EXPECT_EQ(image.GetTag(ImageDescription)->GetData(), nullptr) << "data are not used";
}

TEST(CTiffBuffer, SetForgetAndHandOver) {
  CTiff first(2, 2, 300, 1, 8, 0);
  EXPECT_EQ(first.GetImageBuf(), nullptr);
  auto* mine = new unsigned char[4]{1, 2, 3, 4};
  first.SetImageBuf(mine, true);
  EXPECT_EQ(first.GetImageBuf(), mine);
  EXPECT_EQ(first.GetTag(StripOffsets)->GetData(), mine);

  auto* other = new unsigned char[4]{5, 6, 7, 8};
  first.SetImageBuf(other, false);
  EXPECT_EQ(mine[3], 4) << "not released: it is the caller's again";
  first.SetImageBuf(other, true);
  EXPECT_EQ(first.GetImageBuf()[0], 5) << "the buffer that stays is not released";
  first.SetImageBuf(mine, true);
  EXPECT_EQ(first.GetImageBuf(), mine) << "and the other one is; a leak check would tell";

  CTiff second(2, 2, 300, 1, 8, 1);
  unsigned char* handed = first.GetImageBuf();
  first.ForgetImageBuf();
  EXPECT_EQ(first.GetImageBuf(), nullptr);
  EXPECT_EQ(first.GetTag(StripOffsets)->GetData(), nullptr);
  second.SetImageBuf(handed, true);
  EXPECT_EQ(second.GetXY(1, 1)[0], 4);

  CTiff empty;
  unsigned char borrowed[1] = {};
  empty.SetImageBuf(borrowed, true);
  EXPECT_EQ(empty.GetImageBuf(), nullptr) << "no StripOffsets tag to own it";
  empty.ForgetImageBuf();
}

TEST(CTiffRows, GetRow) {
  CTiff image(4, 3, 300, 3, 8, 1);
  FillRamp(image);
  const struct {
    const char* what;
    int row, pixels;
    Bytes expected;
  } kRows[] = {
      {"whole row", 1, 0, Ramp(12, 12)},
      {"two pixels", 1, 2, Ramp(6, 12)},
      {"row -5 is row 0", -5, 0, Ramp(12, 0)},
      {"row Length + 3 is the last", 6, 0, Ramp(12, 24)},
      {"more pixels than a row run on", 0, 5, Ramp(15, 0)},
      {"nothing past the buffer", 2, 6, Ramp(12, 24)},
      {"negative pixels", 1, -2, {}},
      {"pixel count whose bits wrap to 0", 1, 1 << 29, {}},
      {"most pixels", 2, 0x7FFFFFFF, {}},
  };
  for (const auto& row : kRows) {
    Bytes bytes(40, 0xEE);
    EXPECT_EQ(image.GetRow(bytes.data(), row.row, row.pixels), row.pixels) << row.what;
    EXPECT_EQ(Slice(bytes, 0, row.expected.size()), row.expected) << row.what;
    EXPECT_EQ(bytes[row.expected.size()], 0xEE) << row.what;

    std::vector<unsigned short> words(20, 0xEEEE);
    EXPECT_EQ(image.GetRow(words.data(), row.row, row.pixels), row.pixels) << row.what;
    const auto* asBytes = reinterpret_cast<const unsigned char*>(words.data());
    EXPECT_EQ(CopyOf(asBytes, row.expected.size()), row.expected) << row.what << ", 16-bit form";
    EXPECT_EQ(asBytes[row.expected.size()], 0xEE) << row.what << ", 16-bit form";
  }
  EXPECT_EQ(image.GetRow(static_cast<unsigned char*>(nullptr), 1, 2), 2);
}

TEST(CTiffRows, PutRow) {
  const struct {
    const char* what;
    int row, pixels;
    std::size_t at, size;
  } kRows[] = {
      {"whole row", 1, 0, 12, 12},
      {"two pixels", 1, 2, 12, 6},
      {"row -5 is row 0", -5, 0, 0, 12},
      {"past the end is the last", 9, 0, 24, 12},
      {"nothing past the buffer", 2, 6, 24, 12},
      {"negative pixels", 1, -2, 0, 0},
  };
  for (const auto& row : kRows) {
    Bytes source = Ramp(40, 100);
    Bytes expected(36);
    std::copy_n(source.begin(), row.size, expected.begin() + std::ptrdiff_t(row.at));
    CTiff image(4, 3, 300, 3, 8, 1);
    EXPECT_EQ(image.PutRow(source.data(), row.row, row.pixels), row.pixels) << row.what;
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 36), expected) << row.what;

    CTiff again(4, 3, 300, 3, 8, 1);
    std::vector<unsigned short> words(20);
    std::copy(source.begin(), source.end(), reinterpret_cast<unsigned char*>(words.data()));
    EXPECT_EQ(again.PutRow(words.data(), row.row, row.pixels), row.pixels) << row.what;
    EXPECT_EQ(CopyOf(again.GetImageBuf(), 36), expected) << row.what << ", 16-bit form";
  }
}

TEST(CTiffRectangles, GetRowColumnOf8Bits) {
  CTiff image(4, 3, 300, 3, 8, 1);
  FillRamp(image);
  const struct {
    const char* what;
    int x, y, width, height;
    Bytes expected;  // 0xEE: left as it was
  } kRows[] = {
      {"inside", 1, 1, 2, 2, {15, 16, 17, 18, 19, 20, 27, 28, 29, 30, 31, 32}},
      {"rows past the end repeat the last", 0, 2, 1, 3, {24, 25, 26, 24, 25, 26, 24, 25, 26}},
      {"rows above repeat the first", 0, -1, 1, 2, {0, 1, 2, 0, 1, 2}},
      {"right of the row", 3, 0, 2, 1, {9, 10, 11, 0xEE, 0xEE, 0xEE}},
      {"left of the row", -1, 0, 2, 1, {0xEE, 0xEE, 0xEE, 0, 1, 2}},
      {"outside", 4, 0, 2, 1, {}},
      {"far outside", 0x7FFFFFFF, 0x7FFFFFFF, 2, 0x7FFFFFFF, {}},
      {"negative width", 0, 0, -1, 2, {}},
      {"negative height", 0, 0, 1, -1, {}},
  };
  for (const auto& row : kRows) {
    Bytes bytes(30, 0xEE);
    EXPECT_EQ(image.GetRowColumn(bytes.data(), row.x, row.y, row.width, row.height), 0) << row.what;
    EXPECT_EQ(Slice(bytes, 0, row.expected.size()), row.expected) << row.what;
    EXPECT_EQ(bytes[row.expected.size()], 0xEE) << row.what;
  }
}

TEST(CTiffRectangles, GetRowColumnOf16Bits) {
  CTiff image(3, 2, 300, 1, 16, 1);
  FillRamp(image);
  std::vector<unsigned short> words(5, 0xEEEE);
  EXPECT_EQ(image.GetRowColumn(words.data(), 1, 0, 2, 2), 0);
  EXPECT_EQ(words, (std::vector<unsigned short>{0x0302, 0x0504, 0x0908, 0x0B0A, 0xEEEE}));

  // The 8-bit form on a 16-bit image enters the row at byte Samples * x.
  Bytes bytes(5, 0xEE);
  EXPECT_EQ(image.GetRowColumn(bytes.data(), 1, 0, 2, 1), 0);
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 0xEE}));
}

TEST(CTiffRectangles, SetRowColumn) {
  const struct {
    const char* what;
    int x, y, width, height;
    Bytes expected;
  } kRows[] = {
      {"inside", 1, 1, 2, 2, {0, 0, 0, 0, 0, 1, 2, 0, 0, 3, 4, 0}},
      {"clamped to the first pixel", -3, -1, 1, 2, {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"clamped to the last row", 0, 2, 1, 2, {0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}},
      {"runs into the next row", 3, 0, 2, 1, {0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0, 0}},
      {"stops at the end of the buffer", 3, 2, 2, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"negative width", 0, 0, -2, 1, Bytes(12)},
      {"negative height", 0, 0, 2, -1, Bytes(12)},
  };
  for (const auto& row : kRows) {
    Bytes source = Ramp(8);
    CTiff image(4, 3, 300, 1, 8, 1);
    EXPECT_EQ(image.SetRowColumn(source.data(), row.x, row.y, row.width, row.height), 0);
    EXPECT_EQ(CopyOf(image.GetImageBuf(), 12), row.expected) << row.what;
  }
  CTiff image(2, 2, 300, 1, 16, 1);
  std::vector<unsigned short> words = {0x0201, 0x0403};
  EXPECT_EQ(image.SetRowColumn(words.data(), 1, 0, 1, 2), 0);
  EXPECT_EQ(CopyOf(image.GetImageBuf(), 8), (Bytes{0, 0, 1, 2, 0, 0, 3, 4}));
}

TEST(CTiffRectangles, OnlyDepthsOf8And16) {
  for (int bits : {0, 1, 4, 12, 32}) {
    CTiff image(8, 2, 300, 1, bits, 1);
    Bytes bytes(64, 0xEE);
    std::vector<unsigned short> words(64, 0xEEEE);
    EXPECT_EQ(image.GetRowColumn(bytes.data(), 0, 0, 1, 1), -1) << bits;
    EXPECT_EQ(image.GetRowColumn(words.data(), 0, 0, 1, 1), -1) << bits;
    EXPECT_EQ(image.SetRowColumn(bytes.data(), 0, 0, 1, 1), -1) << bits;
    EXPECT_EQ(image.SetRowColumn(words.data(), 0, 0, 1, 1), -1) << bits;
    EXPECT_EQ(bytes[0], 0xEE) << bits;
  }
}

TEST(CTiffAddresses, ByPosition) {
  CTiff image(4, 3, 300, 3, 16, 1);
  const struct {
    const char* what;
    int x, y;
    std::ptrdiff_t xy, xyM;
  } kRows[] = {
      {"first pixel", 0, 0, 0, 48},
      {"inside", 2, 1, 36, 36},
      {"last pixel", 3, 2, 66, 18},
      {"x clamped", 9, 0, 18, 66},
      {"negative x", -9, 1, 24, 24},
      {"kept: negative y, the top row both ways", 0, -1, 0, 0},
      {"kept: y past the end, the bottom row both ways", 0, 3, 48, 48},
      {"extremes", 0x7FFFFFFF, 0x7FFFFFFF, 66, 66},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(image.GetXY(row.x, row.y) - image.ImageBuf, row.xy) << row.what;
    EXPECT_EQ(image.GetXY_M(row.x, row.y) - image.ImageBuf, row.xyM) << row.what;
  }
  EXPECT_EQ(image.GetXY_Q(2, 1) - image.ImageBuf, 36);
  EXPECT_EQ(image.GetXY_MQ(2, 0) - image.ImageBuf, 60);
  EXPECT_EQ(image.GetXY_Q(4, 0) - image.ImageBuf, 24) << "unchecked: the first pixel of row 1";

  CTiff bits(20, 2, 300, 1, 1, 1);
  EXPECT_EQ(bits.GetXY(15, 1) - bits.ImageBuf, 3 + 1) << "the byte that holds the bit";
}

TEST(CTiffAddresses, WithoutPixelsNothingIsTouched) {
  CTiff empty;
  CTiff unallocated(4, 3, 300, 3, 8, 0);
  CTiff noRows(4, 0, 300, 3, 8, 1);
  CTiff negative(-4, -3, 300, 3, 8, 1);
  for (CTiff* image : {&empty, &unallocated, &noRows, &negative}) {
    Bytes bytes(16, 0xEE);
    EXPECT_EQ(image->GetRow(bytes.data(), 0, 0), 0);
    EXPECT_EQ(image->PutRow(bytes.data(), 0, 1), 1);
    const int expected = image == &empty ? -1 : 0;
    EXPECT_EQ(image->GetRowColumn(bytes.data(), 0, 0, 1, 0x7FFFFFFF), expected);
    EXPECT_EQ(image->SetRowColumn(bytes.data(), 0, 0, 1, 0x7FFFFFFF), expected);
    EXPECT_EQ(bytes, Bytes(16, 0xEE));
    EXPECT_EQ(image->GetXY(3, 2), image->GetImageBuf());
    EXPECT_EQ(image->GetXY_M(3, 2), image->GetImageBuf());
    if (image->GetImageBuf()) continue;
    EXPECT_EQ(image->GetXY_Q(3, 2), nullptr);
    EXPECT_EQ(image->GetXY_MQ(3, 2), nullptr);
    EXPECT_EQ(ImageBytes(*image), 0u);
  }
}

/// 560 bytes that begin with their own number, as every profile does.
Bytes Profile() {
  Bytes profile = Ramp(560, 7, 3);
  const Bytes size = {0, 0, 560 >> 8, 560 & 255};
  std::copy(size.begin(), size.end(), profile.begin());
  return profile;
}

TEST(CTiffIcc, AttachSaveAndRemove) {
  TemporaryFile profile(Profile());
  CTiff image(4, 2, 300, 3, 8, 1);
  EXPECT_EQ(image.SetIccProfile(profile.MutablePath()), 0);
  const auto tag = image.GetTag(IccProfile);
  EXPECT_EQ(tag->type, 7u);
  EXPECT_EQ(tag->count, 560u);
  EXPECT_EQ(tag->value, 0u);
  EXPECT_EQ(CopyOf(tag->GetData(), 560), Profile());

  // 15 entries end at 194; 22 bytes of other tag data, the profile, 24 bytes of pixels.
  const TemporaryFile saved;
  ASSERT_EQ(image.SaveFile(saved.Path()), 0);
  Bytes file = saved.Read();
  EXPECT_EQ(LongAt(file, 10 + 12 * 14 + 4), 560u);
  EXPECT_EQ(LongAt(file, 10 + 12 * 14 + 8), 216u);
  EXPECT_EQ(Slice(file, 216, 560), Profile());
  EXPECT_EQ(LongAt(file, 10 + 12 * 9 + 8), 776u);
  EXPECT_EQ(file.size(), 800u);

  TemporaryFile extracted;
  EXPECT_EQ(image.SaveIccProfile(extracted.MutablePath()), 0);
  EXPECT_EQ(extracted.Read(), Profile());

  EXPECT_EQ(image.RemoveIcc(), 0);
  EXPECT_FALSE(image.GetTag(IccProfile));
  EXPECT_EQ(image.tags.size(), 14u);
  EXPECT_EQ(image.RemoveIcc(), 0) << "twice is harmless";
  EXPECT_EQ(image.tags.size(), 14u);
  ASSERT_EQ(image.SaveFile(saved.Path()), 0);
  file = saved.Read();
  EXPECT_EQ(file[8], 14);
  EXPECT_EQ(LongAt(file, 10 + 12 * 9 + 8), 204u) << "one entry less in front of the data";
  EXPECT_EQ(file.size(), 228u);
}

TEST(CTiffIcc, RemoveIccTakesTheFirstAndMovesTheRestUp) {
  const TemporaryFile scratch(ImageEntries(2, 1, 3, 8, 1, 1)
                                  .AddData(34675, kUndefined, 5, Ramp(5))
                                  .AddStrips({Ramp(6)})
                                  .AddData(34675, kUndefined, 6, Ramp(6))
                                  .Build());
  CTiff image(scratch.Path());
  image.RemoveIcc();
  ASSERT_EQ(image.tags.size(), 10u);
  EXPECT_EQ(image.tags[7]->tag, 273u);
  EXPECT_EQ(image.GetTag(IccProfile)->count, 6u);
}

TEST(CTiffIcc, AttachingReplacesAndKeepsTheType) {
  TemporaryFile profile(Profile());
  const TemporaryFile scratch(ImageEntries(2, 1, 3, 8, 1, 1)
                                  .AddStrips({Ramp(6)})
                                  .AddData(34675, kLong, 2, Ramp(8))
                                  .Build());
  CTiff image(scratch.Path());
  image.SetIccProfile(profile.MutablePath());
  EXPECT_EQ(image.GetTag(IccProfile)->type, 4u);
  EXPECT_EQ(image.GetTag(IccProfile)->count, 560u);
  // As LONGs the tag takes 2240 bytes, of which the profile fills the first 560.
  const TemporaryFile saved;
  ASSERT_EQ(image.SaveFile(saved.Path()), 0);
  Bytes expected = Profile();
  expected.resize(2240);
  EXPECT_EQ(Slice(saved.Read(), 14 + 12 * 10 + 6, 2240), expected);
}

TEST(CTiffIcc, WithoutATagNothingIsAttached) {
  TemporaryFile profile(Profile());
  const TemporaryFile scratch(ImageEntries(2, 1, 3, 8, 1, 1).AddStrips({Ramp(6)}).Build());
  CTiff image(scratch.Path());
  EXPECT_EQ(image.SetIccProfile(profile.MutablePath()), 0);
  EXPECT_FALSE(image.GetTag(IccProfile));
  TemporaryFile extracted;
  EXPECT_EQ(image.SaveIccProfile(extracted.MutablePath()), 0);
  EXPECT_FALSE(extracted.Exists());
  EXPECT_EQ(image.RemoveIcc(), 0);
}

TEST(CTiffIcc, TheEmptyPlaceholderSavesAnEmptyFile) {
  CTiff image(2, 1, 300, 3, 8, 1);
  TemporaryFile extracted;
  image.SaveIccProfile(extracted.MutablePath());
  EXPECT_TRUE(extracted.Exists());
  EXPECT_TRUE(extracted.Read().empty());
  char nowhere[] = "no/such/dir/p.icc";
  EXPECT_EQ(PrintedBy([&] { image.SaveIccProfile(nowhere); }), "");
}

TEST(CTiffIcc, AMissingProfileThrows) {
  CTiff image(2, 1, 300, 3, 8, 1);
  char missing[] = "no/such/profile.icc";
  for (char* path : {missing, static_cast<char*>(nullptr)}) {
    try {
      image.SetIccProfile(path);
      ADD_FAILURE() << "no exception";
    } catch (char const* message) {
      EXPECT_STREQ(message, " *** CTiff::SetIccProfile() --> Icc Profile open Fail. *** ");
    }
  }
}

TEST(CTiffIcc, SizesThatTheFileDoesNotBack) {
  const struct {
    const char* what;
    Bytes file;
    unsigned count;
    bool held;
    Bytes start;
  } kRows[] = {
      {"empty", {}, 0, true, {}},
      {"three bytes", {0, 0, 1}, 256, true, {0, 0, 1, 0}},
      {"size 2", {0, 0, 0, 2, 9}, 2, true, {0, 0}},
      {"shorter than it says", {0, 0, 0, 8, 9}, 8, true, {0, 0, 0, 8, 9, 0, 0, 0}},
      {"4 GiB", {0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFF, false, {}},
  };
  for (const auto& row : kRows) {
    TemporaryFile profile(row.file);
    CTiff image(2, 1, 300, 3, 8, 1);
    EXPECT_EQ(image.SetIccProfile(profile.MutablePath()), 0) << row.what;
    const auto tag = image.GetTag(IccProfile);
    EXPECT_EQ(tag->count, row.count) << row.what;
    ASSERT_EQ(tag->GetData() != nullptr, row.held) << row.what;
    if (row.held) {
      EXPECT_EQ(CopyOf(tag->GetData(), row.start.size()), row.start) << row.what;
    }
    const TemporaryFile saved;
    TemporaryFile extracted;
    EXPECT_EQ(image.SaveFile(saved.Path()), 0) << row.what;
    EXPECT_LT(saved.Read().size(), 1000u) << row.what;
    image.SaveIccProfile(extracted.MutablePath());
    EXPECT_EQ(extracted.Read().size(), row.held ? row.count : 0) << row.what;
  }
}

}  // namespace
