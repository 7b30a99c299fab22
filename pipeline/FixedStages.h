#ifndef KXCMS_PIPELINE_FIXEDSTAGES_H
#define KXCMS_PIPELINE_FIXEDSTAGES_H

#include <cstdint>

#include "codes/ColorCodes.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CXYZType.h"
#include "pipeline/FixedTables.h"
#include "units/ColorGrid.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

// How the tables of the three stages are filled from a lookup tag that LookupTag passes, which is
// only read.

/// What a pipeline converts to, and with which changes.
struct ColorTarget {
  ICCFILE::ColorSpaceSignature output;
  /// Borrowed: for the absolute intent the profile's media white point, if it has one.
  const ICCFILE::CXYZType* mediaWhite = nullptr;
  double lightness = 0, chroma = 0, hueDeg = 0;  ///< offsets; see `CLCH::Adjust`
};

/// Fills the input index tables for an input code, InputLevelsOf it each. May throw bad_alloc for
/// the codes `Lab` and `Lab_16`.
void FillInputTables(const ICCFILE::CLut16Type& lut, ICCFILE::ColorSpaceSignature input,
                     const std::array<std::span<std::uint32_t>, 3>& tables);

/// The 16-bit grid coordinates that these are packed from, for the codes `RGB` and `RGB_16`.
void FillCoordinates(const ICCFILE::CLut16Type& lut, ICCFILE::ColorSpaceSignature input,
                     const std::array<std::uint16_t*, 3>& tables);

/// The grid of 17 points of linear RGB that the cells are made of; empty for a tag whose grid no
/// colour table can hold. May throw bad_alloc.
ICC_UNIT::ColorGrid LinearRgbGrid(const ICCFILE::CLut16Type& lut, const ColorTarget& target);

/// Fills the coefficients of all cells, with zeros for a tag whose grid no colour table can hold.
/// May throw bad_alloc; nothing is changed then.
void FillCells(const ICCFILE::CLut16Type& lut, const ColorTarget& target, Cell (*cells)[16][16]);
/// The same from a grid of 17 points whose nodes have RGB for their first three values.
void FillCells(const ICC_UNIT::GridNodes<const int>& nodes, Cell (*cells)[16][16]);

/// The output curve of a colour code, shared by the three channels. Made at the code's first use
/// and kept for the life of the process.
struct OutputCurve {
  int status;  ///< the code that the curve's builder reports; the code itself where none runs
  std::uint16_t levels[kLevels16];  ///< final sample by interpolated value
};

/// @return null for a code without an output curve.
const OutputCurve* OutputCurveOf(ICCFILE::ColorSpaceSignature output);

/// Fills the output tables: identity for a code without an output curve.
/// @return the status of the curve, 65535 without one.
int FillOutputTables(ICCFILE::ColorSpaceSignature output, std::uint32_t (*tables)[kLevels16]);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
