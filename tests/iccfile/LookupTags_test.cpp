#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/LutShape.h"
#include "tests/iccfile/ProfileBytes.h"

namespace ICC40::ICCFILE {
namespace {

using namespace profile_bytes;
using ICC4_HEADER::icTagSignature;
using Values = std::vector<std::uint16_t>;

int SizeOf(const Bytes& bytes) {
  return static_cast<int>(bytes.size());
}

/// `count` values that differ from their neighbours and between seeds.
Values Pattern(std::size_t count, unsigned seed) {
  Values values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = static_cast<std::uint16_t>(i * 40503 + seed * 7919 + 1);
  }
  return values;
}

Values ValuesOf(const unsigned short* table, std::size_t count) {
  return table == nullptr ? Values() : Values(table, table + count);
}

Values EntriesOf(const CCurveType* curve) {
  return curve == nullptr ? Values() : ValuesOf(curve->entries, curve->count);
}

/// The values of a 16-bit grid record.
Values GridValues(const LutGrid* grid, std::size_t count) {
  Values values(count);
  if (count > 0) std::memcpy(values.data(), grid->values, 2 * count);
  return values;
}

TEST(Lut16, ReadsHeaderAndTables) {
  const struct {
    const char* what;
    int inputs, outputs, gridPoints, inputEntries, outputEntries;
    std::size_t inputValues, colorValues, outputValues;
  } kRows[] = {
      {"a usual scanner profile", 3, 3, 33, 256, 4096, 768, 107811, 12288},
      {"smallest", 3, 3, 2, 2, 2, 6, 24, 6},
      {"four outputs", 3, 4, 5, 7, 9, 21, 500, 36},
      {"four inputs: still the cube of 9", 4, 3, 9, 2, 2, 8, 2187, 6},
      {"one input: the cube too", 1, 2, 4, 3, 3, 3, 128, 6},
      {"no entries", 3, 3, 2, 0, 0, 0, 24, 0},
      {"no grid", 3, 3, 0, 2, 2, 6, 0, 6},
      {"no channels", 0, 0, 2, 2, 2, 0, 0, 0},
  };
  for (const auto& row : kRows) {
    Mft2 mft2;
    mft2.inputs = row.inputs;
    mft2.outputs = row.outputs;
    mft2.gridPoints = row.gridPoints;
    mft2.reservedByte = 0x5A;
    mft2.matrix = {1, 0x10000, 0x7FFFFFFF, 0xFFFFFFFF, 0x80000000, 6, 7, 8, 9};
    mft2.inputEntries = row.inputEntries;
    mft2.outputEntries = row.outputEntries;
    mft2.inputTables = Pattern(row.inputValues, 1);
    mft2.colorTable = Pattern(row.colorValues, 2);
    mft2.outputTables = Pattern(row.outputValues, 3);
    Bytes bytes = mft2.Tag();

    CLut16Type lut;
    EXPECT_EQ(lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
    EXPECT_EQ(lut.typeSignature, ICC4_HEADER::mft2);
    EXPECT_EQ(lut.size, SizeOf(bytes));
    EXPECT_EQ(Bytes(lut.data, lut.data + lut.size), bytes) << row.what;
    EXPECT_EQ(lut.inputChannels, row.inputs) << row.what;
    EXPECT_EQ(lut.outputChannels, row.outputs) << row.what;
    EXPECT_EQ(lut.gridPoints, row.gridPoints) << row.what;
    EXPECT_EQ(lut.reservedByte, 0x5A);
    for (int i = 0; i < 9; ++i)
      EXPECT_EQ(static_cast<std::uint32_t>(lut.matrix[i]), mft2.matrix[i]);
    EXPECT_EQ(lut.inputEntries, row.inputEntries) << row.what;
    EXPECT_EQ(lut.outputEntries, row.outputEntries) << row.what;

    // Behind each table are eight spare values, all 0.
    Values inputs = mft2.inputTables, colors = mft2.colorTable, outputs = mft2.outputTables;
    for (Values* values : {&inputs, &colors, &outputs}) values->resize(values->size() + 8);
    EXPECT_EQ(ValuesOf(lut.inputTables, row.inputValues + 8), inputs) << row.what;
    EXPECT_EQ(ValuesOf(lut.colorTable, row.colorValues + 8), colors) << row.what;
    EXPECT_EQ(ValuesOf(lut.outputTables, row.outputValues + 8), outputs) << row.what;
  }
}

TEST(Lut16, CutOffTablesEndInZeros) {
  Mft2 mft2;
  mft2.inputTables = Pattern(6, 1);
  mft2.colorTable = Pattern(24, 2);
  mft2.outputTables = Pattern(6, 3);
  Bytes bytes = mft2.Tag();
  CLut16Type lut;
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), 52 + 12 + 5);
  Values colors(24);
  colors[0] = mft2.colorTable[0];
  colors[1] = mft2.colorTable[1];
  colors[2] = mft2.colorTable[2] & 0xFF00;
  EXPECT_EQ(ValuesOf(lut.inputTables, 6), mft2.inputTables);
  EXPECT_EQ(ValuesOf(lut.colorTable, 24), colors);
  EXPECT_EQ(ValuesOf(lut.outputTables, 6), Values(6));

  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), 9);
  EXPECT_EQ(lut.inputChannels, 3);
  EXPECT_EQ(lut.outputChannels, 0);
  EXPECT_EQ(lut.inputEntries, 0);
}

