#include "exact/Elements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace kxcms::exact {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// A few roundings of double.
constexpr double kRounding = 4e-16;

SampledCurve Table(std::vector<std::uint16_t> values, int maximum = 65535) {
  return {std::move(values), maximum};
}

// The sRGB curve as function 3: a = 1 / 1.055, b = 0.055 / 1.055, c = 1 / 12.92.
constexpr ParametricCurve kSRgb = {3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0, 0};
// ITU-R BT.709 the other way round, with its parameters in three decimals: the power begins lower
// than the line ends.
constexpr ParametricCurve kBt709 = {3, 1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081, 0, 0};

TEST(Curves, FollowTheirFormulas) {
  const struct {
    const char* what;
    Curve curve;
    double x, y;
  } kRows[] = {
      {"identity", IdentityCurve{}, 0.3, 0.3},
      {"identity below its domain", IdentityCurve{}, -0.1, 0},
      {"identity above its domain", IdentityCurve{}, 1.1, 1},
      {"identity, no number", IdentityCurve{}, kNaN, 0},
      {"identity, infinite", IdentityCurve{}, kInfinity, 1},
      {"gamma 2", GammaCurve{2}, 0.5, 0.25},
      {"gamma 0.5", GammaCurve{0.5}, 0.25, 0.5},
      {"gamma of Adobe RGB", GammaCurve{563 / 256.0}, 0.5, 0.21775552814439456},
      {"gamma above its domain", GammaCurve{2}, 1.5, 1},
      {"gamma below its domain", GammaCurve{2}, -0.5, 0},
      {"gamma 0", GammaCurve{0}, 0, 1},

      {"two entries, start", Table({13107, 65535}), 0, 0.2},
      {"two entries, middle", Table({13107, 65535}), 0.5, 0.6},
      {"two entries, end", Table({13107, 65535}), 1, 1},
      {"three entries, at the second", Table({0, 13107, 65535}), 0.5, 0.2},
      {"three entries, first half", Table({0, 13107, 65535}), 0.25, 0.1},
      {"three entries, second half", Table({0, 13107, 65535}), 0.75, 0.6},
      {"three entries, above", Table({0, 13107, 52428}), 7, 0.8},
      {"three entries, below", Table({6553, 13107, 52428}), -7, 6553 / 65535.0},
      {"three entries, no number", Table({6553, 13107, 52428}), kNaN, 6553 / 65535.0},
      {"falling", Table({65535, 0}), 0.25, 0.75},
      {"8 bits", Table({0, 51, 255}, 255), 0.5, 0.2},

      // Y = X^g
      {"function 0", ParametricCurve{0, 3, 0, 0, 0, 0, 0, 0}, 0.5, 0.125},
      // Y = (aX + b)^g from -b / a on, 0 below
      {"function 1 below", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, 0.499, 0},
      {"function 1 at the break", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, 0.5, 0},
      {"function 1 above", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, 0.75, 0.25},
      {"function 1, break below 0", ParametricCurve{1, 2, 0.5, 0.5, 0, 0, 0, 0}, 0, 0.25},
      {"function 1, a below 0, below", ParametricCurve{1, 2.5, -1, 0.5, 0, 0, 0, 0}, 0.25, 0},
      {"function 1, a below 0, above", ParametricCurve{1, 2.5, -1, 0.5, 0, 0, 0, 0}, 0.75, 0},
      // Y = (aX + b)^g + c from -b / a on, c below
      {"function 2 below", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.25, 0.125},
      {"function 2 at the break", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.5, 0.125},
      {"function 2 above", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.75, 0.375},
      {"function 2 clipped", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 1, 1},
      {"function 2, c below 0", ParametricCurve{2, 2, 2, -1, -0.125, 0, 0, 0}, 0.25, 0},
      // 49 (1 / 256 / 49) - 1 / 256 comes out below 0.
      {"function 2, base rounded at the break",
       ParametricCurve{2, 2.5, 49, -1 / 256.0, 0.25, 0, 0, 0}, 1 / 256.0 / 49, 0.25},
      // Y = (aX + b)^g from d on, cX below
      {"function 3 below", ParametricCurve{3, 2, 0.5, 0.5, 0.25, 0.5, 0, 0}, 0.25, 0.0625},
      {"function 3 at the break", ParametricCurve{3, 2, 0.5, 0.5, 0.25, 0.5, 0, 0}, 0.5, 0.5625},
      {"function 3 above", ParametricCurve{3, 2, 0.5, 0.5, 0.25, 0.5, 0, 0}, 1, 1},
      {"function 3, sRGB at the break", kSRgb, 0.04045, 0.0031308072830676825},
      {"function 3, sRGB below the break", kSRgb, 0.01, 0.0007739938080495356},
      {"function 3, sRGB in the middle", kSRgb, 0.5, 0.21404114048223244},
      {"function 3, base below 0", ParametricCurve{3, 2.5, 1, -0.5, 1, 0.25, 0, 0}, 0.4, 0},
      {"function 3, clipped", ParametricCurve{3, 2, 2, 0, 1, 0.25, 0, 0}, 0.75, 1},
      // Y = (aX + b)^g + e from d on, cX + f below
      {"function 4 below", ParametricCurve{4, 2, 0.5, 0, 0.25, 0.5, 0.125, 0.0625}, 0.25, 0.125},
      {"function 4 at d", ParametricCurve{4, 2, 0.5, 0, 0.25, 0.5, 0.125, 0.0625}, 0.5, 0.1875},
      {"function 4 above", ParametricCurve{4, 2, 0.5, 0, 0.25, 0.5, 0.125, 0.0625}, 1, 0.375},
      {"function 4, clipped at 0", ParametricCurve{4, 2, 1, 0, 1, 0.5, 0, -0.25}, 0.125, 0},
      {"function 4, base below 0", ParametricCurve{4, 2.5, 1, -0.5, 1, 0, 0.75, 0}, 0.25, 0.75},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_NEAR(Evaluate(row.curve, row.x), row.y, kRounding);
  }
}

