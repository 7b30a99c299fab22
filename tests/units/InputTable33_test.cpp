#include "units/InputTable33.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "tests/units/UnitFixtures.h"
#include "units/InputTable34.h"
#include "units/InputTable36.h"
#include "units/InputTable37.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;
using units_test::InputLut;
using units_test::LinearCurves;
using units_test::Random;

namespace {

constexpr auto kUnknownColor = static_cast<ColorSpaceSignature>(65535);

std::unique_ptr<InputTable33> TableFor(CLut16Type& lut, ColorSpaceSignature color) {
  auto table = std::make_unique<InputTable33>();
  EXPECT_EQ(table->Initial(&lut, color), 0);
  return table;
}

// A table whose lookups differ at every level and channel, and the values they hold.
unsigned int Marker(int channel, int level) {
  return 1000000u * (channel + 1) + level;
}

std::unique_ptr<InputTable33> MarkedTable() {
  auto table = std::make_unique<InputTable33>();
  for (int c = 0; c < 3; ++c) {
    for (int v = 0; v < 65536; ++v) table->lookup[c][v] = Marker(c, v);
  }
  return table;
}

// The curve's value in whole numbers. With 65535 odd there are no ties.
unsigned int ExactInterpolation(const unsigned short* curve, int entries, int level) {
  const std::int64_t position = std::int64_t{level} * (entries - 1);
  const std::int64_t i = position / 65535;
  const std::int64_t rest = position % 65535;
  const std::int64_t next = rest == 0 ? 0 : curve[i + 1];
  const std::int64_t sum = curve[i] * (65535 - rest) + next * rest;
  return static_cast<unsigned int>((2 * sum + 65535) / (2 * 65535));
}

}  // namespace

TEST(InputTable33, StartsEmpty) {
  const auto table = std::make_unique<InputTable33>();
  EXPECT_STREQ(table->name, "InputTable33");
  EXPECT_EQ(table->depth, 16u);
  EXPECT_EQ(table->step, 0.0);
  for (int c = 0; c < 3; ++c) {
    for (unsigned int value : table->curves[c]) ASSERT_EQ(value, 0u);
    for (unsigned int value : table->lookup[c]) ASSERT_EQ(value, 0u);
  }
}

TEST(InputTable33, FewerThanThreeEntriesMeanIdentity) {
  for (int entries : {0, 1, 2}) {
    SCOPED_TRACE(entries);
    auto lut = units_test::EmptyLut(3, 3, 2);  // without arrays: they must not be touched
    lut->inputEntries = static_cast<unsigned short>(entries);
    const auto table = TableFor(*lut, RGB_16);
    EXPECT_EQ(table->step, 65535.0 / 4095);
    EXPECT_EQ(table->curves[2][4095], 65520u);
    for (int c = 0; c < 3; ++c) {
      for (unsigned int v = 0; v < 65536; ++v) ASSERT_EQ(table->lookup[c][v], v);
    }
    table->Change_Lut16_To_Lut8();
    for (unsigned int x = 0; x < 255; ++x) ASSERT_EQ(table->lookup[1][x], 256 * x);
    EXPECT_EQ(table->lookup[1][255], 65535u);
    EXPECT_EQ(table->depth, 8u);
  }
}

TEST(InputTable33, TwoEntriesAreNotInterpolated) {
  for (const std::vector<unsigned short>& curve :
       {std::vector<unsigned short>{0, 65535}, std::vector<unsigned short>{65535, 0}}) {
    std::vector<unsigned short> curves;
    for (int c = 0; c < 3; ++c) curves.insert(curves.end(), curve.begin(), curve.end());
    const auto lut = InputLut(3, curves);
    const auto table = TableFor(*lut, RGB_16);
    EXPECT_EQ(table->lookup[0][0], 0u);
    EXPECT_EQ(table->lookup[0][12345], 12345u);
    EXPECT_EQ(table->lookup[2][65535], 65535u);
  }
}

