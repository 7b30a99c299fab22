#include <algorithm>

#include "TiffBytes.h"
#include "tests/TemporaryFile.h"
#include "tiff/CTiff.h"
#include "tiff/Exif_IFD_Tag.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

TiffBytes SmallImage() {
  return ImageEntries(2, 2, 3, 8, 2, 1).AddStrips({Ramp(12)});
}

std::shared_ptr<TiffTag> NewTag(unsigned tag, unsigned type, unsigned count, unsigned value,
                                const Bytes& data = {}) {
  unsigned char* owned = data.empty() ? nullptr : new unsigned char[data.size()];
  std::copy(data.begin(), data.end(), owned);
  return std::make_shared<TiffTag>(static_cast<TiffTagSignature>(tag), static_cast<FieldType>(type),
                                   count, value, owned);
}

struct Entry {
  unsigned tag, type, count, value;
  bool operator==(const Entry&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Entry& e) {
    return out << e.tag << " type " << e.type << " x " << e.count << " = " << e.value;
  }
};

/// The directory of a file, read at offset 8.
std::vector<Entry> EntriesOf(const Bytes& file) {
  std::vector<Entry> entries;
  const unsigned count = LongAt(file, 8) & 0xFFFF;
  for (unsigned i = 0; i < count; ++i) {
    const std::size_t at = 10 + 12 * i;
    const unsigned word = LongAt(file, at);
    entries.push_back({word & 0xFFFF, word >> 16, LongAt(file, at + 4), LongAt(file, at + 8)});
  }
  return entries;
}

Bytes Saved(Tiff& image) {
  const TemporaryFile scratch;
  EXPECT_EQ(image.SaveFile(scratch.Path()), 0);
  return scratch.Read();
}

TEST(TiffWriting, ANewImageByteForByte) {
  CTiff image(100, 50, 300, 3, 16, 1);
  const Bytes pixels = Ramp(30000, 3, 5);
  std::copy(pixels.begin(), pixels.end(), image.GetImageBuf());

  // List order, not sorted by number: 279 before 273 and 296 before 284.
  const std::vector<Entry> kEntries = {
      {254, 4, 1, 0},   {256, 4, 1, 100}, {257, 4, 1, 50}, {258, 3, 3, 194},   {259, 3, 1, 1},
      {262, 3, 1, 2},   {277, 3, 1, 3},   {278, 4, 1, 50}, {279, 4, 1, 30000}, {273, 4, 1, 216},
      {282, 5, 1, 200}, {283, 5, 1, 208}, {296, 3, 1, 2},  {284, 3, 1, 1},     {34675, 7, 0, 216},
  };
  Bytes expected = {'I', 'I', 42, 0, 8, 0, 0, 0, 15, 0};
  for (const Entry& e : kEntries) Append(expected, Longs({e.type << 16 | e.tag, e.count, e.value}));
  ASSERT_EQ(expected.size(), 190u);
  Append(expected, Longs({0}));
  Append(expected, Shorts({16, 16, 16}));
  Append(expected, Longs({30000, 100, 30000, 100}));
  ASSERT_EQ(expected.size(), 216u);
  Append(expected, pixels);

  const Bytes saved = Saved(image);
  EXPECT_EQ(EntriesOf(saved), kEntries);
  EXPECT_EQ(saved, expected);
  EXPECT_EQ(Saved(image), expected) << "saving again changes nothing";
}

