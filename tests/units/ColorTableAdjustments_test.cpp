#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "colormath/RgbMatrices.h"
#include "iccfile/CXYZType.h"
#include "tests/units/UnitFixtures.h"
#include "units/ColorTable33.h"
#include "units/LabEncoding.h"
#include "units/OutputTable33.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Node {
  int v[3];
};

// A two-point table whose eight nodes are all `node`, with channels 3 to 6 marked.
std::unique_ptr<ColorTable33> TableOf(Node node) {
  auto table = std::make_unique<ColorTable33>();
  std::vector<int> cells;
  for (int i = 0; i < 8; ++i) {
    for (int value : {node.v[0], node.v[1], node.v[2], 103, 104, 105, 106}) cells.push_back(value);
  }
  table->SetColorTable(cells.data(), 2);
  return table;
}

int LCode(double L) {
  return static_cast<int>(L * 65280 / 100);
}
int AbCode(double ab) {
  return static_cast<int>(ab * 256 + 32768);
}

// All eight nodes must agree and their other channels be untouched.
void ExpectNodes(const ColorTable33& table, Node expected, int tolerance) {
  for (int n = 0; n < 8; ++n) {
    const int* node = table.grid[n >> 2][n >> 1 & 1][n & 1];
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(node[c], expected.v[c], tolerance) << c;
    for (int c = 3; c < 7; ++c) EXPECT_EQ(node[c], 100 + c);
  }
  EXPECT_EQ(table.grid[2][0][0][0], 0) << "nodes not in use stay";
}

double Clipped(double level) {
  return std::fmin(std::fmax(level, 0.0), 255.0);
}

// The grey of lightness L under a white, in linear RGB levels times 256.
Node ExpectedGrey(double L, const double (&white)[3], const double* inverse) {
  const double f = (L + 16) / 116;
  Node node;
  for (int c = 0; c < 3; ++c) {
    double level = 0;
    for (int xyz = 0; xyz < 3; ++xyz) level += inverse[3 * c + xyz] * f * f * f * white[xyz];
    node.v[c] = static_cast<int>(Clipped(255 * level)) * 256;
  }
  return node;
}

constexpr double kD50[3] = {63195.0 / 65535, 1.0, 54073.0 / 65535};

}  // namespace

TEST(LabEncoding, Decodes) {
  const struct {
    const char* what;
    double (*decode)(int);
    int value;
    double expected;
  } kRows[] = {
      {"L* 0", DecodeL, 0, 0.0},
      {"L* 50", DecodeL, 32640, 50.0},
      {"L* 100", DecodeL, 65280, 100.0},
      {"L* top code", DecodeL, 65535, 6553500.0 / 65280.0},
      {"L*, only the low word", DecodeL, 65280 - 65536, 100.0},
      {"a* lowest", DecodeAb, 0, -128.0},
      {"a* 0", DecodeAb, 32768, 0.0},
      {"a* top code", DecodeAb, 65535, 127.99609375},
      {"a*, only the low word", DecodeAb, 32768 + 0x30000, 0.0},
  };
  for (const auto& row : kRows) EXPECT_EQ(row.decode(row.value), row.expected) << row.what;
}

TEST(LabEncoding, EncodesWithLimitsForLightnessOnly) {
  const struct {
    const char* what;
    int (*encode)(double);
    double value;
    int expected;
  } kRows[] = {
      {"L* 50", EncodeL, 50.0, 32640},
      {"L* truncated", EncodeL, 0.1, 65},
      {"L* 100", EncodeL, 100.0, 65280},
      {"L* above 100", EncodeL, 100.001, 65280},
      {"L* below 0", EncodeL, -0.001, 0},
      {"L* infinite", EncodeL, kInfinity, 65280},
      {"L* not a number", EncodeL, kNaN, 0},
      {"a* 0", EncodeAb, 0.0, 32768},
      {"a* -128", EncodeAb, -128.0, 0},
      {"a* 127.996", EncodeAb, 127.99609375, 65535},
      {"a* 130 wraps: 66048 - 65536", EncodeAb, 130.0, 512},
      {"a* -129 wraps", EncodeAb, -129.0, 65280},
      {"a* just below -128 truncates toward zero", EncodeAb, -128.001, 0},
      {"a* huge", EncodeAb, 1e300, 0},
      {"a* not a number", EncodeAb, kNaN, 0},
      {"a* infinite", EncodeAb, -kInfinity, 0},
  };
  for (const auto& row : kRows) EXPECT_EQ(row.encode(row.value), row.expected) << row.what;
}

