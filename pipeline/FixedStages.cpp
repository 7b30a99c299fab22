#include "pipeline/FixedStages.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <numeric>

#include "codes/ColorCodeTable.h"
#include "codes/ResultCodes.h"
#include "units/EncodingCurves.h"
#include "units/InputLevels.h"
#include "units/LutCurves.h"
#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using namespace ICCFILE;

namespace {

// The sRGB curve reports the codes of its other name: kept so that results stay identical.
int StatusOf(const kxcms::ColorCode& output) {
  if (output.curve != kxcms::EncodingCurve::kSRgb) return output.code;
  return output.bits == 8 ? sRGB220 : sRGB220_16;
}

void FillCell(const int* const corners[8], Cell& cell) {
  for (int t = 0; t < 6; ++t) {
    const ICC_UNIT::Tetrahedron& tetrahedron = ICC_UNIT::kTetrahedra[t];
    std::uint32_t* coefficient = cell[t];
    for (int c = 0; c < 3; ++c) {
      *coefficient++ = static_cast<std::uint32_t>(corners[0][c]) << kFractionBits;
      for (const int edge : tetrahedron.edge) {
        *coefficient++ = static_cast<std::uint32_t>(corners[tetrahedron.path[edge + 1]][c] -
                                                    corners[tetrahedron.path[edge]][c]);
      }
    }
  }
}

struct Lookups {
  std::uint32_t of[3][kLevels16];
};

// Indexed by signed levels first, and by 8-bit levels after that: kept so that results stay
// identical.
void FillLabInputTables(const CLut16Type& lut, ColorSpaceSignature input,
                        const std::array<std::span<std::uint32_t>, 3>& tables) {
  const int channels = std::min<int>(lut.inputChannels, 3);
  const auto lookups = std::make_unique<Lookups>();
  const bool isAbsent =
      channels > 0 && lut.inputEntries >= ICC_UNIT::kMinCurveEntries && lut.inputTables == nullptr;
  if (!isAbsent) {
    const ICC_UNIT::LutCurves curves = ICC_UNIT::LutCurves::Input(lut);
    for (int c = 0; c < channels; ++c) {
      curves.ForEachLevel(
          c, [lookup = lookups->of[c]](int level, std::uint16_t value) { lookup[level] = value; });
    }
    if (input == Lab) {
      ICC_UNIT::IndexBy8BitLab(lookups->of);
    } else {
      ICC_UNIT::IndexBy16BitLab(lookups->of);
    }
    ICC_UNIT::IndexBy8BitSamples(lookups->of);
  }
  for (std::size_t c = 0; c < 3; ++c) {
    std::transform(lookups->of[c], lookups->of[c] + tables[c].size(), tables[c].begin(), PackIndex);
  }
}

}  // namespace

namespace {

// Calls take(channel, entry, coordinate) for the entries of the input tables of `RGB` or `RGB_16`,
// `levels` of them.
template <typename Take>
void ForEachCoordinate(const CLut16Type& lut, int levels, const Take& take) {
  const ICC_UNIT::LutCurves curves = ICC_UNIT::LutCurves::Input(lut);
  // A channel that the tag lacks has no curve, which is a curve of zeros.
  const auto channels = std::min<std::size_t>(lut.inputChannels, 3);
  for (std::size_t c = channels; c < 3; ++c) {
    for (int entry = 0; entry < levels; ++entry) take(c, entry, std::uint16_t{0});
  }
  if (levels == kLevels16) {
    for (std::size_t c = 0; c < channels; ++c) {
      curves.ForEachLevel(static_cast<int>(c),
                          [&take, c](int level, std::uint16_t value) { take(c, level, value); });
    }
    return;
  }
  // An 8-bit level x stands for the 16-bit level x * 256, and 255 for the highest: what indexing an
  // input table by 8-bit levels comes to, done once or twice.
  const auto takeAll = [&](int entry, int level) {
    const ICC_UNIT::CurvePosition position = curves.PositionOf(level);
    for (std::size_t c = 0; c < channels; ++c) {
      take(c, entry, curves.At(static_cast<int>(c), level, position));
    }
  };
  for (int x = 0; x < levels - 1; ++x) takeAll(x, x * (kLevels16 / levels));
  takeAll(levels - 1, kLevels16 - 1);
}

}  // namespace

