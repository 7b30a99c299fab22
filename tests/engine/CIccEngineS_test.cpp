#include "engine/CIccEngineS.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "codes/ResultCodes.h"
#include "iccfile/CLut.h"
#include "pipeline/FixedStages.h"
#include "pipeline/LookupTag.h"
#include "tests/Surroundings.h"
#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_ENG_S4;
using reference::PlainSpec;
using reference::ProfileSpec;
using reference::WriteProfile;

namespace {

constexpr unsigned int kA2B0 = ICC40::ICC4_HEADER::A2B0;
constexpr unsigned int kA2B1 = ICC40::ICC4_HEADER::A2B1;
constexpr unsigned int kA2B2 = ICC40::ICC4_HEADER::A2B2;
constexpr unsigned int kManufacturerNone = 0x6E6F6E65;

std::unique_ptr<CIccEngineS> MakeEngine() {
  return std::make_unique<CIccEngineS>();
}

ProfileSpec PlainProfile() {
  return PlainSpec(9, 256, 256);
}

ProfileSpec WithTags(std::initializer_list<unsigned int> signatures) {
  ProfileSpec spec = PlainProfile();
  const reference::TagSpec tag = spec.tags.front();
  spec.tags.clear();
  for (const unsigned int signature : signatures) {
    spec.tags.push_back(tag);
    spec.tags.back().signature = signature;
  }
  return spec;
}

int Select(CIccEngineS& engine, const char* path, int out = sRGB, int in = RGB,
           int intent = Percepture) {
  return engine.SetProfile(path, static_cast<Intent>(intent), static_cast<ColorSpaceSignature>(in),
                           static_cast<ColorSpaceSignature>(out), 0, 0, 0);
}

int SetIntent(CIccEngineS& engine, int intent, int in, int out) {
  return engine.SetIntent(static_cast<Intent>(intent), static_cast<ColorSpaceSignature>(in),
                          static_cast<ColorSpaceSignature>(out), 1, 2, 3);
}

// In field order: auxiliary and input table of each channel.
std::array<unsigned int*, 6> InputArraysOf(const CIccEngineS& engine) {
  return {engine.inLutAux0, engine.inLut0,    engine.inLutAux1,
          engine.inLut1,    engine.inLutAux2, engine.inLut2};
}

}  // namespace

TEST(CIccEngineS, AFreshEngineIsUnusable) {
  const auto engine = MakeEngine();
  EXPECT_EQ(engine->outputColor, 65535);
  EXPECT_EQ(engine->conversionType, 65534);
  EXPECT_EQ(engine->fractionBits, 12);
  for (const unsigned int* table : InputArraysOf(*engine)) EXPECT_EQ(table, nullptr);
  EXPECT_EQ(engine->iccFile.header.manufacturer, 0u);
}

TEST(CIccEngineS, ConstructionSetsTheTeamOfItsThreadOnly) {
  omp_set_num_threads(5);
  omp_set_dynamic(0);
  std::thread([] {
    omp_set_num_threads(3);
    omp_set_dynamic(0);
    const auto engine = MakeEngine();
    EXPECT_EQ(omp_get_max_threads(), 8);
    EXPECT_NE(omp_get_dynamic(), 0);
  }).join();
  EXPECT_EQ(omp_get_max_threads(), 5);
  EXPECT_EQ(omp_get_dynamic(), 0);
}

TEST(CIccEngineS, UnusedOperationsReturnTheirCode) {
  const auto engine = MakeEngine();
  EXPECT_EQ(engine->Initial(7), 65533);
  EXPECT_EQ(engine->DeleteWorkingBuf(), 65533);
}

TEST(CIccEngineS, SelectionByCodes) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const struct {
    const char* what;
    int in, out, result, outputColor, status, type;
  } kRows[] = {
      {"8-bit sRGB", RGB, sRGB, 0, 12, 12, 257},
      {"8 to 16 bits", RGB, sRGB_16, 0, 13, 13, 258},
      {"16 to 8-bit code", RGB_16, sRGB, 0, 12, 12, 513},
      {"16-bit linear", RGB_16, sRGB100_16, 0, 11, 11, 514},
      {"Kodak", RGB, sRGB_KodakMix, 0, 36, 36, 257},
      {"Lab input is refused", Lab, sRGB, 65530, 65535, 65535, 65534},
      {"input 65535 is refused", 65535, sRGB, 65530, 65535, 65535, 65534},
      {"a negative input is refused", -1, sRGB, 65530, 65535, 65535, 65534},
      {"CMYK has a class but no curve", RGB, CMYK, 0, 65535, 65535, 256},
      {"device RGB has no curve", RGB, RGB, 0, 65535, 65535, 256},
      {"Lab has no curve", RGB_16, Lab_16, 0, 65535, 65535, 512},
      {"Ycc has no curve", RGB, Ycc, 0, 65535, 65535, 256},
      {"output 40 is none", RGB, 40, 0, 65535, 65535, 256},
      {"a negative output is none", RGB, -3, 0, 65535, 65535, 256},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto engine = MakeEngine();
    EXPECT_EQ(Select(*engine, profile.Path(), row.out, row.in), row.result);
    EXPECT_EQ(engine->outputColor, row.outputColor);
    EXPECT_EQ(engine->engineStatus, row.status);
    EXPECT_EQ(engine->conversionType, row.type);
  }
}

TEST(CIccEngineS, APathThatCannotBeOpenedIs65531) {
  const auto engine = MakeEngine();
  EXPECT_EQ(Select(*engine, "/nonexistent/scan.icc"), 65531);
  EXPECT_EQ(engine->outputColor, 65535);
  EXPECT_EQ(Select(*engine, nullptr), 65531);
  EXPECT_EQ(engine->engineStatus, 65535);
}

TEST(CIccEngineS, TheSecondPathIsIgnored) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  EXPECT_EQ(
      engine->SetProfile(profile.Path(), "/nonexistent/other.icc", Relative, RGB, sRGB, 0, 0, 0),
      0);
  EXPECT_EQ(engine->outputColor, 12);
  EXPECT_TRUE(engine->currentProfile2.empty());
}

