#include "pipeline/kernels/Kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "base/CpuLevel.h"
#include "pipeline/PixelWorker.h"
#include "pipeline/WorkerTables.h"
#include "tests/pipeline/HandFilledTables.h"

// Every fast worker against the scalar one, which defines the result.

using namespace ICC40;
using namespace ICC40::ICC_ENG_S4;
using pipeline_test::Curves;
using pipeline_test::Nodes;
using pipeline_test::Outputs;
using pipeline_test::Tables;
using reference::Dice;

// Linked into this test only: see its CMakeLists.txt.
namespace ICC40::ICC_ENG_S4 {
extern const KernelSet kGenericKernels;
}

namespace {

struct Level {
  const char* name;
  const KernelSet* kernels;
};

// Those that this processor runs.
std::vector<Level> Levels() {
  if (!kIsLittleEndian) return {};
  std::vector<Level> levels = {{"portable", &kPortableKernels},
                               {"portable, not x86", &kGenericKernels}};
#if defined(__x86_64__)
  if (SupportedCpuLevel() >= CpuLevel::kAvx2) levels.push_back({"avx2", &kAvx2Kernels});
  if (SupportedCpuLevel() >= CpuLevel::kAvx512) levels.push_back({"avx512", &kAvx512Kernels});
#endif
  return levels;
}

constexpr PixelFormat kFormats[] = {PixelFormat::k8To8, PixelFormat::k8To16, PixelFormat::k16To16};

int SourceBytes(PixelFormat format) {
  return format == PixelFormat::k16To16 ? 2 : 1;
}
int DestinationBytes(PixelFormat format) {
  return format == PixelFormat::k8To8 ? 1 : 2;
}

void Scalar(Tables& tables, PixelFormat format, const unsigned char* source,
            unsigned char* destination, std::int64_t begin, std::int64_t end) {
  const FixedTables view = tables.View();
  PixelWorker(view, format)(source, destination, begin, end);
}

void Fast(Tables& tables, PixelFormat format, const KernelSet& kernels, const unsigned char* source,
          unsigned char* destination, std::int64_t begin, std::int64_t end) {
  const CompactTables* const compact = tables.Compact(format, kernels.readsCoordinatePairs);
  ASSERT_NE(compact, nullptr);
  PixelWorker(*compact, format, kernels)(source, destination, begin, end);
}

std::vector<unsigned char> RandomBytes(std::size_t size, std::uint64_t seed) {
  Dice dice(seed);
  std::vector<unsigned char> bytes(size);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(dice.Bits() >> 24);
  return bytes;
}

constexpr std::size_t kGuard = 96;
constexpr unsigned char kGuardByte = 0xA5;

// Converts the pixels [begin, end) of `source`, which ends with the last one, by the scalar worker
// and at every level, and compares the whole destination buffers, guard bytes on both sides
// included. Source and destination lie at any offset from an address that suits all vectors.
void ExpectSame(Tables& tables, PixelFormat format, const std::vector<unsigned char>& source,
                std::int64_t begin, std::int64_t end, std::size_t sourceOffset = 0,
                std::size_t destinationOffset = 0) {
  const std::size_t bytes = static_cast<std::size_t>(end) * 3 * SourceBytes(format);
  ASSERT_LE(bytes, source.size());
  // From the heap and full to the last byte, so that sanitizers see a read behind it.
  const auto from = std::make_unique<unsigned char[]>(sourceOffset + bytes);
  std::copy_n(source.begin(), bytes, from.get() + sourceOffset);
  const std::size_t first = kGuard + destinationOffset;
  const std::size_t size =
      first + static_cast<std::size_t>(end) * 3 * DestinationBytes(format) + kGuard;
  std::vector<unsigned char> expected(size, kGuardByte);
  Scalar(tables, format, from.get() + sourceOffset, expected.data() + first, begin, end);
  for (const Level& level : Levels()) {
    std::vector<unsigned char> actual(size, kGuardByte);
    Fast(tables, format, *level.kernels, from.get() + sourceOffset, actual.data() + first, begin,
         end);
    const auto at = std::mismatch(expected.begin(), expected.end(), actual.begin()).first;
    ASSERT_TRUE(at == expected.end())
        << level.name << ", format " << static_cast<int>(format) << ", pixels " << begin << " to "
        << end << ": byte " << (at - expected.begin()) << " of " << size << ", expected "
        << int{*at} << ", actual " << int{actual[at - expected.begin()]};
  }
}

const struct {
  const char* what;
  Nodes nodes;
  Curves curves;
  Outputs outputs;
  bool isStepCurve;
} kTables[] = {
    {"random everything", Nodes::kRandom, Curves::kRandom, Outputs::kRandom, false},
    {"a step curve", Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp, true},
    {"shared, but too steep", Nodes::kRandom, Curves::kLine, Outputs::kSharedSteep, false},
    {"three curves", Nodes::kRandom, Curves::kLine, Outputs::kDistinctRamps, false},
    {"cell boundaries and ties", Nodes::kBlackAndWhite, Curves::kSteep, Outputs::kSharedRamp, true},
    {"the largest sums", Nodes::kAllWhite, Curves::kConstant, Outputs::kRandom, false},
};

}  // namespace

