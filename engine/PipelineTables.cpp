#include "engine/PipelineTables.h"

#include "interface/ResultCodes.h"
#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using namespace ICCFILE;

namespace {

void BuildCell(const int* const corners[8], std::uint32_t (&cell)[6][12]) {
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

void BuildCells(const ICC_UNIT::ColorTable33& table, std::uint32_t (*cells)[16][16][6][12]) {
  for (int i = 0; i < kCellsPerAxis; ++i) {
    for (int j = 0; j < kCellsPerAxis; ++j) {
      for (int k = 0; k < kCellsPerAxis; ++k) {
        const int* corners[8];
        for (int corner = 0; corner < 8; ++corner) {
          corners[corner] = table.grid[i + (corner >> 2)][j + (corner >> 1 & 1)][k + (corner & 1)];
        }
        BuildCell(corners, cells[i][j][k]);
      }
    }
  }
}

int BuildOutputCurve(ICC_UNIT::OutputTable33& table, ColorSpaceSignature outputColor) {
  switch (outputColor) {
    case sRGB220:
    case sRGB:
      return table.OutputGamma_sRGB();
    case sRGB220_16:
    case sRGB_16:
      return table.OutputGamma_sRGB_16();
    case sRGB100:
    case Adobe100:
    case Apple100:
    case ColorMatch100:
      return table.OutputGamma100(outputColor);
    case sRGB100_16:
    case Adobe100_16:
    case Apple100_16:
    case ColorMatch100_16:
      return outputColor;
    case Adobe:
    case Apple:
    case ColorMatch:
      return table.OutputGamma180(outputColor);
    case Adobe_16:
    case Apple_16:
    case ColorMatch_16:
      return table.OutputGamma180_16(outputColor);
    case sRGB_KodakPhoto:
      table.ResetTable();
      return table.OutputGamma_KodakPhoto();
    case sRGB_KodakPhoto_16:
      table.ResetTable();
      return table.OutputGamma_KodakPhoto_16();
    case sRGB_KodakMix:
      table.ResetTable();
      return table.OutputGamma_KodakMix();
    case sRGB_KodakMix_16:
      table.ResetTable();
      return table.OutputGamma_KodakMix_16();
    case sRGB_KodakText:
      table.ResetTable();
      return table.OutputGamma_KodakText();
    case sRGB_KodakText_16:
      table.ResetTable();
      return table.OutputGamma_KodakText_16();
    default:
      return IccResultNotSet;
  }
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
