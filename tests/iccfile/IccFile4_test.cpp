#include "iccfile/IccFile4.h"

#include <gtest/gtest.h>

#include <cstring>
#include <typeinfo>

#include "iccfile/CChad.h"
#include "iccfile/CCurveType.h"
#include "iccfile/CDataType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CTextType.h"
#include "iccfile/CXYZType.h"
#include "tests/TemporaryFile.h"
#include "tests/iccfile/ProfileBytes.h"

namespace ICC40::ICCFILE {
namespace {

using namespace profile_bytes;
using ICC4_HEADER::icTagSignature;

icTagSignature Tag(std::string_view name) {
  return static_cast<icTagSignature>(Signature(name));
}

/// The number whose bytes in memory are those of `value` in a file.
unsigned int InFileOrder(std::uint32_t value) {
  const Bytes bytes = BigEndianBytes().U32(value).bytes();
  unsigned int raw;
  std::memcpy(&raw, bytes.data(), 4);
  return raw;
}

void Read(IccFile4& profile, const Bytes& bytes) {
  const TemporaryFile file(bytes);
  EXPECT_EQ(profile.ReadFile(file.Path()), 0);
}

TEST(IccFile4, IsEmptyAtFirst) {
  const IccFile4 profile;
  const ICC4_HEADER::icHeader zero{};
  EXPECT_EQ(std::memcmp(&profile.header, &zero, sizeof zero), 0);
  EXPECT_TRUE(profile.tags.empty());
}

TEST(IccFile4, FileThatCannotBeOpenedChangesNothing) {
  IccFile4 profile;
  Read(profile, ProfileBytes().AddTag("wtpt", XyzTag(1, 2, 3)).Build());
  const ICC4_HEADER::icHeader before = profile.header;
  EXPECT_EQ(profile.ReadFile("/no/such/profile.icc"), -2);
  EXPECT_EQ(profile.ReadFile(static_cast<const char*>(nullptr)), -2);
  EXPECT_EQ(static_cast<unsigned>(profile.ReadFile("")), 0xFFFFFFFEu);
  EXPECT_EQ(std::memcmp(&profile.header, &before, sizeof before), 0);
  EXPECT_EQ(profile.tags.size(), 1u);
}

TEST(IccFile4, NullStreamChangesNothing) {
  IccFile4 profile;
  EXPECT_EQ(profile.ReadFile(static_cast<FILE*>(nullptr)), 0);
  EXPECT_EQ(profile.ReadHeader(nullptr), 0);
  EXPECT_EQ(profile.AddIccTagData(0, 0, 0, nullptr), 0);
  EXPECT_EQ(profile.header.size, 0u);
  EXPECT_TRUE(profile.tags.empty());
}

TEST(IccFile4, HeaderComesOutInHostOrder) {
  BigEndianBytes bytes;
  bytes.U32(0x01020304).Text("CMM1").U32(0x02400000).Text("scnr").Text("RGB ").Text("Lab ");
  bytes.U16(2003).U16(12).U16(31).U16(23).U16(59).U16(58);
  bytes.Text("acsp").Text("APPL").U32(0x80000001).Text("none").Text("modl");
  bytes.Text("ABCDEFGH").U32(3).U32(0x0000F6D6).U32(0xFFFFFFFF).U32(0x80000000).Text("crea");
  for (unsigned i = 0; i < 44; ++i) bytes.U8(200 + i);
  ASSERT_EQ(bytes.size(), 128u);
  Bytes file = bytes.U32(0).bytes();

  IccFile4 profile;
  FILE* stream = fmemopen(file.data(), file.size(), "rb");
  EXPECT_EQ(profile.ReadHeader(stream), 0);
  EXPECT_EQ(std::ftell(stream), 128);
  std::fclose(stream);
  const ICC4_HEADER::icHeader& h = profile.header;
  EXPECT_EQ(h.size, 0x01020304u);
  EXPECT_EQ(h.cmmType, Signature("CMM1"));
  EXPECT_EQ(h.version, 0x02400000u);
  EXPECT_EQ(h.deviceClass, Signature("scnr"));
  EXPECT_EQ(h.colorSpace, Signature("RGB "));
  EXPECT_EQ(h.pcs, Signature("Lab "));
  EXPECT_EQ(h.date.year, 2003);
  EXPECT_EQ(h.date.month, 12);
  EXPECT_EQ(h.date.day, 31);
  EXPECT_EQ(h.date.hours, 23);
  EXPECT_EQ(h.date.minutes, 59);
  EXPECT_EQ(h.date.seconds, 58);
  EXPECT_EQ(h.magic, 0x61637370u);
  EXPECT_EQ(h.platform, Signature("APPL"));
  EXPECT_EQ(h.flags, 0x80000001u);
  EXPECT_EQ(h.manufacturer, 0x6E6F6E65u);
  EXPECT_EQ(h.model, Signature("modl"));
  EXPECT_EQ(std::memcmp(h.attributes, "ABCDEFGH", 8), 0) << "file order";
  EXPECT_EQ(h.renderingIntent, 3u);
  EXPECT_EQ(h.illuminant[0], 0xF6D6);
  EXPECT_EQ(h.illuminant[1], -1);
  EXPECT_EQ(h.illuminant[2], std::numeric_limits<int>::min());
  EXPECT_EQ(h.creator, Signature("crea"));
  for (unsigned i = 0; i < 44; ++i) {
    EXPECT_EQ(h.idAndReserved[i], static_cast<unsigned char>(200 + i)) << i;
  }
}

TEST(IccFile4, NeitherSizeNorSignatureIsChecked) {
  IccFile4 profile;
  Read(profile,
       ProfileBytes().Header(0, 7).Header(36, "xxxx").AddTag("wtpt", XyzTag(1, 2, 3)).Build());
  EXPECT_EQ(profile.header.size, 7u);
  EXPECT_EQ(profile.header.magic, Signature("xxxx"));
  EXPECT_EQ(profile.tags.size(), 1u);
}

TEST(IccFile4, ProfileWithoutTags) {
  IccFile4 profile;
  Read(profile, ProfileBytes().Build());
  EXPECT_EQ(profile.header.size, 132u);
  EXPECT_TRUE(profile.tags.empty());
  for (const char* name : {"A2B0", "wtpt", "desc"}) EXPECT_EQ(profile.GetTag(Tag(name)), nullptr);
}

TEST(IccFile4, SizesAreRoundedUpToFour) {
  for (const std::uint32_t size : {0u, 1u, 4u, 12u, 13u, 14u, 15u, 16u, 17u}) {
    const std::uint32_t padded = (size + 3) / 4 * 4;
    IccFile4 profile;
    Read(profile,
         ProfileBytes().AddTag("desc", PlainTag("desc", "0123456789ABCDEF"), size).Build());
    const auto tag = std::dynamic_pointer_cast<CTextDescriptionType>(profile.GetTag(Tag("desc")));
    ASSERT_NE(tag, nullptr);
    EXPECT_EQ(tag->size, static_cast<int>(padded)) << size;
    EXPECT_EQ(tag->length, padded > 8 ? padded - 8 : 0) << size;
    EXPECT_EQ(std::memcmp(tag->text, "0123456789ABCDEF", tag->length), 0) << size;
  }
}

TEST(IccFile4, PaddingPastTheEndOfTheFileIsZero) {
  Bytes file = ProfileBytes().AddTag("desc", PlainTag("desc", "01234"), 13).Build();
  file.erase(file.end() - 3, file.end());
  IccFile4 profile;
  Read(profile, file);
  const auto tag = std::static_pointer_cast<CTextDescriptionType>(profile.GetTag(Tag("desc")));
  EXPECT_EQ(tag->size, 16);
  EXPECT_EQ(std::memcmp(tag->text, "01234\0\0\0", 8), 0);
}

TEST(IccFile4, TagsKeepTheOrderOfTheTable) {
  IccFile4 profile;
  Read(profile, ProfileBytes()
                    .AddTag("A2B0", Mft2().Tag())
                    .AddTag("wtpt", XyzTag(0x10000, 0x20000, 0x30000))
                    .AddTag("A2B0", PlainTag("mft1", ""))
                    .AddLink("wtpt", 1)
                    .AddLink("bkpt", 1)
                    .Build());
  ASSERT_EQ(profile.tags.size(), 5u);
  EXPECT_EQ(profile.GetTag(Tag("A2B0")), profile.tags[0]) << "the first of two";
  EXPECT_EQ(profile.tags[2]->tagSignature, Tag("A2B0"));
  EXPECT_NE(profile.tags[1], profile.tags[3]) << "one offset, two objects";
  for (const int i : {1, 3, 4}) {
    const auto xyz = std::dynamic_pointer_cast<CXYZType>(profile.tags[i]);
    ASSERT_NE(xyz, nullptr) << i;
    EXPECT_EQ(xyz->Y, 2.0) << i;
  }
  EXPECT_NE(profile.tags[1]->data, profile.tags[3]->data);
  EXPECT_EQ(profile.GetTag(Tag("bkpt")), profile.tags[4]);
}

TEST(IccFile4, SecondFileIsAppendedUntilReset) {
  const Bytes first = ProfileBytes().AddTag("wtpt", XyzTag(0x10000, 0, 0)).Build();
  const Bytes second = ProfileBytes()
                           .Header(12, "prtr")
                           .AddTag("wtpt", XyzTag(0x20000, 0, 0))
                           .AddTag("bkpt", XyzTag(0, 0, 0))
                           .Build();
  const auto whiteX = [](IccFile4& profile) {
    return std::static_pointer_cast<CXYZType>(profile.GetTag(ICC4_HEADER::wtpt))->X;
  };
  IccFile4 profile;
  Read(profile, first);
  Read(profile, second);
  EXPECT_EQ(profile.header.deviceClass, Signature("prtr"));
  EXPECT_EQ(profile.tags.size(), 3u);
  EXPECT_EQ(whiteX(profile), 1.0);

  const auto kept = profile.GetTag(ICC4_HEADER::wtpt);
  profile.Reset();
  EXPECT_TRUE(profile.tags.empty());
  EXPECT_EQ(profile.header.deviceClass, Signature("prtr")) << "Reset keeps the header";
  Read(profile, second);
  EXPECT_EQ(whiteX(profile), 2.0);
  EXPECT_EQ(std::static_pointer_cast<CXYZType>(kept)->X, 1.0) << "still held by its user";
}

TEST(IccFile4, ReadsFromTheStreamsPositionAndTagsFromTheStartOfTheFile) {
  // The table lies 100 bytes into the file, its offset counts from the file's first byte.
  BigEndianBytes file;
  file.Append(XyzTag(0x30000, 0, 0)).Append(Bytes(80));
  file.Append(ProfileBytes().AddEntry("wtpt", 0, 20).Build());
  const TemporaryFile scratch(file.bytes());
  FILE* stream = std::fopen(scratch.Path(), "rb");
  std::fseek(stream, 100, SEEK_SET);
  IccFile4 profile;
  EXPECT_EQ(profile.ReadFile(stream), 0);
  std::fclose(stream);
  EXPECT_EQ(profile.header.magic, Signature("acsp"));
  ASSERT_EQ(profile.tags.size(), 1u);
  EXPECT_EQ(std::static_pointer_cast<CXYZType>(profile.tags[0])->X, 3.0);
}

TEST(IccFile4, AddIccTagDataTakesItsValuesInFileOrder) {
  BigEndianBytes bytes;
  bytes.U32(0).U32(0).Append(CurvTag({1, 2, 3}));
  const TemporaryFile file(bytes.bytes());
  FILE* stream = std::fopen(file.Path(), "rb");
  IccFile4 profile;
  EXPECT_EQ(profile.AddIccTagData(InFileOrder(Signature("rTRC")), InFileOrder(8), InFileOrder(17),
                                  stream),
            0);
  std::fclose(stream);
  ASSERT_EQ(profile.tags.size(), 1u);
  const auto curve = std::dynamic_pointer_cast<CCurveType>(profile.tags[0]);
  ASSERT_NE(curve, nullptr);
  EXPECT_EQ(curve->tagSignature, ICC4_HEADER::rTRC);
  EXPECT_EQ(curve->size, 20);
  EXPECT_EQ(curve->count, 3u);
  EXPECT_EQ(curve->entries[2], 3);
}

TEST(IccFile4, SignatureAndTypeDecideTheClass) {
  const struct {
    const char* signature;
    const char* type;
    const std::type_info& made;
  } kRows[] = {
      {"chad", "sf32", typeid(CChad)},
      {"chad", "text", typeid(CChad)},
      {"A2B0", "mAB ", typeid(CLut)},
      {"A2B1", "mAB ", typeid(CLut)},
      {"A2B2", "mAB ", typeid(CLut)},
      {"A2B0", "mft2", typeid(CLut16Type)},
      {"A2B1", "mft2", typeid(CLut16Type)},
      {"A2B2", "mft2", typeid(CLut16Type)},
      {"A2B0", "mft1", typeid(CLut8Type)},
      {"A2B1", "abcd", typeid(CLut8Type)},
      {"A2B2", "mBA ", typeid(CLut8Type)},  // kept: only under B2A
      {"A2B0", "text", typeid(CLut8Type)},
      {"B2A0", "mBA ", typeid(CLut)},
      {"B2A1", "mBA ", typeid(CLut)},
      {"B2A2", "mBA ", typeid(CLut)},
      {"B2A0", "mft2", typeid(CLut16Type)},
      {"B2A1", "mft2", typeid(CLut16Type)},
      {"B2A2", "mft2", typeid(CLut16Type)},
      {"B2A0", "mAB ", typeid(CLut8Type)},  // kept: only under A2B
      {"B2A1", "mft1", typeid(CLut8Type)},
      {"B2A2", "abcd", typeid(CLut8Type)},
      {"bXYZ", "XYZ ", typeid(CXYZType)},
      {"bkpt", "XYZ ", typeid(CXYZType)},
      {"gXYZ", "XYZ ", typeid(CXYZType)},
      {"rXYZ", "XYZ ", typeid(CXYZType)},
      {"wtpt", "text", typeid(CXYZType)},
      {"bTRC", "curv", typeid(CCurveType)},
      {"gTRC", "para", typeid(CCurveType)},
      {"rTRC", "text", typeid(CCurveType)},
      {"cprt", "text", typeid(CTextType)},
      {"cprt", "mluc", typeid(CTextType)},
      {"desc", "desc", typeid(CTextDescriptionType)},
      {"desc", "mluc", typeid(CTextDescriptionType)},
      {"targ", "text", typeid(CTextDescriptionType)},  // kept: not a CTextType
      {"targ", "desc", typeid(CDataType)},
      {"lumi", "XYZ ", typeid(CDataType)},
      {"A2B3", "mft2", typeid(CDataType)},  // kept: only 0 to 2
      {"B2A3", "mBA ", typeid(CDataType)},
      {"A2B3", "text", typeid(CTextDescriptionType)},
  };
  for (const auto& row : kRows) {
    Bytes bytes = PlainTag(row.type, std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0", 12));
    IccFile4 maker;
    const auto made = maker.CreateNewTag(Tag(row.signature), bytes.data(), 20);
    ASSERT_NE(made, nullptr);
    const iccTagBase& tag = *made;
    EXPECT_TRUE(typeid(tag) == row.made) << row.signature << ' ' << row.type;
    EXPECT_EQ(tag.tagSignature, Tag(row.signature));
    EXPECT_EQ(tag.typeSignature, Signature(row.type));
    EXPECT_EQ(tag.size, 20);
    EXPECT_TRUE(maker.tags.empty()) << "made, not added";
  }
}

TEST(IccFile4, CreateNewTagWithoutBytes) {
  Bytes bytes = Mft2().Tag();
  IccFile4 maker;
  for (const char* name : {"chad", "A2B0", "B2A2", "wtpt", "rTRC", "cprt", "desc", "abcd"}) {
    const struct {
      unsigned char* data;
      int size;
    } kRows[] = {{nullptr, 100}, {nullptr, 0}, {bytes.data(), 0}, {bytes.data(), -8}};
    for (const auto& row : kRows) {
      const auto tag = maker.CreateNewTag(Tag(name), row.data, row.size);
      ASSERT_NE(tag, nullptr) << name;
      EXPECT_EQ(tag->size, row.size) << name;
      EXPECT_EQ(tag->typeSignature, 0u) << name;
    }
  }
}

}  // namespace
}  // namespace ICC40::ICCFILE