TEST(CIccEngineS, TheSameSelectionReadsTheFileOnce) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  const unsigned int* table = engine->inLut0;
  engine->cells[0][0][0][0][0] = 0xABCD;
  profile.Write({});
  EXPECT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(engine->inLut0, table);
  EXPECT_EQ(engine->cells[0][0][0][0][0], 0xABCDu);
}

TEST(CIccEngineS, AfterAFailureTheSameSelectionReadsAgain) {
  const TemporaryFile profile;
  const auto engine = MakeEngine();
  EXPECT_EQ(Select(*engine, profile.Path()), 65531);
  profile.Write(WriteProfile(PlainProfile()));
  EXPECT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(engine->outputColor, 12);
}

TEST(CIccEngineS, AnUnreadableProfileForgetsTheTables) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(Select(*engine, "/nonexistent/scan.icc"), 65531);
  EXPECT_EQ(engine->inLut0, nullptr);
  EXPECT_EQ(engine->iccFile.tags.size(), 0u);
}

TEST(CIccEngineS, TheLookupTagFollowsTheIntent) {
  const struct {
    const char* what;
    std::initializer_list<unsigned int> tags;
    int intent;
    unsigned int found;
  } kRows[] = {
      {"perceptual", {kA2B0, kA2B1, kA2B2}, Percepture, kA2B0},
      {"relative", {kA2B0, kA2B1, kA2B2}, Relative, kA2B1},
      {"saturation", {kA2B0, kA2B1, kA2B2}, Saturation, kA2B2},
      {"absolute reads the relative tag", {kA2B0, kA2B1, kA2B2}, Absolute, kA2B1},
      {"any other intent", {kA2B0, kA2B1, kA2B2}, 4, kA2B0},
      {"A2B0 alone serves perceptual", {kA2B0}, Percepture, kA2B0},
      {"A2B0 alone serves relative", {kA2B0}, Relative, kA2B0},
      {"A2B0 alone serves saturation", {kA2B0}, Saturation, kA2B0},
      {"A2B0 alone serves absolute", {kA2B0}, Absolute, kA2B0},
      {"no fall-back to another tag", {kA2B1}, Percepture, 0},
      {"nor from saturation to relative", {kA2B1}, Saturation, 0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const TemporaryFile profile(WriteProfile(WithTags(row.tags)));
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, profile.Path(), sRGB, RGB, row.intent), 0);
    const iccTagBase* tag = engine->GetMft2();
    EXPECT_EQ(tag == nullptr ? 0u : static_cast<unsigned int>(tag->tagSignature), row.found);
  }
}

TEST(CIccEngineS, WithoutALookupTagTheOutputCodeStaysAndNothingConverts) {
  const TemporaryFile profile(WriteProfile(WithTags({kA2B1})));
  const auto engine = MakeEngine();
  EXPECT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(engine->outputColor, 12);
  EXPECT_EQ(engine->engineStatus, 65535);
  unsigned char in[3] = {1, 2, 3}, out[3] = {9, 9, 9};
  EXPECT_EQ(engine->Conversion(in, out, 1), 0);
  EXPECT_EQ(out[0] + out[1] + out[2], 27);
  unsigned short wide[3] = {9, 9, 9};
  EXPECT_EQ(engine->Conversion(in, wide, 1), 0);
  EXPECT_EQ(wide[0] + wide[1] + wide[2], 27);
  EXPECT_EQ(engine->Adjust_Lch(5, 0, 0), 65535);
  unsigned char curve[256] = {};
  EXPECT_EQ(engine->Adjust_Output(curve, curve, curve, 256), 65535);
  EXPECT_EQ(SetIntent(*engine, Percepture, RGB, Adobe), 65535);
  EXPECT_EQ(engine->outputColor, 22) << "the new output code is stored";
}

TEST(CIccEngineS, TheFillWorkerNeedsTablesToo) {
  ProfileSpec spec = WithTags({kA2B1});
  spec.manufacturer = kManufacturerNone;
  const TemporaryFile profile(WriteProfile(spec));
  const auto engine = MakeEngine();
  EXPECT_EQ(Select(*engine, profile.Path()), 0);
  unsigned char in[3] = {1, 2, 3}, out[3] = {9, 9, 9};
  EXPECT_EQ(engine->Conversion(in, out, 1), 0);
  EXPECT_EQ(out[0], 9);
}

TEST(CIccEngineS, SetIntentStatusIsTheBuildersAndSetProfilesTheOutputCode) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(engine->engineStatus, sRGB);
  const struct {
    int out, status;
  } kRows[] = {
      {sRGB220, 8},
      {sRGB, 8},
      {sRGB_16, 9},
      {sRGB100, 10},
      {sRGB100_16, 11},
      {Adobe100, 20},
      {Adobe100_16, 21},
      {Adobe, 22},
      {Adobe_16, 23},
      {Apple100_16, 25},
      {ColorMatch_16, 31},
      {sRGB_KodakPhoto, 34},
      {sRGB_KodakText_16, 39},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(SetIntent(*engine, Percepture, RGB, row.out), row.out);
    EXPECT_EQ(engine->engineStatus, row.status) << "output code " << row.out;
  }
  EXPECT_EQ(SetIntent(*engine, Percepture, RGB, CMYK_16), 65535);
  EXPECT_EQ(engine->outputColor, 65535);
}

TEST(CIccEngineS, SetIntentChecksNeitherInputNorConversionType) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  EXPECT_EQ(SetIntent(*engine, Percepture, Lab, sRGB_16), 13);
  EXPECT_EQ(engine->inputColor, Lab);
  EXPECT_EQ(engine->conversionType, 257) << "the type of the selection stays";
}

