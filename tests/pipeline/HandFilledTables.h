#ifndef KXCMS_TESTS_PIPELINE_HANDFILLEDTABLES_H
#define KXCMS_TESTS_PIPELINE_HANDFILLEDTABLES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <utility>

#include "pipeline/FixedStages.h"
#include "pipeline/FixedTables.h"
#include "pipeline/WorkerTables.h"
#include "tests/reference/RandomProfile.h"

namespace pipeline_test {

using namespace ICC40;
using namespace ICC40::ICC_ENG_S4;
using reference::Dice;

enum class Nodes { kRandom, kBlackAndWhite, kAllWhite, kSlope };
enum class Curves { kRandom, kLine, kSteep, kConstant };
enum class Outputs { kRandom, kIdentity, kSharedRamp, kSharedSteep, kDistinctRamps };

/// Tables that are filled by hand, as the pipeline could: nodes are bytes times 256, coordinates
/// 16-bit numbers.
class Tables {
 public:
  Tables(std::uint64_t seed, int levels, Nodes nodes, Curves curves, Outputs outputs)
      : levels_(static_cast<std::size_t>(levels)),
        input_(std::make_unique<std::uint32_t[]>(3 * levels_)),
        cells_(std::make_unique<Cell[][16][16]>(16)),
        output_(std::make_unique<std::uint32_t[][kLevels16]>(3)) {
    Dice dice(seed);
    FillInput(dice, levels, curves);
    FillGrid(dice, nodes);
    FillOutput(dice, outputs);
  }

  /// To be changed before anything is made of them.
  std::span<std::uint32_t> Input(std::size_t channel) {
    compact_.clear();
    return Channel(channel);
  }
  auto Cells() {
    compact_.clear();
    return cells_.get();
  }
  auto Output() {
    compact_.clear();
    return output_.get();
  }

  FixedTables View() const {
    return {{{Channel(0), Channel(1), Channel(2)}}, cells_.get(), output_.get()};
  }
  /// Null where there is no compact form.
  const CompactTables* Compact(PixelFormat format, bool withPairs) {
    std::unique_ptr<WorkerTables>& made = compact_[{format, withPairs}];
    if (made == nullptr) made = WorkerTables::Make(View(), {}, format, withPairs);
    return made->compact();
  }

 private:
  std::span<std::uint32_t> Channel(std::size_t channel) const {
    return {input_.get() + channel * levels_, levels_};
  }
  void FillInput(Dice& dice, int levels, Curves curves) {
    for (int c = 0; c < 3; ++c) {
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
        input_[static_cast<std::size_t>(c * levels + i)] =
            PackIndex(static_cast<std::uint32_t>(std::max(coordinate, 0)));
      }
    }
  }
  void FillGrid(Dice& dice, Nodes nodes) {
    auto values = std::make_unique<int[]>(kNodes * 3);
    int* value = values.get();
    for (int i = 0; i < kCellGridPoints; ++i) {
      for (int j = 0; j < kCellGridPoints; ++j) {
        for (int k = 0; k < kCellGridPoints; ++k) {
          for (int c = 0; c < 3; ++c) {
            int level = 255;
            if (nodes == Nodes::kRandom) level = dice.Between(0, 255);
            if (nodes == Nodes::kBlackAndWhite) level = 255 * dice.Between(0, 1);
            if (nodes == Nodes::kSlope) level = std::min(255, 16 * i + j);
            *value++ = level * 256;
          }
        }
      }
    }
    const ICC_UNIT::GridNodes<const int> grid = {
        values.get(),
        {3 * kCellGridPoints * kCellGridPoints, 3 * kCellGridPoints, 3},
        kCellGridPoints};
    FillCells(grid, cells_.get());
  }
  void FillOutput(Dice& dice, Outputs outputs) {
    for (int c = 0; c < 3; ++c) {
      for (int v = 0; v < 65536; ++v) {
        std::uint32_t& entry = output_[static_cast<std::size_t>(c)][v];
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

  static constexpr std::size_t kNodes =
      std::size_t{kCellGridPoints} * kCellGridPoints * kCellGridPoints;

  std::size_t levels_;
  std::unique_ptr<std::uint32_t[]> input_;
  std::unique_ptr<Cell[][16][16]> cells_;
  std::unique_ptr<std::uint32_t[][kLevels16]> output_;
  std::map<std::pair<PixelFormat, bool>, std::unique_ptr<WorkerTables>> compact_;
};

}  // namespace pipeline_test

#endif
