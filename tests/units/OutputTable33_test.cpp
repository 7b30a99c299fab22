#include "units/OutputTable33.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>

#include "tests/units/UnitFixtures.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;
using units_test::LinearCurves;
using units_test::OutputLut;
using units_test::Random;

namespace {

std::unique_ptr<OutputTable33> NewTable() {
  return std::make_unique<OutputTable33>();
}

void ExpectIdentity(const OutputTable33& table, int firstChannel, int lastChannel) {
  for (int c = firstChannel; c <= lastChannel; ++c) {
    for (unsigned int v = 0; v < 65536; ++v) ASSERT_EQ(table.lookup[c][v], v) << c;
  }
}

std::unique_ptr<CLut8Type> ByteLut(int channels, int entries,
                                   const std::vector<unsigned char>& bytes) {
  auto lut = std::make_unique<CLut8Type>();
  lut->inputChannels = 3;
  lut->outputChannels = static_cast<unsigned char>(channels);
  lut->outputEntries = static_cast<unsigned short>(entries);
  lut->outputTables = new unsigned char[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), lut->outputTables);
  return lut;
}

}  // namespace

TEST(OutputTable33, StartsAsIdentity) {
  const auto table = NewTable();
  EXPECT_STREQ(table->name, "OutputTable33");
  EXPECT_EQ(table->outputMode, 0u);
  EXPECT_EQ(table->step, 0.0);
  EXPECT_EQ(table->divisor, 0.0);
  EXPECT_EQ(table->channels, 0);
  EXPECT_EQ(table->entries, 0);
  ExpectIdentity(*table, 0, 6);
}

TEST(OutputTable33, ResetKeepsTheCounts) {
  const auto table = NewTable();
  const auto lut = OutputLut(7, LinearCurves(7, 256));
  table->Initial(lut.get());
  table->OutputCLR7_8();
  EXPECT_EQ(table->ResetTable(), 65536);
  ExpectIdentity(*table, 0, 6);
  EXPECT_EQ(table->curves[6][4095], 4095u);
  EXPECT_EQ(table->step, 257.0);
  EXPECT_EQ(table->divisor, 256.0);
  EXPECT_EQ(table->channels, 7);
  EXPECT_EQ(table->entries, 256);
  EXPECT_EQ(table->outputMode, 7u);
}

TEST(OutputTable33, DivisorIsNotTheStep) {
  const auto table = NewTable();
  const auto lut = OutputLut(3, LinearCurves(3, 256));
  EXPECT_EQ(table->Initial(lut.get()), 0);
  EXPECT_EQ(table->step, 257.0);
  EXPECT_EQ(table->divisor, 256.0);
  EXPECT_EQ(table->lookup[0][1], 1u);
  EXPECT_EQ(table->lookup[0][255], 256u);  // 257 * 255 / 256 = 255.996
  EXPECT_EQ(table->lookup[0][256], 257u);
  EXPECT_EQ(table->lookup[2][257], 257u);
  EXPECT_EQ(table->lookup[1][65535], 65535u);
}

// With 256 entries all numbers are exact: f is a multiple of 1 / 256.
TEST(OutputTable33, InterpolatesLikeWholeNumbers) {
  Random random(5);
  const auto table = NewTable();
  const auto lut = OutputLut(7, random.Words(7 * 256));
  table->Initial(lut.get());
  for (int c = 0; c < 7; ++c) {
    const unsigned short* curve = lut->outputTables + c * 256;
    for (int v = 0; v < 65535; ++v) {
      const int i = v / 257;
      const int f = v % 257;
      ASSERT_EQ(table->lookup[c][v],
                static_cast<unsigned>((curve[i] * (256 - f) + curve[i + 1] * f + 128) >> 8))
          << v;
    }
    EXPECT_EQ(table->lookup[c][65535], curve[255]);
  }
}