TEST(CIccEngineS, SixteenBitSamplesOverShortTablesAreBounded) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  // Input code 2 makes 256-entry tables that are then read with 16-bit samples.
  ASSERT_EQ(SetIntent(*engine, Percepture, Lab, sRGB100_16), 11);
  const unsigned short samples[] = {0, 128, 255, 256, 32768, 65535};
  for (const unsigned short sample : samples) {
    unsigned short in[3] = {sample, sample, sample}, out[3] = {};
    EXPECT_EQ(engine->Conversion(reinterpret_cast<unsigned char*>(in),
                                 reinterpret_cast<unsigned char*>(out), 1),
              0);
    unsigned short clamped[3], expected[3] = {};
    std::fill_n(clamped, 3, std::min<unsigned short>(sample, 255));
    EXPECT_EQ(engine->Conversion(reinterpret_cast<unsigned char*>(clamped),
                                 reinterpret_cast<unsigned char*>(expected), 1),
              0);
    EXPECT_EQ(out[0], expected[0]) << sample << " reads the last entry";
  }
}

TEST(CIccEngineS, InputEntriesAreCellAndFraction) {
  const TemporaryFile profile(WriteProfile(PlainSpec(17, 2, 2)));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB100_16, RGB_16), 0);
  const struct {
    unsigned int sample, cell, fraction;
  } kRows[] = {{0, 0, 0},    {1, 0, 1},     {4095, 0, 4095},
               {4096, 1, 0}, {32768, 8, 0}, {65535, 15, 4095}};
  for (const auto& row : kRows) {
    for (const unsigned int* table : {engine->inLut0, engine->inLut1, engine->inLut2}) {
      EXPECT_EQ(table[row.sample] >> 16, row.cell) << row.sample;
      EXPECT_EQ(table[row.sample] & 0xFFFF, row.fraction) << row.sample;
    }
  }
}

TEST(CIccEngineS, EightBitTablesAreIndexedTwice) {
  const TemporaryFile profile(WriteProfile(PlainSpec(17, 2, 2)));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  // Identity: first x * 256 and 65535 at 255. Indexing again reads position x * 256 of that table:
  // 0 for x = 0, and beyond the first 256 entries still the 16-bit values.
  const struct {
    int sample;
    unsigned int coordinate;
  } kRows[] = {{0, 0}, {1, 256}, {2, 512}, {254, 65024}, {255, 65535}};
  for (const auto& row : kRows) {
    EXPECT_EQ(engine->inLut1[row.sample], PackIndex(row.coordinate)) << row.sample;
  }
}

TEST(CIccEngineS, AbsoluteIntentTakesTheMediaWhite) {
  ProfileSpec spec = PlainProfile();
  const TemporaryFile without(WriteProfile(spec));
  spec.wtpt = {50000, 52000, 40000};
  const TemporaryFile with(WriteProfile(spec));
  const auto a = MakeEngine(), b = MakeEngine(), c = MakeEngine(), d = MakeEngine();
  ASSERT_EQ(Select(*a, without.Path(), sRGB, RGB, Absolute), 0);
  ASSERT_EQ(Select(*b, with.Path(), sRGB, RGB, Absolute), 0);
  ASSERT_EQ(Select(*c, without.Path(), sRGB, RGB, Percepture), 0);
  ASSERT_EQ(Select(*d, with.Path(), sRGB, RGB, Percepture), 0);
  EXPECT_NE(std::memcmp(a->cells, b->cells, sizeof a->cells), 0);
  EXPECT_EQ(std::memcmp(a->cells, c->cells, sizeof a->cells), 0) << "without wtpt: D50";
  EXPECT_EQ(std::memcmp(c->cells, d->cells, sizeof a->cells), 0) << "absolute only";
}

TEST(CIccEngineS, OffsetsBelowOneUnitAreNoChange) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  engine->cells[0][0][0][0][0] = 0xABCD;
  EXPECT_EQ(engine->Adjust_Lch(0, 0, 0), 12);
  EXPECT_EQ(engine->Adjust_Lch(0.4, 0, 0), 12);
  EXPECT_EQ(engine->Adjust_Lch(-0.9, 0.9, 0.5), 12);
  EXPECT_EQ(engine->Adjust_Lch(std::nan(""), 0, 0), 12) << "NaN truncates to 0";
  EXPECT_EQ(engine->cells[0][0][0][0][0], 0xABCDu) << "not rebuilt";
  EXPECT_EQ(engine->Adjust_Lch(1.5, 0, 0), 12);
  EXPECT_EQ(engine->adjustL, 1);
  EXPECT_NE(engine->cells[0][0][0][0][0], 0xABCDu) << "rebuilt";
}

TEST(CIccEngineS, HugeOffsetsAreBounded) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  const double kInfinity = std::numeric_limits<double>::infinity();
  const double kNan = std::nan("");
  const double kOffsets[][3] = {{1e300, 0, 0},      {-1e300, 5, 5}, {kInfinity, 0, 0},
                                {0, -kInfinity, 0}, {0, 0, 1e300},  {7, kNan, kNan},
                                {0, 0, kInfinity},  {9, 0, -1e18}};
  for (const auto& offset : kOffsets) {
    EXPECT_EQ(engine->Adjust_Lch(offset[0], offset[1], offset[2]), 12);
    unsigned char pixel[3] = {10, 100, 200};
    EXPECT_EQ(engine->Conversion(pixel, pixel, 1), 0);
  }
  engine->SetProfile(profile.Path(), Relative, RGB, sRGB, kNan, kInfinity, -kInfinity);
  EXPECT_EQ(engine->outputColor, 12);
}

