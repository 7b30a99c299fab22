#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "iccfile/CChad.h"
#include "iccfile/CCurveType.h"
#include "iccfile/CDataType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CTextType.h"
#include "iccfile/CXYZType.h"
#include "tests/iccfile/ProfileBytes.h"

namespace ICC40::ICCFILE {
namespace {

using namespace profile_bytes;
using ICC4_HEADER::icTagSignature;

constexpr auto kAnySignature = static_cast<icTagSignature>(0x61626364);

int SizeOf(const Bytes& bytes) {
  return static_cast<int>(bytes.size());
}

/// What a tag's `Save` writes.
Bytes Saved(iccTagBase& tag) {
  FILE* stream = std::tmpfile();
  EXPECT_EQ(tag.Save(stream), 0);
  Bytes bytes(static_cast<std::size_t>(std::ftell(stream)));
  std::rewind(stream);
  EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), stream), bytes.size());
  std::fclose(stream);
  return bytes;
}

std::uint32_t BytesOf(int word) {
  unsigned char bytes[4];
  std::memcpy(bytes, &word, 4);
  return std::uint32_t{bytes[0]} << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
}

TEST(TagBase, IsEmptyAtFirst) {
  iccTagBase tag;
  EXPECT_EQ(tag.data, nullptr);
  EXPECT_EQ(tag.size, 0);
}

TEST(TagBase, KeepsACopyOfItsBytes) {
  Bytes bytes = PlainTag("abcd", "0123456789");
  iccTagBase tag;
  EXPECT_EQ(tag.Initial(kAnySignature, bytes.data(), 18), 18);
  EXPECT_EQ(tag.tagSignature, kAnySignature);
  EXPECT_EQ(tag.typeSignature, 0x61626364u);
  EXPECT_EQ(tag.reserved, 0u);
  EXPECT_EQ(tag.size, 18);
  ASSERT_NE(tag.data, nullptr);
  EXPECT_NE(tag.data, bytes.data());
  EXPECT_EQ(Bytes(tag.data, tag.data + 18), bytes);
}

TEST(TagBase, ReservedIsZeroWhateverTheBytesSay) {
  Bytes bytes = BigEndianBytes().Text("abcd").U32(0xFFFFFFFF).bytes();
  iccTagBase tag;
  tag.Initial(kAnySignature, bytes.data(), 8);
  EXPECT_EQ(tag.reserved, 0u);
}

TEST(TagBase, TwoSignaturesMakeAnEmptyTag) {
  Bytes bytes = PlainTag("abcd", "");
  iccTagBase tag;
  tag.Initial(kAnySignature, bytes.data(), 8);
  EXPECT_EQ(tag.Initial(ICC4_HEADER::A2B1, ICC4_HEADER::mft2), 0);
  EXPECT_EQ(tag.tagSignature, ICC4_HEADER::A2B1);
  EXPECT_EQ(tag.typeSignature, ICC4_HEADER::mft2);
  EXPECT_EQ(tag.size, 0);
  EXPECT_EQ(tag.data, nullptr);
}

/// One object of every tag class.
std::vector<std::unique_ptr<iccTagBase>> EveryClass() {
  std::vector<std::unique_ptr<iccTagBase>> tags;
  tags.push_back(std::make_unique<iccTagBase>());
  tags.push_back(std::make_unique<CXYZType>());
  tags.push_back(std::make_unique<CCurveType>());
  tags.push_back(std::make_unique<CTextType>());
  tags.push_back(std::make_unique<CTextDescriptionType>());
  tags.push_back(std::make_unique<CDataType>());
  tags.push_back(std::make_unique<CChad>());
  tags.push_back(std::make_unique<CLut16Type>());
  tags.push_back(std::make_unique<CLut8Type>());
  tags.push_back(std::make_unique<CLut>());
  return tags;
}

