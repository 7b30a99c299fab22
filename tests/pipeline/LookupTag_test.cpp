// The lookup tag by itself; what an engine makes of one is in CIccEngineS_test.cpp.

#include "pipeline/LookupTag.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "iccfile/CDataType.h"
#include "iccfile/CLut8Type.h"
#include "tests/iccfile/ProfileBytes.h"

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_ENG_S4;
using profile_bytes::Bytes;
using profile_bytes::Mab;
using profile_bytes::Mft2;

namespace {

using Values = std::vector<std::uint16_t>;

template <typename Tag>
std::unique_ptr<Tag> Parsed(Bytes bytes) {
  auto tag = std::make_unique<Tag>();
  tag->Initial(ICC40::ICC4_HEADER::A2B0, bytes.data(), static_cast<int>(bytes.size()));
  return tag;
}

Mft2 UsualMft2() {
  Mft2 tag;
  tag.inputTables = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  tag.inputEntries = 3;
  tag.outputTables = {0, 11, 12, 13, 14, 15, 16, 17, 18};
  tag.outputEntries = 3;
  return tag;
}

// Grid points, inputs and outputs other than the usual ones need a larger colour table.
void Resize(Mft2& tag, int inputs, int outputs, int gridPoints) {
  tag.inputs = inputs;
  tag.outputs = outputs;
  tag.gridPoints = gridPoints;
  tag.inputTables.resize(std::size_t{3} * inputs);
  tag.outputTables.resize(std::size_t{3} * outputs);
  tag.colorTable.resize(static_cast<std::size_t>(gridPoints) * gridPoints * gridPoints * outputs);
}

TEST(LookupTag, UsableTables) {
  const struct {
    const char* what;
    std::function<void(Mft2&)> change;
    bool isUsable;
  } kRows[] = {
      {"the usual one", [](Mft2&) {}, true},
      {"7 outputs", [](Mft2& t) { Resize(t, 3, 7, 2); }, true},
      {"8 outputs", [](Mft2& t) { Resize(t, 3, 8, 2); }, false},
      {"4 inputs", [](Mft2& t) { Resize(t, 4, 3, 2); }, false},
      {"33 grid points", [](Mft2& t) { Resize(t, 3, 3, 33); }, true},
      {"34 grid points", [](Mft2& t) { Resize(t, 3, 3, 34); }, false},
      {"1 grid point", [](Mft2& t) { Resize(t, 3, 3, 1); }, false},
      {"no grid points", [](Mft2& t) { Resize(t, 3, 3, 0); }, false},
      {"no input entries", [](Mft2& t) { t.inputEntries = 0, t.inputTables = {}; }, true},
      {"no output entries", [](Mft2& t) { t.outputEntries = 0, t.outputTables = {}; }, true},
  };
  for (const auto& row : kRows) {
    Mft2 mft2 = UsualMft2();
    row.change(mft2);
    const auto tag = Parsed<CLut16Type>(mft2.Tag());
    EXPECT_EQ(IsUsable(*tag), row.isUsable) << row.what;
    EXPECT_EQ(LookupTag(tag.get()).Get(), row.isUsable ? tag.get() : nullptr) << row.what;
  }
}

// Tables that counts promise and memory did not allow: shorter ones than three entries stand for
// identity, absent or not.
TEST(LookupTag, AbsentTables) {
  using Table = unsigned short* CLut16Type::*;
  const struct {
    const char* what;
    Table absent;
    unsigned short inputEntries, outputEntries;
    bool isUsable;
  } kRows[] = {
      {"no colour table", &CLut16Type::colorTable, 3, 3, false},
      {"no input tables", &CLut16Type::inputTables, 3, 3, false},
      {"no output tables", &CLut16Type::outputTables, 3, 3, false},
      {"no input tables of two entries", &CLut16Type::inputTables, 2, 3, true},
      {"no output tables of two entries", &CLut16Type::outputTables, 3, 2, true},
  };
  for (const auto& row : kRows) {
    const auto tag = Parsed<CLut16Type>(UsualMft2().Tag());
    unsigned short*& table = tag.get()->*row.absent;
    delete[] table;
    table = nullptr;
    tag->inputEntries = row.inputEntries;
    tag->outputEntries = row.outputEntries;
    EXPECT_EQ(IsUsable(*tag), row.isUsable) << row.what;
    const LookupTag lookup(tag.get());
    EXPECT_EQ(lookup.Get() != nullptr, row.isUsable) << row.what;
  }
}

Mab UsualMab() {
  Mab tag;
  tag.curvesA = {{10, 11, 12}, {20, 21, 22}, {30, 31, 32}};
  tag.curvesB = {{40, 41, 42, 43}, {50, 51, 52, 53}, {60, 61, 62, 63}};
  tag.gridPoints = {2, 2, 2};
  for (std::uint16_t i = 0; i < 24; ++i) tag.clut.push_back(static_cast<std::uint16_t>(1000 + i));
  return tag;
}

TEST(LookupTag, ConvertibleElements) {
  const struct {
    const char* what;
    std::function<void(Mab&)> change;
    bool isConvertible;
  } kRows[] = {
      {"the usual one", [](Mab&) {}, true},
      {"4 outputs", [](Mab& t) { t.outputs = 4, t.clut.resize(32); }, true},
      {"8 outputs", [](Mab& t) { t.outputs = 8, t.clut.resize(64); }, false},
      {"4 inputs",
       [](Mab& t) {
         t.inputs = 4, t.gridPoints = {2, 2, 2, 2}, t.clut.resize(48);
       },
       false},
      {"8-bit CLUT", [](Mab& t) { t.precision = 1; }, false},
      {"no CLUT", [](Mab& t) { t.gridPoints = {}; }, false},
      {"no A curves", [](Mab& t) { t.curvesA = {}; }, false},
      {"no B curves", [](Mab& t) { t.curvesB = {}; }, false},
      {"1 grid point",
       [](Mab& t) {
         t.gridPoints = {1, 1, 1}, t.clut.resize(3);
       },
       false},
      {"34 grid points",
       [](Mab& t) {
         t.gridPoints = {34, 34, 34}, t.clut.resize(34 * 34 * 34 * 3);
       },
       false},
      {"more points behind the first axis",
       [](Mab& t) {
         t.gridPoints = {2, 3, 3}, t.clut.resize(54);
       },
       true},
      {"fewer on one, as many in all",
       [](Mab& t) {
         t.gridPoints = {4, 2, 8}, t.clut.resize(192);
       },
       true},
      {"fewer in all",
       [](Mab& t) {
         t.gridPoints = {4, 2, 7}, t.clut.resize(168);
       },
       false},
  };
  for (const auto& row : kRows) {
    Mab mab = UsualMab();
    row.change(mab);
    const auto tag = Parsed<CLut>(mab.Tag());
    EXPECT_EQ(IsConvertible(*tag), row.isConvertible) << row.what;
    const LookupTag lookup(tag.get());
    EXPECT_EQ(lookup.Get() != nullptr, row.isConvertible) << row.what;
  }
}

// A curves are those of the device, B curves those of the PCS.
TEST(LookupTag, ConvertsCurvesAndClut) {
  const auto tag = Parsed<CLut>(UsualMab().Tag());
  const LookupTag lookup(tag.get());
  const CLut16Type* const lut = lookup.Get();
  ASSERT_NE(lut, nullptr);
  EXPECT_EQ(lut->inputChannels, 3);
  EXPECT_EQ(lut->outputChannels, 3);
  EXPECT_EQ(lut->gridPoints, 2);
  ASSERT_EQ(lut->inputEntries, 3);
  ASSERT_EQ(lut->outputEntries, 4);
  EXPECT_EQ(Values(lut->inputTables, lut->inputTables + 9),
            (Values{10, 11, 12, 20, 21, 22, 30, 31, 32}));
  EXPECT_EQ(Values(lut->outputTables, lut->outputTables + 12),
            (Values{40, 41, 42, 43, 50, 51, 52, 53, 60, 61, 62, 63}));
  EXPECT_EQ(Values(lut->colorTable, lut->colorTable + 24), UsualMab().clut);
}

TEST(LookupTag, OtherTagsAreNone) {
  const auto data = Parsed<CDataType>(profile_bytes::PlainTag("data", "some bytes"));
  Bytes mft1 = UsualMft2().Tag();
  mft1[3] = '1';
  const auto lut8 = Parsed<CLut8Type>(mft1);
  for (iccTagBase* tag : {static_cast<iccTagBase*>(nullptr), static_cast<iccTagBase*>(data.get()),
                          static_cast<iccTagBase*>(lut8.get())}) {
    const LookupTag lookup(tag);
    EXPECT_EQ(lookup.Get(), nullptr);
  }
}

}  // namespace
