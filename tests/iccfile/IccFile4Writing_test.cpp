#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "iccfile/CCurveType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CXYZType.h"
#include "iccfile/IccFile4.h"
#include "tests/TemporaryFile.h"
#include "tests/iccfile/ProfileBytes.h"

namespace ICC40::ICCFILE {
namespace {

using namespace profile_bytes;
using ICC4_HEADER::icTagSignature;

/// What `write` writes to a stream.
template <class Write>
Bytes Written(Write write) {
  FILE* stream = std::tmpfile();
  write(stream);
  Bytes bytes(static_cast<std::size_t>(std::ftell(stream)));
  std::rewind(stream);
  EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), stream), bytes.size());
  std::fclose(stream);
  return bytes;
}

Bytes Saved(iccTagBase& tag) {
  return Written([&tag](FILE* stream) { EXPECT_EQ(tag.Save(stream), 0); });
}

Bytes InMemory(unsigned value, std::size_t bytes) {
  Bytes memory(bytes);
  std::memcpy(memory.data(), &value, bytes);
  return memory;
}

void Read(IccFile4& profile, const Bytes& bytes) {
  const TemporaryFile file(bytes);
  EXPECT_EQ(profile.ReadFile(file.Path()), 0);
}

TEST(WriteHeader, WritesTheFieldsAndTheGivenSize) {
  BigEndianBytes given;
  given.U32(0x11111111).Text("CMM1").U32(0x02400000).Text("scnr").Text("RGB ").Text("Lab ");
  given.U16(2003).U16(12).U16(31).U16(23).U16(59).U16(58);
  given.Text("acsp").Text("APPL").U32(0x80000001).Text("none").Text("modl");
  given.Text("ABCDEFGH").U32(3).U32(0x0000F6D6).U32(0xFFFFFFFF).U32(0x80000000).Text("crea");
  for (unsigned i = 0; i < 44; ++i) given.U8(200 + i);
  IccFile4 profile;
  Read(profile, given.bytes());

  Bytes expected = BigEndianBytes().Append(given.bytes()).Put32(0, 0x01020304).bytes();
  std::fill(expected.begin() + 56, expected.begin() + 64, std::uint8_t{0});  // kept: attributes
  std::fill(expected.begin() + 100, expected.end(), std::uint8_t{0});
  EXPECT_EQ(
      Written([&profile](FILE* stream) { EXPECT_EQ(profile.WriteHeader(stream, 0x01020304), 0); }),
      expected);
}

TEST(WriteTagList, TableCountsPaddedSizes) {
  IccFile4 profile;
  Read(profile, ProfileBytes()
                    .AddTag("wtpt", XyzTag(1, 2, 3))
                    .AddTag("rTRC", CurvTag({0x0233}))
                    .AddTag("desc", PlainTag("desc", "0123456789012345678901234567"))
                    .Build());
  const Bytes table =
      Written([&profile](FILE* stream) { EXPECT_EQ(profile.WriteTagListHeader(stream), 240); });
  EXPECT_EQ(table, BigEndianBytes()
                       .U32(3)
                       .Text("wtpt")
                       .U32(168)
                       .U32(20)
                       .Text("rTRC")
                       .U32(188)
                       .U32(16)
                       .Text("desc")
                       .U32(204)
                       .U32(36)
                       .bytes());
}

TEST(WriteTagList, EmptyContainer) {
  IccFile4 profile;
  EXPECT_EQ(Written([&profile](FILE* stream) {
              EXPECT_EQ(profile.WriteTagListHeader(stream), 132);
              EXPECT_EQ(profile.WriteTagListData(stream), 0);
            }),
            Bytes(4));
}