TEST(CIccEngineS, OutputCurvesAreReplacedByTheCallers) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  unsigned char curve[256];
  for (int i = 0; i < 256; ++i) curve[i] = static_cast<unsigned char>(255 - i);
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  const unsigned int before = engine->outLut[0][1000];
  EXPECT_EQ(engine->Adjust_Output(curve, curve, curve, 0), 12);
  EXPECT_EQ(engine->Adjust_Output(nullptr, curve, curve, 256), 12);
  EXPECT_EQ(engine->Adjust_Output(curve, nullptr, curve, 256), 12);
  EXPECT_EQ(engine->Adjust_Output(curve, curve, nullptr, 256), 12);
  EXPECT_EQ(engine->outLut[0][1000], before) << "nothing changed";
  EXPECT_EQ(engine->Adjust_Output(curve, curve, curve, 256), 12);
  EXPECT_EQ(engine->outLut[0][0], 255u) << "255 * 256 reduced to 8 bits";
  EXPECT_EQ(engine->outLut[2][257 * 100], 155u);
  EXPECT_EQ(engine->engineStatus, 12);

  const auto wide = MakeEngine();
  ASSERT_EQ(Select(*wide, profile.Path(), sRGB_16, RGB_16), 0);
  EXPECT_EQ(wide->Adjust_Output(curve, curve, curve, 256), 13);
  EXPECT_EQ(wide->outLut[0][0], 65280u) << "no reduction for 16-bit input";
}

TEST(CIccEngineS, ConversionsWithNothingToDo) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  unsigned char in[3] = {1, 2, 3}, out[3] = {9, 9, 9};
  for (const int pixels : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(engine->Conversion(in, out, pixels), 0);
  }
  EXPECT_EQ(engine->Conversion(nullptr, out, 1), 0);
  EXPECT_EQ(engine->Conversion(in, static_cast<unsigned char*>(nullptr), 1), 0);
  EXPECT_EQ(engine->Conversion(in, static_cast<unsigned short*>(nullptr), 1), 0);
  EXPECT_EQ(out[0], 9);
  engine->conversionType = 259;
  EXPECT_EQ(engine->Conversion(in, out, 1), 0) << "8-bit input with a class-3 output";
  EXPECT_EQ(out[0], 9);
}

TEST(CIccEngineS, TheNoneManufacturerYieldsTheOutputTables) {
  ProfileSpec spec = PlainProfile();
  spec.manufacturer = kManufacturerNone;
  const TemporaryFile profile(WriteProfile(spec));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  unsigned char first[6] = {};
  EXPECT_EQ(engine->Conversion(nullptr, first, 2), 0) << "the source is not read";
  for (int i = 0; i < 6; ++i) EXPECT_EQ(first[i], engine->outLut[i % 3][i] & 0xFF);
  EXPECT_EQ(engine->Conversion(nullptr, static_cast<unsigned char*>(nullptr), 2), 0);
  // More pixels than the tables have positions: the rest of the buffer is left alone.
  const int pixels = 22000;
  std::vector<unsigned char> in(3 * pixels, 7), out(3 * pixels, 201);
  EXPECT_EQ(engine->Conversion(in.data(), out.data(), pixels), 0);
  for (int p = 0; p < 3 * pixels; ++p) {
    const unsigned int expected = p < 65536 ? engine->outLut[p % 3][p] & 0xFF : 201;
    ASSERT_EQ(out[p], expected) << p;
  }
  // The overload with a 16-bit destination never looks at the manufacturer.
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB100_16), 0);
  std::vector<unsigned short> a(30), b(30);
  EXPECT_EQ(engine->Conversion(in.data(), a.data(), 10), 0);
  engine->iccFile.header.manufacturer = 0;
  EXPECT_EQ(engine->Conversion(in.data(), b.data(), 10), 0);
  EXPECT_EQ(a, b);
}

TEST(CIccEngineS, ResetKeepsTheProfile) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  engine->Reset();
  EXPECT_EQ(engine->inLut0, nullptr);
  EXPECT_EQ(engine->outputColor, 65535);
  EXPECT_FALSE(engine->iccFile.tags.empty());
  EXPECT_EQ(engine->ConstructEngine(0, 0, 0), 65535) << "no profile selected";
}

// Reset stores code 65535 twice and keeps the intent: to ask for these three is to ask for nothing.
TEST(CIccEngineS, AfterAResetItsOwnCodesBuildNothing) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const struct {
    const char* what;
    int intent, in, out, result;
    bool builds;
  } kRows[] = {
      {"the codes that Reset leaves", Relative, 65535, 65535, 65535, false},
      {"another intent", Saturation, 65535, 65535, 65535, true},
      {"another input", Relative, RGB, 65535, 65535, true},
      {"an output code", Relative, 65535, sRGB, 12, true},
      {"what was there before", Relative, RGB, sRGB, 12, true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, profile.Path(), sRGB, RGB, Relative), 0);
    engine->Reset();
    EXPECT_EQ(SetIntent(*engine, row.intent, row.in, row.out), row.result);
    EXPECT_EQ(engine->inLut0 != nullptr, row.builds);
    EXPECT_EQ(engine->outputColor, row.result);
    // Without an output code, the same selection reads the file again.
    engine->Reset();
    EXPECT_EQ(SetIntent(*engine, engine->intent, 65535, 65535), 65535);
    const std::size_t tags = engine->iccFile.tags.size();
    engine->iccFile.Reset();
    EXPECT_EQ(Select(*engine, profile.Path(), sRGB, RGB, Relative), 0);
    EXPECT_EQ(engine->iccFile.tags.size(), tags);
    EXPECT_NE(engine->inLut0, nullptr);
  }
}

// Heap and system would pass the arrays to and fro at every selection.
TEST(CIccEngineS, ASelectionFillsTheArraysOfTheOneBefore) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const struct {
    int in, out;
    bool keepsArrays;  // expected; others may lie anywhere
  } kRows[] = {{RGB_16, Adobe_16, true},
               {RGB_16, sRGB_16, true},
               {RGB, sRGB, false},
               {RGB, Adobe, true},
               {RGB_16, sRGB_16, false}};
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB_16, RGB_16), 0);
  for (const auto& row : kRows) {
    const auto before = InputArraysOf(*engine);
    ASSERT_EQ(Select(*engine, profile.Path(), row.out, row.in), 0);
    const auto after = InputArraysOf(*engine);
    if (row.keepsArrays) {
      EXPECT_EQ(before, after) << "to code " << row.out;
    }
    const auto fresh = MakeEngine();
    ASSERT_EQ(Select(*fresh, profile.Path(), row.out, row.in), 0);
    EXPECT_TRUE(std::equal(after[1], after[1] + (row.in == RGB ? 256 : 65536), fresh->inLut0));
    std::vector<unsigned char> samples(600, 77), expected(600, 77);
    engine->Conversion(samples.data(), samples.data(), 100);
    fresh->Conversion(expected.data(), expected.data(), 100);
    EXPECT_EQ(samples, expected);
  }
}

