#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <random>

#include "base/Limits.h"
#include "iccfile/CCurveType.h"
#include "iccfile/CDataType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CTextType.h"
#include "iccfile/CXYZType.h"
#include "iccfile/IccFile4.h"
#include "iccfile/LutShape.h"
#include "tests/iccfile/ProfileBytes.h"

namespace ICC40::ICCFILE {
namespace {

using namespace profile_bytes;

std::unique_ptr<IccFile4> ReadMemory(Bytes bytes, std::size_t length) {
  auto profile = std::make_unique<IccFile4>();
  FILE* stream = fmemopen(bytes.data(), length, "rb");
  EXPECT_EQ(profile->ReadFile(stream), 0);
  std::fclose(stream);
  return profile;
}

std::unique_ptr<IccFile4> ReadMemory(const Bytes& bytes) {
  return ReadMemory(bytes, bytes.size());
}

/// Adds up the arrays of a tag and touches their ends, so that a sanitizer sees an array that is
/// shorter than its count says.
class Accountant {
 public:
  void Add(const iccTagBase& tag) {
    objects_ += sizeof(iccTagBase);
    Array(tag.data, static_cast<std::uint64_t>(tag.size));
    if (const auto* lut = dynamic_cast<const CLut16Type*>(&tag)) AddLut(*lut);
    if (const auto* lut = dynamic_cast<const CLut8Type*>(&tag)) AddLut(*lut);
    if (const auto* lut = dynamic_cast<const CLut*>(&tag)) AddCurves(*lut);
    if (const auto* curve = dynamic_cast<const CCurveType*>(&tag)) AddCurve(curve);
    if (const auto* text = dynamic_cast<const CTextDescriptionType*>(&tag)) {
      Array(text->text, text->length);
    }
    if (const auto* text = dynamic_cast<const CTextType*>(&tag)) {
      Array(text->text, tag.size > 8 ? static_cast<std::uint64_t>(tag.size) - 8 : 0);
    }
  }
  std::uint64_t total() const { return arrays_ + objects_; }
  std::uint64_t checksum() const { return checksum_; }

 private:
  template <class Value>
  void Array(const Value* values, std::uint64_t count) {
    if (values == nullptr || count == 0) return;
    arrays_ += count * sizeof(Value);
    checksum_ += values[0] + values[count - 1];
  }
  template <class Lut>
  void AddLut(const Lut& lut) {
    Array(lut.inputTables, std::uint64_t{lut.inputChannels} * lut.inputEntries);
    Array(lut.colorTable, CubeValueCount(lut.gridPoints, lut.outputChannels));
    Array(lut.outputTables, std::uint64_t{lut.outputChannels} * lut.outputEntries);
  }
  void AddCurve(const CCurveType* curve) {
    if (curve == nullptr) return;
    objects_ += sizeof(CCurveType);
    Array(curve->entries, curve->count);
  }
  void AddCurves(const CLut& lut) {
    for (const CCurveType* curve : lut.curvesB) AddCurve(curve);
    for (const CCurveType* curve : lut.curvesA) AddCurve(curve);
    AddCurve(lut.curveM);
    if (lut.grid != nullptr) {
      objects_ += sizeof(LutGrid);
      Array(lut.grid->values, GridByteCount(*lut.grid, lut.inputChannels, lut.outputChannels));
    }
  }

