#include "pipeline/kernels/Kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "base/CpuLevel.h"
#include "engine/CIccEngineS.h"
#include "engine/EngineTables.h"
#include "pipeline/PipelineTables.h"
#include "pipeline/kernels/ScalarWorker.h"
#include "tests/reference/RandomProfile.h"

// Every fast worker against the scalar one, which defines the result.

using namespace ICC40;
using namespace ICC40::ICC_ENG_S4;
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

enum class Nodes { kRandom, kBlackAndWhite, kAllWhite, kSlope };
enum class Curves { kRandom, kLine, kSteep, kConstant };
enum class Outputs { kRandom, kIdentity, kSharedRamp, kSharedSteep, kDistinctRamps };

// An engine whose contract tables are filled by hand, as the pipeline could: nodes are bytes times
// 256, coordinates 16-bit numbers.
class Tables {
 public:
  Tables(std::uint64_t seed, int levels, Nodes nodes, Curves curves, Outputs outputs)
      : engine_(std::make_unique<CIccEngineS>()) {
    Dice dice(seed);
    FillInput(dice, levels, curves);
    FillCells(dice, nodes);
    FillOutput(dice, outputs);
    HoldEngineTables(*engine_, static_cast<std::uint32_t>(levels));
  }

  ContractTables Contract() const {
    return {{engine_->inLut0, engine_->inLut1, engine_->inLut2},
            InputLevels(*engine_),
            engine_->cells,
            engine_->outLut};
  }
  const CompactTables& Compact(PixelFormat format, const KernelSet& kernels = kPortableKernels) {
    const CompactTables* tables = CurrentCompactTables(*engine_, format, kernels);
    EXPECT_NE(tables, nullptr);
    return *tables;
  }
  CIccEngineS& Engine() { return *engine_; }

 private:
  void FillInput(Dice& dice, int levels, Curves curves) {
    for (unsigned int** table : {&engine_->inLut0, &engine_->inLut1, &engine_->inLut2}) {
      *table = new unsigned int[levels];
      for (int i = 0; i < levels; ++i) {
        int coordinate = 0;
        switch (curves) {
          case Curves::kRandom:
            coordinate = dice.Between(0, 65535);
            break;
          case Curves::kLine:
            coordinate = static_cast<int>(std::int64_t{i} * 65535 / (levels - 1));
            break;
          case Curves::kSteep:  // cell boundaries and ties
            coordinate = std::min(65535, dice.Between(0, 16) * 4096 + dice.Between(-1, 1));
            break;
          case Curves::kConstant:
            coordinate = 65535;
            break;
        }
        (*table)[i] = PackIndex(static_cast<std::uint32_t>(std::max(coordinate, 0)));
      }
    }
  }
  void FillCells(Dice& dice, Nodes nodes) {
    const auto table = std::make_unique<ICC40::ICC_UNIT::ColorTable33>();
    for (int i = 0; i < kCellGridPoints; ++i) {
      for (int j = 0; j < kCellGridPoints; ++j) {
        for (int k = 0; k < kCellGridPoints; ++k) {
          for (int c = 0; c < 3; ++c) {
            int level = 255;
            if (nodes == Nodes::kRandom) level = dice.Between(0, 255);
            if (nodes == Nodes::kBlackAndWhite) level = 255 * dice.Between(0, 1);
            if (nodes == Nodes::kSlope) level = std::min(255, 16 * i + j);
            table->grid[i][j][k][c] = level * 256;
          }
        }
      }
    }
    BuildCells(*table, engine_->cells);
  }
  void FillOutput(Dice& dice, Outputs outputs) {
    for (int c = 0; c < 3; ++c) {
      for (int v = 0; v < 65536; ++v) {
        unsigned int& entry = engine_->outLut[c][v];
        switch (outputs) {
          case Outputs::kRandom:
            entry = static_cast<unsigned int>(dice.Bits());
            break;
          case Outputs::kIdentity:
            entry = static_cast<unsigned int>(v);
            break;
          case Outputs::kSharedRamp:
            entry = static_cast<unsigned int>(v) >> 8;
            break;
          case Outputs::kSharedSteep:  // several levels a segment: no step curve
            entry = static_cast<unsigned int>(v) >> 5;
            break;
          case Outputs::kDistinctRamps:
            entry = static_cast<unsigned int>(v >> (7 + c));
            break;
        }
      }
    }
  }

  std::unique_ptr<CIccEngineS> engine_;
};

constexpr PixelFormat kFormats[] = {PixelFormat::k8To8, PixelFormat::k8To16, PixelFormat::k16To16};

int SourceBytes(PixelFormat format) {
  return format == PixelFormat::k16To16 ? 2 : 1;
}
int DestinationBytes(PixelFormat format) {
  return format == PixelFormat::k8To8 ? 1 : 2;
}

void Scalar(const Tables& tables, PixelFormat format, const unsigned char* source,
            unsigned char* destination, std::int64_t begin, std::int64_t end) {
  const ContractTables contract = tables.Contract();
  switch (format) {
    case PixelFormat::k8To8:
      return ConvertPixels<std::uint8_t, std::uint8_t>(contract, source, destination, begin, end);
    case PixelFormat::k8To16:
      return ConvertPixels<std::uint8_t, std::uint16_t>(contract, source, destination, begin, end);
    case PixelFormat::k16To16:
      return ConvertPixels<std::uint16_t, std::uint16_t>(contract, source, destination, begin, end);
  }
}