TEST(TagTypes, ReadDoesNothingInEveryClass) {
  Bytes bytes = PlainTag("abcd", "efghijklmnop");
  FILE* stream = std::tmpfile();
  ASSERT_EQ(std::fwrite("0123456789012345678901234567890", 1, 31, stream), 31u);
  std::rewind(stream);
  for (const auto& tag : EveryClass()) {
    const iccTagBase& type = *tag;
    const char* name = typeid(type).name();
    tag->Initial(kAnySignature, bytes.data(), 20);
    EXPECT_EQ(tag->Read(nullptr), 0) << name;
    EXPECT_EQ(tag->Read(stream), 0) << name;
    EXPECT_EQ(std::ftell(stream), 0) << name;
    EXPECT_EQ(tag->tagSignature, kAnySignature) << name;
    EXPECT_EQ(tag->typeSignature, Signature("abcd")) << name;
    EXPECT_EQ(tag->size, 20) << name;
    EXPECT_EQ(Bytes(tag->data, tag->data + 20), bytes) << name;
  }
  std::fclose(stream);
}

TEST(TagTypes, SaveWritesNothingInClassesWithoutTheirOwn) {
  Bytes bytes = PlainTag("abcd", "efgh");
  iccTagBase base;
  CDataType data;
  CTextType text;
  CChad chad;
  CLut8Type lut8;
  CLut lut;
  for (iccTagBase* tag :
       std::initializer_list<iccTagBase*>{&base, &data, &text, &chad, &lut8, &lut}) {
    tag->Initial(kAnySignature, bytes.data(), 12);
    EXPECT_EQ(Saved(*tag), Bytes());
  }
}

TEST(TagBase, ShortOrMissingBytesReadAsZero) {
  Bytes bytes = PlainTag("abcd", "");
  const struct {
    const char* what;
    unsigned char* data;
    int size;
    std::uint32_t type;
    bool hasCopy;
  } kRows[] = {
      {"two bytes", bytes.data(), 2, 0x61620000, true},
      {"size 0", bytes.data(), 0, 0, false},
      {"negative size", bytes.data(), -5, 0, false},
      {"least size", bytes.data(), std::numeric_limits<int>::min(), 0, false},
      {"no data, huge size", nullptr, std::numeric_limits<int>::max(), 0, false},
      {"no data, size 0", nullptr, 0, 0, false},
  };
  for (const auto& row : kRows) {
    CDataType tag;
    EXPECT_EQ(tag.Initial(kAnySignature, row.data, row.size), row.size) << row.what;
    EXPECT_EQ(tag.size, row.size) << row.what;
    EXPECT_EQ(tag.typeSignature, row.type) << row.what;
    EXPECT_EQ(tag.data != nullptr, row.hasCopy) << row.what;
  }
}

TEST(XyzType, IsZeroAndTwentyBytesAtFirst) {
  CXYZType tag;
  EXPECT_EQ(tag.size, 20);
  EXPECT_EQ(tag.X, 0.0);
  EXPECT_EQ(tag.Y, 0.0);
  EXPECT_EQ(tag.Z, 0.0);
}

TEST(XyzType, ReadsTheFirstTriple) {
  const struct {
    const char* what;
    std::uint32_t x, y, z;
    double X, Y, Z;
  } kRows[] = {
      {"D50", 0x0000F6D6, 0x00010000, 0x0000D32D, 0.964202880859375, 1.0, 0.8249053955078125},
      {"negative", 0xFFFF8000, 0xFFFFFFFF, 0x80000000, -0.5, -1.0 / 65536, -32768.0},
      {"largest", 0x7FFFFFFF, 1, 0, 32767.0 + 65535.0 / 65536, 1.0 / 65536, 0.0},
  };
  for (const auto& row : kRows) {
    BigEndianBytes two;
    two.Append(XyzTag(row.x, row.y, row.z)).U32(7).U32(8).U32(9);
    Bytes bytes = two.bytes();
    CXYZType tag;
    EXPECT_EQ(tag.Initial(ICC4_HEADER::wtpt, bytes.data(), 32), 32) << row.what;
    EXPECT_EQ(tag.typeSignature, Signature("XYZ "));
    EXPECT_EQ(tag.fixedX, static_cast<std::int32_t>(row.x)) << row.what;
    EXPECT_EQ(tag.fixedY, static_cast<std::int32_t>(row.y)) << row.what;
    EXPECT_EQ(tag.fixedZ, static_cast<std::int32_t>(row.z)) << row.what;
    EXPECT_EQ(tag.X, row.X) << row.what;
    EXPECT_EQ(tag.Y, row.Y) << row.what;
    EXPECT_EQ(tag.Z, row.Z) << row.what;
  }
}