TEST(ColorTableAdjustments, AdjustLch) {
  const struct {
    const char* what;
    Node node;
    double L, c, h;
    Node expected;
    int tolerance;
  } kRows[] = {
      // Lab to LCH and back through rounded constants: a code or two.
      {"no offset is still a round trip",
       {{32640, 40000, 30000}},
       0,
       0,
       0,
       {{32640, 40000, 30000}},
       2},
      {"lighter", {{LCode(50), 32768, 32768}}, 20, 0, 0, {{LCode(70), 32768, 32768}}, 1},
      {"above 100 is limited", {{65280, 32768, 32768}}, 5, 0, 0, {{65280, 32768, 32768}}, 0},
      {"top code is above 100", {{65535, 32768, 32768}}, 0, 0, 0, {{65280, 32768, 32768}}, 0},
      {"below 0 is limited", {{LCode(10), 32768, 32768}}, -20, 0, 0, {{0, 32768, 32768}}, 0},
      {"more chroma", {{32640, AbCode(30), 32768}}, 0, 10, 0, {{32640, AbCode(40), 32768}}, 1},
      {"chroma limited to 100",
       {{32640, AbCode(90), 32768}},
       0,
       500,
       0,
       {{32640, AbCode(100), 32768}},
       1},
      {"no chroma left", {{32640, AbCode(30), 32768}}, 0, -90, 0, {{32640, 32768, 32768}}, 0},
      {"hue by 90 degrees",
       {{32640, AbCode(40), 32768}},
       0,
       0,
       90,
       {{32640, 32768, AbCode(40)}},
       1},
      {"only the low word counts",
       {{32640 + 0x10000, 32768 - 0x10000, 32768}},
       0,
       0,
       0,
       {{32640, 32768, 32768}},
       1},
      {"endless lightness is limited",
       {{32640, 32768, 32768}},
       kInfinity,
       0,
       0,
       {{65280, 32768, 32768}},
       0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto table = TableOf(row.node);
    EXPECT_EQ(table->Adjust_Lch(row.L, row.c, row.h), 0);
    ExpectNodes(*table, row.expected, row.tolerance);
  }
}

TEST(ColorTableAdjustments, HostileOffsetsStayInRange) {
  for (double offset : {kNaN, kInfinity, -kInfinity, 1e308, -1e308}) {
    for (int which = 0; which < 3; ++which) {
      const auto table = TableOf({{40000, 40000, 40000}});
      table->Adjust_Lch(which == 0 ? offset : 0, which == 1 ? offset : 0, which == 2 ? offset : 0);
      for (int c = 0; c < 3; ++c) {
        EXPECT_GE(table->grid[1][1][1][c], 0);
        EXPECT_LE(table->grid[1][1][1][c], 65535);
        EXPECT_EQ(table->grid[1][1][1][c], table->grid[0][0][0][c]);
      }
    }
  }
}

TEST(ColorTableAdjustments, AdjustWhitePoint) {
  const Node grey = {{LCode(50), 32768, 32768}};
  CXYZType white;
  white.X = 0.9642;
  white.Y = 1.0;
  white.Z = 0.8249;
  auto table = TableOf(grey);
  EXPECT_EQ(table->Adjust_WhitePoint(&white), 0);
  ExpectNodes(*table, grey, 2);

  // Halving XYZ of a grey keeps it grey: L* = 116 (Y / 2)^(1/3) - 16.
  white.X /= 2;
  white.Y /= 2;
  white.Z /= 2;
  table = TableOf(grey);
  table->Adjust_WhitePoint(&white);
  const double y = std::pow(66.0 / 116, 3) / 2;
  ExpectNodes(*table, {{LCode(116 * std::cbrt(y) - 16), 32768, 32768}}, 2);

  // X alone moves a*: 500 (fx - fy), each component scaled for itself.
  white.X = 0.9642 * 1.1;
  white.Y = 1.0;
  white.Z = 0.8249;
  table = TableOf(grey);
  table->Adjust_WhitePoint(&white);
  const double fy = 66.0 / 116;
  ExpectNodes(*table, {{LCode(50), AbCode(500 * fy * (std::cbrt(1.1) - 1)), 32768}}, 2);

  table = TableOf(grey);
  EXPECT_EQ(table->Adjust_WhitePoint(nullptr), 0);
  ExpectNodes(*table, grey, 0);
  white.X = kNaN;
  white.Y = kInfinity;
  EXPECT_EQ(table->Adjust_WhitePoint(&white), 0);
  EXPECT_EQ(table->grid[0][0][0][1], 0) << "not a number";
}

TEST(ColorTableAdjustments, WorkingSpaceAndCodeOfAnOutputColor) {
  const struct {
    const char* what;
    int firstCode, lastCode;
    const double* inverse;
    int code;  // -1: unchanged
  } kRows[] = {
      {"device and connection spaces are sRGB", 0, 19, inv_sRGB_D50, -1},
      {"Adobe reports Adobe100_16", 20, 23, inv_AdobeRGB_D50, 21},
      {"Apple reports Apple100_16", 24, 27, inv_AppleRGB_D50, 25},
      {"ColorMatch reports ColorMatch_16", 28, 31, inv_ColorMatchRGB_D50, 31},
      {"Ycc and Kodak are sRGB", 32, 40, inv_sRGB_D50, -1},
      {"no code", 65535, 65535, inv_sRGB_D50, -1},
      {"negative", -1, -1, inv_sRGB_D50, -1},
  };
  const auto out = std::make_unique<OutputTable33>();
  for (const auto& row : kRows) {
    for (int cs = row.firstCode; cs <= row.lastCode; ++cs) {
      SCOPED_TRACE(std::string(row.what) + " " + std::to_string(cs));
      // A saturated colour of L* 50: X, Y and Z all in the cubic range.
      const double a = 40, b = -30;
      const auto table = TableOf({{LCode(50), AbCode(a), AbCode(b)}});
      const int expectedCode = row.code == -1 ? cs : row.code;
      EXPECT_EQ(table->Lab2RGB100_16_1D(out.get(), static_cast<ColorSpaceSignature>(cs), nullptr),
                expectedCode);
      const double fy = 66.0 / 116, fx = fy + a / 500, fz = fy - b / 200;
      const double xyz[3] = {fx * fx * fx * kD50[0], fy * fy * fy, fz * fz * fz * kD50[2]};
      Node expected;
      for (int c = 0; c < 3; ++c) {
        const double* m = row.inverse + 3 * c;
        expected.v[c] =
            256 * static_cast<int>(Clipped(255 * (m[0] * xyz[0] + m[1] * xyz[1] + m[2] * xyz[2])));
      }
      ExpectNodes(*table, expected, 0);
    }
  }
}

TEST(ColorTableAdjustments, Lab2RgbGivesWhole8BitLevels) {
  const auto out = std::make_unique<OutputTable33>();
  CXYZType white;
  white.fixedX = 65536;
  white.fixedY = 65536;
  white.fixedZ = 65536;
  const double equalWhite[3] = {65536.0 / 65535, 65536.0 / 65535, 65536.0 / 65535};
  const struct {
    const char* what;
    double L;
    CXYZType* white;
    Node expected;
  } kRows[] = {
      {"black", 0, nullptr, {{0, 0, 0}}},
      {"mid grey under D50", 50, nullptr, ExpectedGrey(50, kD50, inv_sRGB_D50)},
      {"white under D50", 100, nullptr, ExpectedGrey(100, kD50, inv_sRGB_D50)},
      {"mid grey under a white of whole words", 50, &white,
       ExpectedGrey(50, equalWhite, inv_sRGB_D50)},
      {"that white is limited", 100, &white, ExpectedGrey(100, equalWhite, inv_sRGB_D50)},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto table = TableOf({{LCode(row.L), 32768, 32768}});
    EXPECT_EQ(table->Lab2RGB100_16_1D(out.get(), sRGB, row.white), 12);
    ExpectNodes(*table, row.expected, 0);
  }
}

TEST(ColorTableAdjustments, Lab2RgbGoesThroughTheOutputCurves) {
  const auto out = std::make_unique<OutputTable33>();
  out->lookup[0][11] = 0x70000u + LCode(50);  // only the low word counts
  out->lookup[1][22] = 32768;
  out->lookup[2][33] = 32768;
  const auto table = TableOf({{11, 22 + 0x10000, 33 - 0x10000}});
  table->Lab2RGB100_16_1D(out.get(), sRGB, nullptr);
  ExpectNodes(*table, ExpectedGrey(50, kD50, inv_sRGB_D50), 0);
}

TEST(ColorTableAdjustments, Lab2RgbFromATag) {
  // Output curves that turn L* over; 256 entries.
  std::vector<unsigned short> curves;
  for (int i = 0; i < 256; ++i) curves.push_back(static_cast<unsigned short>(65535 - 257 * i));
  for (int c = 1; c < 3; ++c) {
    for (int i = 0; i < 256; ++i) curves.push_back(32768);
  }
  const auto lut = units_test::OutputLut(3, curves);
  auto table = TableOf({{65535, 1, 2}});
  EXPECT_EQ(table->Lab2RGB100_16(lut.get(), ColorMatch100_16, nullptr), 31);
  ExpectNodes(*table, {{0, 0, 0}}, 0);

  // Short output tables stand for identity.
  table = TableOf({{LCode(100), 32768, 32768}});
  EXPECT_EQ(table->Lab2RGB100_16(units_test::EmptyLut(3, 3, 2).get(), sRGB_KodakPhoto_16, nullptr),
            35);
  EXPECT_GE(table->grid[0][0][0][1], 253 * 256);
}

TEST(ColorTableAdjustments, WithoutCurvesNothingChanges) {
  const Node node = {{30000, 40000, 20000}};
  const auto table = TableOf(node);
  EXPECT_EQ(table->Lab2RGB100_16_1D(nullptr, Adobe, nullptr), 21);
  EXPECT_EQ(table->Lab2RGB100_16(nullptr, Apple, nullptr), 25);
  ExpectNodes(*table, node, 0);
}

TEST(ColorTableAdjustments, HostileWhites) {
  const auto out = std::make_unique<OutputTable33>();
  CXYZType white;
  for (int word : {0, -1, -0x7FFFFFFF - 1, 0x7FFFFFFF}) {
    white.fixedX = white.fixedY = white.fixedZ = word;
    const auto table = TableOf({{40000, 40000, 40000}});
    table->Lab2RGB100_16_1D(out.get(), sRGB, &white);
    for (int c = 0; c < 3; ++c) {
      EXPECT_GE(table->grid[0][1][0][c], 0);
      EXPECT_LE(table->grid[0][1][0][c], 65280);
      EXPECT_EQ(table->grid[0][1][0][c] % 256, 0);
    }
  }
}