TEST(CIccEngineS, ASelectionWithoutTablesLeavesNone) {
  const TemporaryFile usable(WriteProfile(PlainProfile()));
  const TemporaryFile unusable(WriteProfile(WithTags({})));
  const struct {
    const char* what;
    const char* path;
    int in;
  } kRows[] = {{"no lookup tag", unusable.Path(), RGB},
               {"no file", "/nonexistent/scan.icc", RGB},
               {"no such input", usable.Path(), Lab}};
  for (const auto& row : kRows) {
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, usable.Path()), 0);
    Select(*engine, row.path, sRGB, row.in);
    for (const unsigned int* table : InputArraysOf(*engine)) EXPECT_EQ(table, nullptr) << row.what;
  }
}

// While a program's array is in place of one of the engine's, too.
TEST(CIccEngineS, ChangesOfTheTablesReachAllWorkers) {
  const struct {
    const char* what;
    void (*change)(CIccEngineS& engine);
  } kRows[] = {
      {"colours, with another input table",
       [](CIccEngineS& engine) {
         std::vector<unsigned int> other(256);
         unsigned int* const own = std::exchange(engine.inLut1, other.data());
         engine.Adjust_Lch(30, 0, 0);
         engine.inLut1 = own;
       }},
      {"curves, with an auxiliary table",
       [](CIccEngineS& engine) {
         std::vector<unsigned int> other(256);
         unsigned int* const own = std::exchange(engine.inLutAux1, other.data());
         std::vector<unsigned char> curve(256, 99);
         engine.Adjust_Output(curve.data(), curve.data(), curve.data(), 256);
         engine.inLutAux1 = own;
       }},
      {"colours", [](CIccEngineS& engine) { engine.Adjust_Lch(30, 0, 0); }},
  };
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  for (const auto& row : kRows) {
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, profile.Path()), 0);
    const std::vector<unsigned char> in(300, 150);
    std::vector<unsigned char> before(in.size()), after(in.size()), single(3);
    engine->Conversion(const_cast<unsigned char*>(in.data()), before.data(), 100);
    row.change(*engine);
    engine->Conversion(const_cast<unsigned char*>(in.data()), after.data(), 100);
    engine->Conversion(const_cast<unsigned char*>(in.data()), single.data(), 1);
    EXPECT_NE(after, before) << row.what;
    for (std::size_t i = 0; i < after.size(); ++i) ASSERT_EQ(after[i], single[i % 3]) << row.what;
  }
}

TEST(CIccEngineS, TheAuxiliaryTablesAreAsLargeAsTheInputTables) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  for (const int in : {RGB, RGB_16}) {
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, profile.Path(), sRGB_16, in), 0);
    std::set<unsigned int*> arrays;
    for (unsigned int* array : InputArraysOf(*engine)) {
      ASSERT_NE(array, nullptr);
      arrays.insert(array);
    }
    EXPECT_EQ(arrays.size(), 6u);
    for (unsigned int* array : {engine->inLutAux0, engine->inLutAux1, engine->inLutAux2}) {
      std::fill_n(array, in == RGB ? 256 : 65536, 0u);
    }
  }
}

namespace {

// What a program may do to the auxiliary tables of an engine, which have `levels` words each.
struct Scribble {
  const char* what;
  void (*apply)(CIccEngineS& engine, std::size_t levels);
};

template <typename Word>
void FillAuxiliaries(CIccEngineS& engine, std::size_t words, const Word& word) {
  for (unsigned int* array : {engine.inLutAux0, engine.inLutAux1, engine.inLutAux2}) {
    for (std::size_t i = 0; i < words; ++i) array[i] = word(i);
  }
}

// Array for array, with others that begin alike.
void ReplaceAuxiliaries(CIccEngineS& engine, std::size_t words) {
  for (unsigned int** array : {&engine.inLutAux0, &engine.inLutAux1, &engine.inLutAux2}) {
    auto* const replacement = new unsigned int[words];
    std::copy_n(*array, words, replacement);
    delete[] std::exchange(*array, replacement);
  }
}

const Scribble kScribbles[] = {
    {"the first 256 words of one cleared",
     [](CIccEngineS& engine, std::size_t) { std::fill_n(engine.inLutAux0, 256, 0u); }},
    {"of the second",
     [](CIccEngineS& engine, std::size_t) { std::fill_n(engine.inLutAux1, 256, 0u); }},
    {"of the third",
     [](CIccEngineS& engine, std::size_t) { std::fill_n(engine.inLutAux2, 256, 0u); }},
    {"some words in the middle",
     [](CIccEngineS& engine, std::size_t) { std::fill_n(engine.inLutAux0 + 20, 30, 0x7FFFFFFFu); }},
    {"all cleared",
     [](CIccEngineS& engine, std::size_t levels) {
       FillAuxiliaries(engine, levels, [](std::size_t) { return 0u; });
     }},
    {"all filled",
     [](CIccEngineS& engine, std::size_t levels) {
       FillAuxiliaries(engine, levels, [](std::size_t) { return 0xFFFFFFFFu; });
     }},
    {"all filled with the arrays' own addresses",
     [](CIccEngineS& engine, std::size_t levels) {
       const auto address = reinterpret_cast<std::uintptr_t>(engine.inLutAux0);
       FillAuxiliaries(engine, levels, [&](std::size_t i) {
         return static_cast<unsigned int>(i % 2 == 0 ? address : address >> 32);
       });
     }},
    {"the words of an input table",
     [](CIccEngineS& engine, std::size_t levels) {
       FillAuxiliaries(engine, levels, [&](std::size_t i) { return engine.inLut2[i]; });
     }},
    {"arrays of the program's, with the same words", ReplaceAuxiliaries},
    {"arrays of the program's, cleared",
     [](CIccEngineS& engine, std::size_t levels) {
       ReplaceAuxiliaries(engine, levels);
       FillAuxiliaries(engine, levels, [](std::size_t) { return 0u; });
     }},
    {"none at all",
     [](CIccEngineS& engine, std::size_t) {
       for (unsigned int** array : {&engine.inLutAux0, &engine.inLutAux1, &engine.inLutAux2}) {
         delete[] std::exchange(*array, nullptr);
       }
     }},
};

void ExpectSameConversions(CIccEngineS& engine, CIccEngineS& expected) {
  for (const int pixels : {1, 7, 100, 4099}) {
    std::vector<unsigned short> source(static_cast<std::size_t>(3 * pixels));
    for (std::size_t i = 0; i < source.size(); ++i) {
      source[i] = static_cast<unsigned short>(i * 40503 + 77);
    }
    auto* const from = reinterpret_cast<unsigned char*>(source.data());
    std::vector<unsigned short> one(source.size(), 33), other(source.size(), 33);
    engine.Conversion(from, reinterpret_cast<unsigned char*>(one.data()), pixels);
    expected.Conversion(from, reinterpret_cast<unsigned char*>(other.data()), pixels);
    EXPECT_EQ(one, other) << pixels << " pixels";
    engine.Conversion(from, one.data(), pixels);
    expected.Conversion(from, other.data(), pixels);
    EXPECT_EQ(one, other) << pixels << " pixels, 8 to 16 bits";
  }
}

}  // namespace