// ---- Inverses -----------------------------------------------------------------------------------

TEST(Curves, KnowWhetherTheyCanBeUndone) {
  using enum Invertibility;
  const struct {
    const char* what;
    Curve curve;
    Invertibility expected;
  } kRows[] = {
      {"identity", IdentityCurve{}, kInvertible},
      {"gamma", GammaCurve{2.2}, kInvertible},
      {"gamma 0", GammaCurve{0}, kConstant},
      {"rising table", Table({0, 1, 65535}), kInvertible},
      {"falling table", Table({65535, 1, 0}), kInvertible},
      {"table with flat parts", Table({0, 0, 5, 5, 9, 9}), kInvertible},
      {"flat table", Table({7, 7, 7}), kConstant},
      {"one step back", Table({0, 10, 9, 20}), kNotMonotonic},
      {"one step up in a falling table", Table({20, 9, 10, 0}), kNotMonotonic},
      {"up and down again", Table({7, 8, 7}), kNotMonotonic},
      {"function 0", ParametricCurve{0, 2.4, 0, 0, 0, 0, 0, 0}, kInvertible},
      {"function 0 of power 0", ParametricCurve{0, 0, 0, 0, 0, 0, 0, 0}, kConstant},
      {"function 0 of power -1: 1 throughout", ParametricCurve{0, -1, 0, 0, 0, 0, 0, 0}, kConstant},
      {"function 1, flat at first", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, kInvertible},
      {"function 1 that begins at 1", ParametricCurve{1, 2, 1, -1, 0, 0, 0, 0}, kConstant},
      {"function 2", ParametricCurve{2, 2, 2, -1, 0.1, 0, 0, 0}, kInvertible},
      {"function 3, sRGB", kSRgb, kInvertible},
      {"function 3, BT.709, a step of 0.00006 back", kBt709, kInvertible},
      {"function 3, a step of 0.0625 back", ParametricCurve{3, 2, 1, 0, 0.625, 0.5, 0, 0},
       kNotMonotonic},
      {"function 3, a step of 0.0625 up", ParametricCurve{3, 2, 1, 0, 0.375, 0.5, 0, 0},
       kInvertible},
      {"function 3, falls to the base of 0 and rises", ParametricCurve{3, 2, 2, -1, 0, 0, 0, 0},
       kNotMonotonic},
      {"function 4, falling", ParametricCurve{4, 2, -1, 1, -1, 0.25, 0, 1}, kInvertible},
      {"function 4, the line falls, the power rises", ParametricCurve{4, 2, 1, 0, -1, 0.5, 0.25, 1},
       kNotMonotonic},
      {"function 4, clipped to 1 throughout", ParametricCurve{4, 2, 1, 0, 1, 0.5, 2, 2}, kConstant},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(CanInvert(row.curve), row.expected);
  }
}

