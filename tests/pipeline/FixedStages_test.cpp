#include "pipeline/FixedStages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "tests/units/UnitFixtures.h"
#include "units/ColorTableNodes.h"
#include "units/EncodingCurves.h"
#include "units/InputTable33.h"

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_ENG_S4;
using ICC40::ICC_UNIT::ColorTable33;
using ICC40::ICC_UNIT::KodakToneCurve;
using ICC40::ICC_UNIT::ReduceTo8;
using units_test::InputLut;
using units_test::Random;

namespace {

// Cell index in the high half, fraction in the low one.
std::uint32_t CellAndFraction(int coordinate) {
  return static_cast<std::uint32_t>(coordinate / 4096 * 65536 + coordinate % 4096);
}

TEST(FixedStages, PackIndex) {
  const struct {
    std::uint32_t coordinate, entry;
  } kRows[] = {{0, 0}, {0xFFF, 0xFFF}, {0x1000, 0x10000}, {0xFFFF, 0xF0FFF}, {0x12345, 0x20345}};
  for (const auto& row : kRows) EXPECT_EQ(PackIndex(row.coordinate), row.entry);
}

TEST(FixedStages, InputLevels) {
  const struct {
    int code, levels;
  } kRows[] = {{RGB, 256}, {RGB_16, 65536}, {Lab, 256}, {Lab_16, 256}, {-1, 256}, {65535, 256}};
  for (const auto& row : kRows) EXPECT_EQ(InputLevelsOf(row.code), row.levels) << row.code;
}

// Three input curves of 256 entries, 257 levels apart, so that every level comes out exact: rising,
// falling, and flat.
constexpr int kFlat = 0x5678;

int CurveValue(int channel, int level) {
  return channel == 0 ? level : channel == 1 ? 65535 - level : kFlat;
}

std::unique_ptr<CLut16Type> ThreeCurves() {
  std::vector<unsigned short> values;
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 256; ++i) {
      values.push_back(static_cast<unsigned short>(CurveValue(c, 257 * i)));
    }
  }
  return InputLut(3, values);
}

std::vector<std::uint32_t> InputTables(ColorSpaceSignature code) {
  const auto levels = static_cast<std::size_t>(InputLevelsOf(code));
  std::vector<std::uint32_t> tables(3 * levels, 0xDEADBEEF);
  const auto table = [&](std::size_t c) { return std::span(tables).subspan(c * levels, levels); };
  FillInputTables(*ThreeCurves(), code, {{table(0), table(1), table(2)}});
  return tables;
}

// A level x stands for position x * 256, the highest for 65535.
TEST(FixedStages, EightBitInput) {
  const std::vector<std::uint32_t> tables = InputTables(RGB);
  for (int c = 0; c < 3; ++c) {
    for (int x = 0; x < 256; ++x) {
      const int position = x < 255 ? x * 256 : 65535;
      ASSERT_EQ(tables[static_cast<std::size_t>(256 * c + x)],
                CellAndFraction(CurveValue(c, position)))
          << "channel " << c << ", level " << x;
    }
  }
}

TEST(FixedStages, SixteenBitInput) {
  const std::vector<std::uint32_t> tables = InputTables(RGB_16);
  for (int c = 0; c < 3; ++c) {
    for (int level = 0; level < 65536; ++level) {
      ASSERT_EQ(tables[static_cast<std::size_t>(65536 * c + level)],
                CellAndFraction(CurveValue(c, level)))
          << "channel " << c << ", level " << level;
    }
  }
}

// Indexed by the class that programs know for signed a* and b*, and then by 8-bit levels.
TEST(FixedStages, LabInput) {
  using ICC40::ICC_UNIT::InputTable33;
  for (const ColorSpaceSignature code : {Lab, Lab_16}) {
    for (const int channels : {0, 1, 3}) {
      for (const int entries : {2, 3, 256, 5000}) {
        for (const bool hasTables : {true, false}) {
          SCOPED_TRACE(testing::Message() << "code " << code << ", " << channels << " channels of "
                                          << entries << " entries, " << hasTables);
          const auto lut = units_test::EmptyLut(channels, 3, 2);
          lut->inputEntries = static_cast<unsigned short>(entries);
          if (hasTables) {
            const auto words = Random(5).Words(static_cast<std::size_t>(channels * entries));
            lut->inputTables = units_test::NewArray(words);
          }
          const auto table = std::make_unique<InputTable33>();
          table->Initial(lut.get(), code);
          table->Change_Lut16_To_Lut8();
          std::vector<std::uint32_t> made(3 * 256, 0xDEADBEEF);
          const auto channel = [&](std::size_t c) { return std::span(made).subspan(256 * c, 256); };
          FillInputTables(*lut, code, {{channel(0), channel(1), channel(2)}});
          for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t level = 0; level < 256; ++level) {
              ASSERT_EQ(channel(c)[level], PackIndex(table->lookup[c][level])) << c << ' ' << level;
            }
          }
        }
      }
    }
  }
}