// An engine whose auxiliary tables are written to, at any time, beside one whose are not.
TEST(CIccEngineS, WhatProgramsWriteIntoAuxiliaryTablesMakesNoDifference) {
  ProfileSpec spec = WithTags({kA2B0, kA2B1, kA2B2});
  spec.tags.back().form = reference::TagForm::kLut8;  // present, but of no use
  const TemporaryFile profile(WriteProfile(spec));
  unsigned char curve[5] = {0, 100, 180, 230, 255};
  const struct {
    const char* what;
    void (*call)(CIccEngineS& engine, const char* path, unsigned char* curve);
  } kCalls[] = {
      {"nothing", [](CIccEngineS&, const char*, unsigned char*) {}},
      {"Adjust_Lch",
       [](CIccEngineS& engine, const char*, unsigned char*) { engine.Adjust_Lch(9, -5, 40); }},
      {"Adjust_Output",
       [](CIccEngineS& engine, const char*, unsigned char* curves) {
         engine.Adjust_Output(curves, curves, curves, 5);
       }},
      {"SetIntent, other code",
       [](CIccEngineS& engine, const char*, unsigned char*) {
         SetIntent(engine, Relative, engine.inputColor, Adobe_16);
       }},
      {"SetIntent, no tag, other depth",
       [](CIccEngineS& engine, const char*, unsigned char*) {
         SetIntent(engine, Saturation, engine.inputColor == RGB ? RGB_16 : RGB, sRGB);
       }},
      {"SetIntent, other depth",
       [](CIccEngineS& engine, const char*, unsigned char*) {
         SetIntent(engine, Percepture, engine.inputColor == RGB ? RGB_16 : RGB, sRGB);
       }},
      {"SetProfile", [](CIccEngineS& engine, const char* path,
                        unsigned char*) { Select(engine, path, sRGB_KodakMix, RGB_16); }},
      {"Reset", [](CIccEngineS& engine, const char*, unsigned char*) { engine.Reset(); }},
  };
  const struct { int in, out; } kRoutes[] = {{RGB, sRGB}, {RGB, sRGB_16}, {RGB_16, sRGB_16}};
  for (const Scribble& scribble : kScribbles) {
    for (const auto& route : kRoutes) {
      SCOPED_TRACE(testing::Message()
                   << scribble.what << ", from " << route.in << " to " << route.out);
      const auto engine = MakeEngine(), expected = MakeEngine();
      for (CIccEngineS* each : {engine.get(), expected.get()}) {
        ASSERT_EQ(Select(*each, profile.Path(), route.out, route.in), 0);
      }
      std::size_t levels = route.in == RGB ? 256 : 65536;
      for (const auto& row : kCalls) {
        SCOPED_TRACE(row.what);
        for (CIccEngineS* each : {engine.get(), expected.get()}) {
          row.call(*each, profile.Path(), curve);
        }
        ExpectSameConversions(*engine, *expected);
        if (engine->inLut0 == nullptr) continue;
        if (engine->inLutAux0 != nullptr) {
          const bool keepsOlder = std::strcmp(row.what, "SetIntent, no tag, other depth") == 0;
          if (!keepsOlder) levels = engine->inputColor == RGB_16 ? 65536 : 256;
          scribble.apply(*engine, levels);
        }
        ExpectSameConversions(*engine, *expected);
        if (HasFailure()) return;
      }
    }
  }
}

TEST(CIccEngineS, AShortTableAmongAProgramsBoundsSixteenBitSamples) {
  ProfileSpec spec = WithTags({kA2B0, kA2B1});
  spec.tags.back().form = reference::TagForm::kLut8;  // present, but of no use
  const TemporaryFile profile(WriteProfile(spec));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  std::vector<unsigned int> other(256);
  unsigned int* const own = std::exchange(engine->inLut1, other.data());
  EXPECT_EQ(SetIntent(*engine, Relative, RGB_16, sRGB_16), 65535) << "the older tables stay";
  std::vector<unsigned short> samples(300, 65535);
  auto* const bytes = reinterpret_cast<unsigned char*>(samples.data());
  EXPECT_EQ(engine->Conversion(bytes, bytes, 100), 0);
  for (std::size_t i = 3; i < samples.size(); ++i) ASSERT_EQ(samples[i], samples[i % 3]);
  engine->inLut1 = own;
}