TEST(XyzType, CutOffTripleEndsInZeros) {
  Bytes bytes = XyzTag(0x00010000, 0x00020000, 0x00030000);
  CXYZType tag;
  tag.Initial(ICC4_HEADER::wtpt, bytes.data(), 14);
  EXPECT_EQ(tag.X, 1.0);
  EXPECT_EQ(tag.Y, 2.0);
  EXPECT_EQ(tag.Z, 0.0);
}

// Kept: the sign is dropped, and the words are in file byte order.
TEST(XyzType, SetFromDoublesDropsTheSignAndKeepsFileOrder) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const struct {
    const char* what;
    double value;
    std::uint32_t bytes;
  } kRows[] = {
      {"minus a half, rounded towards plus, then made positive", -0.5, 0x00007FFF},
      {"a quarter", 0.25, 0x00004000},
      {"one", 1.0, 0x00010000},
      {"D50 X", 0.9642, 0x0000F6D6},
      {"minus one", -1.0, 0x0000FFFF},
      {"least number", -32768.0, 0x7FFFFFFF},
      {"too large", 40000.0, 0x7FFFFFFF},
      {"much too large", 1e300, 0x7FFFFFFF},
      {"much too small", -1e300, 0x7FFFFFFF},
      {"infinite", kInfinity, 0x7FFFFFFF},
      {"minus infinite", -kInfinity, 0x7FFFFFFF},
      {"not a number", std::nan(""), 0},
  };
  for (const auto& row : kRows) {
    CXYZType tag;
    tag.typeSignature = ICC4_HEADER::text;
    EXPECT_EQ(tag.Initial(ICC4_HEADER::bkpt, 0.25, 1.0, row.value), 0) << row.what;
    EXPECT_EQ(BytesOf(tag.fixedX), 0x00004000u);
    EXPECT_EQ(BytesOf(tag.fixedY), 0x00010000u);
    EXPECT_EQ(BytesOf(tag.fixedZ), row.bytes) << row.what;
    EXPECT_EQ(tag.tagSignature, ICC4_HEADER::bkpt);
    EXPECT_EQ(tag.size, 20) << "untouched";
    EXPECT_EQ(tag.typeSignature, ICC4_HEADER::text) << "untouched";
    EXPECT_EQ(tag.Y, 1.0);
    if (!std::isnan(row.value)) {
      EXPECT_EQ(tag.Z, row.value) << row.what;
    }
  }
}

TEST(XyzType, SavesAValueThatWasSet) {
  CXYZType tag;
  tag.Initial(ICC4_HEADER::wtpt, 0.964202880859375, 1.0, 0.8249053955078125);
  EXPECT_EQ(Saved(tag), XyzTag(0x0000F6D6, 0x00010000, 0x0000D32D));
}

