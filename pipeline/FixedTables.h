#ifndef KXCMS_PIPELINE_FIXEDTABLES_H
#define KXCMS_PIPELINE_FIXEDTABLES_H

#include <array>
#include <cstdint>
#include <span>

#include "codes/ColorCodes.h"

// The tables of the fixed pipeline, and the numbers in them.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Levels of 8- and 16-bit samples.
constexpr int kLevels8 = 256;
constexpr int kLevels16 = 65536;

/// Cells per axis of the interpolation table, and the grid points that bound them.
constexpr int kCellsPerAxis = 16;
constexpr int kCellGridPoints = kCellsPerAxis + 1;

/// Bits of the fraction within a cell.
constexpr int kFractionBits = 12;

/// Input index entry of a grid coordinate 0..65535: cell index << 16 | fraction in 1/4096.
constexpr std::uint32_t PackIndex(std::uint32_t coordinate) {
  return (coordinate & 0xFFF) | ((coordinate & 0xFFFF) >> kFractionBits) << 16;
}

/// Entries per channel of the input index tables of an input code.
constexpr int InputLevelsOf(int inputColor) {
  return inputColor == ICCFILE::RGB_16 ? kLevels16 : kLevels8;
}

/// Coefficients of one cell: six tetrahedra of three output channels of (base, three slopes).
using Cell = std::uint32_t[6][12];

/// Sample widths of a conversion.
enum class PixelFormat { k8To8, k8To16, k16To16 };

/// The tables that a pixel goes through, borrowed.
struct FixedTables {
  /// By input level, 256 or 65536 entries; larger samples read the last one.
  std::array<std::span<const std::uint32_t>, 3> input;
  const Cell (*cells)[16][16];               ///< [16][16][16], first channel first
  const std::uint32_t (*output)[kLevels16];  ///< [3], final sample by interpolated value
};

/// The same where they are filled in.
struct FixedArrays {
  std::array<std::span<std::uint32_t>, 3> input;
  Cell (*cells)[16][16] = nullptr;
  std::uint32_t (*output)[kLevels16] = nullptr;

  operator FixedTables() const { return {{input[0], input[1], input[2]}, cells, output}; }
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