TEST(Kernels, ExtremeTables) {
  std::uint64_t seed = 1;
  for (const auto& row : kTables) {
    SCOPED_TRACE(row.what);
    for (const PixelFormat format : kFormats) {
      const int levels = SourceBytes(format) == 2 ? 65536 : 256;
      Tables tables(++seed, levels, row.nodes, row.curves, row.outputs);
      const std::int64_t pixels = 20011;
      ExpectSame(tables, format, RandomBytes(pixels * 3 * SourceBytes(format), seed), 0, pixels);
      if (format == PixelFormat::k8To8) {
        EXPECT_EQ(tables.Compact(format, true)->steps != nullptr, row.isStepCurve);
      }
    }
  }
}

TEST(Kernels, LengthsOffsetsAndGuards) {
  for (const PixelFormat format : kFormats) {
    const int levels = SourceBytes(format) == 2 ? 65536 : 256;
    Tables tables(77, levels, Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp);
    const auto source = RandomBytes(3 * 2 * 700, 5);
    for (std::int64_t pixels = 0; pixels <= 70; ++pixels) {
      for (const std::size_t sourceOffset : {0, 1, 2, 3}) {
        for (const std::size_t destinationOffset : {0, 1, 2, 5}) {
          ExpectSame(tables, format, source, 0, pixels, sourceOffset, destinationOffset);
        }
      }
    }
    for (const std::int64_t pixels : {255, 256, 257, 319, 320, 511, 512, 513, 600}) {
      ExpectSame(tables, format, source, 0, pixels, 1, 3);
      ExpectSame(tables, format, source, pixels / 3, pixels);
    }
  }
}

TEST(Kernels, InPlace) {
  for (const PixelFormat format : {PixelFormat::k8To8, PixelFormat::k16To16}) {
    const int levels = SourceBytes(format) == 2 ? 65536 : 256;
    Tables tables(78, levels, Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp);
    for (const std::int64_t pixels : {1, 15, 16, 17, 63, 64, 65, 255, 256, 257, 777}) {
      const auto source =
          RandomBytes(static_cast<std::size_t>(pixels) * 3 * SourceBytes(format), 6);
      auto expected = source;
      Scalar(tables, format, source.data(), expected.data(), 0, pixels);
      for (const Level& level : Levels()) {
        auto inPlace = source;
        Fast(tables, format, *level.kernels, inPlace.data(), inPlace.data(), 0, pixels);
        EXPECT_EQ(inPlace, expected) << level.name << ", " << pixels << " pixels";
      }
    }
  }
}