TEST(InputTable33, LinearCurveOf256EntriesIsIdentity) {
  const auto lut = InputLut(3, LinearCurves(3, 256));
  const auto table = TableFor(*lut, RGB_16);
  EXPECT_EQ(table->step, 257.0);
  for (int c = 0; c < 3; ++c) {
    for (unsigned int v = 0; v < 65536; ++v) ASSERT_EQ(table->lookup[c][v], v);
  }
}

TEST(InputTable33, InterpolatesLikeWholeNumbers) {
  Random random(1);
  for (int entries : {3, 4, 16, 255, 256, 1000, 4095, 4096}) {
    SCOPED_TRACE(entries);
    const auto lut = InputLut(3, random.Words(3 * entries));
    const auto table = TableFor(*lut, RGB_16);
    for (int c = 0; c < 3; ++c) {
      for (int v = 0; v < 65536; ++v) {
        ASSERT_EQ(table->lookup[c][v],
                  ExactInterpolation(lut->inputTables + c * entries, entries, v))
            << c << ' ' << v;
      }
    }
  }
}

// Only the copy ends at 4096 entries: the lookups are made of all.
TEST(InputTable33, LongCurvesAreReadFromTheTag) {
  Random random(2);
  for (int entries : {4097, 5000, 8191, 16384, 65535}) {
    SCOPED_TRACE(entries);
    const auto lut = InputLut(3, random.Words(3 * entries));
    const auto table = TableFor(*lut, RGB_16);
    EXPECT_EQ(table->step, 65535.0 / (entries - 1));
    for (int c = 0; c < 3; ++c) {
      const unsigned short* curve = lut->inputTables + c * entries;
      EXPECT_TRUE(std::equal(curve, curve + 4096, table->curves[c]));
      for (int v = 0; v < 65536; ++v) {
        ASSERT_EQ(table->lookup[c][v], ExactInterpolation(curve, entries, v)) << c << ' ' << v;
      }
      EXPECT_EQ(table->lookup[c][65535], curve[entries - 1]);
    }
    const auto bytes = TableFor(*lut, RGB);
    for (int x = 0; x < 256; ++x) {
      ASSERT_EQ(bytes->lookup[2][x], table->lookup[2][x == 255 ? 65535 : x * 256]) << x;
    }
    // One sample set finds past the held entries what Initial found there, after the change to
    // 8-bit levels too.
    for (InputTable33* each : {table.get(), bytes.get()}) {
      for (int v = 0; v < 65536; v += 13) {
        unsigned short c[3], o[4] = {};
        std::fill_n(c, 3, static_cast<unsigned short>(v));
        each->Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
        ASSERT_EQ(c[1], ExactInterpolation(lut->inputTables + entries, entries, v)) << v;
      }
    }
  }
}

TEST(InputTable33, AStraightCurveOf5000EntriesIsIdentity) {
  const auto lut = InputLut(3, LinearCurves(3, 5000));
  const auto table = TableFor(*lut, RGB_16);
  for (int v : {0, 1, 5000, 20000, 53683, 53684, 60000, 65534, 65535}) {
    EXPECT_NEAR(static_cast<int>(table->lookup[0][v]), v, 1) << "entries are rounded down";
  }
}

TEST(InputTable33, UsesTheFirstThreeChannels) {
  Random random(3);
  const auto wide = InputLut(15, random.Words(15 * 16));
  auto table = TableFor(*wide, RGB_16);
  EXPECT_EQ(table->lookup[2][65535], wide->inputTables[2 * 16 + 15]);

  const auto narrow = InputLut(1, LinearCurves(1, 256));
  table = TableFor(*narrow, RGB_16);
  EXPECT_EQ(table->lookup[0][500], 500u);
  EXPECT_EQ(table->lookup[1][500], 0u) << "a missing curve is zero";
  EXPECT_EQ(table->lookup[2][65535], 0u);
}