TEST(WriteTagList, SizesInMemoryAreRoundedUpInTheOffsetsOnly) {
  const struct {
    const char* what;
    int size;
    int end;
  } kRows[] = {
      {"13", 13, 132 + 12 + 16},
      {"0", 0, 132 + 12},
      {"negative sizes take no room", -5, 132 + 12},
  };
  for (const auto& row : kRows) {
    IccFile4 profile;
    const auto tag = std::make_shared<CXYZType>();
    tag->tagSignature = ICC4_HEADER::wtpt;
    tag->size = row.size;
    profile.tags.push_back(tag);
    const Bytes table = Written(
        [&](FILE* stream) { EXPECT_EQ(profile.WriteTagListHeader(stream), row.end) << row.what; });
    EXPECT_EQ(table, BigEndianBytes()
                         .U32(1)
                         .Text("wtpt")
                         .U32(144)
                         .U32(static_cast<std::uint32_t>(row.size))
                         .bytes())
        << row.what;
  }
}

TEST(WriteTagList, WholeProfileComesBackByteForByte) {
  Mab mab;
  mab.curvesB = {{1, 2}, {3, 4}, {5, 6}};
  mab.gridPoints = {2, 2, 2};
  mab.clut = std::vector<std::uint16_t>(24, 0x1234);
  const Bytes original =
      ProfileBytes()
          .AddTag("desc", PlainTag("desc", "hello"), 16)
          .AddTag("A2B0", Mft2().Tag())
          .AddTag("A2B1", mab.Tag())
          .AddTag("A2B2", BigEndianBytes().Append(PlainTag("mft1", "")).Append(Bytes(60)).bytes())
          .AddTag("wtpt", XyzTag(0xF6D6, 0x10000, 0xD32D))
          .AddTag("gTRC", CurvTag({}))
          .AddTag("abcd", PlainTag("data", "wxyz"))
          .Build();
  IccFile4 profile;
  Read(profile, original);
  const Bytes written = Written([&](FILE* stream) {
    profile.WriteHeader(stream, static_cast<int>(original.size()));
    EXPECT_EQ(profile.WriteTagListHeader(stream), static_cast<int>(original.size()));
    profile.WriteTagListData(stream);
  });
  EXPECT_EQ(written, original);
}

TEST(WriteTagList, TagsMadeInMemoryAreSaved) {
  IccFile4 profile;
  const auto white = std::make_shared<CXYZType>();
  white->Initial(ICC4_HEADER::wtpt, 1.0, 0.5, 0.25);
  const auto curve = std::make_shared<CCurveType>();
  curve->Initial(ICC4_HEADER::rTRC);
  profile.tags = {white, curve};
  EXPECT_EQ(Written([&](FILE* stream) {
              EXPECT_EQ(profile.WriteTagListHeader(stream), 132 + 24 + 20 + 12);
              EXPECT_EQ(profile.WriteTagListData(stream), 0);
            }),
            BigEndianBytes()
                .U32(2)
                .Text("wtpt")
                .U32(156)
                .U32(20)
                .Text("rTRC")
                .U32(176)
                .U32(12)
                .Append(XyzTag(0x10000, 0x8000, 0x4000))
                .Append(CurvTag({}))
                .bytes());
}

TEST(WriteTagList, DataIsNotPadded) {
  Bytes bytes = PlainTag("desc", "01234");
  IccFile4 profile;
  profile.tags.push_back(profile.CreateNewTag(ICC4_HEADER::desc, bytes.data(), 13));
  EXPECT_EQ(Written([&](FILE* stream) { profile.WriteTagListData(stream); }), bytes);
}

TEST(WriteTagList, CurveSetToIdentityDoesNotWriteItsOldBytes) {
  Bytes bytes = CurvTag({1, 2, 3});
  IccFile4 profile;
  profile.tags.push_back(profile.CreateNewTag(ICC4_HEADER::rTRC, bytes.data(), 8));
  std::static_pointer_cast<CCurveType>(profile.tags[0])->Initial(ICC4_HEADER::rTRC);
  EXPECT_EQ(Written([&](FILE* stream) { profile.WriteTagListData(stream); }), CurvTag({}));
}