// Three entries: step 32767.5, divisor 65536 / 3. Above level 32767 the fraction is
// (2v - 65535) * 3 / 131072 and the value 65535 * (1 - fraction), down to -32763.
TEST(OutputTable33, ShortCurvesOvershoot) {
  const auto table = NewTable();
  const auto lut = OutputLut(1, {0, 65535, 0});
  table->Initial(lut.get());
  EXPECT_EQ(table->step, 32767.5);
  EXPECT_EQ(table->divisor, 65536.0 / 3);
  for (std::int64_t v = 32768; v < 65535; ++v) {
    const std::int64_t scaled = 65535 * (131072 - 3 * (2 * v - 65535));  // value * 131072
    const std::int64_t expected = (scaled + 65536) / 131072;
    ASSERT_EQ(table->lookup[0][v], static_cast<std::uint32_t>(expected)) << v;
  }
  EXPECT_EQ(table->lookup[0][65534], static_cast<std::uint32_t>(-32762))
      << "-32763.0 + 0.5, truncated";
  EXPECT_EQ(table->lookup[0][65535], 0u);
  ExpectIdentity(*table, 1, 6);
  table->OutputRGB8();
  EXPECT_EQ(table->lookup[0][65534], static_cast<std::uint32_t>(-128)) << "reduced as signed";
}

TEST(OutputTable33, FewerThanThreeEntriesGiveTheIdentityCurve) {
  for (int entries : {0, 1, 2}) {
    SCOPED_TRACE(entries);
    const auto table = NewTable();
    auto lut = units_test::EmptyLut(3, 4, 2);  // without arrays: they must not be touched
    lut->outputEntries = static_cast<unsigned short>(entries);
    EXPECT_EQ(table->Initial(lut.get()), 0);
    EXPECT_EQ(table->entries, 4096);
    EXPECT_EQ(table->channels, 4);
    EXPECT_EQ(table->step, 16.003663003663004);
    EXPECT_EQ(table->divisor, 15.0);
    for (int c = 0; c < 4; ++c) {
      EXPECT_EQ(table->curves[c][4095], 65520u);
      for (int v = 0; v < 65535; ++v) {
        const int i = static_cast<int>(v / 16.003663003663004);
        const double f = (v - i * 16.003663003663004) / 15.0;
        ASSERT_EQ(table->lookup[c][v],
                  static_cast<unsigned>(16.0 * i * (1 - f) + 16.0 * (i + 1) * f + 0.5));
      }
      EXPECT_EQ(table->lookup[c][65535], 65520u) << "the top entry, not 65535";
    }
    EXPECT_EQ(table->lookup[0][15], 16u) << "not identity: 15 / 15 * 16";
    EXPECT_EQ(table->curves[4][1], 1u);
  }
}

// Only the copy ends at 4096 entries: the lookups are made of all.
TEST(OutputTable33, LongCurvesAndManyChannels) {
  Random random(6);
  for (int entries : {4097, 5000, 16384, 65535}) {
    SCOPED_TRACE(entries);
    const auto table = NewTable();
    const auto lut = OutputLut(9, random.Words(9 * entries));
    EXPECT_EQ(table->Initial(lut.get()), 0);
    EXPECT_EQ(table->channels, 9);
    EXPECT_EQ(table->entries, entries);
    EXPECT_EQ(table->step, 65535.0 / (entries - 1));
    EXPECT_EQ(table->divisor, 65536.0 / entries);
    for (int c = 0; c < 7; ++c) {
      const unsigned short* curve = lut->outputTables + c * entries;
      EXPECT_TRUE(std::equal(curve, curve + 4096, table->curves[c]));
      for (int v = 0; v < 65535; ++v) {
        const int i = static_cast<int>(v / (65535.0 / (entries - 1)));
        const double f = (v - i * (65535.0 / (entries - 1))) / (65536.0 / entries);
        const double expected = curve[i] * (1 - f) + curve[i + 1] * f + 0.5;
        ASSERT_EQ(static_cast<int>(table->lookup[c][v]), static_cast<int>(expected))
            << c << ' ' << v;
      }
      EXPECT_EQ(table->lookup[c][65535], curve[entries - 1]);
    }
  }
}

