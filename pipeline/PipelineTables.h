#ifndef KXCMS_PIPELINE_PIPELINETABLES_H
#define KXCMS_PIPELINE_PIPELINETABLES_H

#include <cstdint>

#include "codes/ColorCodes.h"
#include "iccfile/CLut16Type.h"
#include "pipeline/kernels/ScalarWorker.h"
#include "units/ColorTable33.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Cells per axis of the interpolation table, and the grid points that bound them.
constexpr int kCellsPerAxis = 16;
constexpr int kCellGridPoints = kCellsPerAxis + 1;

/// Input index entry of a grid coordinate 0..65535: cell index << 16 | fraction in 1/4096.
constexpr std::uint32_t PackIndex(std::uint32_t coordinate) {
  return (coordinate & 0xFFF) | ((coordinate & 0xFFFF) >> kFractionBits) << 16;
}

/// Levels of 8- and 16-bit samples.
constexpr int kLevels8 = 256;
constexpr int kLevels16 = 65536;

/// Entries per channel of the input index tables of an input code.
constexpr int InputLevelsOf(int inputColor) {
  return inputColor == ICCFILE::RGB_16 ? kLevels16 : kLevels8;
}

/// Fills the input index tables of a lookup tag for an input code. May throw bad_alloc for the
/// codes `Lab` and `Lab_16`, which only `SetIntent` can bring here.
void BuildInputTables(ICCFILE::CLut16Type& lut, ICCFILE::ColorSpaceSignature inputColor,
                      std::uint32_t* const (&tables)[3]);

/// Derives the coefficients of all cells from a table of 17 grid points.
/// @param cells  [16][16][16][6][12], filled.
void BuildCells(const ICC_UNIT::ColorTable33& table, std::uint32_t (*cells)[16][16][6][12]);

/// The output curve of a colour code, shared by the three channels. Made at the code's first use
/// and kept for the life of the process.
struct OutputCurve {
  int status;  ///< the code that the curve's builder reports; the code itself where none runs
  std::uint16_t levels[kLevels16];  ///< final sample by interpolated value
};

/// @return null for a code without an output curve. May throw bad_alloc at the first use of a code.
const OutputCurve* OutputCurveOf(ICCFILE::ColorSpaceSignature outputColor);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