TEST(CIccEngineS, TablesSetByAProgramFollowTheRule) {
  // Cell 3 along each axis, fraction 1024; the base 1000 and slopes 4, 8, 12: value 1000 + 6.
  for (const bool withAuxiliaries : {false, true}) {
    const auto engine = MakeEngine();
    for (unsigned int** table : {&engine->inLut0, &engine->inLut1, &engine->inLut2}) {
      *table = new unsigned int[256];
      std::fill_n(*table, 256, 3u << 16 | 1024u);
    }
    if (withAuxiliaries) {
      for (unsigned int** table : {&engine->inLutAux0, &engine->inLutAux1, &engine->inLutAux2}) {
        *table = new unsigned int[256];
        std::fill_n(*table, 256, 0xFFFFFFFFu);
      }
    }
    for (int t = 0; t < 6; ++t) {
      for (int c = 0; c < 3; ++c) {
        unsigned int* k = engine->cells[3][3][3][t] + 4 * c;
        k[0] = 1000u << 12;
        k[1] = 4;
        k[2] = 8;
        k[3] = 12;
      }
    }
    for (int c = 0; c < 3; ++c) engine->outLut[c][1006] = static_cast<unsigned int>(50 + c);
    engine->inputColor = RGB;
    engine->outputColor = sRGB;
    engine->conversionType = 257;
    for (const int pixels : {1, 100}) {
      std::vector<unsigned char> samples(static_cast<std::size_t>(3 * pixels), 7);
      EXPECT_EQ(engine->Conversion(samples.data(), samples.data(), pixels), 0);
      for (std::size_t i = 0; i < samples.size(); ++i) {
        ASSERT_EQ(samples[i], 50 + i % 3) << withAuxiliaries << ", sample " << i;
      }
    }
  }
}

TEST(CIccEngineS, CellsThatDisagreeFollowTheRule) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB100_16, RGB), 0);
  // The far corner of one tetrahedron alone, which a grid of nodes cannot say.
  unsigned int* k = engine->cells[0][0][0][5];
  std::fill_n(k, 12, 0u);
  for (int c = 0; c < 3; ++c) k[4 * c + 3] = 25600;
  const unsigned int fraction = engine->inLut2[1] & 0xFFFF;
  for (const int pixels : {1, 100}) {
    std::vector<unsigned char> in(static_cast<std::size_t>(3 * pixels), 1);
    std::vector<unsigned short> out(in.size());
    EXPECT_EQ(engine->Conversion(in.data(), out.data(), pixels), 0);
    for (std::size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(out[i], engine->outLut[i % 3][25600 * fraction >> 12]) << "sample " << i;
    }
  }
}

// Threads that a team has had stay with the process until a smaller team forms.
TEST(CIccEngineS, LargeCallsUseTheWholeTeamAndSmallCallsNone) {
  KXCMS_REQUIRE_PATH("/proc/self/task");
  constexpr std::ptrdiff_t kTeam = 13;
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  omp_set_dynamic(0);
  omp_set_num_threads(kTeam);
  std::vector<unsigned char> samples(3 * 32768, 7);
  const std::ptrdiff_t before = threads();
  ASSERT_LT(before, kTeam);
  EXPECT_EQ(engine->Conversion(samples.data(), samples.data(), 32767), 0);
  EXPECT_EQ(threads(), before);
  EXPECT_EQ(engine->Conversion(samples.data(), samples.data(), 32768), 0);
  EXPECT_GE(threads(), kTeam);
}

TEST(CIccEngineS, AnInputTableReplacedByAProgramIsUsed) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB100_16, RGB), 0);
  std::vector<unsigned char> in(300, 200);
  std::vector<unsigned short> out(in.size());
  EXPECT_EQ(engine->Conversion(in.data(), out.data(), 100), 0);  // makes the compact forms
  for (unsigned int** table : {&engine->inLut0, &engine->inLut1, &engine->inLut2}) {
    auto* const replacement = new unsigned int[256];
    std::fill_n(replacement, 256, (*table)[17]);
    delete[] * table;
    *table = replacement;
  }
  std::vector<unsigned short> expected(3), all(in.size());
  EXPECT_EQ(engine->Conversion(in.data(), expected.data(), 1), 0);
  EXPECT_EQ(engine->Conversion(in.data(), all.data(), 100), 0);
  EXPECT_NE(all, out);
  for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i], expected[i % 3]);
}

TEST(CIccEngineS, StageBuildersAskOnlyForWhatTheyRead) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path()), 0);
  CLut16Type curvesOnly;
  curvesOnly.inputChannels = 2;
  curvesOnly.outputChannels = 3;
  curvesOnly.gridPoints = 9;
  curvesOnly.inputEntries = 3;
  curvesOnly.outputEntries = 0;
  curvesOnly.inputTables = new unsigned short[6]{0, 32768, 65535, 65535, 65535, 65535};
  engine->Set1DLutIn(&curvesOnly);
  EXPECT_EQ(engine->inLut0[255], PackIndex(65535));
  EXPECT_EQ(engine->inLut1[0], PackIndex(65535));
  EXPECT_EQ(engine->inLut2[255], 0u) << "a channel without a curve";
  const unsigned int cell = engine->cells[1][2][3][0][0];
  engine->Set3DLut(&curvesOnly, 0, 0, 0);
  engine->Set3DLut(nullptr, 0, 0, 0);
  engine->Set1DLutIn(nullptr);
  EXPECT_EQ(engine->cells[1][2][3][0][0], cell) << "no grid, no change";
  EXPECT_EQ(engine->inLut0[255], PackIndex(65535));
}

TEST(CIccEngineS, AdjustOutputOfSixteenBitInputKeepsTheStatus) {
  const TemporaryFile profile(WriteProfile(PlainProfile()));
  unsigned char curve[256] = {};
  const auto engine = MakeEngine();
  ASSERT_EQ(Select(*engine, profile.Path(), sRGB_16, RGB_16), 0);
  engine->engineStatus = 4711;
  EXPECT_EQ(engine->Adjust_Output(curve, curve, curve, 256), 13);
  EXPECT_EQ(engine->engineStatus, 4711);
}

