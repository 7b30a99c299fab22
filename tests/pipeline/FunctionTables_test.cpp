#include "pipeline/precise/FunctionTables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "exact/Colorimetry.h"
#include "pipeline/precise/Power.h"
#include "tests/pipeline/ScalarStages.h"

namespace kxcms {

namespace {

// Numbers from 2^low to 2^high, as many in every octave.
std::vector<float> Spread(int low, int high) {
  std::vector<float> numbers;
  std::mt19937 generator(5);
  std::uniform_real_distribution<double> exponent(low, high);
  for (int n = 0; n < 200000; ++n) {
    numbers.push_back(static_cast<float>(std::exp2(exponent(generator))));
  }
  for (int octave = low; octave <= high; ++octave) {
    numbers.push_back(std::ldexp(1.0f, octave));
    if (octave < high) numbers.push_back(std::nextafter(std::ldexp(1.0f, octave + 1), 0.0f));
  }
  return numbers;
}

TEST(Power, IsThatOfTheMathsLibrary) {
  std::mt19937 generator(6);
  std::uniform_real_distribution<double> exponent(-200, 200);
  double worst = 0;
  for (int n = 0; n < 300000; ++n) {
    const double x = std::exp2(exponent(generator) / 4);
    const double product = exponent(generator);
    const double y = product / std::log2(x);
    if (!(std::abs(y) < 1e6)) continue;
    const double expected = std::pow(x, y);
    worst = std::max(worst, std::abs(Power(x, y) - expected) / expected);
  }
  EXPECT_LE(worst, 1e-13);
}

TEST(Power, HasItsSimpleValues) {
  const struct {
    double x, y, power;
  } kRows[] = {
      {1, 2.4, 1}, {2, 1, 2},          {2, 10, 1024},       {4, 0.5, 2},           {0.25, -1, 4},
      {3, 0, 1},   {0.5, 24, 0x1p-24}, {2, 5000, 0x1p1022}, {2, -5000, 0x1p-1022},
  };
  for (const auto& row : kRows) {
    EXPECT_DOUBLE_EQ(Power(row.x, row.y), row.power) << row.x << " " << row.y;
  }
}

TEST(PowerTable, KeepsItsBound) {
  const struct {
    double exponent, bound;
  } kRows[] = {{0.2, 2e-7}, {1 / 2.4, 2e-7}, {1 / 1.8, 2e-7}, {0.9, 2e-7}, {1.2, 2e-7},
               {1.8, 2e-7}, {2.2, 2e-7},     {2.4, 2e-7},     {3, 4e-7},   {-1, 4e-7}};
  const auto numbers = Spread(-24, 0);
  for (const auto& row : kRows) {
    Arena arena;
    const ParabolaTable table = MakePowerTable(row.exponent, 1, arena);
    double worst = 0;
    for (const float t : numbers) {
      const double expected = std::pow(static_cast<double>(t), row.exponent);
      worst = std::max(worst, std::abs(scalar_stages::Power(table, t) - expected) / expected);
    }
    EXPECT_LE(worst, row.bound) << row.exponent;
    EXPECT_EQ(scalar_stages::Power(table, 1), 1.0f) << row.exponent;
  }
}

TEST(PowerTable, ReachesZeroAndItsEnd) {
  for (const double highest : {0.001, 1.0, 1.5, 40.0, 65535.0}) {
    Arena arena;
    const ParabolaTable table = MakePowerTable(0.5, highest, arena);
    EXPECT_EQ(scalar_stages::Power(table, 0), 0.0f);
    EXPECT_GE(table.highest, highest);
    const double end = std::sqrt(highest);
    EXPECT_NEAR(scalar_stages::Power(table, static_cast<float>(highest)), end, 2e-7 * end);
    // Between 0 and the lowest octave a line, above which the root lies.
    const float low = table.lowest / 4;
    EXPECT_LT(scalar_stages::Power(table, low), std::sqrt(low));
    EXPECT_GT(scalar_stages::Power(table, low), 0);
  }
}

TEST(PowerTable, IsFiniteForAnyExponent) {
  for (const double exponent : {-32768.0, -100.0, -2.0, 0.0, 0.001, 100.0, 32767.0}) {
    Arena arena;
    const ParabolaTable table = MakePowerTable(exponent, 65536, arena);
    for (const float t : {0.0f, 1e-30f, 0.001f, 0.99f, 1.0f, 1.01f, 300.0f, 65536.0f}) {
      EXPECT_TRUE(std::isfinite(scalar_stages::Power(table, t))) << exponent << " " << t;
    }
  }
}

// Steep powers too stay within 0 and what they are at the ends of a segment.
TEST(PowerTable, IsNeverNegative) {
  for (const double exponent : {-16384.0, -200.0, 140.0, 145.0, 200.0, 16384.0}) {
    Arena arena;
    const ParabolaTable table = MakePowerTable(exponent, 2, arena);
    for (const float t : Spread(-9, 1)) {
      EXPECT_GE(scalar_stages::Power(table, t), 0.0f) << exponent << " " << t;
    }
  }
}

TEST(CubeRootTable, KeepsItsBound) {
  double worst = 0;
  for (const float t : Spread(-7, 8)) {
    const double expected = std::cbrt(static_cast<double>(t));
    worst =
        std::max(worst, std::abs(scalar_stages::Power(CubeRootTable(), t) - expected) / expected);
  }
  EXPECT_LE(worst, 2e-7);
}

// ---- Transfer functions -------------------------------------------------------------------------

constexpr Transfer kTransfers[] = {Transfer::kSRgb, Transfer::kAdobeRgb, Transfer::kRomm,
                                   Transfer::kLStar, Transfer::kRec2020};

float Encoded(Transfer transfer, float x, bool isOdd = false) {
  return scalar_stages::Encode({EncodingTable(transfer), isOdd}, x);
}

TEST(EncodingTable, KeepsItsBound) {
  for (const Transfer transfer : kTransfers) {
    double worst = 0;
    for (const float x : Spread(-24, 0)) {
      worst = std::max(worst, std::abs(Encoded(transfer, x) - exact::EncodeTransfer(transfer, x)));
    }
    EXPECT_LE(worst, 1.3e-6) << static_cast<int>(transfer);
  }
}

TEST(EncodingTable, KeepsBlackAndWhite) {
  for (const Transfer transfer : kTransfers) {
    for (const bool isOdd : {false, true}) {
      EXPECT_EQ(Encoded(transfer, 0, isOdd), 0.0f);
      EXPECT_EQ(Encoded(transfer, 1, isOdd), 1.0f);
      // The number below white, too, is white to 16 bits.
      EXPECT_NEAR(Encoded(transfer, std::nextafter(1.0f, 0.0f), isOdd), 1, 2e-6);
    }
  }
}

TEST(EncodingTable, Rises) {
  for (const Transfer transfer : kTransfers) {
    std::vector<float> numbers = Spread(-24, 0);
    std::sort(numbers.begin(), numbers.end());
    float before = 0;
    for (const float x : numbers) {
      const float encoded = Encoded(transfer, x);
      // Rounding in single precision may step back by its last bits.
      EXPECT_GE(encoded, before - 1.2e-7f) << static_cast<int>(transfer) << " " << x;
      before = std::max(before, encoded);
    }
  }
}

TEST(EncodingTable, GoesOnBeyondOneAndBelowZero) {
  for (const Transfer transfer : kTransfers) {
    double worst = 0;
    for (const float x : Spread(0, 16)) {
      const double expected = exact::EncodeTransfer(transfer, x);
      worst = std::max(worst, std::abs(Encoded(transfer, x, true) - expected) / expected);
      EXPECT_EQ(Encoded(transfer, -x, true), -Encoded(transfer, x, true));
    }
    EXPECT_LE(worst, 5e-6) << static_cast<int>(transfer);
    EXPECT_TRUE(std::signbit(Encoded(transfer, -0.0f, true)));
  }
}

}  // namespace

}  // namespace kxcms