PixelKernel KernelOf(const KernelSet& kernels, PixelFormat format) {
  if (format == PixelFormat::k8To8) return kernels.convert8To8;
  return format == PixelFormat::k8To16 ? kernels.convert8To16 : kernels.convert16To16;
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
    KernelOf(*level.kernels, format)(tables.Compact(format, *level.kernels),
                                     from.get() + sourceOffset, actual.data() + first, begin, end);
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
        EXPECT_EQ(tables.Compact(format).steps != nullptr, row.isStepCurve);
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
        KernelOf(*level.kernels, format)(tables.Compact(format, *level.kernels), inPlace.data(),
                                         inPlace.data(), 0, pixels);
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
    tables.Engine().inLut0[level] = PackIndex(static_cast<std::uint32_t>(256 * level));
    tables.Engine().inLut1[level] = PackIndex(static_cast<std::uint32_t>(16 * level));
    tables.Engine().inLut2[level] = PackIndex(0);
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
    for (auto& channel : tables.Engine().outLut) std::copy(curve.begin(), curve.end(), channel);
    OutputTablesChanged(tables.Engine());
    ExpectSame(tables, PixelFormat::k8To8, source, 0, 65536);
    EXPECT_NE(tables.Compact(PixelFormat::k8To8).steps, nullptr);
  }
}

TEST(EngineTables, TablesWithoutACompactForm) {
  const struct {
    const char* what;
    PixelFormat format;
    void (*change)(CIccEngineS& engine);
  } kRows[] = {
      {"16-bit samples over 256-entry tables", PixelFormat::k16To16, [](CIccEngineS&) {}},
      {"a node that is no byte times 256", PixelFormat::k8To8,
       [](CIccEngineS& engine) {
         engine.cells[0][0][0][0][0] += 1u << kFractionBits;
         CellsChanged(engine);
       }},
      {"a node that is no byte", PixelFormat::k8To8,
       [](CIccEngineS& engine) {
         for (auto& tetrahedron : engine.cells[3][4][5]) tetrahedron[4] = 65536u << kFractionBits;
         CellsChanged(engine);
       }},
      {"one slope that misses its node", PixelFormat::k8To8,
       [](CIccEngineS& engine) {
         engine.cells[15][15][15][5][11] += 256;
         CellsChanged(engine);
       }},
      {"a fraction above 4095", PixelFormat::k8To8,
       [](CIccEngineS& engine) { engine.inLut1[200] |= 0x1000; }},
      {"a cell above 15", PixelFormat::k8To8,
       [](CIccEngineS& engine) { engine.inLut2[0] |= 16u << 16; }},
      {"another array for an input table", PixelFormat::k8To8,
       [](CIccEngineS& engine) {
         auto* const copy = new unsigned int[256];
         std::copy_n(engine.inLut1, 256, copy);
         delete[] engine.inLut1;
         engine.inLut1 = copy;
       }},
  };
  for (const auto& row : kRows) {
    Tables tables(80, 256, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
    row.change(tables.Engine());
    EXPECT_EQ(CurrentCompactTables(tables.Engine(), row.format, kPortableKernels), nullptr)
        << row.what;
  }
  Tables tables(80, 256, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
  EXPECT_NE(CurrentCompactTables(tables.Engine(), PixelFormat::k8To8, kPortableKernels), nullptr);
  tables.Engine().cells[0][0][0][0][0] += 1u << kFractionBits;
  CellsChanged(tables.Engine());
  EXPECT_EQ(CurrentCompactTables(tables.Engine(), PixelFormat::k8To8, kPortableKernels), nullptr)
      << "a change after the first conversion";
}

TEST(EngineTables, AreFoundByTheEngineAlone) {
  Tables tables(80, 256, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
  Tables other(81, 256, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
  const CompactTables* const own = &tables.Compact(PixelFormat::k8To8);
  EXPECT_NE(&other.Compact(PixelFormat::k8To8), own);
  tables.Engine().inLutAux2 = new unsigned int[256];
  EXPECT_EQ(&tables.Compact(PixelFormat::k8To8), own) << "auxiliary tables make no difference";
  EXPECT_FALSE(HasOwnInputTables(tables.Engine(), 256)) << "but are made anew with the others";
  DropEngineTables(tables.Engine());
  EXPECT_EQ(CurrentCompactTables(tables.Engine(), PixelFormat::k8To8, kPortableKernels), nullptr);
  DropEngineTables(tables.Engine());
  EXPECT_EQ(InputLevels(tables.Engine()), 256u);
  EXPECT_NE(CurrentCompactTables(other.Engine(), PixelFormat::k8To8, kPortableKernels), nullptr);
}

// More than there are places to begin with, which are then taken over.
TEST(EngineTables, OfManyEngines) {
  for (int round = 0; round < 2; ++round) {
    std::vector<std::unique_ptr<CIccEngineS>> engines;
    for (int i = 0; i < 50; ++i) {
      engines.push_back(std::make_unique<CIccEngineS>());
      HoldEngineTables(*engines.back(), i % 2 == 0 ? 256 : 65536);
    }
    for (int i = 0; i < 50; i += 3) DropEngineTables(*engines[static_cast<std::size_t>(i)]);
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(HasOwnInputTables(*engines[static_cast<std::size_t>(i)], i % 2 == 0 ? 256 : 65536),
                i % 3 != 0)
          << i;
    }
  }
}
