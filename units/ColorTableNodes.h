#ifndef KXCMS_UNITS_COLORTABLENODES_H
#define KXCMS_UNITS_COLORTABLENODES_H

#include "units/ColorGrid.h"
#include "units/ColorTable33.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Values per node of the table classes' fixed grid.
constexpr int kTableChannels = 7;
inline constexpr std::array<std::ptrdiff_t, 3> kTableStride = {
    kMaxGridPoints * kMaxGridPoints * kTableChannels, kMaxGridPoints* kTableChannels,
    kTableChannels};

/// The nodes that a table uses of its grid.
inline GridNodes<int> NodesOf(ColorTable33& table) {
  return {table.grid[0][0][0], kTableStride, table.gridPoints};
}
inline GridNodes<const int> NodesOf(const ColorTable33& table) {
  return {table.grid[0][0][0], kTableStride, table.gridPoints};
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
