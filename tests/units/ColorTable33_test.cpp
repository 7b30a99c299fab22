#include "units/ColorTable33.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "tests/units/UnitFixtures.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"
#include "units/Tetrahedra.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;
using units_test::GridLut;
using units_test::Random;

namespace {

std::size_t Cube(int n) {
  return static_cast<std::size_t>(n) * n * n;
}

// The four classes, and how many channels each converts.
struct TableClass {
  const char* name;
  std::unique_ptr<ColorTable33> (*make)();
  int channels;
};

template <typename Table>
std::unique_ptr<ColorTable33> Make() {
  return std::make_unique<Table>();
}

const TableClass kClasses[] = {
    {"ColorTable33", Make<ColorTable33>, 3},
    {"ColorTable34", Make<ColorTable34>, 4},
    {"ColorTable36", Make<ColorTable36>, 6},
    {"ColorTable37", Make<ColorTable37>, 7},
};

std::unique_ptr<ColorTable33> NewTable() {
  return std::make_unique<ColorTable33>();
}

// A grid whose node (i, j, k) holds step * i, step * j and step * k.
std::vector<unsigned short> RampNodes(int n, int step) {
  std::vector<unsigned short> nodes;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < n; ++k) {
        for (int at : {i, j, k}) nodes.push_back(static_cast<unsigned short>(at * step));
      }
    }
  }
  return nodes;
}

std::vector<int> RandomCells(Random& random, int n, bool wild) {
  std::vector<int> cells(7 * Cube(n));
  for (int& value : cells) value = wild ? static_cast<int>(random.Next()) : random.Word();
  return cells;
}

// Runs the 16-bit conversion; `v` holds the inputs first and the outputs afterwards.
void Convert(ColorTable33& table, unsigned short (&v)[7]) {
  table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
}

void ConvertReference(ColorTable33& table, int (&v)[7]) {
  table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
}

// The six rows written out, for one channel. `S` is the sum's number type: wrapping 32-bit
// integers, or doubles made from whole differences.
template <typename S, typename Corner, typename Slope>
S SixRows(S fr, S fg, S fb, bool r_g, bool r_b, bool g_b, const Corner& C, const Slope& slope) {
  if (r_g && r_b && g_b) {
    return slope(C(1, 0, 0), C(0, 0, 0)) * fr + slope(C(1, 1, 0), C(1, 0, 0)) * fg +
           slope(C(1, 1, 1), C(1, 1, 0)) * fb;
  }
  if (r_g && r_b) {
    return slope(C(1, 0, 0), C(0, 0, 0)) * fr + slope(C(1, 1, 1), C(1, 0, 1)) * fg +
           slope(C(1, 0, 1), C(1, 0, 0)) * fb;
  }
  if (r_g) {
    return slope(C(1, 0, 1), C(0, 0, 1)) * fr + slope(C(1, 1, 1), C(1, 0, 1)) * fg +
           slope(C(0, 0, 1), C(0, 0, 0)) * fb;
  }
  if (g_b && r_b) {
    return slope(C(1, 1, 0), C(0, 1, 0)) * fr + slope(C(0, 1, 0), C(0, 0, 0)) * fg +
           slope(C(1, 1, 1), C(1, 1, 0)) * fb;
  }
  if (g_b) {
    return slope(C(1, 1, 1), C(0, 1, 1)) * fr + slope(C(0, 1, 0), C(0, 0, 0)) * fg +
           slope(C(0, 1, 1), C(0, 1, 0)) * fb;
  }
  return slope(C(1, 1, 1), C(0, 1, 1)) * fr + slope(C(0, 1, 1), C(0, 0, 1)) * fg +
         slope(C(0, 0, 1), C(0, 0, 0)) * fb;
}

unsigned short Expected16(const ColorTable33& table, int spacing, const unsigned short* in,
                          int channel) {
  const int i = in[0] / spacing, j = in[1] / spacing, k = in[2] / spacing;
  const auto fr = static_cast<std::uint32_t>(in[0] % spacing);
  const auto fg = static_cast<std::uint32_t>(in[1] % spacing);
  const auto fb = static_cast<std::uint32_t>(in[2] % spacing);
  const auto C = [&](int a, int b, int d) {
    return static_cast<std::uint32_t>(table.grid[i + a][j + b][k + d][channel]);
  };
  const std::uint32_t sum =
      C(0, 0, 0) * static_cast<std::uint32_t>(spacing) +
      SixRows(fr, fg, fb, fr > fg, fr > fb, fg > fb, C,
              [](std::uint32_t high, std::uint32_t low) { return high - low; });
  std::int64_t value = static_cast<std::int32_t>(sum);
  if (value < 0) value -= spacing - 1;  // toward minus infinity
  return static_cast<unsigned short>(value / spacing);
}