TEST(SaveLut16, WritesTheTagWithItsOddities) {
  Mft2 mft2;
  mft2.gridPoints = 1;
  mft2.reservedByte = 9;
  mft2.matrix = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99};
  mft2.inputTables = {0x0102, 0x0304, 0x0506, 0x0708, 0x090A, 0x0B0C};
  mft2.colorTable = {0x1122, 0x3344, 0x5566};
  mft2.outputTables = {0x7788, 0x99AA, 0xBBCC, 0xDDEE, 0xFF00, 0x1234};
  Bytes bytes = mft2.Tag();
  CLut16Type lut;
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), static_cast<int>(bytes.size()));

  // Kept: the diagonal is 1.0, the other matrix words and the output tables lie as in memory.
  BigEndianBytes head;
  head.Text("mft2").U32(0).U8(3).U8(3).U8(1).U8(9);
  for (unsigned i = 0; i < 9; ++i) {
    if (i % 4 == 0) {
      head.U32(0x00010000);
    } else {
      head.Append(InMemory(0x11 * (i + 1), 4));
    }
  }
  head.U16(2).U16(2);
  BigEndianBytes outputs;
  for (const unsigned value : mft2.outputTables) outputs.Append(InMemory(value, 2));

  const Bytes first = BigEndianBytes()
                          .Append(head.bytes())
                          .U16s(mft2.inputTables)
                          .U16s(mft2.colorTable)
                          .Append(outputs.bytes())
                          .Append(Bytes((4 - bytes.size() % 4) % 4))
                          .bytes();
  EXPECT_EQ(Saved(lut), first);
  // Kept: the tables that were written are left in file order ...
  EXPECT_EQ(std::memcmp(lut.inputTables, "\1\2\3\4", 4), 0);
  EXPECT_EQ(std::memcmp(lut.colorTable, "\x11\x22", 2), 0);
  EXPECT_EQ(lut.outputTables[0], 0x7788);

  // ... so that a second Save swaps them back and writes them in host order.
  BigEndianBytes second;
  second.Append(head.bytes());
  for (const unsigned value : mft2.inputTables) second.Append(InMemory(value, 2));
  for (const unsigned value : mft2.colorTable) second.Append(InMemory(value, 2));
  second.Append(outputs.bytes()).Append(Bytes((4 - bytes.size() % 4) % 4));
  EXPECT_EQ(Saved(lut), second.bytes());
  EXPECT_EQ(lut.inputTables[0], 0x0102);
}

TEST(SaveLut16, PadsByTheSizeField) {
  const struct {
    int size;
    std::size_t padding;
  } kRows[] = {{0, 0}, {1, 3}, {2, 2}, {3, 1}, {4, 0}, {2147483647, 1}, {-1, 0}};
  for (const auto& row : kRows) {
    CLut16Type lut;
    lut.size = row.size;
    EXPECT_EQ(Saved(lut).size(), 52 + row.padding) << row.size;
  }
}

TEST(SaveLut16, ConvertedTagHasSizeZeroAndIsWrittenWhole) {
  Mab mab;
  mab.curvesA = {{1, 2}, {3, 4}, {5, 6}};
  mab.curvesB = {{7}, {8}, {9}};
  mab.gridPoints = {2, 2, 2};
  for (std::uint16_t i = 0; i < 24; ++i) mab.clut.push_back(static_cast<std::uint16_t>(0x0100 + i));
  Bytes bytes = mab.Tag();
  CLut source;
  source.Initial(ICC4_HEADER::A2B0, bytes.data(), static_cast<int>(bytes.size()));
  IccFile4 profile;
  profile.tags.push_back(std::make_shared<CLut16Type>(&source));

  const Bytes table =
      Written([&](FILE* stream) { EXPECT_EQ(profile.WriteTagListHeader(stream), 144); });
  EXPECT_EQ(table, BigEndianBytes().U32(1).Text("A2B0").U32(144).U32(0).bytes());

  BigEndianBytes expected;
  expected.Text("mft2").U32(0).U8(3).U8(3).U8(2).U8(0);
  for (int i = 0; i < 9; ++i) expected.U32(i % 4 == 0 ? 0x00010000 : 0);
  expected.U16(2).U16(1).U16s({1, 2, 3, 4, 5, 6}).U16s(mab.clut);
  for (const unsigned value : {7u, 8u, 9u}) expected.Append(InMemory(value, 2));
  EXPECT_EQ(Written([&](FILE* stream) { profile.WriteTagListData(stream); }), expected.bytes());
}