// Every order of the three fractions, ties and the ends of the cell among them, in cells all over
// the grid.
TEST(Kernels, EveryOrderOfFractions) {
  constexpr int kFractions[] = {0, 1, 2, 2047, 2048, 2049, 4094, 4095};
  constexpr int kCellsOfAnAxis[] = {0, 1, 7, 8, 14, 15};
  std::vector<std::uint16_t> samples;
  for (const int i : kCellsOfAnAxis) {
    for (const int j : kCellsOfAnAxis) {
      for (const int k : kCellsOfAnAxis) {
        for (const int x : kFractions) {
          for (const int y : kFractions) {
            for (const int z : kFractions) {
              samples.push_back(static_cast<std::uint16_t>(i << 12 | x));
              samples.push_back(static_cast<std::uint16_t>(j << 12 | y));
              samples.push_back(static_cast<std::uint16_t>(k << 12 | z));
            }
          }
        }
      }
    }
  }
  std::vector<unsigned char> source(2 * samples.size());
  std::memcpy(source.data(), samples.data(), source.size());
  for (const Nodes nodes : {Nodes::kRandom, Nodes::kBlackAndWhite}) {
    // The line: a sample is its own coordinate.
    Tables tables(79, 65536, nodes, Curves::kLine, Outputs::kIdentity);
    ExpectSame(tables, PixelFormat::k16To16, source, 0,
               static_cast<std::int64_t>(samples.size() / 3));
  }
}

// Curves with any bytes below 256, and above in every segment one step at any place.
TEST(Kernels, StepCurvesAtEveryValue) {
  const struct {
    int begin, end, length;
  } kSegments[] = {{256, 2048, 16}, {2048, 16384, 64}, {16384, 65536, 256}};
  // All but few of the values 0 to 65280 come from these.
  std::vector<unsigned char> source;
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      source.push_back(static_cast<unsigned char>(first));
      source.push_back(static_cast<unsigned char>(second));
      source.push_back(0);
    }
  }
  Tables tables(80, 256, Nodes::kSlope, Curves::kLine, Outputs::kIdentity);
  for (int level = 0; level < 256; ++level) {
    const auto at = static_cast<std::size_t>(level);
    tables.Input(0)[at] = PackIndex(static_cast<std::uint32_t>(256 * level));
    tables.Input(1)[at] = PackIndex(static_cast<std::uint32_t>(16 * level));
    tables.Input(2)[at] = PackIndex(0);
  }
  std::vector<unsigned char> values(6 * 65536);
  Scalar(tables, PixelFormat::k8To16, source.data(), values.data(), 0, 65536);
  std::vector<bool> occurs(65536);
  for (std::size_t i = 0; i < values.size(); i += 2) {
    occurs[static_cast<std::size_t>(values[i] | values[i + 1] << 8)] = true;
  }
  EXPECT_EQ(std::find(occurs.begin(), occurs.end(), false) - occurs.begin(), 62144);
  EXPECT_GT(std::count(occurs.begin(), occurs.end(), true), 63000);

  Dice dice(81);
  for (int round = 0; round < 20; ++round) {
    std::vector<unsigned int> curve(65536);
    for (int v = 0; v < 256; ++v) curve[v] = static_cast<unsigned int>(dice.Between(0, 255));
    for (const auto& segments : kSegments) {
      for (int begin = segments.begin; begin < segments.end; begin += segments.length) {
        const int base = dice.Between(0, 254);
        const int step = begin + dice.Between(1, segments.length);  // at the length: none
        for (int v = begin; v < begin + segments.length; ++v) {
          curve[v] = static_cast<unsigned int>(v < step ? base : base + 1);
        }
      }
    }
    for (int c = 0; c < 3; ++c) std::copy(curve.begin(), curve.end(), tables.Output()[c]);
    ExpectSame(tables, PixelFormat::k8To8, source, 0, 65536);
    EXPECT_NE(tables.Compact(PixelFormat::k8To8, true)->steps, nullptr);
  }
}
