#include "pipeline/FixedStages.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <numeric>

#include "codes/ColorCodeTable.h"
#include "codes/ResultCodes.h"
#include "units/InputTable33.h"
#include "units/LutCurves.h"
#include "units/OutputTable33.h"
#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using namespace ICCFILE;

namespace {

// Runs the builder of a colour code on fresh lookups.
// @return the code that it reports, or 65535 for a code without a curve.
int BuildOutputCurve(ICC_UNIT::OutputTable33& table, const kxcms::ColorCode& output) {
  using enum kxcms::EncodingCurve;
  const bool is8 = output.bits == 8;
  switch (output.curve) {
    case kNone:
      break;
    case kLinear:
      return is8 ? table.OutputGamma100(output.code) : output.code;
    case kSRgb:
      return is8 ? table.OutputGamma_sRGB() : table.OutputGamma_sRGB_16();
    case kGamma180:
      return is8 ? table.OutputGamma180(output.code) : table.OutputGamma180_16(output.code);
    case kKodakPhoto:
      table.ResetTable();
      return is8 ? table.OutputGamma_KodakPhoto() : table.OutputGamma_KodakPhoto_16();
    case kKodakMix:
      table.ResetTable();
      return is8 ? table.OutputGamma_KodakMix() : table.OutputGamma_KodakMix_16();
    case kKodakText:
      table.ResetTable();
      return is8 ? table.OutputGamma_KodakText() : table.OutputGamma_KodakText_16();
  }
  return IccResultNotSet;
}

void MakeOutputCurve(const kxcms::ColorCode& output, OutputCurve& curve) {
  const auto table = std::make_unique<ICC_UNIT::OutputTable33>();
  curve.status = BuildOutputCurve(*table, output);
  std::copy_n(table->lookup[0], kLevels16, curve.levels);
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

}  // namespace

void FillInputTables(CLut16Type& lut, ColorSpaceSignature input,
                     const std::array<std::span<std::uint32_t>, 3>& tables) {
  const int levels = InputLevelsOf(input);
  if (input == Lab || input == Lab_16) {
    // Indexed by signed levels first, and by 8-bit levels after that: kept so that results stay
    // identical bit for bit.
    const auto table = std::make_unique<ICC_UNIT::InputTable33>();
    table->Initial(&lut, input);
    table->Change_Lut16_To_Lut8();
    for (std::size_t c = 0; c < 3; ++c) {
      std::transform(table->lookup[c], table->lookup[c] + levels, tables[c].begin(), PackIndex);
    }
    return;
  }
  const ICC_UNIT::LutCurves curves = ICC_UNIT::LutCurves::Input(lut);
  // A channel that the tag lacks has no curve, which is a curve of zeros.
  const auto channels = std::min<std::size_t>(lut.inputChannels, 3);
  for (std::size_t c = channels; c < 3; ++c) std::fill(tables[c].begin(), tables[c].end(), 0u);
  if (levels == kLevels16) {
    for (std::size_t c = 0; c < channels; ++c) {
      curves.ForEachLevel(static_cast<int>(c),
                          [table = tables[c].data()](int level, std::uint16_t value) {
                            table[level] = PackIndex(value);
                          });
    }
    return;
  }
  // An 8-bit level x stands for the 16-bit level x * 256, and 255 for the highest: what indexing an
  // input table by 8-bit levels comes to, done once or twice.
  const auto pack = [&](int entry, int level) {
    const ICC_UNIT::CurvePosition position = curves.PositionOf(level);
    for (std::size_t c = 0; c < channels; ++c) {
      tables[c][static_cast<std::size_t>(entry)] =
          PackIndex(curves.At(static_cast<int>(c), level, position));
    }
  };
  for (int x = 0; x < levels - 1; ++x) pack(x, x * (kLevels16 / levels));
  pack(levels - 1, kLevels16 - 1);
}

void FillCells(CLut16Type& lut, const ColorTarget& target, Cell (*cells)[16][16]) {
  const auto table = std::make_unique<ICC_UNIT::ColorTable33>();
  table->Initial(&lut);
  // NaN, which equals nothing, is an offset too.
  if (target.lightness != 0 || target.chroma != 0 || target.hueDeg != 0) {
    table->Adjust_Lch(target.lightness, target.chroma, target.hueDeg);
  }
  table->TableResize(kCellGridPoints);
  table->Lab2RGB100_16(&lut, target.output, const_cast<CXYZType*>(target.mediaWhite));
  FillCells(*table, cells);
}

void FillCells(const ICC_UNIT::ColorTable33& table, Cell (*cells)[16][16]) {
  for (int i = 0; i < kCellsPerAxis; ++i) {
    for (int j = 0; j < kCellsPerAxis; ++j) {
      for (int k = 0; k < kCellsPerAxis; ++k) {
        const int* corners[8];
        for (int corner = 0; corner < 8; ++corner) {
          corners[corner] = table.grid[i + (corner >> 2)][j + (corner >> 1 & 1)][k + (corner & 1)];
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
      MakeOutputCurve(*code, curve);
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