TEST(TiffWriting, EveryReadingFormComesBackAsOneStrip) {
  // Planes of 40000 bytes in two strips each: the total takes more than 16 bits.
  std::vector<Bytes> halves;
  Bytes interleaved;
  for (unsigned half = 0; half < 6; ++half) halves.push_back(Ramp(20000, half, 3));
  for (std::size_t i = 0; i < 40000; ++i) {
    for (std::size_t plane = 0; plane < 3; ++plane) {
      interleaved.push_back(halves[2 * plane + i / 20000][i % 20000]);
    }
  }
  const struct {
    const char* what;
    Bytes file;
    Bytes pixels;
  } kRows[] = {
      {"single strip", SmallImage().Build(), Ramp(12)},
      {"two LONG strips", ImageEntries(2, 2, 3, 8, 1, 1).AddStrips({Ramp(6), Ramp(6, 7)}).Build(),
       Ramp(12)},
      {"two SHORT strips",
       ImageEntries(2, 2, 3, 8, 1, 1).AddStrips({Ramp(6), Ramp(6, 7)}, kShort, kShort).Build(),
       Ramp(12)},
      {"planes",
       ImageEntries(2, 1, 3, 8, 1, 2).AddStrips({Ramp(2, 1), Ramp(2, 11), Ramp(2, 21)}).Build(),
       {1, 11, 21, 2, 12, 22}},
      {"no RowsPerStrip", ImageEntries(2, 2, 3, 8, 0, 1).AddStrips({Ramp(12)}).Build(), Ramp(12)},
      {"planes in several strips become one strip of planes, and then interleaved",
       ImageEntries(200, 200, 3, 8, 100, 2).AddStrips(halves).Build(), interleaved},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    const Bytes saved = Saved(image);
    const TemporaryFile again(saved);
    CTiff second;
    ASSERT_EQ(second.ReadFile(again.Path()), 0) << row.what;
    EXPECT_EQ(second.Width, image.Width) << row.what;
    EXPECT_EQ(second.Bits, 8) << row.what;
    EXPECT_EQ(CopyOf(second.GetImageBuf(), row.pixels.size()), row.pixels) << row.what;
  }
}

TEST(TiffWriting, AReadFileKeepsAllTagsInFileOrder) {
  const Bytes description = {'a', ' ', 's', 'c', 'a', 'n', 0};
  const TemporaryFile scratch(SmallImage()
                                  .AddData(60000, kByte, 5, {9, 8, 7, 6, 5})
                                  .AddData(270, kAscii, 7, description)
                                  .Add(37, kShort, 1, 4)
                                  .Build());
  CTiff image(scratch.Path());
  const Bytes saved = Saved(image);
  // 12 entries end at 158: BitsPerSample 6, the unknown tag 5, the description 7 bytes, pixels.
  const std::vector<Entry> kEntries = {
      {256, 4, 1, 2},  {257, 4, 1, 2},     {258, 3, 3, 158}, {259, 3, 1, 1},
      {277, 3, 1, 3},  {278, 4, 1, 2},     {284, 3, 1, 1},   {273, 4, 1, 176},
      {279, 4, 1, 12}, {60000, 1, 5, 164}, {270, 2, 7, 169}, {37, 3, 1, 4},
  };
  EXPECT_EQ(EntriesOf(saved), kEntries);
  EXPECT_EQ(Slice(saved, 164, 5), (Bytes{9, 8, 7, 6, 5}));
  EXPECT_EQ(Slice(saved, 169, 7), description);
  EXPECT_EQ(Slice(saved, 176, 12), Ramp(12));
  EXPECT_EQ(saved.size(), 188u);
}

TEST(TiffWriting, TypesSixToNineReserveRoomForInlineData) {
  // Two entries end at 38.
  const struct {
    const char* what;
    unsigned type, count;
    unsigned value;   // the tag's own, 77 before
    unsigned nextAt;  // where the next tag says that its data are
  } kRows[] = {
      {"four SBYTEs", 6, 4, 38, 42},    {"one UNDEFINED", 7, 1, 38, 39},
      {"no UNDEFINED", 7, 0, 38, 38},   {"one SSHORT", 8, 1, 38, 40},
      {"one SLONG", 9, 1, 38, 42},      {"four BYTEs", 1, 4, 77, 38},
      {"two SHORTs", 3, 2, 77, 38},     {"one LONG", 4, 1, 77, 38},
      {"one SRATIONAL", 10, 1, 77, 38}, {"four DOUBLEs", 12, 4, 77, 38},
  };
  for (const auto& row : kRows) {
    Tiff tiff;
    tiff.tags = {NewTag(60000, row.type, row.count, 77), NewTag(270, kAscii, 5, 0, Ramp(5))};
    const Bytes saved = Saved(tiff);
    EXPECT_EQ(EntriesOf(saved), (std::vector<Entry>{{60000, row.type, row.count, row.value},
                                                    {270, 2, 5, row.nextAt}}))
        << row.what;
    EXPECT_EQ(Slice(saved, 38, 5), Ramp(5)) << row.what << ": the room is never written";
    EXPECT_EQ(saved.size(), 43u) << row.what;
  }
}

