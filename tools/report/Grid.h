#ifndef KXCMS_TOOLS_REPORT_GRID_H
#define KXCMS_TOOLS_REPORT_GRID_H

#include <array>
#include <cstddef>
#include <optional>

#include "profile/DeviceProfile.h"

namespace kxcms::report {

/// What is told of the colour grid of a lookup tag. Colours are those of the nodes in Lab, behind
/// the elements that follow the grid; distances are Euclidean (CIE 1976). Places are nodes.
struct GridNumbers {
  std::array<int, 3> points;
  int bits;  ///< of a value
  /// Distance that 0, 1, ... 100 % of the neighbours along each axis do not exceed.
  std::array<std::array<double, 101>, 3> spacingShares;
  double meanSpacing, largestSpacing;  ///< between neighbours along an axis
  std::array<int, 3> largestSpacingAt;
  double largestSecondDifference;  ///< between a node and the middle of its neighbours, doubled
  std::array<int, 3> largestSecondDifferenceAt;
  std::size_t cells;
  /// Cells whose colours, seen from their lowest corner, turn the other way round than those of
  /// most cells.
  std::size_t folds;
  std::optional<std::array<int, 3>> firstFoldAt;
};

/// @return nothing for a table without a grid
std::optional<GridNumbers> MeasureGrid(const LookupTable& table);

}  // namespace kxcms::report

#endif