int ExpectedReference(const ColorTable33& table, const int* in, int channel) {
  int node[3];
  double f[3];
  for (int axis = 0; axis < 3; ++axis) {
    node[axis] = static_cast<int>(in[axis] / table.nodeStep);
    f[axis] = (in[axis] - table.nodePositions[node[axis]]) / table.nodeStep;
  }
  const auto C = [&](int a, int b, int d) {
    return table.grid[node[0] + a][node[1] + b][node[2] + d][channel];
  };
  const double sum = SixRows(f[0], f[1], f[2], f[0] > f[1], f[0] > f[2], f[1] > f[2], C,
                             [](int high, int low) { return static_cast<double>(high - low); });
  return static_cast<int>(sum) + C(0, 0, 0);
}

// Three inputs that often tie or sit on a node.
void RandomInput(Random& random, unsigned short (&v)[7]) {
  for (int c = 0; c < 3; ++c) v[c] = random.Word();
  switch (random.Below(8)) {
    case 0:
      v[1] = v[0];
      break;
    case 1:
      v[2] = v[1];
      break;
    case 2:
      v[2] = v[0];
      break;
    case 3:
      v[1] = v[2] = v[0];
      break;
    case 4:
      v[random.Below(3)] = 65535;
      break;
    case 5:
      v[random.Below(3)] &= 0xF000;
      break;
    default:
      break;
  }
  for (int c = 3; c < 7; ++c) v[c] = static_cast<unsigned short>(7000 + c);
}

}  // namespace

TEST(Tetrahedra, ChosenByStrictComparisons) {
  const struct {
    const char* what;
    int r, g, b, expected;
  } kRows[] = {
      {"r > g > b", 3, 2, 1, 0}, {"r > b > g", 3, 1, 2, 1}, {"r > g = b", 3, 1, 1, 1},
      {"b > r > g", 2, 1, 3, 2}, {"r = b > g", 3, 1, 3, 2}, {"g > r > b", 2, 3, 1, 3},
      {"r = g > b", 3, 3, 1, 3}, {"g > b > r", 1, 3, 2, 4}, {"g > r = b", 1, 3, 1, 4},
      {"b > g > r", 1, 2, 3, 5}, {"g = b > r", 1, 3, 3, 5}, {"all equal", 2, 2, 2, 5},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(TetrahedronOf(row.r, row.g, row.b), row.expected) << row.what;
    EXPECT_EQ(TetrahedronOf(row.r / 4.0, row.g / 4.0, row.b / 4.0), row.expected) << row.what;
  }
}

TEST(Tetrahedra, EachEdgeRunsAlongItsAxis) {
  for (const Tetrahedron& tetrahedron : kTetrahedra) {
    EXPECT_EQ(tetrahedron.path[0], 0);
    EXPECT_EQ(tetrahedron.path[3], 7);
    for (int axis = 0; axis < 3; ++axis) {
      const int edge = tetrahedron.edge[axis];
      EXPECT_EQ(tetrahedron.path[edge + 1] - tetrahedron.path[edge], 4 >> axis);
    }
  }
}

TEST(ColorTable33, ExportedConstants) {
  EXPECT_EQ(MaxLutSize, 33);
  EXPECT_EQ(ColorTable33::LUT_Cell, 2048);
  EXPECT_EQ(ColorTable33::LUT_Size33, 33);
}

TEST(ColorTables, StartEmpty) {
  for (const TableClass& row : kClasses) {
    SCOPED_TRACE(row.name);
    const auto table = row.make();
    EXPECT_STREQ(table->name, row.name);
    EXPECT_EQ(table->nodePositions, nullptr);
    EXPECT_EQ(table->gridPoints, 0);
    EXPECT_EQ(table->shift, 0);
    for (const int* v = &table->grid[0][0][0][0]; v != &table->grid[32][32][32][6]; ++v) {
      ASSERT_EQ(*v, 0);
    }
  }
}