TEST(InputTable33, MissingChannelsAreZero) {
  for (int channels : {0, 1, 2}) {
    for (int entries : {0, 2, 3, 256, 5000}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << entries << " entries");
      auto lut = units_test::EmptyLut(channels, 3, 2);
      lut->inputEntries = static_cast<unsigned short>(entries);
      // An array of no values need not be there.
      if (channels > 0 && entries >= 3) {
        lut->inputTables = units_test::NewArray(LinearCurves(channels, entries));
      }
      for (const ColorSpaceSignature color : {RGB, RGB_16}) {
        const auto table = TableFor(*lut, color);
        EXPECT_EQ(table->step, entries < 3 ? 65535.0 / 4095 : 65535.0 / (entries - 1));
        EXPECT_EQ(table->depth, color == RGB ? 8u : 16u);
        for (int c = 0; c < 3; ++c) {
          EXPECT_EQ(table->lookup[c][color == RGB ? 255 : 65535], c < channels ? 65535u : 0u);
          if (c < channels) continue;
          for (unsigned int value : table->lookup[c]) ASSERT_EQ(value, 0u) << c;
          for (unsigned int value : table->curves[c]) ASSERT_EQ(value, 0u) << c;
        }
      }
    }
  }
}

TEST(InputTable33, MissingTablesChangeNothing) {
  auto lut = InputLut(3, LinearCurves(3, 256));
  const auto table = TableFor(*lut, RGB);
  auto absent = units_test::EmptyLut(3, 3, 2);
  absent->inputEntries = 3;
  EXPECT_EQ(table->Initial(absent.get(), RGB_16), 0);
  EXPECT_EQ(table->Initial(static_cast<CLut16Type*>(nullptr), RGB_16), 0);
  EXPECT_EQ(table->Initial(static_cast<InputTable33*>(nullptr)), 0);
  EXPECT_EQ(table->step, 257.0);
  EXPECT_EQ(table->depth, 8u);
  EXPECT_EQ(table->lookup[0][1], 256u);
}

TEST(InputTable33, IndexesForTheInputColor) {
  const auto lut = InputLut(3, LinearCurves(3, 256));
  const struct {
    const char* what;
    ColorSpaceSignature color;
    unsigned int depth, at1InL, at1InA;
  } kRows[] = {
      {"RGB", RGB, 8, 256, 256},
      {"RGB_16 stays", RGB_16, 16, 1, 1},
      {"Lab", Lab, 8, 256, 129 * 256 - 1},
      {"Lab_16", Lab_16, 16, 1, 32769},
      {"CMYK counts as 8-bit", CMYK, 8, 256, 256},
      {"so does every 16-bit code but RGB_16 and Lab_16", sRGB_16, 8, 256, 256},
      {"and an unknown one", kUnknownColor, 8, 256, 256},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto table = TableFor(*lut, row.color);
    EXPECT_EQ(table->depth, row.depth);
    EXPECT_EQ(table->lookup[0][1], row.at1InL);
    EXPECT_EQ(table->lookup[1][1], row.at1InA);
    EXPECT_EQ(table->lookup[2][1], row.at1InA);
  }
}

TEST(InputTable33, EightBitLevels) {
  const auto table = MarkedTable();
  EXPECT_EQ(table->Change_Lut16_To_Lut8(), 0);
  for (int round = 1; round <= 2; ++round) {
    SCOPED_TRACE(round);  // a second change reads the same positions again
    for (int c = 0; c < 3; ++c) {
      for (int x = 0; x < 255; ++x) ASSERT_EQ(table->lookup[c][x], Marker(c, x * 256));
      EXPECT_EQ(table->lookup[c][255], Marker(c, 65535));
      EXPECT_EQ(table->lookup[c][256], Marker(c, 256));
    }
    EXPECT_EQ(table->depth, 8u);
    table->Change_Lut16_To_Lut8();
  }
}