TEST(Curves, AreUndoneAtTheLowestPlace) {
  const struct {
    const char* what;
    Curve curve;
    double y, x;
  } kRows[] = {
      {"identity", IdentityCurve{}, 0.3, 0.3},
      {"identity below", IdentityCurve{}, -0.3, 0},
      {"identity above", IdentityCurve{}, 1.3, 1},
      {"gamma 2", GammaCurve{2}, 0.25, 0.5},
      {"gamma 2 at 0", GammaCurve{2}, 0, 0},
      {"gamma 2 at 1", GammaCurve{2}, 1, 1},
      {"gamma 2 above", GammaCurve{2}, 1.5, 1},
      {"rising table", Table({0, 13107, 65535}), 0.1, 0.25},
      {"rising table, upper half", Table({0, 13107, 65535}), 0.6, 0.75},
      {"8 bits", Table({0, 51, 255}, 255), 0.6, 0.75},
      {"below what the table reaches", Table({13107, 65535}), 0.1, 0},
      {"at the start of the table", Table({13107, 65535}), 0.2, 0},
      {"above what the table reaches", Table({0, 13107}), 0.3, 1},
      {"above a table that is flat at the end", Table({0, 13107, 13107}), 0.3, 0.5},
      {"flat start", Table({0, 0, 65535}), 0, 0},
      {"just above a flat start", Table({0, 0, 65535}), 0.125, 0.5625},
      {"black with noise in a flat start", Table({0, 0, 65535}), 9e-7, 0},
      {"more than noise", Table({0, 0, 65535}), 0.5 / 65535, 0.5 + 0.25 / 65535},
      {"no flat start", Table({0, 1, 65535}), 9e-7, 9e-7 * 65535 / 2},
      {"noise in a falling flat start", Table({65535, 65535, 0}), 1 - 9e-7, 0},
      {"flat middle", Table({0, 13107, 13107, 13107, 65535}), 0.2, 0.25},
      {"just above a flat middle", Table({0, 13107, 13107, 13107, 65535}), 0.3, 0.78125},
      {"flat end", Table({0, 32768, 65535, 65535, 65535}), 1, 0.5},
      {"falling table", Table({65535, 13107, 0}), 0.6, 0.25},
      {"falling table, flat start", Table({65535, 65535, 0}), 1, 0},
      {"falling table, flat end", Table({65535, 0, 0}), 0, 0.5},
      {"falling table, above", Table({13107, 0}), 0.5, 0},
      {"falling table, below", Table({65535, 13107, 13107}), 0.1, 0.5},
      {"function 0", ParametricCurve{0, 3, 0, 0, 0, 0, 0, 0}, 0.125, 0.5},
      {"function 1, 0 is reached at once", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, 0, 0},
      {"function 1", ParametricCurve{1, 2, 2, -1, 0, 0, 0, 0}, 0.25, 0.75},
      {"function 2, c is reached at once", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.125, 0},
      {"function 2, c with noise", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.1250009, 0},
      {"function 2", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0}, 0.375, 0.75},
      {"function 2, clipped to 1 from sqrt(0.875) on", ParametricCurve{2, 2, 2, -1, 0.125, 0, 0, 0},
       1, (std::sqrt(0.875) + 1) / 2},
      {"function 3, sRGB, line", kSRgb, 0.0007739938080495356, 0.01},
      {"function 3, sRGB, power", kSRgb, 0.21404114048223244, 0.5},
      {"function 3, a value that is jumped over", ParametricCurve{3, 2, 1, 0, 0.375, 0.5, 0, 0},
       0.2, 0.5},
      // 0.01799 is reached by the line at 0.080955, and again by the power above 0.081.
      {"function 3, BT.709, in its step back", kBt709, 0.01799, 0.080955},
      {"function 3, BT.709, below its step back", kBt709, 0.009, 0.0405},
      {"function 4, falling line", ParametricCurve{4, 2, -1, 1, -1, 0.25, 0, 1}, 0.9, 0.1},
      {"function 4, falling power", ParametricCurve{4, 2, -1, 1, -1, 0.25, 0, 1}, 0.25, 0.5},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_NEAR(EvaluateInverse(row.curve, row.y), row.x, kRounding);
  }
}

TEST(Curves, AreUndoneToThePrecisionOfDouble) {
  const Curve kCurves[] = {
      GammaCurve{1.8},
      GammaCurve{563 / 256.0},
      kSRgb,
      ParametricCurve{4, 3, 1 / 1.16, 0.16 / 1.16, 27 / 243.89, 0.08, 0, 0},
      Table({0, 3, 100, 9000, 12345, 65535}),
      Table({65535, 40000, 30000, 200, 0}),
  };
  for (const Curve& curve : kCurves) {
    for (int n = 0; n <= 1000; ++n) {
      const double x = n / 1000.0;
      EXPECT_NEAR(EvaluateInverse(curve, Evaluate(curve, x)), x, 1e-13);
    }
    // In rising curves, down to where nothing but the slope at 0 counts.
    if (Evaluate(curve, 0) > 0) continue;
    for (double y = 1e-3; y > 1e-12; y /= 10) {
      EXPECT_NEAR(Evaluate(curve, EvaluateInverse(curve, y)) / y, 1, 1e-11);
    }
  }
}