TEST(ColorTables, ConvertNothingBeforeTheyAreFilled) {
  for (const TableClass& row : kClasses) {
    SCOPED_TRACE(row.name);
    const auto table = row.make();
    unsigned short v[7] = {65535, 40000, 3, 4, 5, 6, 7};
    Convert(*table, v);
    EXPECT_EQ(v[0], 65535);
    EXPECT_EQ(v[6], 7);
    int r[7] = {65535, 40000, 3, 4, 5, 6, 7};
    ConvertReference(*table, r);
    EXPECT_EQ(r[0], 65535);
    EXPECT_EQ(table->TableResize(17), 0);
    EXPECT_EQ(table->gridPoints, 0);
    EXPECT_EQ(table->Adjust_Lch(1, 2, 3), 0);

    Info info;
    info.workingCount = 1;
    info.workingSize = 7;
    info.workingBuf = new unsigned short[7]{65535, 40000, 3, 4, 5, 6, 7};
    EXPECT_EQ(table->Conversion(&info), 0);
    const unsigned short expected[7] = {65535, 40000, 3, 4, 5, 6, 7};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(info.workingBuf[i], expected[i]);
  }
}

TEST(ColorTables, ByteConversionDoesNothing) {
  for (const TableClass& row : kClasses) {
    unsigned char bytes[3] = {1, 2, 3};
    row.make()->Conversion(bytes, 1);
    EXPECT_EQ(bytes[0] + bytes[1] + bytes[2], 6) << row.name;
  }
}

TEST(ColorTable33, InitialSetsTheSpacing) {
  const struct {
    int gridPoints, shift, mask, finalPoints, last;
  } kRows[] = {
      {9, 13, 8191, 9, 65536},   {17, 12, 4095, 17, 65536}, {33, 11, 2047, 33, 65536},
      {2, 12, 4095, 17, 65535},  {5, 12, 4095, 17, 65535},  {18, 12, 4095, 17, 65535},
      {32, 12, 4095, 17, 65535},
  };
  Random random(8);
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.gridPoints);
    const auto table = NewTable();
    const auto lut = GridLut(3, row.gridPoints, random.Words(3 * Cube(row.gridPoints)));
    lut->inputChannels = 4;
    EXPECT_EQ(table->Initial(lut.get()), 0);
    EXPECT_EQ(table->gridPoints, row.finalPoints);
    EXPECT_EQ(table->shift, row.shift);
    EXPECT_EQ(table->mask, row.mask);
    EXPECT_EQ(table->nodeStep, 65536.0 / (row.finalPoints - 1));
    EXPECT_EQ(table->nodePositions[0], 0);
    EXPECT_EQ(table->nodePositions[1], 65536 / (row.finalPoints - 1));
    EXPECT_EQ(table->nodePositions[row.finalPoints - 1], row.last);
    EXPECT_EQ(table->inputChannels, 4);
    EXPECT_EQ(table->outputChannels, 3);
  }
}

TEST(ColorTable33, InitialCopiesTheTagsOrder) {
  const auto table = NewTable();
  std::fill_n(&table->grid[0][0][0][0], 7, -1);
  std::vector<unsigned short> nodes(4 * Cube(9));
  for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = static_cast<unsigned short>(i);
  const auto lut = GridLut(4, 9, nodes);
  table->Initial(lut.get());
  EXPECT_EQ(table->grid[0][0][0][3], 3);
  EXPECT_EQ(table->grid[0][0][0][4], -1) << "channels past the tag's stay";
  EXPECT_EQ(table->grid[0][0][1][0], 4);
  EXPECT_EQ(table->grid[0][1][0][0], 4 * 9);
  EXPECT_EQ(table->grid[1][0][0][0], 4 * 81);
  EXPECT_EQ(table->grid[8][8][8][3], 4 * 729 - 1);
}

// With and without resampling, in the half of the grid that small tables use and beyond.
TEST(ColorTable33, MissingOutputsAreZero) {
  for (int outputs : {0, 1, 2}) {
    for (int gridPoints : {2, 9, 17, 33}) {
      SCOPED_TRACE(testing::Message() << outputs << " outputs, " << gridPoints << " points");
      auto lut = units_test::EmptyLut(1, outputs, gridPoints);
      // An array of no values need not be there.
      if (outputs > 0) {
        lut->colorTable =
            units_test::NewArray(std::vector<unsigned short>(outputs * Cube(gridPoints), 1234));
      }
      const auto table = NewTable();
      EXPECT_EQ(table->Initial(lut.get()), 0);
      EXPECT_EQ(table->gridPoints, gridPoints == 2 ? 17 : gridPoints);
      EXPECT_EQ(table->inputChannels, 1);
      EXPECT_EQ(table->outputChannels, outputs);
      for (int at : {0, 5, table->gridPoints - 1}) {
        for (int c = 0; c < 7; ++c) {
          EXPECT_EQ(table->grid[at][at][at][c], c < outputs ? 1234 : 0) << at << ' ' << c;
        }
      }
      unsigned short v[7] = {40000, 3, 65535, 1, 2, 3, 4};
      table->Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
      for (int c = 0; c < 3; ++c) EXPECT_EQ(v[c], c < outputs ? 1234 : 0) << c;
    }
  }
}