TEST(InputTable33, EightBitLab) {
  const auto table = MarkedTable();
  EXPECT_EQ(table->Change_Lut16_To_Lab8(), 0);
  EXPECT_EQ(table->depth, 8u);
  const struct {
    const char* what;
    int channel, x;
    unsigned int expected;
  } kRows[] = {
      {"L* 1", 0, 1, Marker(0, 256)},
      {"L* 255, without the special case of the top", 0, 255, Marker(0, 65280)},
      {"a* 0", 1, 0, Marker(1, 32768) - 1},
      {"b* 0", 2, 0, Marker(2, 32768) - 1},
      {"a* 1", 1, 1, Marker(1, 33024) - 1},
      {"a* 127", 1, 127, Marker(1, 65280) - 1},
      {"a* -128, the middle: reads what a* 0 wrote", 1, 128, Marker(1, 32768)},
      {"b* -128", 2, 128, Marker(2, 32768)},
      {"a* -127", 1, 129, Marker(1, 256) + 1},
      {"a* -1", 1, 255, Marker(1, 32512) + 1},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(table->lookup[row.channel][row.x], row.expected) << row.what;
  }
}

TEST(InputTable33, EightBitLabWrapsBelowZero) {
  const auto table = std::make_unique<InputTable33>();
  table->Change_Lut16_To_Lab8();
  EXPECT_EQ(table->lookup[1][1], 0xFFFFFFFFu);
  EXPECT_EQ(table->lookup[1][128], 0u);
  EXPECT_EQ(table->lookup[1][129], 1u);
}

TEST(InputTable33, SixteenBitLab) {
  const auto table = MarkedTable();
  table->depth = 8;
  EXPECT_EQ(table->Change_Lut16_To_Lab16(), 0);
  EXPECT_EQ(table->depth, 16u);
  const struct {
    const char* what;
    int channel, v, expectedLevel;
  } kRows[] = {
      {"L* stays", 0, 0, 0},
      {"a* 0", 1, 0, 32768},
      {"the most negative a*", 1, 32768, 0},
      {"last swapped pair", 1, 32766, 65534},
      {"last swapped pair, upper", 2, 65534, 32766},
      {"32767 unswapped", 1, 32767, 32767},
      {"65535 unswapped", 2, 65535, 65535},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(table->lookup[row.channel][row.v], Marker(row.channel, row.expectedLevel))
        << row.what;
  }
}

TEST(InputTable33, CopiesLookupAndDepthOnly) {
  const auto lut = InputLut(3, LinearCurves(3, 256));
  const auto source = TableFor(*lut, RGB);
  const auto table = std::make_unique<InputTable33>();
  EXPECT_EQ(table->Initial(source.get()), 0);
  EXPECT_EQ(std::memcmp(table->lookup, source->lookup, sizeof table->lookup), 0);
  EXPECT_EQ(table->depth, 8u);
  EXPECT_EQ(table->step, 0.0);
  EXPECT_EQ(table->curves[0][1], 0u);
}

TEST(InputTable33, ConvertsOneSampleSet) {
  auto table = std::make_unique<InputTable33>();
  unsigned short c[3] = {1, 2, 3}, o[4] = {4, 5, 6, 7};
  table->Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
  EXPECT_EQ(c[0], 1) << "nothing to convert with";

  std::vector<unsigned short> curves = {0, 1000, 65535, 65535, 1000, 0, 7, 7, 7};
  const auto lut = InputLut(3, curves);
  table = TableFor(*lut, RGB_16);
  c[0] = c[1] = c[2] = 16384;
  table->Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
  EXPECT_EQ(c[0], ExactInterpolation(&curves[0], 3, 16384));
  EXPECT_EQ(c[1], ExactInterpolation(&curves[3], 3, 16384));
  EXPECT_EQ(c[2], 7);
  c[0] = c[1] = c[2] = 65535;
  table->Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
  EXPECT_EQ(c[0], 65535);
  EXPECT_EQ(c[1], 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(o[i], 4 + i);
}

TEST(InputTable33, ExpandsThroughADerivedConversion) {
  class Doubling : public InputTable33 {
   public:
    using InputTable33::Conversion;
    int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short&,
                   unsigned short&, unsigned short&, unsigned short&) override {
      c0 = static_cast<unsigned short>(2 * c0);
      c1 = static_cast<unsigned short>(c1 + 1);
      c2 = 5;
      return 0;
    }
  };
  for (int entries : {3, 5000}) {
    SCOPED_TRACE(entries);
    const auto table = std::make_unique<Doubling>();
    const auto lut = InputLut(3, LinearCurves(3, entries));
    table->Initial(lut.get(), RGB_16);
    EXPECT_EQ(table->lookup[0][40000], 14464u) << "kept to 16 bits";
    EXPECT_EQ(table->lookup[0][60000], 54464u);
    EXPECT_EQ(table->lookup[1][65534], 65535u);
    EXPECT_EQ(table->lookup[2][9], 5u);
    EXPECT_EQ(table->lookup[2][65535], 65535u) << "the top is the last entry itself";
  }
}