// ---- Grids --------------------------------------------------------------------------------------

ColorGrid RandomGrid(std::array<int, 3> points, int maximum, std::mt19937_64& random) {
  ColorGrid grid{points, {}, maximum};
  for (int n = 0; n < 3 * points[0] * points[1] * points[2]; ++n) {
    const auto level = random() % (static_cast<std::uint64_t>(maximum) + 1);
    grid.values.push_back(static_cast<std::uint16_t>(level));
  }
  return grid;
}

Triple Node(const ColorGrid& grid, const std::array<int, 3>& at) {
  const int first = 3 * (at[0] * grid.points[1] * grid.points[2] + at[1] * grid.points[2] + at[2]);
  Triple values;
  for (int n = 0; n < 3; ++n) {
    values[static_cast<std::size_t>(n)] =
        static_cast<double>(grid.values[static_cast<std::size_t>(first + n)]) / grid.maximum;
  }
  return values;
}

double Determinant(const Triple& a, const Triple& b, const Triple& c) {
  return a[0] * (b[1] * c[2] - b[2] * c[1]) - b[0] * (a[1] * c[2] - a[2] * c[1]) +
         c[0] * (a[1] * b[2] - a[2] * b[1]);
}

Triple Difference(const Triple& a, const Triple& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

// The colour at p (in grid points) from the four corners of one tetrahedron: the weights w with
// sum(w) = 1 and sum(w corner) = p by Cramer's rule. Nothing where p lies outside of it.
std::optional<Triple> InTetrahedron(const ColorGrid& grid,
                                    const std::array<std::array<int, 3>, 4>& corners,
                                    const Triple& p) {
  std::array<Triple, 4> at;
  for (std::size_t n = 0; n < 4; ++n) {
    at[n] = {1.0 * corners[n][0], 1.0 * corners[n][1], 1.0 * corners[n][2]};
  }
  const Triple e1 = Difference(at[1], at[0]), e2 = Difference(at[2], at[0]);
  const Triple e3 = Difference(at[3], at[0]), d = Difference(p, at[0]);
  const double volume = Determinant(e1, e2, e3);
  const double w1 = Determinant(d, e2, e3) / volume;
  const double w2 = Determinant(e1, d, e3) / volume;
  const double w3 = Determinant(e1, e2, d) / volume;
  const std::array<double, 4> weights = {1 - w1 - w2 - w3, w1, w2, w3};
  Triple color{};
  for (std::size_t n = 0; n < 4; ++n) {
    if (weights[n] < -1e-12) return std::nullopt;
    const Triple node = Node(grid, corners[n]);
    for (std::size_t c = 0; c < 3; ++c) color[c] += weights[n] * node[c];
  }
  return color;
}

// The six tetrahedra of a cell share its diagonal from the lowest corner to the highest. One
// contains the colour, or several whose shared face does.
std::vector<Triple> ByBruteForce(const ColorGrid& grid, const Triple& x) {
  Triple p;
  std::array<int, 3> lowest;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    p[axis] = x[axis] * (grid.points[axis] - 1);
    lowest[axis] = std::min(static_cast<int>(p[axis]), grid.points[axis] - 2);
  }
  std::vector<Triple> found;
  std::array<std::size_t, 3> axes = {0, 1, 2};
  do {
    std::array<std::array<int, 3>, 4> corners = {lowest, lowest, lowest, lowest};
    for (std::size_t step = 0; step < 3; ++step) {
      for (std::size_t n = step + 1; n < 4; ++n) ++corners[n][axes[step]];
    }
    if (const auto color = InTetrahedron(grid, corners, p)) found.push_back(*color);
  } while (std::next_permutation(axes.begin(), axes.end()));
  return found;
}

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance) {
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_NEAR(actual[n], expected[n], tolerance) << "component " << n;
  }
}

constexpr std::array<int, 3> kShapes[] = {{2, 2, 2}, {3, 3, 3},  {17, 17, 17}, {2, 3, 4},
                                          {5, 2, 9}, {33, 7, 2}, {2, 2, 255}};