TEST(ColorTable33, InitialRefusesUnusableTags) {
  const auto table = NewTable();
  const auto good = GridLut(3, 9, RampNodes(9, 100));
  table->Initial(good.get());
  const struct {
    const char* what;
    int outputs, gridPoints;
    bool hasTable;
  } kRows[] = {
      {"no colour table", 3, 17, false}, {"none of one output", 1, 17, false},
      {"eight outputs", 8, 17, true},    {"no grid", 3, 0, true},
      {"one grid point", 3, 1, true},    {"34 grid points", 3, 34, true},
      {"255 grid points", 3, 255, true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    auto lut = units_test::EmptyLut(3, row.outputs, row.gridPoints);
    if (row.hasTable) lut->colorTable = units_test::NewArray({1, 2, 3});
    EXPECT_EQ(table->Initial(lut.get()), 0);
    EXPECT_EQ(table->gridPoints, 9);
    EXPECT_EQ(table->outputChannels, 3);
    EXPECT_EQ(table->grid[1][2][3][1], 200);
  }
  EXPECT_EQ(table->Initial(nullptr), 0);
  EXPECT_EQ(table->gridPoints, 9);
  const auto other = GridLut(3, 17, RampNodes(17, 1));
  EXPECT_EQ(table->Initial(other.get(), other.get()), 0) << "the two-tag form does nothing";
  EXPECT_EQ(table->gridPoints, 9);
}

TEST(ColorTable33, WorkedConversions) {
  const auto table = NewTable();
  // 33 points; channel c of node n is 2000 n along axis c.
  const auto lut = GridLut(3, 33, RampNodes(33, 2000));
  table->Initial(lut.get());
  const struct {
    const char* what;
    unsigned short in[3], out[3];
  } kRows[] = {
      {"first node", {0, 0, 0}, {0, 0, 0}},
      {"node 1 0 0", {2048, 0, 0}, {2000, 0, 0}},
      {"node 3 2 1", {6144, 4096, 2048}, {6000, 4000, 2000}},
      {"half a cell", {1024, 3072, 0}, {1000, 3000, 0}},
      {"rounded down: 2000 * 3 / 2048 = 2.93", {3, 0, 0}, {2, 0, 0}},
      {"65535 never reaches the last node: 62000 + 2000 * 2047 / 2048",
       {65535, 0, 0},
       {63999, 0, 0}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    unsigned short v[7] = {row.in[0], row.in[1], row.in[2], 4, 5, 6, 7};
    Convert(*table, v);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(v[c], row.out[c]);
    for (int c = 3; c < 7; ++c) EXPECT_EQ(v[c], c + 1) << "spare outputs stay";
  }
}

TEST(ColorTable33, FirstNodeAndConstantGridAreExact) {
  Random random(9);
  for (int n : {9, 17, 33}) {
    const auto table = NewTable();
    std::vector<unsigned short> nodes(3 * Cube(n), 54321);
    const auto lut = GridLut(3, n, nodes);
    table->Initial(lut.get());
    for (int i = 0; i < 1000; ++i) {
      unsigned short v[7];
      RandomInput(random, v);
      Convert(*table, v);
      ASSERT_EQ(v[0], 54321);
      ASSERT_EQ(v[2], 54321);
    }
  }
}

TEST(ColorTable33, RoundsTowardMinusInfinityAndWraps) {
  const auto table = NewTable();
  std::vector<int> cells(7 * Cube(33));
  cells[0] = 5;
  cells[1] = -1;
  cells[2] = 70000;
  cells[7 * 33 * 33] = 4;  // node 1 0 0
  cells[7 * 33 * 33 + 1] = -1;
  cells[7 * 33 * 33 + 2] = 70000;
  table->SetColorTable(cells.data(), 33);
  unsigned short v[7] = {1, 0, 0, 0, 0, 0, 0};
  Convert(*table, v);
  EXPECT_EQ(v[0], 4) << "5 - 1 / 2048, rounded down";
  EXPECT_EQ(v[1], 65535) << "-1 wraps, not limited";
  EXPECT_EQ(v[2], 70000 - 65536) << "70000 wraps, not limited";
}

TEST(ColorTables, SixteenBitConversionFollowsTheSixRows) {
  Random random(10);
  for (const TableClass& row : kClasses) {
    for (int n : {9, 17, 33, 5}) {
      for (bool wild : {false, true}) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(n) + (wild ? " wild" : ""));
        const auto table = row.make();
        const std::vector<int> cells = RandomCells(random, n, wild);
        table->SetColorTable(const_cast<int*>(cells.data()), n);
        // Five points make no 16-bit grid: they are read with the spacing of 33.
        const int spacing = n == 5 ? 2048 : 65536 / (n - 1);
        for (int i = 0; i < 2000; ++i) {
          unsigned short v[7];
          RandomInput(random, v);
          const unsigned short in[3] = {v[0], v[1], v[2]};
          Convert(*table, v);
          for (int c = 0; c < 7; ++c) {
            const int expected = c < row.channels ? Expected16(*table, spacing, in, c) : 7000 + c;
            ASSERT_EQ(v[c], expected) << c << ": " << in[0] << ' ' << in[1] << ' ' << in[2];
          }
        }
      }
    }
  }
}