// Conversion of whole buffers, for the four classes that share it.

namespace {

struct BufferClass {
  const char* name;
  std::unique_ptr<InputTable33> (*make)();
  int type8, type16, samples;
};

template <typename Table>
std::unique_ptr<InputTable33> Make() {
  return std::make_unique<Table>();
}

const BufferClass kClasses[] = {
    {"InputTable33", Make<InputTable33>, 257, 513, 3},
    {"InputTable34", Make<InputTable34>, 259, 515, 4},
    {"InputTable36", Make<InputTable36>, 261, 517, 6},
    {"InputTable37", Make<InputTable37>, 263, 519, 7},
};

constexpr unsigned short kUntouched = 0xABCD;

// A run state with a working buffer of known content.
struct Buffers {
  Buffers(int type, int pixels, int workingSamples, unsigned char* source) {
    info.conversionType = type;
    info.workingBuf = new unsigned short[workingSamples];
    std::fill_n(info.workingBuf, workingSamples, kUntouched);
    info.workingCount = pixels;
    info.workingSize = workingSamples;
    info.srcBuf = source;
  }
  Info info;
};

}  // namespace

TEST(InputTableBuffers, NamesAndSpareFields) {
  for (const BufferClass& row : kClasses) EXPECT_STREQ(row.make()->name, row.name);
  EXPECT_EQ(std::make_unique<InputTable34>()->extra, 0u);
  EXPECT_EQ(std::make_unique<InputTable36>()->extra, 0u);
  EXPECT_EQ(std::make_unique<InputTable37>()->extra, 0u);
}