// Along the axes in falling order of a point's fractions, from the base corner to the far one: an
// axis' slope is that of its edge. Slopes may be negative, as two's complement.
TEST(FixedStages, CellCoefficients) {
  constexpr int kAxesByFraction[6][3] = {{0, 1, 2}, {0, 2, 1}, {2, 0, 1},
                                         {1, 0, 2}, {1, 2, 0}, {2, 1, 0}};
  Random random(33);
  const auto table = std::make_unique<ColorTable33>();
  table->gridPoints = 17;
  for (auto& plane : table->grid) {
    for (auto& row : plane) {
      for (auto& node : row) {
        for (int c = 0; c < 3; ++c) node[c] = random.Word();
      }
    }
  }
  const auto cells = std::make_unique<std::uint32_t[][16][16][6][12]>(16);
  FillCells(ICC40::ICC_UNIT::NodesOf(std::as_const(*table)), cells.get());
  int different = 0;
  for (int cell = 0; cell < 16 * 16 * 16; ++cell) {
    for (int t = 0; t < 6; ++t) {
      for (int c = 0; c < 3; ++c) {
        int at[3] = {cell / 256, cell / 16 % 16, cell % 16};
        const std::uint32_t* k = cells[at[0]][at[1]][at[2]][t] + 4 * c;
        int value = table->grid[at[0]][at[1]][at[2]][c];
        if (k[0] != static_cast<std::uint32_t>(value) << 12) ++different;
        for (const int axis : kAxesByFraction[t]) {
          ++at[axis];
          const int next = table->grid[at[0]][at[1]][at[2]][c];
          if (k[1 + axis] != static_cast<std::uint32_t>(next - value)) ++different;
          value = next;
        }
      }
    }
  }
  EXPECT_EQ(different, 0);
}

TEST(FixedStages, ATagThatNoColorTableHoldsGivesZeros) {
  const auto lut = units_test::EmptyLut(3, 3, 2);
  const auto cells = std::make_unique_for_overwrite<Cell[][16][16]>(16);
  for (int i = 0; i < 16; ++i) cells[i][3][4][5][6] = 7;
  FillCells(*lut, {sRGB}, cells.get());
  for (int i = 0; i < 16; ++i) EXPECT_EQ(cells[i][3][4][5][6], 0u);
}

using Curve = std::function<std::uint32_t(int)>;

// A Kodak curve has the formula up to 65534, and keeps 65535 there.
Curve Kodak(int x0, int x1, double g, double d) {
  return [curve = KodakToneCurve(x0, x1, g, d, 2.2)](int level) {
    return level == 65535 ? 65535 : curve.At(level);
  };
}

Curve Reduced(const Curve& curve) {
  return [curve](int level) { return ReduceTo8(curve(level)); };
}

TEST(FixedStages, OutputCurves) {
  const Curve linear = [](int level) { return static_cast<std::uint32_t>(level); };
  const Curve sRgb8 = ICC40::ICC_UNIT::SRgbLevel8, sRgb16 = ICC40::ICC_UNIT::SRgbLevel16;
  const Curve gamma8 = ICC40::ICC_UNIT::Gamma180Level8, gamma16 = ICC40::ICC_UNIT::Gamma180Level16;
  const struct {
    const char* what;
    ColorSpaceSignature code;
    int status;
    Curve curve;
  } kRows[] = {
      {"sRGB220", sRGB220, 8, sRgb8},
      {"sRGB220_16", sRGB220_16, 9, sRgb16},
      {"sRGB100", sRGB100, 10, Reduced(linear)},
      {"sRGB100_16", sRGB100_16, 11, linear},
      {"sRGB reports its twin", sRGB, 8, sRgb8},
      {"sRGB_16 too", sRGB_16, 9, sRgb16},
      {"Adobe100", Adobe100, 20, Reduced(linear)},
      {"Adobe100_16", Adobe100_16, 21, linear},
      {"Adobe", Adobe, 22, gamma8},
      {"Adobe_16", Adobe_16, 23, gamma16},
      {"Apple100", Apple100, 24, Reduced(linear)},
      {"Apple100_16", Apple100_16, 25, linear},
      {"Apple", Apple, 26, gamma8},
      {"Apple_16", Apple_16, 27, gamma16},
      {"ColorMatch100", ColorMatch100, 28, Reduced(linear)},
      {"ColorMatch100_16", ColorMatch100_16, 29, linear},
      {"ColorMatch", ColorMatch, 30, gamma8},
      {"ColorMatch_16", ColorMatch_16, 31, gamma16},
      {"photo", sRGB_KodakPhoto, 34, Reduced(Kodak(0, 1024, 1.2, 0.0))},
      {"photo, 16", sRGB_KodakPhoto_16, 35, Kodak(0, 1024, 1.2, 0.0)},
      {"mix", sRGB_KodakMix, 36, Reduced(Kodak(512, 2048, 1.5, 0.2))},
      {"mix, 16, without density", sRGB_KodakMix_16, 37, Kodak(512, 2048, 1.5, 0.0)},
      {"text", sRGB_KodakText, 38, Reduced(Kodak(2048, 10240, 2.0, 0.3))},
      {"text, 16", sRGB_KodakText_16, 39, Kodak(2048, 10240, 2.0, 0.3)},
  };
  for (const auto& row : kRows) {
    const OutputCurve* const made = OutputCurveOf(row.code);
    ASSERT_NE(made, nullptr) << row.what;
    EXPECT_EQ(made->status, row.status) << row.what;
    for (int level = 0; level < 65536; ++level) {
      ASSERT_EQ(made->levels[level], row.curve(level)) << row.what << ", level " << level;
    }
    EXPECT_EQ(OutputCurveOf(row.code), made) << row.what << ", the second time";
  }
}

TEST(FixedStages, CodesWithoutAnOutputCurve) {
  for (const int code : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 14, 15, 16, 17, 18, 19, 32, 33, 40, 65535}) {
    EXPECT_EQ(OutputCurveOf(static_cast<ColorSpaceSignature>(code)), nullptr) << code;
  }
}

}  // namespace
