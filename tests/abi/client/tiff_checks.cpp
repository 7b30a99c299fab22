#include <cstring>
#include <memory>

#include "checks.h"
#include "declarations.h"

using namespace KX_Tiff_STL3;
using namespace client;

namespace {

constexpr unsigned Packed(unsigned number, unsigned type) {
  return type << 16 | number;
}

void Tables() {
  // The entries for types 10 to 12 are 4, 8 and 1, not 8, 4 and 8.
  const unsigned kSizes[16] = {1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 4, 8, 1, 1, 1, 1};
  for (int i = 0; i < 16; ++i) {
    CHECK_EQ(DataType[i], kSizes[i]);
  }
}

/// Tells when the library asks through the virtual table.
struct MyTag : TiffTag {
  using TiffTag::TiffTag;
  unsigned GetValue() const override { return 4711; }
  int SaveFile(FILE* stream) override { return std::fputs("mytag", stream); }
};

void Tags() {
  TiffTag* tag = new TiffTag;
  CHECK_EQ(tag->number + tag->kind + tag->items + tag->content, 0);
  CHECK(tag->block == nullptr);
  CHECK(tag->GetData() == nullptr);
  delete tag;
  tag = new TiffTag(Software);
  CHECK_EQ(tag->number, 305);
  CHECK_EQ(tag->kind + tag->items + tag->content, 0);
  delete tag;

  unsigned char* data = new unsigned char[6]{0x34, 0x12, 3, 4, 5, 6};
  tag = new TiffTag(BitsPerSample, Short, 3, 77, data);
  CHECK_EQ(tag->kind, 3);
  CHECK_EQ(tag->items, 3);
  CHECK_EQ(tag->content, 77);
  CHECK(tag->ValueIsOffset());
  CHECK(tag->GetData() == data);
  CHECK_EQ(tag->GetValue(), 0x1234);
  const Bytes saved = Written([&](FILE* stream) { CHECK_EQ(tag->SaveFile(stream), 3); });
  CHECK(saved.size() == 6 && std::memcmp(saved.data(), data, 6) == 0);

  TiffTag copy(*tag);
  CHECK_EQ(copy.number, 258);
  CHECK_EQ(copy.items, 3);
  CHECK_EQ(copy.content, 0);  // not copied
  CHECK(copy.block != data && copy.block[5] == 6);
  TiffTag assigned(Software);
  assigned.content = 5;
  assigned = *tag;
  CHECK_EQ(assigned.content, 5);
  CHECK(assigned.block != data && assigned.block[0] == 0x34);
  TiffTag taken(std::move(*tag));
  CHECK_EQ(taken.content, 77);
  CHECK(taken.block == data && tag->block == nullptr);
  TiffTag given(Software);
  given.content = 6;
  given = std::move(taken);
  CHECK_EQ(given.content, 6);
  CHECK_EQ(given.items, 3);
  CHECK(given.block == data && taken.block == nullptr);
  delete tag;

  WriteFile(Scratch::Path("tagdata"), Bytes().Zeros(150).Text("0123456789").Zeros(90));
  FILE* file = std::fopen(Scratch::Path("tagdata").c_str(), "rb");
  TiffTag fromFile(Packed(305, 2) | 0xF00000, 10, 150, file);
  CHECK_EQ(fromFile.number, 305);
  CHECK_EQ(fromFile.kind, 2);
  CHECK_EQ(fromFile.content, 150);
  CHECK(fromFile.block && std::memcmp(fromFile.block, "0123456789", 10) == 0);
  TiffTag inlined(Packed(256, 3), 2, 9, file);
  CHECK(inlined.block == nullptr && !inlined.ValueIsOffset());
  CHECK_EQ(inlined.GetValue(), 9);

  TiffTag* exif = new Exif_IFD_Tag(Packed(34665, 4), 1, 150, file);
  CHECK_EQ(exif->GetValue(), 150);
  CHECK(exif->block && std::memcmp(exif->block, "0123456789", 10) == 0);
  CHECK(exif->block && exif->block[100] == 0 && exif->block[255] == 0);
  delete exif;
  std::fclose(file);

  TiffTag* bits = new BitsPerSampleTag(Packed(258, 3), 3, 8, nullptr);
  CHECK_EQ(bits->GetValue(), 8);
  CHECK(bits->block && bits->block[0] == 8 && bits->block[1] == 0 && bits->block[4] == 8);
  delete bits;
  bits = new BitsPerSampleTag(Packed(258, 3), 1, 8, nullptr);
  CHECK_EQ(bits->GetValue(), 8);
  CHECK(bits->block == nullptr);
  delete bits;

  TiffTag* resolution = new ResolutionTag(Packed(282, 5), 1, 300, nullptr);
  CHECK_EQ(resolution->GetValue(), 300);
  CHECK_EQ(resolution->content, 300);
  CHECK(resolution->block != nullptr);
  std::uint32_t rational[2];
  std::memcpy(rational, resolution->block, 8);
  CHECK_EQ(rational[0], 30000);
  CHECK_EQ(rational[1], 100);
  CHECK(dynamic_cast<ResolutionTag*>(resolution) != nullptr);
  delete resolution;
}

void NewImage() {
  CTiff* image = new CTiff;
  CHECK_EQ(image->width + image->length + image->samples + image->depth, 0);
  CHECK_EQ(image->rowSize + image->dpi, 0);
  CHECK(image->pixels == nullptr && image->GetImageBuf() == nullptr);
  CHECK_EQ(image->list.size(), 0);
  CHECK_EQ(image->CreateNew(100, 50, 300, 3, 16, 1), 0);
  CHECK_EQ(image->width, 100);
  CHECK_EQ(image->length, 50);
  CHECK_EQ(image->samples, 3);
  CHECK_EQ(image->depth, 16);
  CHECK_EQ(image->rowSize, 600);
  CHECK_EQ(image->dpi, 300);
  CHECK(image->pixels != nullptr && image->pixels == image->GetImageBuf());
  CHECK(image->pixels == image->GetTag(StripOffsets)->block);
  CHECK_EQ(image->pixels[29999], 0);
  CHECK_EQ(image->GetTagValue(Photometric), 2);
  CHECK_EQ(image->GetTagValue(StripByteCounts), 30000);
  CHECK_EQ(image->GetTagValue(Software), 0);
  CHECK(image->GetTag(Software) == nullptr);
  CHECK(dynamic_cast<BitsPerSampleTag*>(image->GetTag(BitsPerSample).get()) != nullptr);
  CHECK(dynamic_cast<ResolutionTag*>(image->GetTag(YResolution).get()) != nullptr);

  image->pixels[0] = 0xAB;
  Tiff* plain = image;
  const std::string path = Scratch::Path("new.tif");
  CHECK_EQ(plain->SaveFile(path.c_str()), 0);
  const Bytes file = ReadWhole(path);
  CHECK_EQ(file.size(), 216 + 30000);
  CHECK_EQ(file.Little32At(0), 0x002A4949);
  CHECK_EQ(file.Little32At(4), 8);
  CHECK_EQ(file.Little32At(8) & 0xFFFF, 15);
  const struct {
    unsigned number, type, count, value;
  } kEntries[15] = {{254, 4, 1, 0},     {256, 4, 1, 100}, {257, 4, 1, 50},   {258, 3, 3, 194},
                    {259, 3, 1, 1},     {262, 3, 1, 2},   {277, 3, 1, 3},    {278, 4, 1, 50},
                    {279, 4, 1, 30000}, {273, 4, 1, 216}, {282, 5, 1, 200},  {283, 5, 1, 208},
                    {296, 3, 1, 2},     {284, 3, 1, 1},   {34675, 7, 0, 216}};
  for (std::size_t i = 0; i < 15; ++i) {
    CHECK_EQ(file.Little32At(10 + 12 * i), Packed(kEntries[i].number, kEntries[i].type));
    CHECK_EQ(file.Little32At(14 + 12 * i), kEntries[i].count);
    CHECK_EQ(file.Little32At(18 + 12 * i), kEntries[i].value);
  }
  CHECK_EQ(file.Little32At(190), 0);
  CHECK_EQ(file.Little32At(194), 0x00100010);
  CHECK_EQ(file.Little32At(200), 30000);
  CHECK_EQ(file.Little32At(212), 100);
  CHECK_EQ(file.Little32At(216), 0xAB);

  // The steps of saving one by one give the same bytes.
  const Bytes steps = Written([&](FILE* stream) {
    CHECK_EQ(plain->WriteHeader(stream), 0);
    CHECK_EQ(plain->WriteIFD(stream), 0);
    CHECK_EQ(plain->WriteTagData(stream), 0);
    CHECK_EQ(plain->WriteImageData(stream), 0);
    CHECK_EQ(plain->WriteData_Exif_IFD_Tag(stream), 0);
  });
  CHECK(steps == file);
  CHECK(Written([&](FILE* stream) { CHECK_EQ(plain->SaveTiff(stream), 0); }) == file);
  int rawResult = -2;
  CHECK_TEXT(Printed(1, [&] { rawResult = plain->SaveRaw(Scratch::Path("raw").c_str()); }),
             "\nWidth:100 Length:50 Samples:3 Bits:16\n");
  CHECK_EQ(rawResult, 0);
  CHECK_EQ(ReadWhole(Scratch::Path("raw")).size(), 30000);
  CHECK_TEXT(Printed(1, [&] { rawResult = plain->SaveFile("/no/such/folder/x.tif"); }),
             "*** File(Save) Open Error. ***\n");
  CHECK_EQ(rawResult, -1);

  // Reading back, through the base's slots and the class's own constructor.
  CTiff again;
  CHECK_EQ(static_cast<Tiff&>(again).ReadFile(path.c_str()), 0);
  CHECK_EQ(again.firstDirectory, 8);
  CHECK_EQ(again.list.size(), 15);
  CHECK_EQ(again.width, 100);
  CHECK_EQ(again.rowSize, 600);
  CHECK_EQ(again.dpi, 300);
  CHECK(again.pixels && again.pixels[0] == 0xAB);
  const CTiff third(path.c_str());
  CHECK_EQ(third.length, 50);
  const Tiff fourth(path.c_str());
  CHECK_EQ(fourth.list.size(), 15);
  FILE* stream = std::fopen(path.c_str(), "rb");
  CTiff fifth;
  CHECK_EQ(fifth.CheckFile(stream), 0);
  CHECK_EQ(fifth.CheckFile(nullptr), -1);
  CHECK_EQ(fifth.ReadTiff(stream), 0);
  CHECK_EQ(fifth.depth, 16);
  std::fclose(stream);

  plain->Reset();
  CHECK_EQ(image->list.size(), 0);
  CHECK_EQ(image->width, 100);
  CHECK_TEXT(Printed(1, [&] { rawResult = plain->SaveFile(Scratch::Path("none.tif").c_str()); }),
             "*** Tiff::SaveFile() --> TiffTag EntryCounts is 0. ***\n");
  CHECK_EQ(rawResult, -1);
  delete plain;

  for (const auto& row : {std::pair{1, 1}, {4, 5}, {6, 0}, {7, 0}, {8, 1}}) {
    CTiff other(2, 2, 72, row.first, 8, 0);
    CHECK_EQ(other.GetTagValue(Photometric), row.second);
    CHECK(other.GetImageBuf() == nullptr);
  }
}

void TagList() {
  CTiff image(4, 3, 72, 3, 8, 1);
  CHECK_EQ(image.SetTag(Software, 2, 3, 0x636261, nullptr), 0);
  CHECK_EQ(image.list.size(), 16);
  CHECK_EQ(image.GetTagValue(Software), 0x636261);
  Tiff& plain = image;
  CHECK_EQ(plain.SetTag(std::make_shared<MyTag>(NewSubfileType)), 0);
  CHECK_EQ(image.list.size(), 16);
  CHECK_EQ(image.list[0]->number, 254);
  CHECK_EQ(plain.GetTagValue(NewSubfileType), 4711);
  CHECK_EQ(plain.SetTag(nullptr), 0);
  CHECK_EQ(plain.SetTagValue(Compression, 9), 0);
  CHECK_EQ(image.GetTag(Compression)->content, 9);
  CHECK_EQ(image.SetTagValue(Compression, 1), 0);
  CHECK_EQ(image.GetTagValue(Compression), 1);
  CHECK_EQ(image.SetTagValue(ExifPointer, 1), 0);
  CHECK(image.GetTag(ExifPointer) == nullptr);
  CHECK_EQ(Written([&](FILE* stream) { plain.WriteTagData(stream); }).size(), 5 + 6 + 8 + 8);
  plain.AddTags(Packed(282, 5), 1, 5, nullptr);
  CHECK_EQ(image.list.size(), 17);
  CHECK_EQ(image.GetTagValue(XResolution), 72);
  CHECK_EQ(image.list[16]->GetValue(), 5);
  const auto made = plain.CreateTag(Packed(700, 1), 1, 7, nullptr);
  CHECK(made && made->GetValue() == 7);
  CHECK_EQ(made.use_count(), 1);
}

void PixelAccess() {
  CTiff image(4, 3, 72, 3, 8, 1);
  unsigned char* const base = image.GetImageBuf();
  for (int i = 0; i < 36; ++i) {
    base[i] = static_cast<unsigned char>(i);
  }
  unsigned char row[12] = {};
  CHECK_EQ(image.GetRow(row, -5, 2), 2);
  CHECK_EQ(row[5], 5);
  CHECK_EQ(row[6], 0);
  CHECK_EQ(image.GetRow(row, 6, 0), 0);
  CHECK_EQ(row[11], 35);
  CHECK_EQ(image.PutRow(row, 0, 4), 4);
  CHECK_EQ(base[0], 24);
  unsigned char box[12] = {};
  CHECK_EQ(image.GetRowColumn(box, 1, 1, 2, 2), 0);
  CHECK_EQ(box[0], 15);
  CHECK_EQ(box[6], 27);
  CHECK_EQ(image.SetRowColumn(box, 0, 1, 2, 2), 0);
  CHECK_EQ(base[12], 15);
  CHECK_EQ(base[24], 27);
  CHECK(image.GetXY(2, 1) == base + 18);
  CHECK(image.GetXY(99, -1) == base + 9);
  CHECK(image.GetXY_M(0, 0) == base + 24);
  CHECK(image.GetXY_M(0, -1) == base);
  CHECK(image.GetXY_Q(1, 2) == base + 27);
  CHECK(image.GetXY_MQ(1, 2) == base + 3);

  CTiff deep(2, 2, 72, 3, 16, 1);
  unsigned short words[6] = {1, 2, 3, 4, 5, 60000};
  CHECK_EQ(deep.PutRow(words, 1, 2), 2);
  unsigned short back[6] = {};
  CHECK_EQ(deep.GetRow(back, 1, 2), 2);
  CHECK_EQ(back[5], 60000);
  CHECK_EQ(deep.GetRowColumn(back, 1, 1, 1, 1), 0);
  CHECK_EQ(back[0], 4);
  CHECK_EQ(deep.SetRowColumn(words, 1, 0, 1, 1), 0);
  CHECK_EQ(deep.GetImageBuf()[8], 2);

  CTiff bilevel(8, 2, 72, 1, 1, 1);
  CHECK_EQ(bilevel.GetRowColumn(box, 0, 0, 1, 1), -1);
  CHECK_EQ(bilevel.SetRowColumn(box, 0, 0, 1, 1), -1);

  // A buffer changes hands.
  CTiff receiver(4, 3, 72, 3, 8, 0);
  image.ForgetImageBuf();
  CHECK(image.GetImageBuf() == nullptr && image.GetTag(StripOffsets)->block == nullptr);
  receiver.SetImageBuf(base, true);
  CHECK(receiver.GetImageBuf() == base && receiver.GetTag(StripOffsets)->block == base);
}

struct MyImage : CTiff {
  int SaveFile(char const* path) override {
    saved = path;
    return 7;
  }
  std::string saved;
};

void RawFiles() {
  WriteFile(Scratch::Path("pixels.raw"), Bytes().Text("abcdef"));
  CTiff image;
  CHECK_EQ(image.CreateNew(2, 2, 72, 3, 8, Scratch::Path("pixels.raw").c_str()), 0);
  CHECK_EQ(image.GetImageBuf()[5], 'f');
  CHECK_EQ(image.GetImageBuf()[6], 0);
  int result = 0;
  CHECK_TEXT(
      Printed(1,
              [&] { result = image.CreateNew(9, 9, 72, 1, 8, Scratch::Path("absent").c_str()); }),
      "*** CTiff::CreateNew() --> Create File Fail *** \n");
  CHECK_EQ(result, -1);
  CHECK_EQ(image.width, 2);
  MyImage mine;
  CHECK_EQ(mine.CreateNew(2, 2, 72, 3, 8, Scratch::Path("pixels.raw").c_str(), "out.tif"), 0);
  CHECK_EQ(mine.saved, std::string("out.tif"));
}

void Profiles() {
  Bytes profile;
  profile.Big32(560).Zeros(555).U8(9);
  std::string icc = Scratch::Path("embed.icc"), out = Scratch::Path("extracted.icc");
  WriteFile(icc, profile);
  CTiff image(100, 50, 300, 3, 16, 1);
  image.SaveIccProfile(out.data());
  CHECK_EQ(ReadWhole(out).size(), 0);
  CHECK_EQ(image.SetIccProfile(icc.data()), 0);
  CHECK_EQ(image.GetTag(EmbeddedProfile)->items, 560);
  CHECK_EQ(image.GetTag(EmbeddedProfile)->content, 0);
  image.SaveIccProfile(out.data());
  CHECK(ReadWhole(out) == profile);
  image.RemoveIcc();
  image.RemoveIcc();
  CHECK_EQ(image.list.size(), 14);
  CHECK(image.GetTag(EmbeddedProfile) == nullptr);
  CHECK_EQ(image.SetIccProfile(icc.data()), 0);
  CHECK_EQ(image.list.size(), 14);
  std::string absent = Scratch::Path("absent.icc"), thrown;
  try {
    image.SetIccProfile(absent.data());
  } catch (char const* message) {
    thrown = message;
  }
  CHECK_EQ(thrown, std::string(" *** CTiff::SetIccProfile() --> Icc Profile open Fail. *** "));
}

struct Entry {
  unsigned number, type, count, value;
};

Bytes File(const std::vector<Entry>& entries, const Bytes& behind) {
  Bytes file;
  file.Text("II").Little16(42).Little32(8).Little16(static_cast<unsigned>(entries.size()));
  for (const Entry& e : entries) {
    file.Little32(Packed(e.number, e.type)).Little32(e.count).Little32(e.value);
  }
  return file.Little32(0).Append(behind);
}

/// Two pixels by three rows of 8-bit RGB in strips of one row; the data begin at offset 134.
Bytes ThreeStrips() {
  Bytes behind;
  behind.Little16(8).Little16(8).Little16(8);        // 134
  behind.Little32(164).Little32(170).Little32(176);  // 140
  behind.Little32(6).Little32(6).Little32(6);        // 152
  behind.Text("abcdefghijklmnopqr");                 // 164
  return File({{256, 3, 1, 2},
               {257, 3, 1, 3},
               {258, 3, 3, 134},
               {259, 3, 1, 1},
               {262, 3, 1, 2},
               {273, 4, 3, 140},
               {277, 3, 1, 3},
               {278, 3, 1, 1},
               {279, 4, 3, 152},
               {284, 3, 1, 1}},
              behind);
}

void Reading() {
  const std::string path = Scratch::Path("strips.tif");
  WriteFile(path, ThreeStrips());
  CTiff image;
  CHECK_EQ(image.ReadFile(path.c_str()), 0);
  CHECK(image.pixels && std::memcmp(image.pixels, "abcdefghijklmnopqr", 18) == 0);
  CHECK_EQ(image.GetTag(StripOffsets)->items, 1);
  CHECK_EQ(image.GetTag(StripByteCounts)->kind, 3);
  CHECK_EQ(image.GetTag(StripByteCounts)->content, 18);
  CHECK_EQ(image.GetTagValue(RowsPerStrip), 3);
  CHECK_EQ(image.rowSize, 6);

  // The steps of reading one by one.
  FILE* stream = std::fopen(path.c_str(), "rb");
  const Bytes bytes = ThreeStrips();
  for (const bool direct : {false, true}) {
    Tiff plain;
    for (std::size_t i = 0; i < 10; ++i) {
      plain.AddTags(bytes.Little32At(10 + 12 * i), bytes.Little32At(14 + 12 * i),
                    bytes.Little32At(18 + 12 * i), stream);
    }
    CHECK_EQ(plain.list.size(), 10);
    CHECK_EQ(direct ? plain.ReadMultiStripOffset(stream) : plain.ReadImage(stream), 0);
    CHECK(plain.GetTag(StripOffsets)->block &&
          std::memcmp(plain.GetTag(StripOffsets)->block, "abcdefghijklmnopqr", 18) == 0);
  }
  std::fclose(stream);

  // Three planes of 2 x 3 bytes, then of 1 x 3 words.
  CTiff planes(2, 3, 72, 3, 8, 1);
  std::memcpy(planes.GetImageBuf(), "RRRRRRGGGGGGBBBBBB", 18);
  planes.Pack<unsigned char>(2, 3);
  CHECK(std::memcmp(planes.GetTag(StripOffsets)->block, "RGBRGBRGBRGBRGBRGB", 18) == 0);
  CTiff words(1, 3, 72, 3, 16, 1);
  std::memcpy(words.GetImageBuf(), "rRrRrRgGgGgGbBbBbB", 18);
  words.Pack<unsigned short>(1, 3);
  CHECK(std::memcmp(words.GetTag(StripOffsets)->block, "rRgGbBrRgGbBrRgGbB", 18) == 0);
}

template <class Call>
std::string ThrownText(Call call) {
  try {
    call();
  } catch (char const* message) {
    return message;
  }
  return "nothing thrown";
}

void Failures() {
  Tiff plain;
  CHECK_TEXT(ThrownText([&] { plain.ReadFile(nullptr); }),
             " *** Tiff::ReadFile() --> FileName is nullptr. *** ");
  CHECK_TEXT(ThrownText([&] { plain.ReadFile("/no/such/file.tif"); }), "/no/such/file.tif");
  CHECK_TEXT(ThrownText([&] { const Tiff never("/no/such/file.tif"); }), "/no/such/file.tif");
  const std::string big = Scratch::Path("big-endian.tif");
  WriteFile(big, Bytes().Text("MM").Big16(42).Big32(8).Big16(0));
  CHECK_TEXT(ThrownText([&] { plain.ReadFile(big.c_str()); }), " *** Tiff is not PC version. *** ");

  const std::string compressed = Scratch::Path("compressed.tif");
  CTiff image(2, 2, 72, 3, 8, 1);
  image.SetTagValue(Compression, 5);
  CHECK_EQ(image.SaveFile(compressed.c_str()), 0);
  int code = 0;
  try {
    plain.ReadFile(compressed.c_str());
  } catch (const ErrCode& error) {
    code = error.code;
  }
  CHECK_EQ(code, -7);

  CTiff quiet;
  int result = 0;
  CHECK_TEXT(Printed(1, [&] { result = quiet.ReadFile(compressed.c_str()); }),
             "Tiff Read Filer Error:-7\n");
  CHECK_EQ(result, -7);
  CHECK_TEXT(Printed(1, [&] { result = quiet.ReadFile(big.c_str()); }),
             "***  *** Tiff is not PC version. ***  Open Error. ***\n");
  CHECK_EQ(result, -1);
  CHECK_TEXT(Printed(1, [&] { result = quiet.ReadFile("/no/such/file.tif"); }),
             "/no/such/file.tif Open fail.\n");
  CHECK_EQ(result, -1);
  CHECK_TEXT(Printed(1, [&] { CHECK(CTiff("/no/such/file.tif").GetImageBuf() == nullptr); }),
             "/no/such/file.tif Open fail.\n");

  const std::string many = Scratch::Path("many.tif");
  WriteFile(many, File(std::vector<Entry>(40, Entry{305, 2, 1, 0}), {}));
  CHECK_TEXT(Printed(1, [&] { result = quiet.ReadFile(many.c_str()); }), "");
  CHECK_EQ(result, -3);
}

struct MyTiff : Tiff {
  void Reset() override {
    ++resets;
    Tiff::Reset();
  }
  int CheckFile(FILE* file) override { return refuse ? -1 : Tiff::CheckFile(file); }
  int ReadTiff(FILE*) override { return 11; }
  int SaveTiff(FILE* file) override { return plainSave ? Tiff::SaveTiff(file) : 12; }
  int WriteHeader(FILE* file) override {
    std::fputs("IIheader", file);
    return 0;
  }
  std::shared_ptr<TiffTag> CreateTag(unsigned tagAndType, unsigned, unsigned, FILE*) override {
    ++created;
    return (tagAndType & 0xFFFF) == 700 ? nullptr : std::make_shared<MyTag>(Software);
  }
  int resets = 0, created = 0;
  bool refuse = false, plainSave = false;
};

void Overridden() {
  const std::string path = Scratch::Path("new.tif"), out = Scratch::Path("mine.tif");
  MyTiff mine;
  Tiff& plain = mine;
  CHECK_EQ(plain.ReadFile(path.c_str()), 11);
  CHECK_EQ(mine.resets, 1);
  mine.refuse = true;
  CHECK_TEXT(ThrownText([&] { plain.ReadFile(path.c_str()); }), path);
  CHECK_EQ(mine.resets, 2);
  plain.AddTags(Packed(256, 3), 1, 1, nullptr);
  plain.AddTags(Packed(700, 3), 1, 1, nullptr);  // an empty pointer is skipped
  CHECK_EQ(mine.created, 2);
  CHECK_EQ(mine.list.size(), 1);
  CHECK_EQ(plain.GetTagValue(Software), 4711);
  CHECK_EQ(plain.SaveFile(out.c_str()), 12);
  mine.plainSave = true;
  mine.list.push_back(std::make_shared<TiffTag>(StripOffsets));
  CHECK_EQ(plain.SaveFile(out.c_str()), 0);
  const Bytes file = ReadWhole(out);
  CHECK(file.size() >= 8 && std::memcmp(file.data(), "IIheader", 8) == 0);
}

}  // namespace

void CheckTiff() {
  Tables();
  Tags();
  NewImage();
  TagList();
  PixelAccess();
  RawFiles();
  Profiles();
  Reading();
  Failures();
  Overridden();
}