TEST(OutputTable33, WhatLongCurvesGaveStays) {
  Random random(9);
  const auto lut = OutputLut(3, random.Words(3 * 5000));
  const auto table = NewTable();
  table->Initial(lut.get());
  const auto expected = NewTable();
  expected->Initial(lut.get());
  for (int c = 0; c < 3; ++c) EXPECT_EQ(table->Interpolation1D(c), 0);
  EXPECT_EQ(std::memcmp(table->lookup, expected->lookup, sizeof table->lookup), 0);

  // The caller's curves leave the top to the tag's last entry, as with shorter ones.
  unsigned char curve[300];
  for (int i = 0; i < 300; ++i) curve[i] = static_cast<unsigned char>(255 - i % 256);
  for (int count : {1, 256, 300}) {
    EXPECT_EQ(table->Initial(curve, curve, curve, count), 0);
    EXPECT_EQ(table->entries, 5000);
    EXPECT_EQ(table->lookup[1][0], 65280u);
    EXPECT_EQ(table->lookup[1][65535], lut->outputTables[5000 + 4999]);
  }
  EXPECT_EQ(table->lookup[2][65534], 0u) << "256 / 256 of the way from 1 to 0";
}

TEST(OutputTable33, MissingChannelsKeepIdentity) {
  unsigned char curve[256];
  std::fill_n(curve, 256, static_cast<unsigned char>(9));
  for (int channels : {0, 1, 2}) {
    const struct {
      int entries, expectedEntries;
      unsigned int topAfterCurves;  // expected of a channel that the tag lacks
    } kRows[] = {{0, 4096, 4095}, {3, 3, 2304}, {300, 300, 299}, {5000, 5000, 65535}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << row.entries << " entries");
      auto lut = units_test::EmptyLut(3, channels, 2);
      lut->outputEntries = static_cast<unsigned short>(row.entries);
      // An array of no values need not be there.
      if (channels > 0 && row.entries >= 3) {
        lut->outputTables = units_test::NewArray(LinearCurves(channels, row.entries));
      }
      const auto table = NewTable();
      EXPECT_EQ(table->Initial(lut.get()), 0);
      EXPECT_EQ(table->channels, channels);
      EXPECT_EQ(table->entries, row.expectedEntries);
      ExpectIdentity(*table, channels, 6);
      EXPECT_EQ(table->Initial(curve, curve, curve, 256), 0);
      EXPECT_EQ(table->lookup[2][30000], 9u * 256);
      EXPECT_EQ(table->lookup[2][65535], row.topAfterCurves);
    }
  }
}

TEST(OutputTable33, MissingTablesChangeNothing) {
  const auto table = NewTable();
  const auto lut = OutputLut(3, LinearCurves(3, 256));
  table->Initial(lut.get());
  auto absent = units_test::EmptyLut(3, 4, 2);
  absent->outputEntries = 3;
  CLut8Type bytes;
  bytes.outputChannels = 3;
  bytes.outputEntries = 256;
  unsigned char curve[2] = {1, 2};
  EXPECT_EQ(table->Initial(absent.get()), 0);
  EXPECT_EQ(table->Initial(&bytes), 0);
  EXPECT_EQ(table->Initial(static_cast<CLut16Type*>(nullptr)), 0);
  EXPECT_EQ(table->Initial(static_cast<CLut8Type*>(nullptr)), 0);
  EXPECT_EQ(table->Initial(curve, nullptr, curve, 2), 0);
  EXPECT_EQ(table->channels, 3);
  EXPECT_EQ(table->entries, 256);
  EXPECT_EQ(table->curves[0][1], 257u);
  EXPECT_EQ(table->lookup[0][1], 1u);
}