TEST(LookupTag, ShapesThatThePipelineCannotUse) {
  const struct {
    const char* what;
    int in, out, grid, inEntries, outEntries;
    bool usable;
  } kRows[] = {
      {"plain", 3, 3, 17, 256, 256, true},
      {"two grid points", 3, 3, 2, 256, 256, true},
      {"33 grid points, 7 outputs", 3, 7, 33, 256, 256, true},
      {"no curve entries", 3, 3, 17, 0, 0, true},
      {"two inputs", 2, 3, 9, 256, 256, true},
      {"one input, as few bytes as can be", 1, 3, 2, 0, 0, true},
      {"no input", 0, 3, 9, 256, 256, true},
      {"two outputs", 3, 2, 9, 256, 256, true},
      {"one output", 3, 1, 33, 0, 5000, true},
      {"no output", 3, 0, 9, 256, 256, true},
      {"neither inputs nor outputs", 0, 0, 2, 3, 3, true},
      {"curves of more than 4096 entries", 3, 3, 9, 4097, 65535, true},
      {"four inputs", 4, 3, 9, 256, 256, false},
      {"255 inputs", 255, 3, 9, 0, 0, false},
      {"eight outputs", 3, 8, 9, 256, 256, false},
      {"one grid point", 3, 3, 1, 256, 256, false},
      {"34 grid points", 3, 3, 34, 256, 256, false},
  };
  for (const auto& row : kRows) {
    ProfileSpec spec = PlainSpec(row.grid, row.inEntries, row.outEntries);
    spec.tags.front().in = row.in;
    spec.tags.front().out = row.out;
    const TemporaryFile profile(WriteProfile(spec));
    const auto engine = MakeEngine();
    EXPECT_EQ(Select(*engine, profile.Path()), 0);
    EXPECT_EQ(engine->engineStatus, row.usable ? 12 : 65535) << row.what;
    EXPECT_EQ(engine->inLut0 != nullptr, row.usable) << row.what;
    // The code is asked for an output curve only when there is a tag.
    const auto refusing = MakeEngine();
    EXPECT_EQ(Select(*refusing, profile.Path(), CMYK), 0);
    EXPECT_EQ(refusing->outputColor, row.usable ? 65535 : 4) << row.what;
  }
}

TEST(LookupTag, TablesThatAreNotThere) {
  const struct {
    const char* what;
    int in, out, inEntries, outEntries;
    bool usable;
  } kRows[] = {
      {"nothing that would need one", 3, 0, 2, 2, true},
      {"nor of no channels", 0, 0, 65535, 65535, true},
      {"input tables of no channels", 0, 0, 3, 0, true},
      {"output tables of no channels", 0, 0, 0, 3, true},
      {"colour table of one output", 3, 1, 0, 0, false},
      {"input tables of one channel", 1, 0, 3, 0, false},
  };
  for (const auto& row : kRows) {
    CLut16Type lut;
    lut.inputChannels = static_cast<unsigned char>(row.in);
    lut.outputChannels = static_cast<unsigned char>(row.out);
    lut.gridPoints = 2;
    lut.inputEntries = static_cast<unsigned short>(row.inEntries);
    lut.outputEntries = static_cast<unsigned short>(row.outEntries);
    EXPECT_EQ(IsUsable(lut), row.usable) << row.what;
    EXPECT_EQ(LookupTag(&lut).Get(), row.usable ? &lut : nullptr) << row.what;
    if (!row.usable) continue;
    const TemporaryFile profile(WriteProfile(PlainProfile()));
    const auto engine = MakeEngine();
    ASSERT_EQ(Select(*engine, profile.Path()), 0);
    const unsigned int before = engine->cells[15][15][15][0][0];
    engine->Set1DLutIn(&lut);
    engine->Set3DLut(&lut, 0, 0, 0);
    EXPECT_NE(engine->cells[15][15][15][0][0], before) << row.what;
    EXPECT_EQ(engine->inLut2[255], row.in == 3 ? PackIndex(65535) : 0u) << row.what;
  }
}

TEST(LookupTag, CurvesAndClutThatCannotBeConverted) {
  reference::TagSpec good = PlainSpec(9, 256, 256).tags.front();
  good.form = reference::TagForm::kMab;
  const struct {
    const char* what;
    reference::TagSpec tag;
    bool usable;
  } kRows[] = {
      {"16-bit CLUT and curves", good, true},
      {"8-bit CLUT",
       [=] {
         auto t = good;
         t.precision = 1;
         return t;
       }(),
       false},
      {"no A curves",
       [=] {
         auto t = good;
         t.hasA = false;
         return t;
       }(),
       false},
      {"no B curves",
       [=] {
         auto t = good;
         t.hasB = false;
         return t;
       }(),
       false},
      {"no CLUT",
       [=] {
         auto t = good;
         t.hasClut = false;
         return t;
       }(),
       false},
      {"fewer points on the third axis",
       [=] {
         auto t = good;
         t.gridPerAxis = {9, 9, 5};
         return t;
       }(),
       false},
      {"more points on the third axis",
       [=] {
         auto t = good;
         t.gridPerAxis = {5, 5, 9};
         return t;
       }(),
       true},
      {"two inputs",
       [=] {
         auto t = good;
         t.in = 2;
         return t;
       }(),
       false},
      {"two outputs",
       [=] {
         auto t = good;
         t.out = 2;
         return t;
       }(),
       false},
      {"lut8",
       [=] {
         auto t = good;
         t.form = reference::TagForm::kLut8;
         return t;
       }(),
       false},
  };
  for (const auto& row : kRows) {
    ProfileSpec spec = PlainProfile();
    spec.tags = {row.tag};
    const TemporaryFile profile(WriteProfile(spec));
    const auto engine = MakeEngine();
    EXPECT_EQ(Select(*engine, profile.Path()), 0);
    EXPECT_EQ(engine->engineStatus, row.usable ? 12 : 65535) << row.what;
  }
}
