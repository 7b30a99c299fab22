#include <cstring>

#include "checks.h"
#include "declarations.h"
#include "profiles.h"

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC4_HEADER;
using namespace client;

namespace {

void BaseTag() {
  Bytes bytes;
  bytes.Text("text").Big32(0xFFFFFFFF).Text("abcd");
  iccTagBase* tag = new iccTagBase;
  CHECK_EQ(tag->Initial(TagDesc, TypeText), 0);
  CHECK_EQ(tag->signature, TagDesc);
  CHECK_EQ(tag->type, TypeText);
  CHECK_EQ(tag->bytes, 0);
  CHECK(tag->copy == nullptr);
  CHECK_EQ(tag->Initial(TagCprt, bytes.data(), 12), 12);
  CHECK_EQ(tag->signature, TagCprt);
  CHECK_EQ(tag->type, 0x74657874);
  CHECK_EQ(tag->zero, 0);
  CHECK_EQ(tag->bytes, 12);
  CHECK(tag->copy != bytes.data() && std::memcmp(tag->copy, bytes.data(), 12) == 0);
  CHECK_EQ(tag->Read(nullptr), 0);
  CHECK_EQ(Written([&](FILE* stream) { CHECK_EQ(tag->Save(stream), 0); }).size(), 0);
  delete tag;
}

void XyzTag() {
  CXYZType* xyz = new CXYZType;
  iccTagBase* tag = xyz;
  CHECK_EQ(xyz->bytes, 20);
  CHECK_EQ(xyz->realX, 0.0);
  CHECK_EQ(xyz->realZ, 0.0);
  Bytes bytes = WhitePointTag();
  CHECK_EQ(tag->Initial(TagWtpt, bytes.data(), 20), 20);
  CHECK_EQ(xyz->fixedX, 0xF6D6);
  CHECK_EQ(xyz->fixedY, 0x10000);
  CHECK_EQ(xyz->fixedZ, 0xD32D);
  CHECK_EQ(xyz->realX, 0.964202880859375);
  CHECK_EQ(xyz->realY, 1.0);
  CHECK_EQ(xyz->realZ, 0.8249053955078125);

  // The sign of a negative component is dropped, and the words are in file order.
  CHECK_EQ(xyz->Initial(TagBkpt, -0.5, 0.25, 1.0), 0);
  CHECK_EQ(xyz->signature, TagBkpt);
  CHECK_EQ(xyz->realX, -0.5);
  CHECK_EQ(__builtin_bswap32(static_cast<std::uint32_t>(xyz->fixedX)), 0x7FFF);
  CHECK_EQ(__builtin_bswap32(static_cast<std::uint32_t>(xyz->fixedY)), 0x4000);
  CHECK_EQ(__builtin_bswap32(static_cast<std::uint32_t>(xyz->fixedZ)), 0x10000);
  const Bytes saved = Written([&](FILE* stream) { tag->Save(stream); });
  Bytes expected;
  expected.Text("XYZ ").Big32(0).Big32(0x7FFF).Big32(0x4000).Big32(0x10000);
  CHECK(saved == expected);
  delete tag;
}

Bytes Curve(unsigned count) {
  Bytes curve;
  curve.Text("curv").Big32(0).Big32(count);
  for (unsigned i = 0; i < count; ++i) {
    curve.Big16(i * 3);
  }
  return curve;
}

/// Counts the calls that arrive through the virtual table.
struct CountingCurve : CCurveType {
  using CCurveType::Initial;
  int Initial(icTagSignature tag, unsigned char* data, int size) override {
    ++calls;
    lastSize = size;
    return CCurveType::Initial(tag, data, size);
  }
  int calls = 0, lastSize = -1;
};

void CurveTag() {
  CCurveType* curve = new CCurveType;
  CHECK(curve->values == nullptr);
  Bytes bytes = Curve(5);
  iccTagBase* tag = curve;
  CHECK_EQ(tag->Initial(TagRTRC, bytes.data(), 22), 22);
  CHECK_EQ(curve->points, 5);
  CHECK_EQ(curve->values[4], 12);
  CHECK_EQ(curve->Initial(TagRTRC), 0);
  CHECK_EQ(curve->bytes, 12);
  CHECK_EQ(curve->points, 0);
  Bytes identity;
  identity.Text("curv").Big32(0).Big32(0);
  CHECK(Written([&](FILE* stream) { tag->Save(stream); }) == identity);
  delete tag;

  CountingCurve counting;
  bytes = Curve(0);
  CHECK_EQ(counting.Initial(TagA2B0, bytes.data()), 14);
  CHECK_EQ(counting.calls, 1);
  CHECK_EQ(counting.lastSize, 0);
  // Two bytes past the padded curve: 12 + 512 is 524 already.
  bytes = Curve(256);
  CHECK_EQ(counting.Initial(TagA2B0, bytes.data()), 526);
  CHECK_EQ(counting.bytes, 526);
  CHECK_EQ(counting.points, 256);
  CHECK_EQ(counting.values[255], 765);
}

void SmallTags() {
  Bytes bytes;
  bytes.Text("text").Big32(0).Text("Nobody, 2024");
  CTextType* text = new CTextType;
  CHECK(text->characters == nullptr);
  CHECK_EQ(text->Initial(TagCprt, bytes.data(), 20), 20);
  CHECK(std::memcmp(text->characters, "Nobody, 2024", 12) == 0);
  delete static_cast<iccTagBase*>(text);

  CTextDescriptionType* description = new CTextDescriptionType;
  CHECK(description->characters == nullptr);
  CHECK_EQ(description->Initial(TagDesc, bytes.data(), 20), 20);
  CHECK_EQ(description->length, 12);
  CHECK(std::memcmp(description->characters, "Nobody, 2024", 12) == 0);
  const Bytes saved = Written([&](FILE* stream) { description->Save(stream); });
  CHECK_EQ(saved.size(), 20);
  CHECK(saved.size() == 20 && std::memcmp(saved.data(), "Nobody, 2024", 12) == 0);
  delete static_cast<iccTagBase*>(description);

  CDataType* data = new CDataType;
  CHECK_EQ(data->Initial(TagRXYZ, bytes.data(), 20), 20);
  CHECK_EQ(data->copy[19], '4');
  delete static_cast<iccTagBase*>(data);

  Bytes matrix;
  matrix.Text("sf32").Big32(0);
  for (std::uint32_t i = 0; i < 9; ++i) {
    matrix.Big32(i % 4 == 0 ? 0x10000 : i == 5 ? 0xFFFF8000 : 0);
  }
  CChad* chad = new CChad;
  CHECK_EQ(chad->Initial(TagChad, matrix.data(), 44), 44);
  CHECK_EQ(chad->rows[0][0], 1.0);
  CHECK_EQ(chad->rows[1][1], 1.0);
  CHECK_EQ(chad->rows[2][2], 1.0);
  CHECK_EQ(chad->rows[1][2], -0.5);
  CHECK_EQ(chad->rows[2][1], 0.0);
  delete static_cast<iccTagBase*>(chad);
}

void Lookup16Tag() {
  // 52 bytes of header, then 3 x 3, 8 x 3 and 3 x 2 values: 130 bytes, two short of a multiple
  // of 4.
  Bytes bytes = Mft2(3, 3, 2, 3, 2, [](int i, int j, int k, unsigned* v) {
    v[0] = 0x0102;
    v[1] = static_cast<unsigned>(0x1000 * i + 0x100 * j + 0x10 * k);
    v[2] = 0xFFFE;
  });
  CHECK_EQ(bytes.size(), 130);
  bytes[12] = 0x7F;  // e00: the diagonal is not written back
  bytes[16] = 0x12;  // e01
  CLut16Type* lut = new CLut16Type;
  CHECK(lut->inCurves == nullptr && lut->nodes == nullptr && lut->outCurves == nullptr);
  iccTagBase* tag = lut;
  CHECK_EQ(tag->Initial(TagA2B0, bytes.data(), 130), 130);
  CHECK_EQ(lut->ins, 3);
  CHECK_EQ(lut->outs, 3);
  CHECK_EQ(lut->grid, 2);
  CHECK_EQ(lut->byte11, 0);
  CHECK_EQ(lut->matrix[0], 0x7F010000);
  CHECK_EQ(lut->matrix[1], 0x12000000);
  CHECK_EQ(lut->matrix[8], 0x10000);
  CHECK_EQ(lut->inPoints, 3);
  CHECK_EQ(lut->outPoints, 2);
  CHECK_EQ(lut->inCurves[4], 32767);
  CHECK_EQ(lut->nodes[0], 0x0102);
  CHECK_EQ(lut->nodes[7 * 3 + 1], 0x1110);
  CHECK_EQ(lut->nodes[1 * 3 + 1], 0x10);
  CHECK_EQ(lut->outCurves[1], 65535);

  lut->outCurves[0] = 0x0203;
  const Bytes saved = Written([&](FILE* stream) { tag->Save(stream); });
  CHECK_EQ(saved.size(), 132);
  if (saved.size() == 132) {
    CHECK(std::memcmp(saved.data(), bytes.data(), 12) == 0);
    CHECK_EQ(saved.Big32At(12), 0x10000);
    CHECK_EQ(saved.Little32At(16), 0x12000000);  // off the diagonal: host order
    CHECK(std::memcmp(&saved[48], &bytes[48], 4 + 18 + 48) == 0);
    CHECK_EQ(saved[118], 0x03);  // output tables: as they lie in memory
    CHECK_EQ(saved[119], 0x02);
  }
  CHECK_EQ(lut->nodes[0], 0x0201);  // swapped in place
  delete tag;
}

void Lookup8Tag() {
  Bytes bytes;
  bytes.Text("mft1").Big32(0).U8(3).U8(1).U8(2).U8(0).Zeros(36);
  bytes.U8(0).U8(1).U8(2).U8(3);  // read as 1 input entry and 515 output entries
  bytes.U8(10).U8(11).U8(12);     // input tables
  bytes.Text("abcdefgh");         // 2^3 nodes of one channel
  bytes.Zeros(514).U8(99);        // output table
  CLut8Type* lut = new CLut8Type;
  iccTagBase* tag = lut;
  const int size = static_cast<int>(bytes.size());
  CHECK_EQ(tag->Initial(TagB2A0, bytes.data(), size), size);
  CHECK_EQ(lut->inPoints, 1);
  CHECK_EQ(lut->outPoints, 515);
  CHECK_EQ(lut->inCurves[2], 12);
  CHECK_EQ(lut->nodes[7], 'h');
  CHECK_EQ(lut->outCurves[514], 99);
  delete tag;
}

/// Curve of three entries: 2 * 3 + 14 = 20 bytes, padded in the file to just that.
Bytes ThreeEntries(unsigned first) {
  Bytes curve;
  curve.Text("curv").Big32(0).Big32(3).Big16(first).Big16(first + 1).Big16(first + 2).Zeros(2);
  return curve;
}

void CurvesAndClutTag() {
  Bytes bytes;
  bytes.Text("mAB ").Big32(0).U8(3).U8(3).U8(0).U8(0);
  // B at 32, M at 92, CLUT at 112 (20 + 8 * 6 bytes), A at 180.
  bytes.Big32(32).Big32(0).Big32(92).Big32(112).Big32(180);
  bytes.Append(ThreeEntries(100)).Append(ThreeEntries(200)).Append(ThreeEntries(300));
  bytes.Append(ThreeEntries(400));
  bytes.U8(2).U8(2).U8(2).Zeros(13).U8(2).Zeros(3);
  for (unsigned i = 0; i < 24; ++i) {
    bytes.Big16(1000 + i);
  }
  bytes.Append(ThreeEntries(500)).Append(ThreeEntries(600)).Append(ThreeEntries(700));
  CLut* lut = new CLut;
  CHECK(lut->grid == nullptr && lut->curveM == nullptr);
  CHECK(lut->curvesA[6] == nullptr && lut->curvesB[0] == nullptr);
  iccTagBase* tag = lut;
  const int size = static_cast<int>(bytes.size());
  CHECK_EQ(tag->Initial(TagA2B0, bytes.data(), size), size);
  CHECK_EQ(lut->ins, 3);
  CHECK_EQ(lut->outs, 3);
  CHECK_EQ(lut->offsetB, 32);
  CHECK_EQ(lut->offsetMatrix, 0);
  CHECK_EQ(lut->offsetM, 92);
  CHECK_EQ(lut->offsetClut, 112);
  CHECK_EQ(lut->offsetA, 180);
  CHECK(lut->curvesB[2] && lut->curvesB[2]->values[2] == 302);
  CHECK(lut->curveM && lut->curveM->values[0] == 400);
  CHECK(lut->curvesA[2] && lut->curvesA[2]->values[1] == 701);
  CHECK(lut->curvesA[3] == nullptr);
  CHECK(lut->grid && lut->grid->gridPoints[2] == 2 && lut->grid->precision == 2);
  std::uint16_t last = 0;
  std::memcpy(&last, lut->grid->values + 46, 2);
  CHECK_EQ(last, 1023);

  CLut16Type* converted = new CLut16Type(lut);
  CHECK_EQ(converted->signature, TagA2B0);
  CHECK_EQ(converted->type, TypeMAB);
  CHECK_EQ(converted->bytes, 0);
  CHECK(converted->copy == nullptr);
  CHECK_EQ(converted->ins, 3);
  CHECK_EQ(converted->grid, 2);
  CHECK_EQ(converted->byte11, 0);
  CHECK_EQ(converted->inPoints, 3);
  CHECK_EQ(converted->outPoints, 3);
  CHECK_EQ(converted->inCurves[0], 500);
  CHECK_EQ(converted->inCurves[8], 702);
  CHECK_EQ(converted->outCurves[3], 200);
  CHECK_EQ(converted->nodes[23], 1023);
  delete converted;
  delete tag;
}

struct RecordingTag : iccTagBase {
  int Save(FILE* stream) override {
    ++saves;
    return std::fputs("mine", stream);
  }
  int saves = 0;
};

void Container() {
  Bytes text, description, chad, unlisted;
  text.Text("text").Big32(0).Text("hello");  // 13 bytes, padded to 16
  description.Text("desc").Big32(0).Text("description!");
  chad.Text("sf32").Big32(0).Zeros(36);
  unlisted.Text("any ").Big32(7);
  Bytes mab;
  mab.Text("mAB ").Big32(0).Zeros(24);
  const Bytes mft2 = Mft2(3, 3, 2, 3, 3, [](int, int, int, unsigned* v) { v[0] = 1; });
  const std::uint32_t kUnlisted = 0x7A7A7A7A;
  const TagTable tags = {
      {TagA2B0, mft2},       {TagWtpt, WhitePointTag()}, {TagCprt, text}, {TagDesc, description},
      {TagChad, chad},       {TagRTRC, Curve(0)},        {TagA2B1, mab},  {TagB2A0, mab},
      {kUnlisted, unlisted}, {kUnlisted + 1, text},      {TagWtpt, chad}};
  const Bytes file = Profile(tags, 0x4D414B45);
  const std::string path = Scratch::Path("container.icc");
  WriteFile(path, file);

  IccFile4* profile = new IccFile4;
  CHECK_EQ(profile->head.size, 0);
  CHECK_EQ(profile->head.rest[43], 0);
  CHECK_EQ(profile->list.size(), 0);
  CHECK_EQ(profile->ReadFile(Scratch::Path("absent").c_str()), -2);
  CHECK_EQ(profile->ReadFile(path.c_str()), 0);
  CHECK_EQ(profile->head.size, file.size());
  CHECK_EQ(profile->head.version, 0x02400000);
  CHECK_EQ(profile->head.deviceClass, 0x73636E72);
  CHECK_EQ(profile->head.connectionSpace, 0x4C616220);
  CHECK_EQ(profile->head.date[0], 2024);
  CHECK_EQ(profile->head.date[5], 56);
  CHECK_EQ(profile->head.magic, 0x61637370);
  CHECK_EQ(profile->head.manufacturer, 0x4D414B45);
  CHECK(std::memcmp(profile->head.attributes, "attribut", 8) == 0);
  CHECK_EQ(profile->head.intent, 1);
  CHECK_EQ(profile->head.illuminant[2], 0xD32D);
  CHECK_EQ(profile->head.rest[43], 43);
  CHECK_EQ(profile->list.size(), tags.size());

  // Casts from the base need the library's type information.
  const auto get = [&](std::uint32_t signature) {
    return profile->GetTag(static_cast<icTagSignature>(signature));
  };
  CHECK(dynamic_cast<CLut16Type*>(get(TagA2B0).get()) != nullptr);
  CHECK(dynamic_cast<CLut*>(get(TagA2B1).get()) != nullptr);
  CHECK(dynamic_cast<CLut8Type*>(get(TagB2A0).get()) != nullptr);
  CHECK(dynamic_cast<CXYZType*>(get(TagWtpt).get()) != nullptr);
  CHECK(dynamic_cast<CTextType*>(get(TagCprt).get()) != nullptr);
  CHECK(dynamic_cast<CTextDescriptionType*>(get(TagDesc).get()) != nullptr);
  CHECK(dynamic_cast<CChad*>(get(TagChad).get()) != nullptr);
  CHECK(dynamic_cast<CCurveType*>(get(TagRTRC).get()) != nullptr);
  CHECK(dynamic_cast<CDataType*>(get(kUnlisted).get()) != nullptr);
  CHECK(dynamic_cast<CTextDescriptionType*>(get(kUnlisted + 1).get()) != nullptr);
  CHECK_EQ(get(TagCprt)->bytes, 16);
  CHECK_EQ(get(TagWtpt)->bytes, 20);
  CHECK(get(TagB2A2) == nullptr);

  std::shared_ptr<iccTagBase> kept = get(TagDesc);
  CHECK_EQ(kept.use_count(), 2);
  profile->Reset();
  CHECK_EQ(profile->list.size(), 0);
  CHECK_EQ(kept.use_count(), 1);
  CHECK_EQ(profile->head.magic, 0x61637370);

  FILE* stream = std::fopen(path.c_str(), "rb");
  CHECK_EQ(profile->ReadHeader(stream), 0);
  std::rewind(stream);
  CHECK_EQ(profile->ReadFile(stream), 0);
  CHECK_EQ(profile->list.size(), tags.size());
  // Table words are given as they stand in the file, big-endian.
  CHECK_EQ(profile->AddIccTagData(__builtin_bswap32(TagB2A1), __builtin_bswap32(0),
                                  __builtin_bswap32(13), stream),
           0);
  std::fclose(stream);
  CHECK(get(TagB2A1) && get(TagB2A1)->bytes == 16);
  CHECK(get(TagB2A1) && get(TagB2A1)->copy[4] == 't');

  Bytes white = WhitePointTag();
  const auto made = profile->CreateNewTag(TagBkpt, white.data(), 20);
  CHECK(dynamic_cast<CXYZType*>(made.get()) != nullptr);
  CHECK_EQ(made->signature, TagBkpt);

  CHECK_TEXT(
      [&] {
        try {
          profile->SaveFile(Scratch::Path("saved.icc").c_str());
        } catch (char const* message) {
          return message;
        }
        return "nothing thrown";
      }(),
      "Icc File SaveFile Error, File open fail.");
  CHECK_EQ(std::filesystem::file_size(Scratch::Path("saved.icc")), 0);
  CHECK_EQ(profile->SaveFile(Scratch::Path("no/such/folder").c_str()), 0);
  delete profile;
}

void Writing() {
  Bytes xyz = WhitePointTag(), fourteen, thirtySix;
  fourteen.Text("any ").Zeros(10);
  thirtySix.Text("any ").Zeros(32);
  WriteFile(Scratch::Path("three.icc"),
            Profile({{TagWtpt, xyz}, {0x61616161, fourteen}, {0x62626262, thirtySix}}, 0));
  IccFile4 profile;
  CHECK_EQ(profile.ReadFile(Scratch::Path("three.icc").c_str()), 0);
  const Bytes table = Written([&](FILE* s) { CHECK_EQ(profile.WriteTagListHeader(s), 240); });
  CHECK_EQ(table.size(), 40);
  CHECK_EQ(table.Big32At(0), 3);
  CHECK_EQ(table.Big32At(8), 168);
  CHECK_EQ(table.Big32At(20), 188);
  CHECK_EQ(table.Big32At(32), 204);
  const Bytes header = Written([&](FILE* s) { CHECK_EQ(profile.WriteHeader(s, 240), 0); });
  CHECK_EQ(header.size(), 128);
  CHECK_EQ(header.Big32At(0), 240);
  CHECK_EQ(header.Big32At(12), 0x73636E72);
  CHECK_EQ(header.Big32At(56), 0);  // attributes are not written
  CHECK_EQ(header.Big32At(80), 0x63726561);
  CHECK_EQ(header.Big32At(84), 0x00010203);
  CHECK_EQ(header.Big32At(100), 0);
  CHECK_EQ(Written([&](FILE* s) { CHECK_EQ(profile.WriteTagListData(s), 0); }).size(), 72);

  // A tag without a copy of its bytes is written through the virtual table.
  auto mine = std::make_shared<RecordingTag>();
  mine->Initial(TagDesc, TypeText);
  profile.list.push_back(mine);
  CHECK_EQ(Written([&](FILE* s) { profile.WriteTagListData(s); }).size(), 76);
  CHECK_EQ(mine->saves, 1);
  CHECK(profile.GetTag(TagDesc) == mine);

  IccFile4 empty;
  CHECK_EQ(Written([&](FILE* s) { CHECK_EQ(empty.WriteTagListHeader(s), 132); }).size(), 4);
}

}  // namespace

void CheckProfileClasses() {
  BaseTag();
  XyzTag();
  CurveTag();
  SmallTags();
  Lookup16Tag();
  Lookup8Tag();
  CurvesAndClutTag();
  Container();
  Writing();
}
