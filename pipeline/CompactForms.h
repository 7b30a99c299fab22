#ifndef KXCMS_PIPELINE_COMPACTFORMS_H
#define KXCMS_PIPELINE_COMPACTFORMS_H

#include <cstdint>
#include <cstring>

#include "pipeline/FixedTables.h"
#include "pipeline/kernels/CompactTables.h"
#include "units/ColorGrid.h"
#include "units/Tetrahedra.h"

// How the pieces of CompactTables are made.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// A grid of 17 points an axis whose values are bytes times 256. A node is its three channels'
/// bytes, the first one lowest.
struct ByteGrid {
  static constexpr int kNodes = kCellGridPoints * kCellGridPoints * kCellGridPoints;
  /// Between neighbouring nodes along the three axes.
  static constexpr int kStride[3] = {kCellGridPoints * kCellGridPoints, kCellGridPoints, 1};

  std::uint32_t nodes[kNodes];
};

/// From linear RGB as ICC_UNIT::EncodeRgb encodes it, in a grid of 17 points.
void FillByteGrid(const ICC_UNIT::GridNodes<const int>& rgb, ByteGrid& grid);

/// The record of four nodes: their 4 x 4 bytes transposed.
inline TetrahedronRecord RecordOf(const std::uint32_t (&nodes)[4]) {
  using Bytes = std::uint8_t __attribute__((vector_size(16)));
  Bytes bytes;
  std::memcpy(&bytes, nodes, sizeof bytes);
  // Each turn interleaves the lower and the upper half.
  for (int turn = 0; turn < 2; ++turn) {
    const Bytes upper = __builtin_shufflevector(bytes, bytes, 8, 9, 10, 11, 12, 13, 14, 15, 8, 9,
                                                10, 11, 12, 13, 14, 15);
    bytes = __builtin_shufflevector(bytes, upper, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22,
                                    7, 23);
  }
  TetrahedronRecord record;
  std::memcpy(&record, &bytes, sizeof record);
  return record;
}

/// Fills the records of all cells, [kCells][6]. Calls check(index, level) for each cell with the
/// values of its corners, level[channel][corner].
template <typename Check>
void FillRecords(const ByteGrid& grid, TetrahedronRecord* record, const Check& check) {
  // The workers number a cell's records by 3 (x > y) + (y > z) + (x > z): 5 for tetrahedron 0, 0
  // for tetrahedron 5.
  constexpr int kLast = 5;
  constexpr auto& kStride = ByteGrid::kStride;
  for (int index = 0; index < kCells; ++index, record += 6) {
    const std::uint32_t* const base = grid.nodes + (index >> 8) * kStride[0] +
                                      (index >> 4 & 15) * kStride[1] + (index & 15) * kStride[2];
    std::uint32_t corner[8];
    std::int32_t level[3][8];
    for (int n = 0; n < 8; ++n) {
      corner[n] = base[(n >> 2) * kStride[0] + (n >> 1 & 1) * kStride[1] + (n & 1) * kStride[2]];
      for (int c = 0; c < 3; ++c) {
        level[c][n] = static_cast<std::int32_t>((corner[n] >> (8 * c) & 0xFF) << 8);
      }
    }
#pragma GCC unroll 6
    for (int t = 0; t < 6; ++t) {
      const auto& path = ICC_UNIT::kTetrahedra[t].path;
      record[kLast - t] =
          RecordOf({corner[path[0]], corner[path[1]], corner[path[2]], corner[path[3]]});
    }
    check(index, level);
  }
}

/// CompactTables::coordinateBytes of a channel.
void FillCoordinateBytes(const std::uint16_t* coordinates, std::uint8_t (&bytes)[2][kLevels8]);
/// CompactTables::coordinatePairs.
void FillCoordinatePairs(const std::uint16_t* first, const std::uint16_t* second,
                         std::uint32_t* pairs);

/// @return whether an output curve, bytes by value, is a StepCurve.
bool FillSteps(const std::uint8_t* bytes, StepCurve& steps);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