TEST(Grids, InterpolateInTheTetrahedron) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> fraction(0, 1);
  for (const auto& shape : kShapes) {
    for (const int maximum : {255, 65535}) {
      const ColorGrid grid = RandomGrid(shape, maximum, random);
      for (int n = 0; n < 200; ++n) {
        const Triple x = {fraction(random), fraction(random), fraction(random)};
        const std::vector<Triple> expected = ByBruteForce(grid, x);
        ASSERT_FALSE(expected.empty());
        for (const Triple& color : expected) ExpectNear(Evaluate(grid, x), color, 1e-12);
      }
    }
  }
}

// On the faces of cells and of tetrahedra: all that meet there agree.
TEST(Grids, AreContinuous) {
  std::mt19937_64 random(2);
  const double kSteps[] = {0, 0.125, 0.25, 0.5, 0.75, 0.875, 1};
  for (const auto& shape : kShapes) {
    const ColorGrid grid = RandomGrid(shape, 65535, random);
    int shared = 0;
    for (const double r : kSteps) {
      for (const double g : kSteps) {
        for (const double b : kSteps) {
          const std::vector<Triple> expected = ByBruteForce(grid, {r, g, b});
          shared += expected.size() > 1;
          for (const Triple& color : expected) ExpectNear(Evaluate(grid, {r, g, b}), color, 1e-12);
        }
      }
    }
    EXPECT_GT(shared, 0);
  }
}

TEST(Grids, GiveTheirPoints) {
  std::mt19937_64 random(3);
  for (const auto& shape : kShapes) {
    const ColorGrid grid = RandomGrid(shape, 65535, random);
    for (int r = 0; r < shape[0]; ++r) {
      for (int g = 0; g < shape[1]; ++g) {
        for (int b = 0; b < shape[2]; ++b) {
          const Triple x = {r / (shape[0] - 1.0), g / (shape[1] - 1.0), b / (shape[2] - 1.0)};
          ExpectNear(Evaluate(grid, x), Node(grid, {r, g, b}), 1e-13);
        }
      }
    }
  }
}

// Halfway along the edges, faces and diagonal of one cell, worked by hand: the first input is the
// slowest, and a face's own diagonal runs from its lowest corner to its highest.
TEST(Grids, TakeTheFirstInputAsTheSlowest) {
  // (r, g, b) from 000, 001, 010 to 111, outputs 0 but the first.
  const std::uint16_t levels[] = {0, 1, 2, 4, 8, 16, 32, 64};
  ColorGrid grid{{2, 2, 2}, {}, 64};
  for (const std::uint16_t level : levels) {
    grid.values.insert(grid.values.end(), {level, std::uint16_t{0}, std::uint16_t{0}});
  }
  const struct {
    Triple x;
    double value;
  } kRows[] = {
      {{0, 0, 0.5}, 0.5},         {{0, 0.5, 0}, 1},
      {{0.5, 0, 0}, 4},           {{0, 0.5, 0.5}, 2},  // 000, 011
      {{0.5, 0, 0.5}, 8},                              // 000, 101
      {{0.5, 0.5, 0}, 16},                             // 000, 110
      {{1, 0.5, 0.5}, 36},                             // 100, 111
      {{0.5, 0.5, 0.5}, 32},                           // 000, 111
      {{0.75, 0.5, 0.25}, 26},                         // (000 + 100 + 110 + 111) / 4
      {{0.25, 0.5, 0.75}, 17.25},                      // (000 + 001 + 011 + 111) / 4
  };
  for (const auto& row : kRows) EXPECT_EQ(Evaluate(grid, row.x)[0] * 64, row.value);
}

TEST(Grids, ClipTheirInputs) {
  std::mt19937_64 random(4);
  const ColorGrid grid = RandomGrid({3, 4, 5}, 65535, random);
  EXPECT_EQ(Evaluate(grid, {-1, 0.4, 2}), Evaluate(grid, {0, 0.4, 1}));
  EXPECT_EQ(Evaluate(grid, {kNaN, kInfinity, -kInfinity}), Evaluate(grid, {0, 1, 0}));
}

// ---- Matrices, sets of curves -------------------------------------------------------------------

TEST(Elements, ApplyMatricesWithoutClipping) {
  const MatrixElement element{{1, 2, 3, 4, 5, 6, 7, 8, 9}, {10, -20, 30}};
  EXPECT_EQ(Evaluate(element, {1, -1, 2}), (Triple{15, -9, 47}));
}

TEST(Elements, ApplyOneCurvePerChannel) {
  const Element set = CurveSet{{IdentityCurve{}, GammaCurve{2}, Table({65535, 0})}};
  EXPECT_EQ(Evaluate(set, {0.25, 0.5, 0.25}), (Triple{0.25, 0.25, 0.75}));
}

}  // namespace

}  // namespace kxcms::exact