// Kept: the words of a parsed tag are in host order and are written so.
TEST(XyzType, SavesAParsedValueInHostOrder) {
  Bytes bytes = XyzTag(0x0000F6D6, 0x00010000, 0x0000D32D);
  CXYZType tag;
  tag.Initial(ICC4_HEADER::wtpt, bytes.data(), 20);
  const Bytes saved = Saved(tag);
  ASSERT_EQ(saved.size(), 20u);
  EXPECT_EQ(std::memcmp(saved.data(), "XYZ \0\0\0\0", 8), 0);
  EXPECT_EQ(std::memcmp(saved.data() + 8, &tag.fixedX, 4), 0);
  EXPECT_EQ(std::memcmp(saved.data() + 12, &tag.fixedY, 4), 0);
  EXPECT_EQ(std::memcmp(saved.data() + 16, &tag.fixedZ, 4), 0);
}

TEST(CurveType, ReadsItsEntries) {
  const struct {
    const char* what;
    std::vector<std::uint16_t> entries;
  } kRows[] = {
      {"identity", {}},
      {"gamma, not interpreted", {0x0233}},
      {"table", {0, 1, 0x1234, 65535}},
  };
  for (const auto& row : kRows) {
    Bytes bytes = CurvTag(row.entries);
    CCurveType tag;
    EXPECT_EQ(tag.Initial(ICC4_HEADER::rTRC, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
    EXPECT_EQ(tag.typeSignature, Signature("curv"));
    EXPECT_EQ(tag.count, row.entries.size()) << row.what;
    ASSERT_NE(tag.entries, nullptr) << row.what;
    EXPECT_EQ(std::vector<std::uint16_t>(tag.entries, tag.entries + tag.count), row.entries)
        << row.what;
  }
}

TEST(CurveType, CountBeyondTheBytesEndsInZeros) {
  Bytes bytes = BigEndianBytes().Text("curv").U32(0).U32(5).U16(7).U16(8).U8(9).bytes();
  CCurveType tag;
  tag.Initial(ICC4_HEADER::rTRC, bytes.data(), SizeOf(bytes));
  EXPECT_EQ(tag.count, 5u);
  EXPECT_EQ(std::vector<std::uint16_t>(tag.entries, tag.entries + 5),
            (std::vector<std::uint16_t>{7, 8, 0x0900, 0, 0}));
}

TEST(CurveType, HugeCountIsHeldAsAbsent) {
  for (const std::uint32_t count : {0xFFFFFFFFu, 0x80000000u, 0x04000000u}) {
    Bytes bytes = BigEndianBytes().Text("curv").U32(0).U32(count).U16(7).bytes();
    CCurveType tag;
    tag.Initial(ICC4_HEADER::rTRC, bytes.data(), SizeOf(bytes));
    EXPECT_EQ(tag.count, count);
    EXPECT_EQ(tag.entries, nullptr);
  }
}

TEST(CurveType, NothingIsReadWithoutBytes) {
  Bytes bytes = CurvTag({1, 2, 3});
  const struct {
    const char* what;
    unsigned char* data;
    int size;
  } kRows[] = {{"null", nullptr, 100},
               {"null, no size", nullptr, 0},
               {"negative", bytes.data(), -1},
               {"header only", bytes.data(), 8}};
  for (const auto& row : kRows) {
    CCurveType tag;
    EXPECT_EQ(tag.Initial(ICC4_HEADER::rTRC, row.data, row.size), row.size) << row.what;
    EXPECT_EQ(tag.count, 0u) << row.what;
  }
  CCurveType tag;
  EXPECT_EQ(tag.Initial(ICC4_HEADER::rTRC, nullptr), 14);
}

// Kept: 2 * count + 14 is two bytes past the padded curve for even counts.
TEST(CurveType, FormWithoutSizeReturnsTheAdvance) {
  const struct {
    const char* what;
    unsigned count;
    int advance;
  } kRows[] = {
      {"identity, padded length 12", 0, 14},
      {"gamma, padded length 16", 1, 16},
      {"odd, padded length 20", 3, 20},
      {"even, padded length 524", 256, 526},
  };
  for (const auto& row : kRows) {
    std::vector<std::uint16_t> entries(row.count);
    for (unsigned i = 0; i < row.count; ++i) entries[i] = static_cast<std::uint16_t>(i * 257 + 3);
    Bytes bytes = CurvTag(entries);
    CCurveType tag;
    EXPECT_EQ(tag.Initial(ICC4_HEADER::A2B0, bytes.data()), row.advance) << row.what;
    EXPECT_EQ(tag.size, row.advance) << row.what;
    EXPECT_EQ(tag.count, row.count) << row.what;
    EXPECT_EQ(tag.typeSignature, Signature("curv")) << row.what;
    EXPECT_EQ(tag.tagSignature, ICC4_HEADER::A2B0) << row.what;
    EXPECT_EQ(tag.data, nullptr) << "the copy is empty";
    EXPECT_EQ(std::vector<std::uint16_t>(tag.entries, tag.entries + row.count), entries)
        << row.what;
  }
}

// Kept: the type is not checked.
TEST(CurveType, ParametricCurveIsReadAsATable) {
  Bytes bytes = BigEndianBytes().Text("para").U32(0).U16(0).U16(2).U16(0x1111).U16(0x2222).bytes();
  CCurveType tag;
  EXPECT_EQ(tag.Initial(ICC4_HEADER::A2B0, bytes.data()), 18);
  EXPECT_EQ(tag.typeSignature, Signature("para"));
  EXPECT_EQ(tag.count, 2u);
  EXPECT_EQ(tag.entries[0], 0x1111);
  EXPECT_EQ(tag.entries[1], 0x2222);
}

class DerivedCurve : public CCurveType {
 public:
  int Initial(icTagSignature, unsigned char*, int sizeBytes) override {
    seenSize = sizeBytes;
    count = 5;
    return 0;
  }
  int seenSize = -1;
};

TEST(CurveType, FormWithoutSizeCallsTheVirtualOneWithSizeZero) {
  Bytes bytes = CurvTag({1, 2, 3});
  DerivedCurve curve;
  EXPECT_EQ(static_cast<CCurveType&>(curve).Initial(ICC4_HEADER::A2B0, bytes.data()), 24);
  EXPECT_EQ(curve.seenSize, 0);
  EXPECT_EQ(curve.size, 24);
}

TEST(CurveType, IdentityIsReadyToBeWritten) {
  const Bytes kIdentity = BigEndianBytes().Text("curv").U32(0).U32(0).bytes();
  CCurveType tag;
  for (int twice = 0; twice < 2; ++twice) {
    EXPECT_EQ(tag.Initial(ICC4_HEADER::gTRC), 0);
    EXPECT_EQ(tag.tagSignature, ICC4_HEADER::gTRC);
    EXPECT_EQ(tag.size, 12);
    EXPECT_EQ(tag.count, 0u);
    EXPECT_EQ(std::memcmp(tag.entries, kIdentity.data(), 12), 0);
    EXPECT_EQ(Saved(tag), kIdentity);
    Bytes other = CurvTag({1, 2, 3});
    tag.Initial(ICC4_HEADER::rTRC, other.data(), SizeOf(other));
  }
}

// Kept: the entries are written as they lie, not as a tag.
TEST(CurveType, SaveWritesTheEntriesAndZerosBehindThem) {
  Bytes bytes = CurvTag({0x0102, 0x0304});
  CCurveType tag;
  tag.Initial(ICC4_HEADER::rTRC, bytes.data(), SizeOf(bytes));
  Bytes expected(16);
  std::memcpy(expected.data(), tag.entries, 4);
  EXPECT_EQ(Saved(tag), expected);

  Bytes empty = CurvTag({});
  tag.Initial(ICC4_HEADER::rTRC, empty.data());
  EXPECT_EQ(Saved(tag), Bytes(14));

  CCurveType never;
  never.size = 3;
  EXPECT_EQ(Saved(never), Bytes(3));
  never.size = -3;
  EXPECT_EQ(Saved(never), Bytes());
}

TEST(TextTypes, KeepWhatIsBehindTheHeader) {
  const struct {
    const char* what;
    std::string content;
    int size;
    std::vector<unsigned char> text;
  } kRows[] = {
      {"twelve bytes, no terminator added",
       "Copyright us",
       20,
       {'C', 'o', 'p', 'y', 'r', 'i', 'g', 'h', 't', ' ', 'u', 's'}},
      {"nothing behind the header", "", 8, {}},
      {"not even a header", "", 3, {}},
      {"size 0", "", 0, {}},
      {"negative", "abc", -4, {}},
  };
  for (const auto& row : kRows) {
    Bytes bytes = PlainTag("text", row.content);
    CTextType plain;
    EXPECT_EQ(plain.Initial(ICC4_HEADER::cprt, bytes.data(), row.size), row.size) << row.what;
    ASSERT_NE(plain.text, nullptr) << row.what;
    EXPECT_EQ(Bytes(plain.text, plain.text + row.text.size()), row.text) << row.what;

    CTextDescriptionType described;
    EXPECT_EQ(described.Initial(ICC4_HEADER::desc, bytes.data(), row.size), row.size) << row.what;
    EXPECT_EQ(described.length, row.text.size()) << row.what;
    EXPECT_EQ(Bytes(described.text, described.text + described.length), row.text) << row.what;
  }
}

// Kept: the text is written without its header, and `size` bytes of it.
TEST(TextTypes, DescriptionSavesTheTextAndZerosBehindIt) {
  Bytes bytes = PlainTag("desc", "hello");
  CTextDescriptionType tag;
  tag.Initial(ICC4_HEADER::desc, bytes.data(), SizeOf(bytes));
  Bytes expected = {'h', 'e', 'l', 'l', 'o'};
  expected.resize(13);
  EXPECT_EQ(Saved(tag), expected);

  CTextDescriptionType never;
  never.size = 4;
  EXPECT_EQ(Saved(never), Bytes(4));
}

TEST(Chad, ReadsNineFixedPointNumbersRowByRow) {
  Bytes identity = MatrixTag({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x10000});
  CChad tag;
  EXPECT_EQ(tag.Initial(ICC4_HEADER::chad, identity.data(), 44), 44);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(tag.matrix[r][c], r == c ? 1.0 : 0.0) << r << ' ' << c;
  }

  Bytes counted = MatrixTag({0x10000, 0x20000, 0x30000, 0x40000, 0xFFFF8000, 6, 7, 8, 9});
  tag.Initial(ICC4_HEADER::chad, counted.data(), 32);
  const double kExpected[3][3] = {{1, 2, 3}, {4, -0.5, 6.0 / 65536}, {0, 0, 0}};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(tag.matrix[r][c], kExpected[r][c]) << r << ' ' << c;
  }
}

TEST(TagTypes, SecondInitialReplacesTheFirst) {
  Bytes first = PlainTag("text", "a long text that is replaced");
  Bytes second = PlainTag("desc", "ab");
  CTextType plain;
  CTextDescriptionType described;
  CDataType data;
  for (iccTagBase* tag : {static_cast<iccTagBase*>(&plain), static_cast<iccTagBase*>(&described),
                          static_cast<iccTagBase*>(&data)}) {
    tag->Initial(ICC4_HEADER::cprt, first.data(), SizeOf(first));
    tag->Initial(kAnySignature, second.data(), SizeOf(second));
    EXPECT_EQ(tag->size, 10);
    EXPECT_EQ(Bytes(tag->data, tag->data + 10), second);
    EXPECT_EQ(tag->tagSignature, kAnySignature);
    EXPECT_EQ(tag->typeSignature, Signature("desc"));
  }
  EXPECT_EQ(Bytes(plain.text, plain.text + 2), (Bytes{'a', 'b'}));
  EXPECT_EQ(described.length, 2u);
}

}  // namespace
}  // namespace ICC40::ICCFILE