// 9 entries end at 122, 6 bytes of BitsPerSample precede 279. Its value becomes an offset, and that
// many bytes of the pixels are written, but no more than there are: deliberate. What follows the
// directory is shifted by the room of a value that is never written.
TEST(TiffWriting, AByteCountOfTypes6To9BecomesAnOffset) {
  const struct {
    const char* what;
    unsigned length, type, count;
    unsigned value, room, pixels;  // written
  } kRows[] = {
      {"LONG", 2, 4, 1, 12, 0, 12},
      {"few pixels", 2, 9, 1, 128, 4, 12},
      {"no item", 2, 7, 0, 128, 0, 12},
      {"as many as the offset", 21, 8, 1, 128, 2, 126},
      {"more than the offset", 60, 6, 3, 128, 3, 128},
      {"many", 1000, 9, 1, 128, 4, 128},
  };
  for (const auto& row : kRows) {
    const Bytes pixels = Ramp(std::size_t{6} * row.length, 3, 5);
    const TemporaryFile scratch(ImageEntries(2, row.length, 3, 8, row.length, 1)
                                    .AddStrips({pixels})
                                    .Change(279, row.type, row.count, 1)
                                    .Build());
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    const Bytes saved = Saved(image);
    const auto entries = EntriesOf(saved);
    ASSERT_EQ(entries.size(), 9u) << row.what;
    const auto counts = std::find_if(entries.begin(), entries.end(),
                                     [](const Entry& entry) { return entry.tag == 279; });
    ASSERT_NE(counts, entries.end());
    EXPECT_EQ(*counts, (Entry{279, row.type, row.count, row.value})) << row.what;
    const auto strips = std::find_if(entries.begin(), entries.end(),
                                     [](const Entry& entry) { return entry.tag == 273; });
    ASSERT_NE(strips, entries.end());
    EXPECT_EQ(strips->value, 128 + row.room) << row.what;
    // The room is not written, so that the pixels lie in front of their offset.
    EXPECT_EQ(Slice(saved, 128, row.pixels), Slice(pixels, 0, row.pixels)) << row.what;
    EXPECT_EQ(saved.size(), 128 + row.pixels) << row.what;
    EXPECT_EQ(Saved(image), saved) << row.what << ", a second time";
  }
}