void FillInputTables(const CLut16Type& lut, ColorSpaceSignature input,
                     const std::array<std::span<std::uint32_t>, 3>& tables) {
  if (input == Lab || input == Lab_16) return FillLabInputTables(lut, input, tables);
  std::array<std::uint32_t*, 3> table = {tables[0].data(), tables[1].data(), tables[2].data()};
  ForEachCoordinate(lut, InputLevelsOf(input),
                    [table](std::size_t c, int entry, std::uint16_t coordinate) {
                      table[c][entry] = PackIndex(coordinate);
                    });
}

void FillCoordinates(const CLut16Type& lut, ColorSpaceSignature input,
                     const std::array<std::uint16_t*, 3>& tables) {
  ForEachCoordinate(lut, InputLevelsOf(input),
                    [tables](std::size_t c, int entry, std::uint16_t coordinate) {
                      tables[c][entry] = coordinate;
                    });
}

ICC_UNIT::ColorGrid LinearRgbGrid(const CLut16Type& lut, const ColorTarget& target) {
  ICC_UNIT::ColorGrid grid(lut);
  if (grid.nodes().points == 0) return grid;
  // NaN, which equals nothing, is an offset too.
  if (target.lightness != 0 || target.chroma != 0 || target.hueDeg != 0) {
    ICC_UNIT::AdjustLch(grid.nodes(), target.lightness, target.chroma, target.hueDeg);
  }
  grid.Resize(kCellGridPoints);
  const kxcms::ColorCode* output = kxcms::FindColorCode(target.output);
  const auto primaries = output == nullptr ? kxcms::Primaries::kNone : output->primaries;
  const ICC_UNIT::LutCurves curves = ICC_UNIT::LutCurves::Output(lut);
  ICC_UNIT::LabToRgb(grid.nodes(), ICC_UNIT::WorkingSpaceOf(primaries), target.mediaWhite,
                     [&](int channel, int level) { return curves.At(channel, level); });
  return grid;
}

void FillCells(const CLut16Type& lut, const ColorTarget& target, Cell (*cells)[16][16]) {
  ICC_UNIT::ColorGrid grid = LinearRgbGrid(lut, target);
  if (grid.nodes().points == 0) {
    for (int i = 0; i < kCellsPerAxis; ++i) std::memset(cells[i], 0, sizeof cells[i]);
    return;
  }
  FillCells(grid.nodes(), cells);
}

void FillCells(const ICC_UNIT::GridNodes<const int>& nodes, Cell (*cells)[16][16]) {
  for (int i = 0; i < kCellsPerAxis; ++i) {
    for (int j = 0; j < kCellsPerAxis; ++j) {
      for (int k = 0; k < kCellsPerAxis; ++k) {
        const int* corners[8];
        for (int corner = 0; corner < 8; ++corner) {
          corners[corner] = nodes.At(i + (corner >> 2), j + (corner >> 1 & 1), k + (corner & 1));
        }
        FillCell(corners, cells[i][j][k]);
      }
    }
  }
}

const OutputCurve* OutputCurveOf(ColorSpaceSignature output) {
  static OutputCurve curves[kColorCodeCount];
  static std::atomic<bool> made[kColorCodeCount];
  static std::mutex making;
  const kxcms::ColorCode* code = kxcms::FindColorCode(output);
  if (code == nullptr || code->curve == kxcms::EncodingCurve::kNone) return nullptr;
  OutputCurve& curve = curves[output];
  if (!made[output].load(std::memory_order_acquire)) {
    const std::lock_guard lock(making);
    if (!made[output].load(std::memory_order_relaxed)) {
      curve.status = StatusOf(*code);
      ICC_UNIT::FillEncodedLevels(code->curve, code->bits, curve.levels);
      made[output].store(true, std::memory_order_release);
    }
  }
  return &curve;
}

int FillOutputTables(ColorSpaceSignature output, std::uint32_t (*tables)[kLevels16]) {
  const OutputCurve* const curve = OutputCurveOf(output);
  for (int c = 0; c < 3; ++c) {
    if (curve != nullptr) {
      std::copy_n(curve->levels, kLevels16, tables[c]);
    } else {
      std::iota(tables[c], tables[c] + kLevels16, 0u);
    }
  }
  return curve != nullptr ? curve->status : IccResultNotSet;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
