#include "pipeline/WorkerTables.h"

#include <algorithm>

#include "pipeline/CompactForms.h"
#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// The 16-bit grid coordinate that an input entry was packed from.
std::uint16_t UnpackIndex(std::uint32_t entry) {
  return static_cast<std::uint16_t>((entry >> 16) << kFractionBits | (entry & 0xFFF));
}

// Value of one corner of a cell, from the base and the slopes of a path that passes it.
std::uint32_t CornerValue(const std::uint32_t (&cell)[6][12], int corner, int channel) {
  for (int t = 0; t < 6; ++t) {
    const ICC_UNIT::Tetrahedron& tetrahedron = ICC_UNIT::kTetrahedra[t];
    const std::uint32_t* coefficient = cell[t] + 4 * channel;
    std::uint32_t slopeOfEdge[3];
    for (int axis = 0; axis < 3; ++axis) {
      slopeOfEdge[tetrahedron.edge[axis]] = coefficient[1 + axis];
    }
    std::uint32_t value = coefficient[0] >> kFractionBits;
    for (int n = 0; n < 4; ++n) {
      if (tetrahedron.path[n] == corner) return value;
      if (n < 3) value += slopeOfEdge[n];
    }
  }
  return 0;
}

// A grid node is the base corner of its own cell; at the far ends of the axes, another corner of
// the last cell.
// @return whether all nodes are bytes times 256.
bool MakeNodes(const Cell (*cells)[16][16], ByteGrid& grid) {
  for (int index = 0; index < ByteGrid::kNodes; ++index) {
    int cellAt[3], corner = 0;
    for (int axis = 0; axis < 3; ++axis) {
      const int at = index / ByteGrid::kStride[axis] % kCellGridPoints;
      cellAt[axis] = std::min(at, kCellsPerAxis - 1);
      corner = 2 * corner + at - cellAt[axis];
    }
    grid.nodes[index] = 0;
    for (int c = 0; c < 3; ++c) {
      const std::uint32_t value = CornerValue(cells[cellAt[0]][cellAt[1]][cellAt[2]], corner, c);
      if ((value & 0xFFFF00FF) != 0) return false;
      grid.nodes[index] |= value >> 8 << (8 * c);
    }
  }
  return true;
}

// @return whether every cell has just these nodes at its corners.
bool MakeRecords(const Cell (*cells)[16][16], const ByteGrid& grid, TetrahedronRecord* records) {
  std::uint32_t disagreement = 0;
  FillRecords(grid, records, [&](int index, const std::int32_t(&level)[3][8]) {
    const Cell& cell = cells[index >> 8][index >> 4 & 15][index & 15];
#pragma GCC unroll 6
    for (int t = 0; t < 6; ++t) {
      const auto& [path, edge] = ICC_UNIT::kTetrahedra[t];
      for (int c = 0; c < 3; ++c) {
        const std::uint32_t* coefficient = cell[t] + 4 * c;
        disagreement |= coefficient[0] ^ static_cast<std::uint32_t>(level[c][0]) << kFractionBits;
        for (int axis = 0; axis < 3; ++axis) {
          const std::int32_t slope = level[c][path[edge[axis] + 1]] - level[c][path[edge[axis]]];
          disagreement |= coefficient[1 + axis] ^ static_cast<std::uint32_t>(slope);
        }
      }
    }
  });
  return disagreement == 0;
}

// Copies the output tables in a narrower form; equal channels share one.
template <typename Sample>
void MakeNarrow(const std::uint32_t (*output)[kLevels16], Sample (&narrow)[3][kLevels16],
                const Sample* (&tables)[3]) {
  for (int c = 0; c < 3; ++c) {
    tables[c] = narrow[c];
    for (int shared = 0; shared < c && tables[c] == narrow[c]; ++shared) {
      if (std::equal(output[c], output[c] + kLevels16, output[shared])) tables[c] = narrow[shared];
    }
    if (tables[c] != narrow[c]) continue;
    std::transform(output[c], output[c] + kLevels16, narrow[c],
                   [](std::uint32_t value) { return static_cast<Sample>(value); });
  }
}

}  // namespace

std::unique_ptr<WorkerTables> WorkerTables::Make(const FixedTables& tables,
                                                 const StageVersions& versions, PixelFormat format,
                                                 bool withPairs,
                                                 std::unique_ptr<WorkerTables> older) {
  std::unique_ptr<WorkerTables> made =
      older != nullptr ? std::move(older) : std::unique_ptr<WorkerTables>(new WorkerTables);
  made->versions_ = versions;
  // A stage without a compact form is tried again when it changes, and spares the ones after it.
  StageVersions& current = made->made_;
  made->areCompact_ = false;
  if (current.input != versions.input) {
    current.input = made->MakeInput(tables, format, withPairs) ? versions.input : 0;
    if (current.input == 0) return made;
  }
  if (current.cells != versions.cells) {
    current.cells = made->MakeGrid(tables.cells) ? versions.cells : 0;
    if (current.cells == 0) return made;
  }
  if (current.output != versions.output) {
    made->MakeOutput(tables.output, format);
    current.output = versions.output;
  }
  made->areCompact_ = true;
  return made;
}

// @return whether all entries were packed from coordinates.
bool WorkerTables::MakeInput(const FixedTables& tables, PixelFormat format, bool withPairs) {
  const bool is16 = format == PixelFormat::k16To16;
  const std::size_t levels = is16 ? kLevels16 : kLevels8;
  bool areCompact = true;
  for (std::size_t c = 0; c < 3; ++c) {
    if (tables.input[c].size() < levels) return false;
    for (std::size_t level = 0; level < levels; ++level) {
      const std::uint32_t entry = tables.input[c][level];
      coordinates_[c][level] = UnpackIndex(entry);
      areCompact &= PackIndex(coordinates_[c][level]) == entry;
    }
    compact_.coordinates[c] = coordinates_[c];
  }
  if (is16) return areCompact;
  for (int c = 0; c < 3; ++c) FillCoordinateBytes(coordinates_[c], coordinateBytes_[c]);
  compact_.coordinateBytes = coordinateBytes_;
  if (!withPairs) return areCompact;
  FillCoordinatePairs(coordinates_[0], coordinates_[1], coordinatePairs_);
  compact_.coordinatePairs = coordinatePairs_;
  return areCompact;
}

// @return whether the cells are those of a grid of bytes.
bool WorkerTables::MakeGrid(const Cell (*cells)[16][16]) {
  ByteGrid grid;
  compact_.records = records_;
  return MakeNodes(cells, grid) && MakeRecords(cells, grid, records_);
}

void WorkerTables::MakeOutput(const std::uint32_t (*output)[kLevels16], PixelFormat format) {
  if (format != PixelFormat::k8To8) return MakeNarrow(output, output16_, compact_.output16);
  MakeNarrow(output, output8_, compact_.output8);
  const bool isShared = compact_.output8[1] == output8_[0] && compact_.output8[2] == output8_[0];
  compact_.steps = isShared && FillSteps(output8_[0], steps_) ? &steps_ : nullptr;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
