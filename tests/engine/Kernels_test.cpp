#include "engine/kernels/Kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/CIccEngineS.h"
#include "engine/EngineTables.h"
#include "engine/PipelineTables.h"
#include "engine/kernels/ScalarWorker.h"
#include "interface/CpuLevel.h"
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
  std::vector<Level> levels = {{"portable", &kPortableKernels},
                               {"portable, not x86", &kGenericKernels}};
#if defined(__x86_64__)
  if (SupportedCpuLevel() >= CpuLevel::kAvx2) levels.push_back({"avx2", &kAvx2Kernels});
  if (SupportedCpuLevel() >= CpuLevel::kAvx512) levels.push_back({"avx512", &kAvx512Kernels});
#endif
  return levels;
}

enum class Nodes { kRandom, kBlackAndWhite, kAllWhite };
enum class Curves { kRandom, kLine, kSteep, kConstant };
enum class Outputs { kRandom, kSharedRamp, kSharedSteps, kDistinctRamps };

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
    engine_->inLutAux0 = NewEngineTables(static_cast<std::uint32_t>(levels));
  }

  PixelTables Contract() const {
    return {{engine_->inLut0, engine_->inLut1, engine_->inLut2},
            InputLevels(*engine_),
            engine_->cells,
            engine_->outLut};
  }
  const WorkerTables& Compact(PixelFormat format) {
    const WorkerTables* tables = CurrentWorkerTables(*engine_, format);
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
          case Outputs::kSharedRamp:
            entry = static_cast<unsigned int>(v) >> 8;
            break;
          case Outputs::kSharedSteps:  // two levels at once: no step curve
            entry = static_cast<unsigned int>(v) >> 9 << 1;
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
  const PixelTables contract = tables.Contract();
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

// Converts [begin, end) with the scalar worker and with every level, at an offset into the buffers,
// and compares the whole buffers, guard bytes included.
void ExpectSame(Tables& tables, PixelFormat format, const std::vector<unsigned char>& source,
                std::int64_t begin, std::int64_t end, std::size_t offset = 0) {
  constexpr std::size_t kGuard = 96;
  const std::size_t size =
      offset + static_cast<std::size_t>(end) * 3 * DestinationBytes(format) + kGuard;
  std::vector<unsigned char> expected(size, 0xA5);
  Scalar(tables, format, source.data() + offset, expected.data() + offset, begin, end);
  for (const Level& level : Levels()) {
    std::vector<unsigned char> actual(size, 0xA5);
    KernelOf(*level.kernels, format)(tables.Compact(format), source.data() + offset,
                                     actual.data() + offset, begin, end);
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
} kTables[] = {
    {"random everything", Nodes::kRandom, Curves::kRandom, Outputs::kRandom},
    {"a step curve", Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp},
    {"shared, but no step curve", Nodes::kRandom, Curves::kLine, Outputs::kSharedSteps},
    {"three curves", Nodes::kRandom, Curves::kLine, Outputs::kDistinctRamps},
    {"cell boundaries and ties", Nodes::kBlackAndWhite, Curves::kSteep, Outputs::kSharedRamp},
    {"the largest sums", Nodes::kAllWhite, Curves::kConstant, Outputs::kRandom},
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
    }
  }
}

TEST(Kernels, LengthsOffsetsAndGuards) {
  for (const PixelFormat format : kFormats) {
    const int levels = SourceBytes(format) == 2 ? 65536 : 256;
    Tables tables(77, levels, Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp);
    const auto source = RandomBytes(3 * 2 * 700 + 8, 5);
    for (std::int64_t pixels = 0; pixels <= 70; ++pixels) {
      for (std::size_t offset = 0; offset < 3; ++offset) {
        ExpectSame(tables, format, source, 0, pixels, offset);
      }
    }
    for (const std::int64_t pixels : {255, 256, 257, 319, 320, 511, 512, 513, 600}) {
      ExpectSame(tables, format, source, 0, pixels, 1);
      ExpectSame(tables, format, source, pixels / 3, pixels, 0);
    }
  }
}

TEST(Kernels, InPlace) {
  for (const PixelFormat format : {PixelFormat::k8To8, PixelFormat::k16To16}) {
    const int levels = SourceBytes(format) == 2 ? 65536 : 256;
    Tables tables(78, levels, Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp);
    const std::int64_t pixels = 777;
    const auto source = RandomBytes(static_cast<std::size_t>(pixels) * 6, 6);
    for (const Level& level : Levels()) {
      auto separate = source, inPlace = source;
      const PixelKernel convert = KernelOf(*level.kernels, format);
      convert(tables.Compact(format), source.data(), separate.data(), 0, pixels);
      convert(tables.Compact(format), inPlace.data(), inPlace.data(), 0, pixels);
      EXPECT_EQ(inPlace, separate) << level.name;
    }
  }
}

TEST(Kernels, EveryStepCurveSegment) {
  // Nodes and samples such that the values 0..65280 in steps of 16 come out, over curves that step
  // at every place within a segment.
  for (int place = 0; place < 256; place += 5) {
    Tables tables(79, 256, Nodes::kRandom, Curves::kRandom, Outputs::kSharedRamp);
    for (int c = 0; c < 3; ++c) {
      for (int v = 0; v < 65536; ++v) {
        tables.Engine().outLut[c][v] = static_cast<unsigned int>(v + place) >> 8;
      }
    }
    OutputTablesChanged(tables.Engine());
    ExpectSame(tables, PixelFormat::k8To8, RandomBytes(3 * 3000, place), 0, 3000);
  }
}

TEST(EngineTables, TablesWithoutACompactForm) {
  Tables tables(80, 256, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
  EXPECT_EQ(CurrentWorkerTables(tables.Engine(), PixelFormat::k16To16), nullptr)
      << "16-bit samples over 256-entry tables";
  EXPECT_NE(CurrentWorkerTables(tables.Engine(), PixelFormat::k8To8), nullptr);
  tables.Engine().cells[0][0][0][0][0] += 1u << kFractionBits;
  CellsChanged(tables.Engine());
  EXPECT_EQ(CurrentWorkerTables(tables.Engine(), PixelFormat::k8To8), nullptr)
      << "a node that is no byte times 256";
}

TEST(CpuLevel, NamesAndOrder) {
  EXPECT_STREQ(NameOf(CpuLevel::kScalar), "scalar");
  EXPECT_STREQ(NameOf(CpuLevel::kPortable), "portable");
  EXPECT_STREQ(NameOf(CpuLevel::kAvx2), "avx2");
  EXPECT_STREQ(NameOf(CpuLevel::kAvx512), "avx512");
  EXPECT_LE(ChosenCpuLevel(), SupportedCpuLevel());
  const char* wanted = std::getenv("KXCMS_LEVEL");
  if (wanted == nullptr) {
    EXPECT_EQ(ChosenCpuLevel(), SupportedCpuLevel());
  } else {
    EXPECT_EQ(std::string(NameOf(ChosenCpuLevel())), wanted);
  }
}