  std::uint64_t arrays_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t checksum_ = 0;
};

std::uint64_t HeldBytes(const IccFile4& profile) {
  Accountant accountant;
  for (const auto& tag : profile.tags) accountant.Add(*tag);
  return accountant.total();
}

Mab SmallMab() {
  Mab mab;
  mab.curvesB = {{1, 2, 3}, {4, 5}, {6}};
  mab.curvesM = {{7, 8}};
  mab.curvesA = {{9}, {}, {10, 11}};
  mab.gridPoints = {2, 2, 2};
  mab.clut = std::vector<std::uint16_t>(24, 0x1234);
  return mab;
}

Bytes SmallProfile() {
  return ProfileBytes()
      .AddTag("A2B0", Mft2().Tag())
      .AddTag("A2B1", SmallMab().Tag())
      .AddTag("B2A0", BigEndianBytes().Append(Mft2().Tag()).Put32(0, Signature("mft1")).bytes())
      .AddTag("wtpt", XyzTag(0xF6D6, 0x10000, 0xD32D))
      .AddTag("rTRC", CurvTag({1, 2, 3}))
      .AddTag("chad", MatrixTag({1, 2, 3, 4, 5, 6, 7, 8, 9}))
      .AddTag("cprt", PlainTag("text", "nobody"))
      .AddTag("desc", PlainTag("desc", "a profile"))
      .AddTag("abcd", PlainTag("efgh", "ijkl"))
      .Build();
}

TEST(HostileProfiles, TruncatedAtEveryLength) {
  const Bytes whole = SmallProfile();
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const auto profile = ReadMemory(whole, length);
    // 12-byte entries from byte 132 on; one that has begun exists.
    const std::size_t entries = length <= 132 ? 0 : std::min<std::size_t>((length - 121) / 12, 9);
    ASSERT_EQ(profile->tags.size(), entries) << length;
    EXPECT_LE(HeldBytes(*profile), ReaderLimit(length)) << length;

    // Reading the cut file is the same as reading it filled up with zeros: sizes and bytes agree.
    Bytes filled(whole.begin(), whole.begin() + static_cast<long>(length));
    filled.resize(whole.size());
    const auto reference = ReadMemory(filled);
    for (std::size_t i = 0; i < entries; ++i) {
      const iccTagBase& tag = *profile->tags[i];
      const iccTagBase& other = *reference->tags[i];
      ASSERT_EQ(tag.size, other.size) << length << ' ' << i;
      ASSERT_EQ(tag.typeSignature, other.typeSignature) << length << ' ' << i;
      if (tag.size > 0) {
        ASSERT_EQ(Bytes(tag.data, tag.data + tag.size), Bytes(other.data, other.data + other.size))
            << length << ' ' << i;
      }
      if (const auto* lut = dynamic_cast<const CLut*>(&tag)) {
        CLut16Type converted(const_cast<CLut*>(lut));
        EXPECT_EQ(converted.inputChannels, lut->inputChannels);
      }
    }
  }
}

TEST(HostileProfiles, EveryByteDamaged) {
  const Bytes whole = SmallProfile();
  for (std::size_t at = 128; at < whole.size(); ++at) {
    for (const unsigned char value : {0x00, 0x7F, 0x80, 0xFF}) {
      // Entry counts just short of the limit cost up to 32 MiB each; a step of 7 keeps this quick.
      if (value != 0xFF && at % 7 != 0) continue;
      Bytes damaged = whole;
      damaged[at] = value;
      const auto profile = ReadMemory(damaged);
      EXPECT_LE(HeldBytes(*profile), ReaderLimit(damaged.size())) << at;
    }
  }
}

TEST(HostileProfiles, RandomBytesBehindAValidTable) {
  std::mt19937 random(20240601);
  const Bytes whole = SmallProfile();
  for (int round = 0; round < 300; ++round) {
    Bytes damaged = whole;
    for (int change = 0; change < 8; ++change) {
      damaged[128 + random() % (damaged.size() - 128)] = static_cast<unsigned char>(random());
    }
    const auto profile = ReadMemory(damaged);
    EXPECT_LE(HeldBytes(*profile), ReaderLimit(damaged.size())) << round;
  }
}

TEST(HostileProfiles, TagCountIsBoundedByTheFile) {
  const struct {
    const char* what;
    std::uint32_t claimed;
    std::size_t tags;
  } kRows[] = {
      {"as it is", 2, 2},
      {"fewer", 1, 1},
      {"none", 0, 0},
      {"more: the tags' own bytes are taken for entries", 3, 3},
      // 24 bytes of entries and 20 + 16 of tags: five entries.
      {"largest", 0xFFFFFFFF, 5},
      {"product overflows 32 bits", 0x15555556, 5},
  };
  for (const auto& row : kRows) {
    const auto profile = ReadMemory(ProfileBytes()
                                        .AddTag("wtpt", XyzTag(1, 2, 3))
                                        .AddTag("rTRC", CurvTag({1, 2}))
                                        .ClaimTagCount(row.claimed)
                                        .Build());
    EXPECT_EQ(profile->tags.size(), row.tags) << row.what;
  }
}

TEST(HostileProfiles, TagCountIsBoundedAtAll) {
  // 70000 empty entries that the file really holds.
  Bytes file = ProfileBytes().ClaimTagCount(70000).Build();
  file.resize(132 + 12 * 70000);
  const auto profile = ReadMemory(file);
  EXPECT_EQ(profile->tags.size(), 65536u);
}

TEST(HostileProfiles, EntryThatIsCutOffEndsInZeros) {
  Bytes file = ProfileBytes().AddEntry("wtpt", 0x01020304, 0x05060708).Build();
  file.erase(file.end() - 5, file.end());
  const auto profile = ReadMemory(file);
  ASSERT_EQ(profile->tags.size(), 1u);
  EXPECT_EQ(profile->tags[0]->tagSignature, ICC4_HEADER::wtpt);
  EXPECT_EQ(profile->tags[0]->size, 0);
}

TEST(HostileProfiles, OffsetsAndSizesThatTheFileDoesNotBack) {
  const struct {
    const char* what;
    std::uint32_t offset, claimed;
    int size;
    bool hasCopy;
    std::uint32_t type;
  } kRows[] = {
      {"just past the end", 164, 20, 20, true, 0},
      {"far past the end", 0xFFFFFFFF, 20, 20, true, 0},
      {"begins in the file, ends behind it", 144, 1000, 1000, true, Signature("XYZ ")},
      {"more than may be held", 144, 0x7FFFFFF0, 0x7FFFFFF0, false, Signature("XYZ ")},
      {"largest that fits an int", 144, 0x7FFFFFFC, 0x7FFFFFFC, false, Signature("XYZ ")},
      {"2 GiB: no copy, but the bytes are looked at", 144, 0x80000000, -0x7FFFFFFF - 1, false,
       Signature("XYZ ")},
      {"rounds up to 2 GiB", 144, 0x7FFFFFFD, -0x7FFFFFFF - 1, false, Signature("XYZ ")},
      {"just below 4 GiB", 144, 0xFFFFFFFC, -4, false, Signature("XYZ ")},
      {"rounds up to 4 GiB", 144, 0xFFFFFFFF, 0, false, Signature("XYZ ")},
      {"4 GiB past the end", 164, 0xFFFFFFFF, 0, false, 0},
      {"empty", 144, 0, 0, false, 0},
  };
  for (const auto& row : kRows) {
    for (const char* name : {"wtpt", "A2B0", "B2A1", "rTRC", "chad", "cprt", "desc", "abcd"}) {
      BigEndianBytes file;
      file.Append(ProfileBytes().AddEntry(name, row.offset, row.claimed).Build());
      const auto profile = ReadMemory(file.Append(XyzTag(0x10000, 0x20000, 0x30000)).bytes());
      ASSERT_EQ(profile->tags.size(), 1u) << row.what;
      const iccTagBase& tag = *profile->tags[0];
      EXPECT_EQ(tag.size, row.size) << row.what << ' ' << name;
      EXPECT_EQ(tag.data != nullptr, row.hasCopy) << row.what << ' ' << name;
      EXPECT_EQ(tag.typeSignature, row.type) << row.what << ' ' << name;
      EXPECT_LE(HeldBytes(*profile), ReaderLimit(164)) << row.what << ' ' << name;
      if (const auto* white = dynamic_cast<const CXYZType*>(&tag)) {
        EXPECT_EQ(white->Y, row.type != 0 ? 2.0 : 0.0) << row.what;
      }
    }
  }
}

TEST(HostileProfiles, TablesOfATagThatClaims2GiBAreReadFromTheBytesThatAreThere) {
  for (const std::uint32_t claimed : {0x80000000u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
    Mft2 mft2;
    mft2.colorTable[23] = 0x1234;
    const auto profile =
        ReadMemory(ProfileBytes().AddTag("A2B1", mft2.Tag(), claimed).AddLink("A2B0", 0).Build());
    ASSERT_EQ(profile->tags.size(), 2u) << claimed;
    const auto lut = std::dynamic_pointer_cast<CLut16Type>(profile->tags[0]);
    ASSERT_NE(lut, nullptr) << claimed;
    EXPECT_EQ(lut->size, static_cast<std::int32_t>((claimed + 3) & ~3u)) << claimed;
    EXPECT_EQ(lut->data, nullptr) << claimed;
    EXPECT_EQ(lut->gridPoints, 2) << claimed;
    ASSERT_NE(lut->inputTables, nullptr) << claimed;
    EXPECT_EQ(lut->inputTables[1], 65535) << claimed;
    ASSERT_NE(lut->colorTable, nullptr) << claimed;
    EXPECT_EQ(lut->colorTable[23], 0x1234) << claimed;

    const auto curves =
        ReadMemory(ProfileBytes().AddTag("A2B0", SmallMab().Tag(), claimed).Build());
    const auto mab = std::dynamic_pointer_cast<CLut>(curves->tags[0]);
    ASSERT_NE(mab, nullptr) << claimed;
    EXPECT_EQ(mab->data, nullptr) << claimed;
    EXPECT_EQ(mab->curvesB[0]->count, 3u) << claimed;
    CLut16Type converted(mab.get());
    ASSERT_NE(converted.colorTable, nullptr) << claimed;
    EXPECT_EQ(converted.colorTable[0], 0x1234) << claimed;
  }
}

TEST(HostileProfiles, TextThatMayNotBeHeldIsAbsent) {
  BigEndianBytes file;
  file.Append(ProfileBytes().AddEntry("desc", 144, 0x7FFFFFF0).Build());
  const auto profile = ReadMemory(file.Append(PlainTag("desc", "abc")).bytes());
  const auto text = std::static_pointer_cast<CTextDescriptionType>(profile->tags[0]);
  EXPECT_EQ(text->length, 0x7FFFFFF0u - 8);
  EXPECT_EQ(text->text, nullptr);
  FILE* stream = std::tmpfile();
  EXPECT_EQ(profile->WriteTagListData(stream), 0);
  EXPECT_EQ(std::ftell(stream), 32 << 20) << "zeros in its place are bounded";
  std::fclose(stream);
}

TEST(HostileProfiles, ManyEntriesForOneBigTagDoNotMultiplyIt) {
  const struct {
    const char* what;
    const char* signature;
    Bytes tag;
  } kRows[] = {
      {"mft2", "A2B0",
       [] {
         Mft2 mft2;
         mft2.gridPoints = 50;
         mft2.colorTable = std::vector<std::uint16_t>(375000, 0x0102);
         return mft2.Tag();
       }()},
      {"mAB", "A2B0",
       [] {
         Mab mab = SmallMab();
         mab.gridPoints = {50, 50, 50};
         mab.clut = std::vector<std::uint16_t>(375000, 0x0102);
         return mab.Tag();
       }()},
      {"curv", "rTRC", CurvTag(std::vector<std::uint16_t>(375000, 0x0102))},
      {"desc", "desc", PlainTag("desc", std::string(750000, 'x'))},
      {"data", "abcd", PlainTag("data", std::string(750000, 'x'))},
  };
  for (const auto& row : kRows) {
    ProfileBytes builder;
    builder.AddTag(row.signature, row.tag);
    for (int i = 1; i < 1000; ++i) builder.AddLink(row.signature, 0);
    const Bytes file = builder.Build();
    const auto profile = ReadMemory(file);
    ASSERT_EQ(profile->tags.size(), 1000u) << row.what;
    EXPECT_LE(HeldBytes(*profile), ReaderLimit(file.size())) << row.what;

    const auto& first = profile->tags.front();
    const auto& last = profile->tags.back();
    EXPECT_NE(first->data, nullptr) << row.what;
    EXPECT_EQ(last->data, nullptr) << row.what;
    EXPECT_EQ(last->size, first->size) << row.what;
    EXPECT_EQ(last->typeSignature, first->typeSignature) << row.what << ": class as if it was read";
    if (const auto* lut = dynamic_cast<const CLut16Type*>(last.get())) {
      EXPECT_EQ(lut->gridPoints, 50) << "counts as read";
      EXPECT_EQ(lut->inputEntries, 2);
      EXPECT_EQ(lut->colorTable, nullptr);
      EXPECT_EQ(lut->inputTables, nullptr);
    }
    if (const auto* curve = dynamic_cast<const CCurveType*>(last.get())) {
      EXPECT_EQ(curve->count, 375000u);
      EXPECT_EQ(curve->entries, nullptr);
    }
    if (const auto* lut = dynamic_cast<const CLut*>(last.get())) {
      EXPECT_EQ(lut->grid, nullptr);
      EXPECT_EQ(lut->curvesB[0], nullptr);
      CLut16Type converted(const_cast<CLut*>(lut));
      EXPECT_EQ(converted.colorTable, nullptr);
    }
  }
}

TEST(HostileProfiles, LutsWithTheLargestCounts) {
  Mft2 mft2;
  mft2.inputs = 255;
  mft2.outputs = 255;
  mft2.gridPoints = 255;
  mft2.inputEntries = 65535;
  mft2.outputEntries = 65535;
  Mab mab = SmallMab();
  mab.inputs = 255;
  mab.outputs = 255;
  mab.gridPoints = Bytes(16, 255);
  mab.precision = 255;
  Bytes mft1 = BigEndianBytes().Append(mft2.Tag()).Put32(0, Signature("mft1")).bytes();
  const Bytes file = ProfileBytes()
                         .AddTag("A2B0", mft2.Tag())
                         .AddTag("A2B1", mab.Tag())
                         .AddTag("A2B2", mft1)
                         .AddLink("B2A0", 0)
                         .Build();
  const auto profile = ReadMemory(file);
  ASSERT_EQ(profile->tags.size(), 4u);
  EXPECT_LE(HeldBytes(*profile), ReaderLimit(file.size()));
  const auto lut = std::static_pointer_cast<CLut16Type>(profile->tags[0]);
  EXPECT_EQ(lut->gridPoints, 255);
  EXPECT_EQ(lut->inputEntries, 65535);
  EXPECT_EQ(lut->colorTable, nullptr);
  const auto curves = std::static_pointer_cast<CLut>(profile->tags[1]);
  ASSERT_NE(curves->grid, nullptr);
  EXPECT_EQ(curves->grid->values, nullptr);
}

// Three ordinary tags whose second curves are misread to 16 million entries each: every tag is
// still read whole.
TEST(HostileProfiles, MisreadCurvesLeaveRoomForTheRest) {
  Mab mab;
  mab.spacing = Mab::Spacing::kPadded;
  mab.curvesA = Mab::Curves(3, std::vector<std::uint16_t>(256, 0x0203));
  mab.curvesB = mab.curvesA;
  mab.gridPoints = {9, 9, 9};
  mab.clut = std::vector<std::uint16_t>(9 * 9 * 9 * 3, 0x1234);
  const auto profile = ReadMemory(ProfileBytes()
                                      .AddTag("A2B0", mab.Tag())
                                      .AddTag("A2B1", mab.Tag())
                                      .AddLink("A2B2", 0)
                                      .Build());
  ASSERT_EQ(profile->tags.size(), 3u);
  for (const auto& tag : profile->tags) {
    const auto lut = std::static_pointer_cast<CLut>(tag);
    EXPECT_EQ(lut->curvesB[1]->count, 0x01000203u);
    EXPECT_EQ(lut->curvesB[1]->entries, nullptr);
    EXPECT_NE(lut->data, nullptr);
    ASSERT_NE(lut->grid, nullptr);
    EXPECT_NE(lut->grid->values, nullptr);
    CLut16Type converted(lut.get());
    ASSERT_NE(converted.inputTables, nullptr);
    ASSERT_NE(converted.outputTables, nullptr);
    ASSERT_NE(converted.colorTable, nullptr);
    EXPECT_EQ(converted.inputTables[256], 0x0203);
    EXPECT_EQ(converted.inputTables[512], 0);
    EXPECT_EQ(converted.colorTable[9 * 9 * 9 * 3 - 1], 0x1234);
  }
}

TEST(HostileProfiles, CurvesOfALutThatClaimTheMost) {
  Mab mab = SmallMab();
  Bytes tag = mab.Tag();
  for (int i = 0; i < 4; ++i) tag[32 + 8 + i] = 0xFF;  // count of the first B curve
  const auto profile = ReadMemory(ProfileBytes().AddTag("A2B0", tag).Build());
  const auto lut = std::static_pointer_cast<CLut>(profile->tags[0]);
  EXPECT_EQ(lut->curvesB[0]->count, 0xFFFFFFFFu);
  EXPECT_EQ(lut->curvesB[0]->entries, nullptr);
  EXPECT_EQ(lut->curvesB[1]->count, 0u) << "8 GiB further there is nothing";
  EXPECT_EQ(lut->curvesA[0]->count, 1u);
  CLut16Type converted(lut.get());
  EXPECT_EQ(converted.outputEntries, 65535);
  EXPECT_EQ(converted.outputTables, nullptr);
  EXPECT_NE(converted.inputTables, nullptr);
}

TEST(HostileProfiles, FilesThatAreNoProfiles) {
  IccFile4 profile;
  EXPECT_EQ(profile.ReadFile("/"), 0) << "a folder opens, but has no bytes";
  EXPECT_EQ(profile.ReadFile("/dev/null"), 0);
  EXPECT_EQ(profile.ReadFile("/dev/zero"), 0);
  EXPECT_TRUE(profile.tags.empty());
  EXPECT_EQ(profile.header.magic, 0u);
}

}  // namespace
}  // namespace ICC40::ICCFILE