TEST(Lut16, HugeTablesAreAbsentAndTheOthersAreNot) {
  Mft2 mft2;
  mft2.outputs = 255;
  mft2.gridPoints = 255;
  mft2.outputEntries = 1;
  mft2.colorTable = {};
  mft2.outputTables = {};
  Bytes bytes = mft2.Tag();
  CLut16Type lut;
  EXPECT_EQ(lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
  EXPECT_EQ(lut.gridPoints, 255);
  EXPECT_EQ(lut.colorTable, nullptr);
  EXPECT_EQ(ValuesOf(lut.inputTables, 6), mft2.inputTables);
  EXPECT_EQ(ValuesOf(lut.outputTables, 255), Values(255));
}

TEST(Lut16, NothingIsReadWithoutBytes) {
  Bytes bytes = Mft2().Tag();
  const struct {
    const char* what;
    unsigned char* data;
    int size;
  } kRows[] = {{"null", nullptr, 200}, {"negative", bytes.data(), -1}, {"none", bytes.data(), 0}};
  for (const auto& row : kRows) {
    CLut16Type wide;
    CLut8Type narrow;
    CLut curves;
    for (iccTagBase* tag : {static_cast<iccTagBase*>(&wide), static_cast<iccTagBase*>(&narrow),
                            static_cast<iccTagBase*>(&curves)}) {
      EXPECT_EQ(tag->Initial(ICC4_HEADER::A2B0, row.data, row.size), row.size) << row.what;
      EXPECT_EQ(tag->typeSignature, 0u) << row.what;
    }
    EXPECT_EQ(wide.inputChannels, 0) << row.what;
    EXPECT_EQ(narrow.inputChannels, 0) << row.what;
    EXPECT_EQ(curves.inputChannels, 0) << row.what;
    EXPECT_EQ(curves.grid, nullptr) << row.what;
  }
}

// Kept: an 'mft1' tag is read with the header of the 16-bit form.
TEST(Lut8, Mft1IsReadWithTheHeaderOfMft2) {
  BigEndianBytes tag;
  tag.Text("mft1").U32(0).U8(3).U8(2).U8(2).U8(7);
  for (unsigned i = 1; i <= 9; ++i) tag.U32(0x01020300 + i);
  tag.U8(0x00).U8(0x01).U8(0x02).U8(0x03);  // begin of the input tables in a true 'mft1'
  Bytes inputs = {11, 12, 13};
  Bytes colors(16), outputs(2 * 515);
  for (std::size_t i = 0; i < colors.size(); ++i) colors[i] = static_cast<unsigned char>(20 + i);
  for (std::size_t i = 0; i < outputs.size(); ++i) outputs[i] = static_cast<unsigned char>(i * 7);
  Bytes bytes = tag.Append(inputs).Append(colors).Append(outputs).bytes();

  CLut8Type lut;
  EXPECT_EQ(lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
  EXPECT_EQ(lut.typeSignature, Signature("mft1"));
  EXPECT_EQ(lut.inputChannels, 3);
  EXPECT_EQ(lut.outputChannels, 2);
  EXPECT_EQ(lut.gridPoints, 2);
  EXPECT_EQ(lut.reservedByte, 7);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(lut.matrix[i], 0x01020301 + i);
  EXPECT_EQ(lut.inputEntries, 1);
  EXPECT_EQ(lut.outputEntries, 515);
  for (Bytes* table : {&inputs, &colors, &outputs}) table->resize(table->size() + 8);
  EXPECT_EQ(Bytes(lut.inputTables, lut.inputTables + 11), inputs);
  EXPECT_EQ(Bytes(lut.colorTable, lut.colorTable + 24), colors);
  EXPECT_EQ(Bytes(lut.outputTables, lut.outputTables + 1038), outputs);
}

TEST(Lut8, SaveWritesNothing) {
  Bytes bytes = Mft2().Tag();
  CLut8Type lut;
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
  FILE* stream = std::tmpfile();
  EXPECT_EQ(lut.Save(stream), 0);
  EXPECT_EQ(std::ftell(stream), 0);
  std::fclose(stream);
}

Mab UsualMab() {
  Mab mab;
  mab.curvesB = {Pattern(4, 1), Pattern(5, 2), Pattern(6, 3)};
  mab.curvesM = {Pattern(7, 4), Pattern(8, 5), Pattern(9, 6)};
  mab.curvesA = {Pattern(3, 7), Pattern(3, 8), Pattern(3, 9)};
  mab.gridPoints = {4, 4, 4};
  mab.clut = Pattern(4 * 4 * 4 * 3, 10);
  return mab;
}

TEST(Lut, AToBHasInputCurvesOnTheDeviceSide) {
  const Mab mab = UsualMab();
  Bytes bytes = mab.Tag();
  bytes[10] = 0xAB;
  bytes[11] = 0xCD;
  bytes[Mab::kOffsetMatrix + 3] = 0x77;
  CLut lut;
  EXPECT_EQ(lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
  EXPECT_EQ(lut.typeSignature, ICC4_HEADER::mAB);
  EXPECT_EQ(lut.inputChannels, 3);
  EXPECT_EQ(lut.outputChannels, 3);
  EXPECT_EQ(lut.reservedBytes[0], 0xAB);
  EXPECT_EQ(lut.reservedBytes[1], 0xCD);
  EXPECT_EQ(lut.offsetB, 32u);
  EXPECT_EQ(lut.offsetMatrix, 0x77u) << "kept, never followed";
  EXPECT_EQ(lut.offsetM, 32u + 22 + 24 + 26);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(EntriesOf(lut.curvesB[i]), mab.curvesB[i]) << i;
    EXPECT_EQ(EntriesOf(lut.curvesA[i]), mab.curvesA[i]) << i;
    EXPECT_EQ(lut.curvesB[i]->size, 2 * static_cast<int>(mab.curvesB[i].size()) + 14);
    EXPECT_EQ(lut.curvesB[i]->tagSignature, ICC4_HEADER::A2B0);
    EXPECT_EQ(lut.curvesB[i]->typeSignature, Signature("curv"));
    EXPECT_EQ(lut.curvesB[i]->data, nullptr);
  }
  for (int i = 3; i < 7; ++i) EXPECT_EQ(lut.curvesA[i], nullptr) << i;
  EXPECT_EQ(EntriesOf(lut.curveM), mab.curvesM[0]) << "only the first M curve";
  ASSERT_NE(lut.grid, nullptr);
  EXPECT_EQ(Bytes(lut.grid->gridPoints, lut.grid->gridPoints + 16),
            (Bytes{4, 4, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(lut.grid->precision, 2);
  EXPECT_EQ(GridValues(lut.grid, 192), mab.clut);
}

TEST(Lut, CurvesFollowTheDirection) {
  const struct {
    const char* what;
    icTagSignature signature;
    int inputs, outputs;
    int curvesB, curvesA;
  } kRows[] = {
      {"B2A1, 3 to 4", ICC4_HEADER::B2A1, 3, 4, 3, 4},
      {"A2B0, 4 to 3", ICC4_HEADER::A2B0, 4, 3, 3, 4},
      {"A2B with any fourth character", static_cast<icTagSignature>(0x41324258), 4, 3, 3, 4},
      {"any other signature is B-to-A", ICC4_HEADER::desc, 3, 4, 3, 4},
      {"seven device channels", ICC4_HEADER::A2B0, 7, 3, 3, 7},
      {"more device channels than slots", ICC4_HEADER::A2B0, 9, 3, 3, 7},
      {"more PCS channels than slots", ICC4_HEADER::A2B0, 3, 6, 3, 3},
      {"the most channels", ICC4_HEADER::B2A0, 255, 255, 3, 7},
      {"no channels", ICC4_HEADER::A2B0, 0, 0, 0, 0},
  };
  for (const auto& row : kRows) {
    Mab mab;
    mab.inputs = row.inputs;
    mab.outputs = row.outputs;
    for (unsigned i = 0; i < 9; ++i) {
      mab.curvesB.push_back(Pattern(3 + i, i));
      mab.curvesA.push_back(Pattern(4 + i, 20 + i));
    }
    Bytes bytes = mab.Tag();
    CLut lut;
    lut.Initial(row.signature, bytes.data(), SizeOf(bytes));
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(EntriesOf(lut.curvesB[i]), i < row.curvesB ? mab.curvesB[i] : Values())
          << row.what << ' ' << i;
    }
    for (int i = 0; i < 7; ++i) {
      EXPECT_EQ(EntriesOf(lut.curvesA[i]), i < row.curvesA ? mab.curvesA[i] : Values())
          << row.what << ' ' << i;
    }
    EXPECT_EQ(lut.curveM, nullptr);
    EXPECT_EQ(lut.grid, nullptr);
  }
}

// Kept: behind a padded curve with an even count the next one is looked for 2 bytes too far.
TEST(Lut, PaddedCurvesOfEvenCountsAreReadTwoBytesLate) {
  Mab mab;
  mab.curvesB = {Values(256, 9), {0x0005, 0x1111, 0x2222, 0x3333, 0x4444, 0x5555}, {}};
  mab.spacing = Mab::Spacing::kPadded;
  Bytes bytes = mab.Tag();
  CLut lut;
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
  EXPECT_EQ(EntriesOf(lut.curvesB[0]), Values(256, 9));
  // Two bytes late, the count field (0, 6, 5) is read as 0x00060005.
  EXPECT_EQ(lut.curvesB[1]->typeSignature, 0x72760000u);
  EXPECT_EQ(lut.curvesB[1]->count, 0x00060005u);
  EXPECT_EQ(ValuesOf(lut.curvesB[1]->entries, 3), (Values{0x1111, 0x2222, 0x3333}));

  mab.curvesB = {Pattern(3, 1), Pattern(5, 2), Pattern(1, 3)};
  bytes = mab.Tag();
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(EntriesOf(lut.curvesB[i]), mab.curvesB[i]) << i;
}

TEST(Lut, GridSizeIsTheProductOfTheInputDimensions) {
  const struct {
    const char* what;
    int inputs, outputs;
    Bytes gridPoints;
    int precision;
    std::size_t bytes;
  } kRows[] = {
      {"16 bit", 3, 3, {2, 3, 4}, 2, 144},
      {"8 bit", 3, 3, {2, 3, 4}, 1, 72},
      {"grid bytes past the inputs do not count", 2, 3, {2, 3, 4}, 2, 36},
      {"four inputs", 4, 3, {2, 2, 3, 2}, 2, 144},
      {"a dimension without points", 3, 3, {2, 0, 4}, 2, 0},
      {"no inputs: one point", 0, 3, {5}, 2, 6},
      {"three bytes each, taken literally", 3, 1, {2, 2, 2}, 3, 24},
      {"precision 0", 3, 3, {2, 2, 2}, 0, 0},
      {"more inputs than grid bytes", 200, 1, Bytes(16, 2), 1, 65536},
  };
  for (const auto& row : kRows) {
    Mab mab;
    mab.inputs = row.inputs;
    mab.outputs = row.outputs;
    mab.gridPoints = row.gridPoints;
    mab.precision = row.precision;
    mab.clut = Pattern(40000, 1);
    Bytes bytes = mab.Tag();
    CLut lut;
    lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
    ASSERT_NE(lut.grid, nullptr) << row.what;
    ASSERT_NE(lut.grid->values, nullptr) << row.what;
    EXPECT_EQ(GridByteCount(*lut.grid, lut.inputChannels, lut.outputChannels), row.bytes)
        << row.what;
    if (row.precision == 2) {
      EXPECT_EQ(GridValues(lut.grid, row.bytes / 2),
                Values(mab.clut.begin(), mab.clut.begin() + static_cast<long>(row.bytes / 2)))
          << row.what;
    } else {
      const unsigned char* raw = bytes.data() + lut.offsetClut + 20;
      Bytes expected(row.bytes);
      for (std::size_t i = 0; i < row.bytes && lut.offsetClut + 20 + i < bytes.size(); ++i) {
        expected[i] = raw[i];
      }
      EXPECT_EQ(Bytes(lut.grid->values, lut.grid->values + row.bytes), expected) << row.what;
    }
  }
}

TEST(Lut, GridBeyondTheBytesEndsInZerosAndAHugeOneIsAbsent) {
  Mab mab;
  mab.gridPoints = {2, 2, 2};
  mab.clut = Pattern(10, 1);
  Bytes bytes = mab.Tag();
  CLut lut;
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
  Values expected = mab.clut;
  expected.resize(24);
  EXPECT_EQ(GridValues(lut.grid, 24), expected);

  mab.gridPoints = Bytes(16, 255);
  mab.inputs = 16;
  bytes = mab.Tag();
  lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
  ASSERT_NE(lut.grid, nullptr);
  EXPECT_EQ(lut.grid->gridPoints[15], 255);
  EXPECT_EQ(lut.grid->values, nullptr);
}

TEST(Lut, OffsetsThatLeadNowhere) {
  const struct {
    const char* what;
    std::uint32_t offset;
  } kRows[] = {
      {"just past the end", 32},
      {"far past the end", 0x7FFFFFFF},
      {"largest", 0xFFFFFFFF},
  };
  for (const auto& row : kRows) {
    BigEndianBytes tag;
    tag.Text("mAB ").U32(0).U8(3).U8(3).U16(0);
    for (int i = 0; i < 5; ++i) tag.U32(row.offset);
    Bytes bytes = tag.bytes();
    CLut lut;
    lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes));
    for (int i = 0; i < 3; ++i) {
      ASSERT_NE(lut.curvesB[i], nullptr) << row.what;
      EXPECT_EQ(lut.curvesB[i]->count, 0u) << row.what;
      EXPECT_EQ(lut.curvesA[i]->count, 0u) << row.what;
    }
    EXPECT_EQ(lut.curveM->count, 0u) << row.what;
    ASSERT_NE(lut.grid, nullptr) << row.what;
    EXPECT_EQ(lut.grid->gridPoints[0], 0) << row.what;
    EXPECT_EQ(lut.grid->precision, 0) << row.what;
  }
}

TEST(Lut, ElementsThatLieInTheHeaderOrInEachOther) {
  Mab mab = UsualMab();
  for (const std::uint32_t offset : {1u, 4u, 12u, 28u, 32u, 60u}) {
    BigEndianBytes tag;
    tag.Append(mab.Tag());
    for (const std::size_t at : {Mab::kOffsetB, Mab::kOffsetM, Mab::kOffsetClut, Mab::kOffsetA}) {
      tag.Put32(at, offset);
    }
    Bytes bytes = tag.bytes();
    CLut lut;
    EXPECT_EQ(lut.Initial(ICC4_HEADER::A2B0, bytes.data(), SizeOf(bytes)), SizeOf(bytes));
    ASSERT_NE(lut.curvesB[0], nullptr);
    ASSERT_NE(lut.curvesA[0], nullptr);
    EXPECT_EQ(lut.curvesB[0]->count, lut.curvesA[0]->count) << offset;
    EXPECT_EQ(EntriesOf(lut.curvesB[0]), EntriesOf(lut.curvesA[0])) << offset;
    CLut16Type converted(&lut);
    EXPECT_EQ(converted.inputChannels, 3);
  }
}

TEST(Lut, SecondInitialReplacesTheFirst) {
  Bytes full = UsualMab().Tag();
  Bytes empty = Mab().Tag();
  CLut lut;
  lut.Initial(ICC4_HEADER::A2B0, full.data(), SizeOf(full));
  lut.Initial(ICC4_HEADER::A2B0, full.data(), SizeOf(full));
  EXPECT_EQ(EntriesOf(lut.curvesA[2]), UsualMab().curvesA[2]);
  lut.Initial(ICC4_HEADER::A2B0, empty.data(), SizeOf(empty));
  for (const CCurveType* curve : lut.curvesB) EXPECT_EQ(curve, nullptr);
  for (const CCurveType* curve : lut.curvesA) EXPECT_EQ(curve, nullptr);
  EXPECT_EQ(lut.curveM, nullptr);
  EXPECT_EQ(lut.grid, nullptr) << "and it can be destroyed without one";
}

/// A parsed lookup tag of curves and its conversion.
struct Conversion {
  explicit Conversion(const Mab& mab, icTagSignature signature = ICC4_HEADER::A2B0) {
    Bytes bytes = mab.Tag();
    source.Initial(signature, bytes.data(), SizeOf(bytes));
  }
  CLut source;
};

Values Joined(const Mab::Curves& curves) {
  Values all;
  for (const Values& curve : curves) all.insert(all.end(), curve.begin(), curve.end());
  return all;
}

TEST(ConvertedLut, AToBTakesInputTablesFromTheACurves) {
  Mab mab = UsualMab();
  mab.curvesB = {Pattern(5, 1), Pattern(5, 2), Pattern(5, 3)};
  Conversion from(mab, ICC4_HEADER::A2B2);
  CLut16Type lut(&from.source);
  EXPECT_EQ(lut.tagSignature, ICC4_HEADER::A2B2);
  EXPECT_EQ(lut.typeSignature, ICC4_HEADER::mAB) << "stays the source's";
  EXPECT_EQ(lut.size, 0);
  EXPECT_EQ(lut.data, nullptr);
  EXPECT_EQ(lut.inputChannels, 3);
  EXPECT_EQ(lut.outputChannels, 3);
  EXPECT_EQ(lut.gridPoints, 4);
  EXPECT_EQ(lut.reservedByte, 0);
  EXPECT_EQ(lut.inputEntries, 3);
  EXPECT_EQ(lut.outputEntries, 5);
  EXPECT_EQ(ValuesOf(lut.inputTables, 9), Joined(mab.curvesA));
  EXPECT_EQ(ValuesOf(lut.outputTables, 15), Joined(mab.curvesB));
  EXPECT_EQ(ValuesOf(lut.colorTable, 192), mab.clut);
}

TEST(ConvertedLut, BToATakesInputTablesFromTheBCurves) {
  Mab mab;
  mab.type = "mBA ";
  mab.outputs = 4;
  mab.curvesB = {Pattern(2, 1), Pattern(2, 2), Pattern(2, 3)};
  mab.curvesA = {Pattern(6, 4), Pattern(6, 5), Pattern(6, 6), Pattern(6, 7)};
  mab.gridPoints = {3, 3, 3};
  mab.clut = Pattern(108, 8);
  Conversion from(mab, ICC4_HEADER::B2A1);
  CLut16Type lut(&from.source);
  EXPECT_EQ(lut.typeSignature, ICC4_HEADER::mBA);
  EXPECT_EQ(lut.inputEntries, 2);
  EXPECT_EQ(lut.outputEntries, 6);
  EXPECT_EQ(ValuesOf(lut.inputTables, 6), Joined(mab.curvesB));
  EXPECT_EQ(ValuesOf(lut.outputTables, 24), Joined(mab.curvesA));
  EXPECT_EQ(ValuesOf(lut.colorTable, 108), mab.clut);
}

TEST(ConvertedLut, EveryChannelTakesTheCountOfTheFirstCurve) {
  const struct {
    const char* what;
    Mab::Curves curvesA;
    int entries;
    Values tables;
  } kRows[] = {
      {"longer curves are cut", {{1, 2}, {3, 4, 5}, {6, 7, 8, 9}}, 2, {1, 2, 3, 4, 6, 7}},
      {"shorter ones end in zeros", {{1, 2, 3}, {4}, {}}, 3, {1, 2, 3, 4, 0, 0, 0, 0, 0}},
      {"identity", {{}, {}, {}}, 0, {}},
      {"gamma", {{0x0180}, {0x0200}, {0x0233}}, 1, {0x0180, 0x0200, 0x0233}},
      {"no curves", {}, 0, {}},
  };
  for (const auto& row : kRows) {
    Mab mab = UsualMab();
    mab.curvesA = row.curvesA;
    Conversion from(mab);
    CLut16Type lut(&from.source);
    EXPECT_EQ(lut.inputEntries, row.entries) << row.what;
    ASSERT_NE(lut.inputTables, nullptr) << row.what;
    EXPECT_EQ(ValuesOf(lut.inputTables, row.tables.size()), row.tables) << row.what;
  }
}

TEST(ConvertedLut, EntryCountIsCutTo16Bits) {
  Mab mab = UsualMab();
  mab.curvesA = {Pattern(65536 + 2, 1), Pattern(65536 + 2, 2), Pattern(65536 + 2, 3)};
  Conversion from(mab);
  CLut16Type lut(&from.source);
  EXPECT_EQ(lut.inputEntries, 2);
  EXPECT_EQ(ValuesOf(lut.inputTables, 6),
            (Values{mab.curvesA[0][0], mab.curvesA[0][1], mab.curvesA[1][0], mab.curvesA[1][1],
                    mab.curvesA[2][0], mab.curvesA[2][1]}));
}

TEST(ConvertedLut, ChannelsWithoutCurvesAreZero) {
  Mab mab;
  mab.inputs = 9;
  mab.curvesA = Mab::Curves(9, Values{5, 6});
  Conversion from(mab);
  CLut16Type lut(&from.source);
  Values expected(18);
  for (int i = 0; i < 14; i += 2) {
    expected[i] = 5;
    expected[i + 1] = 6;
  }
  EXPECT_EQ(ValuesOf(lut.inputTables, 18), expected);
}

TEST(ConvertedLut, AbsentCurveIsReadFromTheTagsBytesIfTheyAreThere) {
  Mab mab = UsualMab();
  Conversion from(mab);
  delete[] from.source.curvesA[1]->entries;
  from.source.curvesA[1]->entries = nullptr;
  CLut16Type lut(&from.source);
  EXPECT_EQ(ValuesOf(lut.inputTables, 9), Joined(mab.curvesA));

  delete[] from.source.data;
  from.source.data = nullptr;
  CLut16Type without(&from.source);
  EXPECT_EQ(without.inputEntries, 3);
  EXPECT_EQ(without.inputTables, nullptr);
  EXPECT_NE(without.outputTables, nullptr);
}

/// What the curves of a tag come to by the plain rule: count and entries where the advance leads,
/// every byte behind the tag 0.
Values PlainRule(const Bytes& tag, std::size_t offset, int channels) {
  const auto byte = [&tag](std::size_t at) { return at < tag.size() ? tag[at] : 0u; };
  Values tables;
  std::size_t entries = 0;
  for (int channel = 0; channel < channels; ++channel) {
    std::size_t count = 0;
    for (std::size_t i = 8; i < 12; ++i) count = count << 8 | byte(offset + i);
    if (channel == 0) entries = count;
    for (std::size_t i = 0; i < entries; ++i) {
      const std::size_t at = offset + 12 + 2 * i;
      tables.push_back(i < count ? static_cast<std::uint16_t>(byte(at) << 8 | byte(at + 1)) : 0);
    }
    offset += 2 * count + 14;
  }
  return tables;
}

// The second of two padded curves of 256 entries claims 0x01000000 entries and as many more as the
// first entry of its own table says.
TEST(ConvertedLut, PaddedCurvesOf256EntriesConvertWhateverTheFirstEntry) {
  for (const unsigned first : {0u, 1u, 0x0203u, 0xFFFFu}) {
    Mab mab = UsualMab();
    mab.spacing = Mab::Spacing::kPadded;
    mab.curvesA = Mab::Curves(3, Pattern(256, 4));
    for (Values& curve : mab.curvesA) curve[0] = static_cast<std::uint16_t>(first);
    Conversion from(mab);
    EXPECT_EQ(from.source.curvesA[1]->count, 0x01000000 + first);
    CLut16Type lut(&from.source);
    EXPECT_EQ(ValuesOf(lut.inputTables, 768), PlainRule(mab.Tag(), from.source.offsetA, 3))
        << first;
  }
}

// Kept: of padded curves with even counts, only the first is read right.
TEST(ConvertedLut, PaddedCurves) {
  const struct {
    const char* what;
    std::size_t count;
    bool held;  ///< a second curve that is misread to more than 64 MiB is absent
  } kRows[] = {
      {"2", 2, true},        {"3: odd counts are right", 3, true},
      {"16", 16, true},      {"256", 256, true},
      {"257", 257, true},    {"1024", 1024, false},
      {"4096", 4096, false},
  };
  for (const auto& row : kRows) {
    Mab mab = UsualMab();
    mab.spacing = Mab::Spacing::kPadded;
    for (int i = 0; i < 3; ++i) {
      mab.curvesA[i] = Pattern(row.count, 10 + i);
      mab.curvesB[i] = Pattern(row.count, 20 + i);
    }
    Conversion from(mab);
    const Bytes tag = mab.Tag();
    CLut16Type lut(&from.source);
    EXPECT_EQ(lut.inputEntries, row.count) << row.what;
    EXPECT_EQ(lut.outputEntries, row.count) << row.what;
    EXPECT_EQ(ValuesOf(lut.colorTable, 192), mab.clut) << row.what;
    if (!row.held) {
      EXPECT_EQ(lut.inputTables, nullptr) << row.what;
      EXPECT_EQ(lut.outputTables, nullptr) << row.what;
      continue;
    }
    const Values inputs = PlainRule(tag, from.source.offsetA, 3);
    const Values outputs = PlainRule(tag, from.source.offsetB, 3);
    EXPECT_EQ(ValuesOf(lut.inputTables, 3 * row.count), inputs) << row.what;
    EXPECT_EQ(ValuesOf(lut.outputTables, 3 * row.count), outputs) << row.what;
    EXPECT_EQ(inputs == Joined(mab.curvesA), row.count % 2 == 1) << row.what;
  }
}

TEST(ConvertedLut, ColorTableHasTheRealNumberOfDimensions) {
  const struct {
    const char* what;
    int inputs, outputs;
    Bytes gridPoints;
    int precision;
    std::size_t given;     ///< CLUT values in the tag
    std::size_t expected;  ///< values that come from it, as 16-bit values
    std::size_t held;      ///< values of the table; the rest is 0
  } kRows[] = {
      {"four inputs", 4, 3, {3, 3, 3, 3}, 2, 243, 243, 243},
      {"first dimension counts", 3, 1, {3, 2, 2}, 2, 12, 12, 27},
      {"later dimensions are cut", 3, 1, {2, 3, 3}, 2, 18, 8, 8},
      {"two inputs: zeros up to the cube", 2, 3, {4, 4}, 2, 48, 48, 192},
      {"one input: zeros up to the cube", 1, 1, {5}, 2, 5, 5, 125},
  };
  for (const auto& row : kRows) {
    Mab mab;
    mab.inputs = row.inputs;
    mab.outputs = row.outputs;
    mab.gridPoints = row.gridPoints;
    mab.precision = row.precision;
    mab.clut = Pattern(row.given, 3);
    Conversion from(mab);
    CLut16Type lut(&from.source);
    Values expected(mab.clut.begin(), mab.clut.begin() + static_cast<long>(row.expected));
    expected.resize(row.held);
    EXPECT_EQ(ValuesOf(lut.colorTable, row.held), expected) << row.what;
  }
}

// Kept: 2 x count bytes are copied, whatever the precision.
TEST(ConvertedLut, EightBitGridIsCopiedAsBytesAndEndsInZeros) {
  Mab mab;
  mab.gridPoints = {2, 2, 2};
  mab.precision = 1;
  for (std::uint16_t i = 0; i < 24; ++i) mab.clut.push_back(static_cast<std::uint16_t>(100 + i));
  Conversion from(mab);
  CLut16Type lut(&from.source);
  Bytes raw(48);
  for (unsigned char i = 0; i < 24; ++i) raw[i] = static_cast<unsigned char>(100 + i);
  Values expected(24);
  std::memcpy(expected.data(), raw.data(), 48);
  EXPECT_EQ(ValuesOf(lut.colorTable, 24), expected);
}

TEST(ConvertedLut, WithoutASourceOrAGrid) {
  CLut16Type fromNothing(nullptr);
  EXPECT_EQ(fromNothing.inputChannels, 0);
  EXPECT_EQ(fromNothing.colorTable, nullptr);

  Mab mab = UsualMab();
  mab.gridPoints = {};
  Conversion from(mab);
  CLut16Type lut(&from.source);
  EXPECT_EQ(lut.gridPoints, 0);
  EXPECT_EQ(lut.colorTable, nullptr);
  EXPECT_EQ(lut.inputEntries, 3);

  CLut empty;
  CLut16Type fromEmpty(&empty);
  EXPECT_EQ(fromEmpty.inputEntries, 0);
  EXPECT_EQ(fromEmpty.colorTable, nullptr);
}

TEST(ConvertedLut, HugeColorTables) {
  // One axis of 255 points and 15 of one point: little in the file, 255^16 in the conversion.
  Mab mab;
  mab.inputs = 16;
  mab.outputs = 1;
  mab.gridPoints = Bytes(16, 1);
  mab.gridPoints[0] = 255;
  mab.clut = Pattern(255, 1);
  Conversion beyondArrays(mab);
  EXPECT_THROW(CLut16Type lut(&beyondArrays.source), std::bad_array_new_length);

  mab.inputs = 4;
  mab.outputs = 3;
  Conversion beyondMemory(mab);
  CLut16Type lut(&beyondMemory.source);
  EXPECT_EQ(lut.gridPoints, 255);
  EXPECT_EQ(lut.colorTable, nullptr);

  Mab absent;
  absent.inputs = 16;
  absent.gridPoints = Bytes(16, 255);
  Conversion withoutGrid(absent);
  ASSERT_EQ(withoutGrid.source.grid->values, nullptr);
  EXPECT_THROW(CLut16Type beyond(&withoutGrid.source), std::bad_array_new_length)
      << "the count alone decides, whether or not the values are held";

  absent.inputs = 4;
  Conversion withoutValues(absent);
  ASSERT_EQ(withoutValues.source.grid->values, nullptr);
  CLut16Type fromAbsent(&withoutValues.source);
  EXPECT_EQ(fromAbsent.gridPoints, 255);
  EXPECT_EQ(fromAbsent.colorTable, nullptr);
}

TEST(ConvertedLut, LargestColorTableThatASmallSourceWarrants) {
  Mab mab;
  mab.inputs = 3;
  mab.outputs = 1;
  mab.gridPoints = {255, 1, 1};
  mab.clut = Pattern(255, 1);
  Conversion fits(mab);  // 255^3 values are 31.6 MiB
  CLut16Type lut(&fits.source);
  Values expected = mab.clut;
  expected.resize(16581375);
  EXPECT_EQ(ValuesOf(lut.colorTable, 16581375), expected);

  mab.outputs = 2;
  mab.clut = Pattern(510, 1);
  Conversion doesNot(mab);
  CLut16Type absent(&doesNot.source);
  EXPECT_EQ(absent.colorTable, nullptr);
}

TEST(ConvertedLut, LongestTablesOfTheMostChannels) {
  Mab mab;
  mab.inputs = 255;
  mab.outputs = 255;
  mab.curvesA = {Pattern(65535, 1)};
  mab.curvesB = {Pattern(65535, 2)};
  Conversion from(mab);
  CLut16Type lut(&from.source);
  EXPECT_EQ(lut.inputEntries, 65535);
  EXPECT_EQ(lut.outputEntries, 65535);
  // 255 x 65535 values of two bytes fit the smallest allowance (32 MiB) once, not twice.
  EXPECT_NE(lut.inputTables, nullptr);
  EXPECT_EQ(lut.outputTables, nullptr);
}

}  // namespace
}  // namespace ICC40::ICCFILE