TEST(InputTableBuffers, EachClassTakesItsFourTypes) {
  unsigned char source[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  for (const BufferClass& row : kClasses) {
    const auto table = row.make();
    for (int c = 0; c < 3; ++c) {
      for (int v = 0; v < 65536; ++v) table->lookup[c][v] = 0x50000u + v + 100 * c;
    }
    for (int type = 0; type < 65536; type += (type > 600 ? 977 : 1)) {
      SCOPED_TRACE(std::string(row.name) + " type " + std::to_string(type));
      Buffers buffers(type, 2, 2 * row.samples + 1, source);
      const bool from8 = type == row.type8 || type == row.type8 + 1;
      const bool from16 = type == row.type16 || type == row.type16 + 1;
      EXPECT_EQ(table->Conversion(&buffers.info), from8 || from16 ? 0 : 65535);
      for (int i = 0; i <= 2 * row.samples; ++i) {
        const int c = i % row.samples;
        const int sample = i / row.samples * 3 + c;
        int expected = 0;
        if (i == 2 * row.samples || (!from8 && !from16)) {
          expected = kUntouched;
        } else if (c < 3) {
          const int level =
              from8 ? source[sample] : source[2 * sample] + 256 * source[2 * sample + 1];
          expected = (level + 100 * c) & 0xFFFF;
        }
        ASSERT_EQ(buffers.info.workingBuf[i], expected) << i;
      }
    }
  }
}

TEST(InputTableBuffers, WritesNothingItShouldNot) {
  unsigned char source[6] = {1, 2, 3, 4, 5, 6};
  const auto table = std::make_unique<InputTable33>();
  const struct {
    const char* what;
    int type, pixels, size, expectedReturn, writtenSamples;
    bool hasSource;
  } kRows[] = {
      {"a type of another class", 259, 1, 6, 65535, 0, true},
      {"no type", 65534, 1, 6, 65535, 0, true},
      {"no pixels", 257, 0, 6, 0, 0, true},
      {"negative count", 257, -1, 6, 0, 0, true},
      {"no source", 257, 1, 6, 0, 0, false},
      {"buffer smaller than the count", 257, 2, 5, 0, 3, true},
      {"buffer of unknown size", 257, 2, 0, 0, 6, true},
      {"count far beyond the buffer", 257, 0x7FFFFFFF, 6, 0, 6, true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Buffers buffers(row.type, row.pixels, 6, row.hasSource ? source : nullptr);
    buffers.info.workingSize = row.size;
    EXPECT_EQ(table->Conversion(&buffers.info), row.expectedReturn);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(buffers.info.workingBuf[i], i < row.writtenSamples ? 0 : kUntouched) << i;
    }
  }
  Info info;
  info.conversionType = 257;
  info.workingCount = 1;
  info.srcBuf = source;
  EXPECT_EQ(table->Conversion(&info), 0) << "no working buffer";
  EXPECT_EQ(table->Conversion(static_cast<Info*>(nullptr)), 65535);
}

TEST(InputTableBuffers, ReadsUnalignedWords) {
  alignas(2) unsigned char source[7] = {0, 0x34, 0x12, 0, 0, 0, 0};
  const auto table = std::make_unique<InputTable33>();
  for (unsigned int v = 0; v < 65536; ++v) table->lookup[0][v] = v;
  Buffers buffers(513, 1, 3, source + 1);
  EXPECT_EQ(table->Conversion(&buffers.info), 0);
  EXPECT_EQ(buffers.info.workingBuf[0], 0x1234);
}

TEST(InputTableBuffers, ByteConversionDoesNothing) {
  unsigned char bytes[3] = {1, 2, 3};
  for (const BufferClass& row : kClasses) {
    row.make()->Conversion(bytes, 1);
    EXPECT_EQ(bytes[0] + bytes[1] + bytes[2], 6) << row.name;
  }
}

TEST(InputTable33, ARefusedCountIsBoundedByTheBufferThatIsKept) {
  const auto table = std::make_unique<ICC40::ICC_UNIT::InputTable33>();
  std::fill_n(table->lookup[0], 65536, 5u);
  std::vector<unsigned char> source(3000, 1);
  const struct {
    const char* what;
    int count, refused, converted;
  } kRows[] = {{"fewer pixels", 10, 4, 4}, {"more pixels", 10, 1000, 10}, {"none", 10, 0, 0}};
  for (const auto& row : kRows) {
    ICC40::ICC_UNIT::Info info;
    info.conversionType = 257;
    info.CheckWorkingBuf(source.data(), nullptr, row.count);
    std::fill_n(info.workingBuf, 3 * row.count, static_cast<unsigned short>(7));
    info.conversionType = 256;
    ASSERT_EQ(info.CheckWorkingBuf(source.data(), nullptr, row.refused), 65534);
    EXPECT_EQ(table->Conversion(&info), 65535);
    info.conversionType = 257;
    ASSERT_EQ(info.CheckWorkingBuf(source.data(), nullptr, row.refused), 0) << "the count matches";
    EXPECT_EQ(table->Conversion(&info), 0);
    for (int p = 0; p < row.count; ++p) {
      EXPECT_EQ(info.workingBuf[3 * p], p < row.converted ? 5 : 7) << row.what << ' ' << p;
    }
  }
}