// The dimensions too can lose their values to offsets; the buffer is no larger for it.
TEST(TiffWriting, AByteCountOfTypes6To9IsBoundedByThePixelsThemselves) {
  const TemporaryFile scratch(SmallImage()
                                  .Change(256, kSlong, 1, 2)
                                  .Change(257, kSlong, 1, 2)
                                  .Change(278, kSlong, 1, 2)
                                  .Change(279, kSlong, 1, 12)
                                  .Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  for (int time = 0; time < 2; ++time) {
    const Bytes saved = Saved(image);
    EXPECT_GT(image.GetTagValue(ImageLength), 100u);
    EXPECT_EQ(Slice(saved, saved.size() - 12, 12), Ramp(12));
    EXPECT_EQ(saved.size(), 128u + 12u);
  }
  // Interleaving reads no more either; a new image's buffer is bounded in the same way.
  image.Pack<unsigned char>(2, 2);
  EXPECT_EQ(image.GetTag(StripOffsets)->GetData()[0], 1);
  CTiff fresh(2, 2, 72, 3, 8, 1);
  fresh.SetTag(StripByteCounts, TIFF_SLONG, 1, 12, nullptr);
  const Bytes saved = Saved(fresh);
  EXPECT_EQ(Slice(saved, saved.size() - 12, 12), Bytes(12));
  EXPECT_EQ(saved.size(), 14u + 12 * 15 + 6 + 8 + 8 + 12);
  auto* const own = new unsigned char[12];
  std::fill_n(own, 12, static_cast<unsigned char>(9));
  fresh.SetImageBuf(own, true);
  const Bytes again = Saved(fresh);
  EXPECT_EQ(Slice(again, again.size() - 12, 12), Bytes(12, 9));
  EXPECT_EQ(again.size(), saved.size());
}

TEST(TiffWriting, AbsentDataTakeRoomUpTo64KiB) {
  const struct {
    const char* what;
    unsigned count;
    unsigned room;
  } kRows[] = {
      {"five bytes", 5, 5}, {"64 KiB", 65536, 65536}, {"more", 65537, 0}, {"2 GiB", 0x80000000, 0}};
  for (const auto& row : kRows) {
    Tiff tiff;
    tiff.tags = {NewTag(270, kAscii, row.count, 0), NewTag(305, kAscii, 5, 0, Ramp(5))};
    const Bytes saved = Saved(tiff);
    EXPECT_EQ(EntriesOf(saved),
              (std::vector<Entry>{{270, 2, row.count, 38}, {305, 2, 5, 38 + row.room}}))
        << row.what;
    EXPECT_EQ(Slice(saved, 38 + row.room, 5), Ramp(5)) << row.what;
  }
}

TEST(TiffWriting, MissingTagDataAreSavedAsZeros) {
  const Bytes present = Ramp(100000, 9, 5);
  TiffBytes tiff = SmallImage().Add(700, kUndefined, 300000, 0);
  const auto dataAt = static_cast<unsigned>(tiff.Build().size());
  Bytes file = tiff.Change(700, kUndefined, 300000, dataAt).Build();
  Append(file, present);
  const TemporaryFile scratch(file);
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  const Bytes saved = Saved(image);
  // 10 entries end at 134, 6 bytes of BitsPerSample.
  EXPECT_EQ(EntriesOf(saved).back(), (Entry{700, 7, 300000, 140}));
  Bytes expected = present;
  expected.resize(300000);
  EXPECT_EQ(Slice(saved, 140, 300000), expected);
  EXPECT_EQ(LongAt(saved, 10 + 12 * 7 + 8), 300140u);
  EXPECT_EQ(Slice(saved, 300140, 12), Ramp(12));
}

TEST(TiffWriting, TheExifBlockFollowsThePixels) {
  Bytes exif = Ramp(300, 50);
  TiffBytes tiff = SmallImage().Add(34665, kLong, 1, 0);
  const auto blockAt = static_cast<unsigned>(tiff.Build().size());
  Bytes file = tiff.Change(34665, kLong, 1, blockAt).Build();
  Append(file, exif);
  const TemporaryFile scratch(file);
  CTiff image(scratch.Path());
  const Bytes saved = Saved(image);
  // 10 entries end at 134, 6 bytes of tag data, 12 of pixels.
  EXPECT_EQ(EntriesOf(saved).back(), (Entry{34665, 4, 1, 152}));
  EXPECT_EQ(LongAt(saved, 10 + 12 * 7 + 8), 140u);
  EXPECT_EQ(Slice(saved, 152, 256), Slice(exif, 0, 256));
  EXPECT_EQ(saved.size(), 152u + 256u);
}

TEST(TiffWriting, AnExifTagWithoutItsBlockIsPadded) {
  const struct {
    const char* what;
    std::shared_ptr<TiffTag> tag;
    Bytes block;
    std::size_t tagData;
  } kRows[] = {
      {"no block", NewTag(34665, kLong, 1, 0), Bytes(256), 0},
      {"a caller's block", NewTag(34665, kLong, 1, 0, Ramp(256)), Ramp(256), 0},
      {"ten bytes", NewTag(34665, kUndefined, 10, 0, Ramp(10)),
       [] {
         Bytes b = Ramp(10);
         b.resize(256);
         return b;
       }(),
       10},
  };
  for (const auto& row : kRows) {
    Tiff tiff;
    tiff.tags = {row.tag};
    const Bytes saved = Saved(tiff);
    ASSERT_EQ(saved.size(), 26 + row.tagData + 256) << row.what;
    EXPECT_EQ(Slice(saved, 26 + row.tagData, 256), row.block) << row.what;
    EXPECT_EQ(LongAt(saved, 18), 26 + row.tagData) << row.what;
  }
}

TEST(TiffWriting, AnExifTagOutOfProportionKeepsItsBlockAndReservesNothing) {
  const Bytes exif = Ramp(300, 50);
  const struct {
    const char* what;
    unsigned type, count;
    unsigned room;  // for the tag's own data, in front of the pixels
  } kRows[] = {
      {"in the entry", kLong, 1, 0},
      {"largest that is held", kUndefined, 65536, 65536},
      {"larger", kUndefined, 65537, 0},
      {"32 GiB", kRational, 0xFFFFFFFF, 0},
  };
  for (const auto& row : kRows) {
    TiffBytes tiff = SmallImage().Add(34665, row.type, row.count, 0);
    tiff.AddData(270, kAscii, 5, Ramp(5));
    const auto blockAt = static_cast<unsigned>(tiff.Build().size());
    Bytes file = tiff.Change(34665, row.type, row.count, blockAt).Build();
    Append(file, exif);
    const TemporaryFile scratch(file);
    CTiff image;
    ASSERT_EQ(image.ReadFile(scratch.Path()), 0) << row.what;
    const Bytes saved = Saved(image);
    // 11 entries end at 146: BitsPerSample 6 bytes, the tag's room, 5 bytes of text, the pixels.
    const std::size_t pixelsAt = 146 + 6 + row.room + 5;
    EXPECT_EQ(LongAt(saved, 10 + 12 * 7 + 8), pixelsAt) << row.what;
    EXPECT_EQ(Slice(saved, pixelsAt, 12), Ramp(12)) << row.what;
    EXPECT_EQ(LongAt(saved, 10 + 12 * 9 + 8), pixelsAt + 12) << row.what;
    EXPECT_EQ(Slice(saved, pixelsAt + 12, 256), Slice(exif, 0, 256)) << row.what;
    EXPECT_EQ(saved.size(), pixelsAt + 12 + 256) << row.what;
  }
}

TEST(TiffWriting, SetTagReplacesInPlaceOrAppends) {
  CTiff image(4, 2, 72, 3, 8, 1);
  EXPECT_EQ(image.Tiff::SetTag(nullptr), 0);
  EXPECT_EQ(image.tags.size(), 15u);
  EXPECT_EQ(image.Tiff::SetTag(NewTag(254, kShort, 1, 9)), 0);
  EXPECT_EQ(image.tags.size(), 15u);
  EXPECT_EQ(image.Tiff::SetTag(NewTag(100, kShort, 1, 3)), 0);
  EXPECT_EQ(image.tags.size(), 16u);
  const auto entries = EntriesOf(Saved(image));
  EXPECT_EQ(entries.front(), (Entry{254, 3, 1, 9})) << "the replaced tag stays first";
  EXPECT_EQ(entries.back(), (Entry{100, 3, 1, 3})) << "appended, not sorted in";
}

TEST(TiffWriting, SetTagValueChangesOnlyWhatIsThere) {
  CTiff image(4, 2, 72, 3, 8, 1);
  EXPECT_EQ(image.Tiff::SetTagValue(Orientation, 3), 0);
  EXPECT_EQ(image.SetTagValue(Orientation, 3), 0);
  EXPECT_EQ(image.tags.size(), 15u);
  EXPECT_EQ(image.Tiff::SetTagValue(ResolutionUnit, 3), 0);
  EXPECT_EQ(image.GetTagValue(ResolutionUnit), 3u);
  EXPECT_EQ(image.SetTagValue(ResolutionUnit, 1), 0);
  EXPECT_EQ(image.GetTagValue(ResolutionUnit), 1u);
  EXPECT_EQ(image.SetTagValue(BitsPerSample, 12), 0);
  EXPECT_EQ(image.GetTagValue(BitsPerSample), 8u) << "out-of-line data stay";
}

TEST(TiffWriting, FailuresArePrinted) {
  const TemporaryFile target({1, 2, 3});
  const struct {
    const char* what;
    bool tags;
    const char* path;
    const char* printed;
  } kRows[] = {
      {"no directory", true, "no/such/dir/x.tif", "*** File(Save) Open Error. ***\n"},
      {"null path", true, nullptr, "*** File(Save) Open Error. ***\n"},
      {"no tags", false, target.Path(), "*** Tiff::SaveFile() --> TiffTag EntryCounts is 0. ***\n"},
  };
  for (const auto& row : kRows) {
    Tiff tiff;
    if (row.tags) tiff.tags = {NewTag(256, kLong, 1, 1)};
    int result = 0;
    EXPECT_EQ(PrintedBy([&] { result = tiff.SaveFile(row.path); }), row.printed) << row.what;
    EXPECT_EQ(result, -1) << row.what;
    EXPECT_EQ(PrintedBy([&] { result = tiff.SaveRaw(row.path); }), row.printed) << row.what;
    EXPECT_EQ(result, -1) << row.what;
  }
  EXPECT_TRUE(target.Exists());
  EXPECT_TRUE(target.Read().empty()) << "the file is left empty";
}

TEST(TiffWriting, OnlyCStringsAreCaught) {
  struct Throwing : Tiff {
    int SaveTiff(FILE*) override {
      if (text) throw "text";
      throw ErrCode{-5};
    }
    bool text = true;
  } tiff;
  tiff.tags = {NewTag(256, kLong, 1, 1)};
  const TemporaryFile target;
  int result = 0;
  EXPECT_EQ(PrintedBy([&] { result = tiff.SaveFile(target.Path()); }), "text\n");
  EXPECT_EQ(result, -1);
  tiff.text = false;
  EXPECT_THROW(tiff.SaveFile(target.Path()), ErrCode);
}

TEST(TiffWriting, SaveRawWritesThePixelsOnly) {
  CTiff image(10, 2, 300, 3, 8, 1);
  const Bytes pixels = Ramp(60);
  std::copy(pixels.begin(), pixels.end(), image.GetImageBuf());
  const TemporaryFile target;
  int result = -1;
  EXPECT_EQ(PrintedBy([&] { result = image.SaveRaw(target.Path()); }),
            "\nWidth:10 Length:2 Samples:3 Bits:8\n");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(target.Read(), pixels);
}

TEST(TiffWriting, WithoutPixelsNoneAreWritten) {
  CTiff image(10, 2, 300, 3, 8, 0);
  EXPECT_EQ(Saved(image).size(), 216u);
  image.tags.clear();
  image.tags.push_back(NewTag(279, kLong, 1, 1000));
  EXPECT_EQ(Saved(image).size(), 26u) << "no StripOffsets";
}

TEST(TiffWriting, StripArraysAreNeverTakenForPixels) {
  // Compressed: the strip arrays stay as read, and the byte counts are not those of a buffer.
  const TemporaryFile scratch(ImageEntries(2, 2, 3, 8, 1, 1)
                                  .AddStrips({Ramp(6), Ramp(6)})
                                  .Change(259, kShort, 1, 5)
                                  .Change(279, kLong, 1, 4000000)
                                  .Build());
  CTiff image;
  PrintedBy([&] { ASSERT_EQ(image.ReadFile(scratch.Path()), -7); });
  const Bytes saved = Saved(image);
  EXPECT_EQ(saved.size(), 14u + 12 * 9 + 6 + 8);
}

TEST(TiffWriting, WriteHeaderIsEightBytes) {
  Tiff tiff;
  tiff.tags = {NewTag(256, kLong, 1, 1)};
  const Bytes saved = Saved(tiff);
  EXPECT_EQ(Slice(saved, 0, 8), (Bytes{'I', 'I', 42, 0, 8, 0, 0, 0}));
  EXPECT_EQ(Slice(saved, 8, 2), (Bytes{1, 0}));
  EXPECT_EQ(LongAt(saved, 22), 0u) << "no next directory";
  EXPECT_EQ(saved.size(), 26u);
}

}  // namespace