TEST(OutputTable33, Interpolation1DSurvivesAnyFields) {
  const auto table = NewTable();
  for (int c : {-1, 7, INT_MIN, INT_MAX}) EXPECT_EQ(table->Interpolation1D(c), 0);
  ExpectIdentity(*table, 0, 6);
  const struct {
    const char* what;
    double step, divisor;
    int entries;
    unsigned int top;
  } kRows[] = {
      {"nothing set", 0.0, 0.0, 0, 0},
      {"top entry skipped", 257.0, 256.0, 0, 255},
      {"top entry skipped below", 257.0, 256.0, -1, 255},
      {"top entry that is not held stays", 257.0, 256.0, 4097, 65535},
      {"top entry of a full curve", 257.0, 256.0, 4096, 4095},
      {"tiny step", 1e-300, 1e-300, 1, 0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    table->ResetTable();
    table->step = row.step;
    table->divisor = row.divisor;
    table->entries = row.entries;
    EXPECT_EQ(table->Interpolation1D(1), 0);
    EXPECT_EQ(table->lookup[1][65535], row.top);
    ExpectIdentity(*table, 0, 0);
    ExpectIdentity(*table, 2, 6);
  }
}

TEST(OutputTable33, SameLookupForAnyThreadCount) {
  Random random(7);
  const auto lut = OutputLut(3, random.Words(3 * 1000));
  const auto expected = NewTable();
  units_test::WithThreads(1, [&] { expected->Initial(lut.get()); });
  for (int threads : units_test::kThreadCounts) {
    const auto table = NewTable();
    units_test::WithThreads(threads, [&] { table->Initial(lut.get()); });
    EXPECT_EQ(std::memcmp(table->lookup, expected->lookup, sizeof table->lookup), 0) << threads;
  }
}

TEST(OutputTable33, ExpandsThroughADerivedInterpolation) {
  class Recording : public OutputTable33 {
   public:
    int Interpolation1D(int c) override {
      asked.push_back(c);
      return 0;
    }
    std::vector<int> asked;
  };
  const auto table = std::make_unique<Recording>();
  OutputTable33& base = *table;
  const auto lut = OutputLut(4, LinearCurves(4, 3));
  base.Initial(lut.get());
  EXPECT_EQ(table->asked, (std::vector<int>{0, 1, 2, 3}));
  unsigned char curve[1] = {1};
  base.Initial(curve, curve, curve, 1);
  EXPECT_EQ(table->asked, (std::vector<int>{0, 1, 2, 3, 0, 1, 2}));
}

TEST(OutputTable33, TakesByteTables) {
  const auto table = NewTable();
  std::vector<unsigned char> bytes;
  for (int i = 0; i < 3 * 256; ++i) bytes.push_back(static_cast<unsigned char>(i * 7 + i / 256));
  const auto lut = ByteLut(3, 256, bytes);
  EXPECT_EQ(table->Initial(lut.get()), 0);
  for (int c = 0; c < 3; ++c) {
    for (int x = 0; x < 256; ++x) ASSERT_EQ(table->lookup[c][x], bytes[c * 256 + x]);
    EXPECT_EQ(table->lookup[c][256], 256u);
  }
  ExpectIdentity(*table, 3, 6);
  EXPECT_EQ(table->channels, 0);
  EXPECT_EQ(table->entries, 0);
}

TEST(OutputTable33, ShortByteTablesRunOnAndEndInZeros) {
  const auto table = NewTable();
  const auto lut = ByteLut(2, 2, {11, 12, 21, 22});
  EXPECT_EQ(table->Initial(lut.get()), 0);
  const unsigned int expected[2][5] = {{11, 12, 21, 22, 0}, {21, 22, 0, 0, 0}};
  for (int c = 0; c < 2; ++c) {
    for (int x = 0; x < 5; ++x) EXPECT_EQ(table->lookup[c][x], expected[c][x]) << c << ' ' << x;
    EXPECT_EQ(table->lookup[c][255], 0u);
  }
}

TEST(OutputTable33, TakesCallerCurves) {
  const auto table = NewTable();
  const auto lut = OutputLut(3, LinearCurves(3, 3));
  table->Initial(lut.get());
  unsigned char r[256], g[256], b[256];
  for (int i = 0; i < 256; ++i) {
    r[i] = static_cast<unsigned char>(i);
    g[i] = static_cast<unsigned char>(255 - i);
    b[i] = 77;
  }
  EXPECT_EQ(table->Initial(r, g, b, 256), 0);
  EXPECT_EQ(table->step, 257.0);
  EXPECT_EQ(table->divisor, 256.0);
  EXPECT_EQ(table->entries, 3);
  EXPECT_EQ(table->lookup[0][257], 256u);
  EXPECT_EQ(table->lookup[0][300], 299u);  // 256 + 43 / 256 * 256
  EXPECT_EQ(table->lookup[1][0], 65280u);
  EXPECT_EQ(table->lookup[2][12345], 77u * 256);
  EXPECT_EQ(table->lookup[0][65535], 512u) << "entry 2: the older count stays";

  const auto longCurve = std::make_unique<unsigned char[]>(5000);
  std::fill_n(longCurve.get(), 5000, static_cast<unsigned char>(1));
  EXPECT_EQ(table->Initial(longCurve.get(), longCurve.get(), longCurve.get(), 5000), 0);
  EXPECT_EQ(table->curves[2][4095], 256u);
  EXPECT_EQ(table->curves[3][0], 0u);
  EXPECT_EQ(table->Initial(nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(table->curves[0][0], 256u);
}

// Builders.

TEST(OutputTable33, Builders) {
  using Table = OutputTable33;
  const struct {
    const char* what;
    int (*build)(Table&);
    unsigned int mode;
    int code, reducedChannels;
  } kRows[] = {
      {"RGB8", [](Table& t) { return t.OutputRGB8(); }, 1, 0, 3},
      {"Gamma100", [](Table& t) { return t.OutputGamma100(Apple100); }, 1, 24, 3},
      {"CMYK_8", [](Table& t) { return t.OutputCMYK_8(); }, 3, 4, 4},
      {"CMYK_16", [](Table& t) { return t.OutputCMYK_16(); }, 2, 5, 0},
      {"CLR6_8", [](Table& t) { return t.OutputCLR6_8(); }, 5, 16, 6},
      {"CLR6_16", [](Table& t) { return t.OutputCLR6_16(); }, 4, 17, 0},
      {"CLR7_8", [](Table& t) { return t.OutputCLR7_8(); }, 7, 18, 7},
      {"CLR7_16", [](Table& t) { return t.OutputCLR7_16(); }, 6, 19, 0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto table = NewTable();
    table->outputMode = 99;
    EXPECT_EQ(row.build(*table), row.code);
    EXPECT_EQ(table->outputMode, row.mode);
    for (int c = 0; c < row.reducedChannels; ++c) {
      for (int v = 0; v < 65536; ++v) {
        ASSERT_EQ(table->lookup[c][v], static_cast<unsigned>(std::min(255, (v + 127) / 256)));
      }
    }
    ExpectIdentity(*table, row.reducedChannels, 6);
  }
}

TEST(OutputTable33, LabBuilders) {
  auto table = NewTable();
  EXPECT_EQ(table->OutputLab_8(), 2);
  EXPECT_EQ(table->outputMode, 1u);
  const struct {
    const char* what;
    int channel, level;
    unsigned int expected8, expected16;
  } kRows[] = {
      {"L* 127 rounds down", 0, 127, 0, 127},
      {"L* adds 128, not 127", 0, 128, 1, 128},
      {"L* top is limited", 0, 65535, 255, 65535},
      {"a* 0", 1, 32768, 0, 0},
      {"a* lowest", 1, 0, 128, 32768},
      {"a* is not rounded", 1, 33023, 0, 255},
      {"b* highest", 2, 65535, 127, 32767},
      {"a fourth channel stays", 3, 32768, 32768, 32768},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(table->lookup[row.channel][row.level], row.expected8) << row.what;
  }
  table = NewTable();
  table->outputMode = 99;
  EXPECT_EQ(table->OutputLab_16(), 3);
  EXPECT_EQ(table->outputMode, 0u);
  for (const auto& row : kRows) {
    EXPECT_EQ(table->lookup[row.channel][row.level], row.expected16) << row.what;
  }
}

TEST(OutputTable33, FixedCurveBuilders) {
  using Table = OutputTable33;
  const struct {
    const char* what;
    int (*build)(Table&);
    unsigned int mode;
    int code, level;
    unsigned int expected, top;
  } kRows[] = {
      {"sRGB", [](Table& t) { return t.OutputGamma_sRGB(); }, 1, 8, 32768, 189, 255},
      {"sRGB_16", [](Table& t) { return t.OutputGamma_sRGB_16(); }, 0, 9, 32768, 48191, 65535},
      {"180", [](Table& t) { return t.OutputGamma180(Adobe); }, 1, 22, 32768, 175, 255},
      {"180_16", [](Table& t) { return t.OutputGamma180_16(Apple_16); }, 0, 27, 32768, 44589,
       65535},
      // The top level keeps what the table had, 1234; the 8-bit builders reduce it.
      {"Photo", [](Table& t) { return t.OutputGamma_KodakPhoto(); }, 1, 34, 1024, 27, 5},
      {"Photo_16", [](Table& t) { return t.OutputGamma_KodakPhoto_16(); }, 0, 35, 1023, 6774, 1234},
      {"Mix", [](Table& t) { return t.OutputGamma_KodakMix(); }, 1, 36, 2048, 30, 5},
      {"Mix_16 without the 0.2 of its twin: (2048 / 65535)^(1.5 / 2.2) * 65535 * 1535 "
       "/ 1536",
       [](Table& t) { return t.OutputGamma_KodakMix_16(); }, 0, 37, 2047, 6165, 1234},
      {"Text", [](Table& t) { return t.OutputGamma_KodakText(); }, 1, 38, 10240, 65, 5},
      {"Text_16", [](Table& t) { return t.OutputGamma_KodakText_16(); }, 0, 39, 10240, 16722, 1234},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto table = NewTable();
    table->outputMode = 99;
    for (int c = 0; c < 7; ++c) table->lookup[c][65535] = 1234;
    EXPECT_EQ(row.build(*table), row.code);
    EXPECT_EQ(table->outputMode, row.mode);
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(table->lookup[c][row.level], row.expected);
      EXPECT_EQ(table->lookup[c][65535], row.top);
    }
    EXPECT_EQ(table->lookup[3][32768], 32768u);
  }
}

TEST(OutputTable33, KodakCurveWritesOnlyItsRange) {
  const auto table = NewTable();
  const struct {
    const char* what;
    int x0, x1;
    double g, d, gd;
  } kRows[] = {
      {"ordinary", 0, 1024, 1.2, 0.0, 2.2},      {"toe to the end", 0, 65535, 1.0, 0.0, 1.0},
      {"toe past the end", 0, 65536, 1, 0, 1},   {"toe far past the end", 0, INT_MAX, 1, 0, 1},
      {"x1 below 0", -10, -5, 1.0, 0.0, 1.0},    {"x0 after x1", 4000, 1000, 1.0, 0.0, 1.0},
      {"no gamma unit", 0, 1024, 1.0, 0.0, 0.0}, {"extremes", INT_MIN, INT_MIN, 0.0, 1e9, 1.0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    table->ResetTable();
    table->outputMode = 42;
    EXPECT_EQ(table->KodakCurve(row.x0, row.x1, row.g, row.d, row.gd), 0);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(table->lookup[c][65535], 65535u);
    EXPECT_EQ(table->outputMode, 42u);
    EXPECT_EQ(std::memcmp(table->lookup[0], table->lookup[2], sizeof table->lookup[0]), 0);
    ExpectIdentity(*table, 3, 6);
  }
}

// Conversions.

TEST(OutputTable33, ConvertsOneSampleSet) {
  const auto table = NewTable();
  table->lookup[0][1] = 0x12345;
  table->lookup[1][2] = 20;
  table->lookup[2][3] = 30;
  unsigned short c[7] = {1, 2, 3, 4, 5, 6, 7};
  table->Conversion(c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
  const unsigned short expected[7] = {0x2345, 20, 30, 4, 5, 6, 7};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(c[i], expected[i]);
  unsigned char byte = 1;
  table->Conversion(&byte, 1);
  EXPECT_EQ(byte, 1);
}

TEST(OutputTable33, WritesTheSamplesOfEachType) {
  const auto table = NewTable();
  for (int c = 0; c < 7; ++c) {
    for (unsigned int v = 0; v < 65536; ++v) table->lookup[c][v] = v + 0x10000 + 256u * c + c;
  }
  constexpr int kPixels = 3;
  constexpr int kBytes = kPixels * 7 * 2 + 1;
  for (int type = 0; type < 65536; type += (type > 600 ? 977 : 1)) {
    SCOPED_TRACE(type);
    const int inputClass = type >> 8;
    const int outputClass = type & 0xFF;
    const int channels = outputClass <= 2 ? 3 : outputClass <= 4 ? 4 : 6;
    const int width = outputClass % 2 == 1 ? 1 : 2;
    // The seven-colour classes 7 and 8 write nothing.
    const bool known = (inputClass == 1 || inputClass == 2) && outputClass >= 1 && outputClass <= 6;

    Info info;
    info.conversionType = type;
    info.workingCount = kPixels;
    info.workingSize = kPixels * 7;
    info.workingBuf = new unsigned short[info.workingSize];
    for (int i = 0; i < info.workingSize; ++i) {
      info.workingBuf[i] = static_cast<unsigned short>(300 * i);
    }
    unsigned char destination[kBytes];
    std::memset(destination, 0xEE, sizeof destination);
    info.dstBuf = destination + 1;  // no alignment needed
    EXPECT_EQ(table->Conversion(&info), 0);
    EXPECT_EQ(destination[0], 0xEE);
    const int written = known ? kPixels * channels : 0;
    for (int i = 0; i < kPixels * 7 * 2 / width; ++i) {
      const int c = i % channels;
      const int value = i < written ? 300 * i + 257 * c : 0xEEEE;
      ASSERT_EQ(destination[1 + i * width], value & 0xFF) << i;
      if (width == 2) {
        ASSERT_EQ(destination[2 + i * 2], value >> 8 & 0xFF) << i;
      }
    }
  }
}

TEST(OutputTable33, WritesNothingItShouldNot) {
  const auto table = NewTable();
  const struct {
    const char* what;
    int count, size, written;
  } kRows[] = {
      {"no pixels", 0, 6, 0},
      {"negative count", -7, 6, 0},
      {"all", 2, 6, 2},
      {"buffer smaller than the count", 2, 5, 1},
      {"buffer of unknown size", 2, 0, 2},
      {"count far beyond the buffer", INT_MAX, 6, 2},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Info info;
    info.conversionType = 258;
    info.workingBuf = new unsigned short[6]{1, 2, 3, 4, 5, 6};
    info.workingCount = row.count;
    info.workingSize = row.size;
    unsigned short destination[6] = {};
    info.dstBuf = reinterpret_cast<unsigned char*>(destination);
    EXPECT_EQ(table->Conversion(&info), 0);
    // The identity of a fresh table copies.
    for (int i = 0; i < 6; ++i) EXPECT_EQ(destination[i], i < 3 * row.written ? i + 1 : 0) << i;
    info.dstBuf = nullptr;
    EXPECT_EQ(table->Conversion(&info), 0);
  }
  Info empty;
  empty.conversionType = 258;
  empty.workingCount = 1;
  unsigned char bytes[6] = {};
  empty.dstBuf = bytes;
  EXPECT_EQ(table->Conversion(&empty), 0);
  EXPECT_EQ(table->Conversion(static_cast<Info*>(nullptr)), 0);
}

TEST(OutputTable33, ARefusedCountIsWrittenAsFarAsTheWorkingBufferGoes) {
  const auto table = NewTable();
  const struct {
    const char* what;
    int count, refused, written;
  } kRows[] = {{"fewer pixels", 4, 2, 2}, {"more pixels", 4, 9, 4}};
  for (const auto& row : kRows) {
    Info info;
    unsigned short destination[27] = {};
    auto* const bytes = reinterpret_cast<unsigned char*>(destination);
    info.conversionType = 258;
    info.CheckWorkingBuf(nullptr, bytes, row.count);
    std::fill_n(info.workingBuf, info.workingSize, static_cast<unsigned short>(77));
    info.conversionType = 256;
    ASSERT_EQ(info.CheckWorkingBuf(nullptr, bytes, row.refused), 65534);
    info.conversionType = 258;
    EXPECT_EQ(table->Conversion(&info), 0);
    for (int i = 0; i < 27; ++i) EXPECT_EQ(destination[i], i < 3 * row.written ? 77 : 0) << i;
  }
}