TEST(SaveLut16, TablesThatAreAbsentOrShortAreWrittenAsZeros) {
  CLut16Type empty;
  empty.inputChannels = 3;
  empty.outputChannels = 2;
  empty.gridPoints = 2;
  empty.inputEntries = 4;
  empty.outputEntries = 5;
  const Bytes saved = Saved(empty);
  EXPECT_EQ(saved.size(), 52u + 24 + 32 + 20);
  EXPECT_EQ(Bytes(saved.begin() + 52, saved.end()), Bytes(76));

  // With one input there are fewer grid points than the cube that is written.
  Mab mab;
  mab.inputs = 1;
  mab.outputs = 1;
  mab.gridPoints = {3};
  mab.clut = {0x0102, 0x0304, 0x0506};
  Bytes bytes = mab.Tag();
  CLut source;
  source.Initial(ICC4_HEADER::A2B0, bytes.data(), static_cast<int>(bytes.size()));
  CLut16Type line(&source);
  Bytes cube = {1, 2, 3, 4, 5, 6};
  cube.resize(54);
  const Bytes savedLine = Saved(line);
  EXPECT_EQ(Bytes(savedLine.begin() + 52, savedLine.end()), cube);
}

TEST(SaveLut16, ZerosForAHugeAbsentTableAreBounded) {
  CLut16Type lut;
  lut.outputChannels = 255;
  lut.gridPoints = 255;
  FILE* stream = std::tmpfile();
  EXPECT_EQ(lut.Save(stream), 0);
  EXPECT_EQ(std::ftell(stream), 52 + (32 << 20));
  std::fclose(stream);
}

// Kept: a successful open is what fails, and it leaves an empty file.
TEST(SaveFile, ThrowsOnceTheFileIsOpen) {
  const TemporaryFile file(Bytes{1, 2, 3});
  IccFile4 profile;
  try {
    profile.SaveFile(file.Path());
    ADD_FAILURE() << "did not throw";
  } catch (const char* message) {
    EXPECT_STREQ(message, "Icc File SaveFile Error, File open fail.");
  }
  EXPECT_EQ(file.Read(), Bytes());
}

TEST(SaveFile, ReturnsZeroWhenTheFileCannotBeOpened) {
  IccFile4 profile;
  EXPECT_EQ(profile.SaveFile("/no/such/folder/profile.icc"), 0);
  EXPECT_EQ(profile.SaveFile(nullptr), 0);
}

TEST(Writing, NullStreamKeepsTheResults) {
  IccFile4 profile;
  Read(profile, ProfileBytes().AddTag("A2B0", Mft2().Tag()).Build());
  EXPECT_EQ(profile.WriteHeader(nullptr, 1), 0);
  EXPECT_EQ(profile.WriteTagListHeader(nullptr), 132 + 12 + 52 + 12 + 48 + 12);
  EXPECT_EQ(profile.WriteTagListData(nullptr), 0);
  CLut16Type lut;
  CCurveType curve;
  CXYZType white;
  CTextDescriptionType text;
  for (iccTagBase* tag : {static_cast<iccTagBase*>(&lut), static_cast<iccTagBase*>(&curve),
                          static_cast<iccTagBase*>(&white), static_cast<iccTagBase*>(&text)}) {
    EXPECT_EQ(tag->Save(nullptr), 0);
  }
}

}  // namespace
}  // namespace ICC40::ICCFILE