TEST(ColorTables, ReferenceConversionFollowsTheSixRows) {
  Random random(11);
  for (const TableClass& row : kClasses) {
    for (int n : {2, 3, 9, 10, 17, 31, 33}) {
      SCOPED_TRACE(std::string(row.name) + " " + std::to_string(n));
      const auto table = row.make();
      const auto lut = GridLut(7, 9, random.Words(7 * Cube(9)));
      table->Initial(lut.get());
      table->TableResize(n);
      const std::vector<int> cells = RandomCells(random, n, false);
      table->SetColorTable(const_cast<int*>(cells.data()), n);
      for (int i = 0; i < 2000; ++i) {
        unsigned short words[7];
        RandomInput(random, words);
        int v[7], in[3];
        std::copy_n(words, 7, v);
        std::copy_n(words, 3, in);
        ConvertReference(*table, v);
        for (int c = 0; c < 7; ++c) {
          const int expected = c < row.channels ? ExpectedReference(*table, in, c) : 7000 + c;
          ASSERT_EQ(v[c], expected) << c << ": " << in[0] << ' ' << in[1] << ' ' << in[2];
        }
      }
    }
  }
}

TEST(ColorTable33, WorkedReferenceConversions) {
  const auto table = NewTable();
  const auto lut = GridLut(3, 9, RampNodes(9, 8000));
  table->Initial(lut.get());
  const struct {
    const char* what;
    int in[3], out[3];
  } kRows[] = {
      {"first node", {0, 0, 0}, {0, 0, 0}},
      {"nodes", {8192, 16384, 57344}, {8000, 16000, 56000}},
      {"half a cell", {4096, 0, 12288}, {4000, 0, 12000}},
      {"truncated: 56000 + trunc(8000 * 8191 / 8192)", {65535, 1, 0}, {63999, 0, 0}},
      {"below 0 is refused", {-1, 0, 4096}, {-1, 0, 4096}},
      {"above 65535 is refused", {0, 65536, 4096}, {0, 65536, 4096}},
      {"extremes", {0, 0, 0x7FFFFFFF}, {0, 0, 0x7FFFFFFF}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    int v[7] = {row.in[0], row.in[1], row.in[2], 4, 5, 6, 7};
    ConvertReference(*table, v);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(v[c], row.out[c]);
    for (int c = 3; c < 7; ++c) EXPECT_EQ(v[c], c + 1);
  }
  // A falling slope is truncated toward zero, not down.
  table->grid[0][0][0][0] = 10;
  table->grid[1][0][0][0] = 9;
  int v[7] = {1};
  ConvertReference(*table, v);
  EXPECT_EQ(v[0], 10);
  // Differences that overflow wrap.
  table->grid[0][0][0][0] = -0x7FFFFFFF;
  table->grid[1][0][0][0] = 0x7FFFFFFF;
  v[0] = 4096;
  v[1] = v[2] = 0;
  ConvertReference(*table, v);
  EXPECT_EQ(v[0], INT_MIN) << "half of -2 below";
}

TEST(ColorTable33, SetColorTable) {
  const auto table = NewTable();
  const auto lut = GridLut(3, 9, RampNodes(9, 100));
  table->Initial(lut.get());
  std::vector<int> cells(7 * Cube(17));
  for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<int>(i) - 5;
  EXPECT_EQ(table->SetColorTable(cells.data(), 17), 0);
  EXPECT_EQ(table->gridPoints, 17);
  EXPECT_EQ(table->shift, 12);
  EXPECT_EQ(table->mask, 4095);
  EXPECT_EQ(table->nodeStep, 8192.0) << "node step and positions stay";
  EXPECT_EQ(table->nodePositions[1], 8192);
  EXPECT_EQ(table->grid[0][0][0][6], 1);
  EXPECT_EQ(table->grid[1][2][3][4], ((1 * 17 + 2) * 17 + 3) * 7 + 4 - 5);

  const struct {
    const char* what;
    int* cells;
    int gridPoints, expectedPoints, expectedShift;
  } kRows[] = {
      {"one past the grid", cells.data(), 34, 17, 12},
      {"far past the grid", cells.data(), 0x7FFFFFFF, 17, 12},
      {"null", nullptr, 9, 17, 12},
      {"none: only number and spacing", nullptr, 0, 0, 11},
      {"negative", cells.data(), -3, -3, 11},
      {"another number takes the spacing of 33", cells.data(), 5, 5, 11},
      {"nine", cells.data(), 9, 9, 13},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(table->SetColorTable(row.cells, row.gridPoints), 0);
    EXPECT_EQ(table->gridPoints, row.expectedPoints);
    EXPECT_EQ(table->shift, row.expectedShift);
  }
}

TEST(ColorTable33, TableResizeSamplesTheOldTable) {
  Random random(12);
  const auto table = NewTable();
  const auto lut = GridLut(3, 33, random.Words(3 * Cube(33)));
  table->Initial(lut.get());
  const auto old = NewTable();
  old->Initial(lut.get());

  EXPECT_EQ(table->TableResize(17), 0);
  EXPECT_EQ(table->gridPoints, 17);
  EXPECT_EQ(table->shift, 12);
  EXPECT_EQ(table->mask, 4095);
  EXPECT_EQ(table->nodeStep, 4096.0);
  for (int k = 0; k < 17; ++k) {
    EXPECT_EQ(table->nodePositions[k], k < 16 ? 4096 * k : 65535) << "last: 65535";
  }
  for (int i = 0; i < 17; ++i) {
    for (int j = 0; j < 17; ++j) {
      for (int k = 0; k < 17; ++k) {
        const int at[3] = {std::min(4096 * i, 65535), std::min(4096 * j, 65535),
                           std::min(4096 * k, 65535)};
        for (int c = 0; c < 3; ++c) {
          ASSERT_EQ(table->grid[i][j][k][c], ExpectedReference(*old, at, c));
        }
        ASSERT_EQ(table->grid[i][j][k][3], 0);
      }
    }
  }
  // Inner nodes of the half grid are nodes of the old one.
  EXPECT_EQ(table->grid[3][5][7][1], old->grid[6][10][14][1]);

  const ColorTable33* before = table.get();
  const int* positions = before->nodePositions;
  EXPECT_EQ(table->TableResize(17), 0);
  EXPECT_EQ(table->nodePositions, positions) << "the current size is left alone";
}

TEST(ColorTable33, TableResizeRange) {
  Random random(13);
  const auto lut = GridLut(3, 9, random.Words(3 * Cube(9)));
  for (int m : {0, 1, -1, 34, 0x7FFFFFFF, -0x7FFFFFFF}) {
    const auto table = NewTable();
    table->Initial(lut.get());
    EXPECT_EQ(table->TableResize(m), 0);
    EXPECT_EQ(table->gridPoints, 9) << m;
    EXPECT_EQ(table->shift, 13) << m;
  }
  for (int m = 2; m <= 33; ++m) {
    SCOPED_TRACE(m);
    const auto table = NewTable();
    table->Initial(lut.get());
    EXPECT_EQ(table->TableResize(m), 0);
    EXPECT_EQ(table->gridPoints, m);
    EXPECT_EQ(table->shift, m == 9 ? 13 : m == 17 ? 12 : 11);
    EXPECT_EQ(table->nodePositions[m - 1], m == 9 ? 65536 : 65535);
    for (int k = 0; k < m - 1; ++k) EXPECT_EQ(table->nodePositions[k], 65536 * k / (m - 1));
  }
}

TEST(ColorTable33, TableResizeKeepsTheScratchOutputsBetweenNodes) {
  class Counting : public ColorTable33 {
   public:
    using ColorTable33::Conversion;
    int Conversion(int& c0, int&, int&, int& o0, int&, int&, int& o3) override {
      c0 = 7;
      ++o0;  // not reset from node to node
      if (o0 == 1) o3 = 99;
      return 0;
    }
  };
  const auto table = std::make_unique<Counting>();
  const auto lut = GridLut(3, 9, RampNodes(9, 100));
  table->Initial(lut.get());
  table->TableResize(3);
  EXPECT_EQ(table->grid[0][0][0][3], 1);
  EXPECT_EQ(table->grid[0][0][2][3], 3);
  EXPECT_EQ(table->grid[2][2][2][3], 27);
  EXPECT_EQ(table->grid[2][2][2][6], 99);
  EXPECT_EQ(table->grid[1][1][1][0], 7);
  EXPECT_EQ(table->grid[1][2][0][1], 65535);
  EXPECT_EQ(table->grid[1][2][0][2], 0);
}

TEST(ColorTable33, InitialResamplesLinearTagsExactly) {
  // Two points: node step 65536, so that sample 4096 k of 0 .. 65535 is trunc(65535 k / 16).
  const auto table = NewTable();
  const auto lut = GridLut(3, 2, RampNodes(2, 65535));
  table->Initial(lut.get());
  for (int k = 0; k < 16; ++k) EXPECT_EQ(table->grid[k][0][0][0], 65535 * k / 16) << k;
  EXPECT_EQ(table->grid[16][0][0][0], 65534) << "65535 * 65535 / 65536, truncated";
}

TEST(ColorTables, ResizingCarriesAllChannels) {
  Random random(14);
  for (const TableClass& row : kClasses) {
    SCOPED_TRACE(row.name);
    const auto table = row.make();
    const auto lut = GridLut(7, 33, random.Words(7 * Cube(33)));
    table->Initial(lut.get());
    const auto old = row.make();
    old->Initial(lut.get());
    table->TableResize(17);
    for (int i = 0; i < 17; ++i) {
      for (int j = 0; j < 17; ++j) {
        for (int k = 0; k < 17; ++k) {
          const int at[3] = {std::min(4096 * i, 65535), std::min(4096 * j, 65535),
                             std::min(4096 * k, 65535)};
          for (int c = 0; c < 7; ++c) {
            const int expected = c < row.channels ? ExpectedReference(*old, at, c) : 0;
            ASSERT_EQ(table->grid[i][j][k][c], expected) << c;
          }
        }
      }
    }
  }
}

// Conversion of the working buffer.

TEST(ColorTables, BufferConversionEqualsSingleConversions) {
  Random random(15);
  for (const TableClass& row : kClasses) {
    const auto table = row.make();
    const std::vector<int> cells = RandomCells(random, 17, false);
    table->SetColorTable(const_cast<int*>(cells.data()), 17);
    for (int pixels : {1, 2, 7, 8, 9, 255}) {
      const std::vector<unsigned short> source = random.Words(pixels * row.channels);
      std::vector<unsigned short> expected = source;
      for (int p = 0; p < pixels; ++p) {
        unsigned short v[7] = {};
        std::copy_n(&source[p * row.channels], 3, v);
        Convert(*table, v);
        std::copy_n(v, row.channels, &expected[p * row.channels]);
      }
      for (int threads : units_test::kThreadCounts) {
        SCOPED_TRACE(std::string(row.name) + ", pixels " + std::to_string(pixels) + ", threads " +
                     std::to_string(threads));
        Info info;
        info.workingBuf = units_test::NewArray(source);
        info.workingCount = pixels;
        info.workingSize = pixels * row.channels;
        units_test::WithThreads(threads, [&] { EXPECT_EQ(table->Conversion(&info), 0); });
        ASSERT_EQ(std::memcmp(info.workingBuf, expected.data(), 2 * expected.size()), 0);
      }
    }
  }
}

TEST(ColorTable34, IgnoresTheFourthInputSample) {
  ColorTable34* const table = new ColorTable34;
  const std::unique_ptr<ColorTable33> owner(table);
  int cells[7 * 8] = {11, 12, 13, 14, 15, 16, 17};
  table->SetColorTable(cells, 2);
  Info info;
  info.workingBuf = new unsigned short[4]{0, 0, 0, 999};
  info.workingCount = 1;
  info.workingSize = 4;
  EXPECT_EQ(table->Conversion(&info), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(info.workingBuf[i], 11 + i);
}

TEST(ColorTables, BufferConversionTouchesOnlyWhatFits) {
  const struct {
    const char* what;
    int count, size, converted;
  } kRows[] = {
      {"no pixels", 0, 14, 0},
      {"negative count", -1, 14, 0},
      {"all", 2, 14, 2},
      {"count far beyond the buffer", 0x7FFFFFFF, 14, 2},
  };
  for (const TableClass& table33 : kClasses) {
    const auto table = table33.make();
    std::vector<int> cells(7 * Cube(9), 500);
    table->SetColorTable(cells.data(), 9);
    const int channels = table33.channels;
    for (const auto& row : kRows) {
      SCOPED_TRACE(std::string(table33.name) + " " + row.what);
      Info info;
      info.workingCount = row.count;
      info.workingSize = 2 * channels + (row.count == 2 ? 0 : 1);
      info.workingBuf = new unsigned short[2 * channels + 1]();
      EXPECT_EQ(table->Conversion(&info), 0);
      for (int i = 0; i <= 2 * channels; ++i) {
        EXPECT_EQ(info.workingBuf[i], i < row.converted * channels ? 500 : 0) << i;
      }
    }
    // A buffer set by hand, without its size: the count is trusted.
    Info info;
    info.workingCount = 2;
    info.workingBuf = new unsigned short[2 * channels]();
    EXPECT_EQ(table->Conversion(&info), 0);
    EXPECT_EQ(info.workingBuf[2 * channels - 1], 500);
    Info empty;
    empty.workingCount = 2;
    EXPECT_EQ(table->Conversion(&empty), 0);
    EXPECT_EQ(table->Conversion(static_cast<Info*>(nullptr)), 0);
  }
}

// What CheckWorkingBuf refuses is stored as the count, and the buffer of the count before stays.
TEST(ColorTables, ARefusedCountIsConvertedAsFarAsTheBufferGoes) {
  const struct {
    const char* what;
    int count, refused, converted;
  } kRows[] = {{"fewer pixels", 20, 10, 10}, {"more pixels", 20, 40, 20}, {"one more", 20, 21, 20}};
  for (const TableClass& table33 : kClasses) {
    const auto table = table33.make();
    std::vector<int> cells(7 * Cube(9), 500);
    table->SetColorTable(cells.data(), 9);
    for (const auto& row : kRows) {
      SCOPED_TRACE(std::string(table33.name) + " " + row.what);
      Info info;
      info.conversionType =
          255 + 2 * (table33.channels < 5 ? table33.channels - 2 : table33.channels - 3);
      info.CheckWorkingBuf(nullptr, nullptr, row.count);
      ASSERT_EQ(info.workingSize, row.count * table33.channels);
      std::fill_n(info.workingBuf, info.workingSize, static_cast<unsigned short>(0));
      info.conversionType = 256;
      ASSERT_EQ(info.CheckWorkingBuf(nullptr, nullptr, row.refused), 65534);
      EXPECT_EQ(table->Conversion(&info), 0);
      for (int i = 0; i < row.count * table33.channels; ++i) {
        ASSERT_EQ(info.workingBuf[i], i < row.converted * table33.channels ? 500 : 0) << i;
      }
      // A buffer of the program's in its place is trusted with the count.
      auto* const own = new unsigned short[static_cast<std::size_t>(100 * table33.channels)]();
      delete[] std::exchange(info.workingBuf, own);
      EXPECT_EQ(table->Conversion(&info), 0);
      EXPECT_EQ(own[row.refused * table33.channels - 1], 500);
      EXPECT_EQ(own[row.refused * table33.channels], 0);
    }
  }
}

TEST(ColorTables, BufferConversionGoesThroughADerivedConversion) {
  class Adding : public ColorTable33 {
   public:
    using ColorTable33::Conversion;
    int Conversion(unsigned short& c0, unsigned short&, unsigned short& c2, unsigned short&,
                   unsigned short&, unsigned short&, unsigned short&) override {
      c0 = static_cast<unsigned short>(c0 + 1);
      c2 = 9;
      return 0;
    }
  };
  const auto table = std::make_unique<Adding>();
  Info info;
  info.workingCount = 2;
  info.workingSize = 6;
  info.workingBuf = new unsigned short[6]{1, 2, 3, 65535, 5, 6};
  EXPECT_EQ(table->Conversion(&info), 0);
  const unsigned short expected[6] = {2, 2, 9, 0, 5, 9};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(info.workingBuf[i], expected[i]);
}
