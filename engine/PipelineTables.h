#ifndef KXCMS_ENGINE_PIPELINETABLES_H
#define KXCMS_ENGINE_PIPELINETABLES_H

#include <cstdint>

#include "interface/ColorCodes.h"
#include "units/ColorTable33.h"
#include "units/OutputTable33.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Bits of the fraction within a cell.
constexpr int kFractionBits = 12;
/// Cells per axis of the interpolation table, and the grid points that bound them.
constexpr int kCellsPerAxis = 16;
constexpr int kCellGridPoints = kCellsPerAxis + 1;

/// Input index entry of a grid coordinate 0..65535: cell index << 16 | fraction in 1/4096.
constexpr std::uint32_t PackIndex(std::uint32_t coordinate) {
  return (coordinate & 0xFFF) | ((coordinate & 0xFFFF) >> kFractionBits) << 16;
}

/// Derives the coefficients of all cells from a table of 17 grid points.
/// @param cells  [16][16][16][6][12], filled.
void BuildCells(const ICC_UNIT::ColorTable33& table, std::uint32_t (*cells)[16][16][6][12]);

/// Gives `table` the output curve of an output code. @return the colour code that the curve's
/// builder reports (the code itself where no builder runs), or 65535 for a code without a curve.
int BuildOutputCurve(ICC_UNIT::OutputTable33& table, ICCFILE::ColorSpaceSignature outputColor);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
