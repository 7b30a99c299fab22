#include "pipeline/WorkerTables.h"

#include <algorithm>
#include <cstring>

#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// A grid node: its three channels' bytes, the first one lowest.
using Node = std::uint32_t;
constexpr int kGridNodes = kCellGridPoints * kCellGridPoints * kCellGridPoints;

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

// Distances between neighbouring nodes along the three axes.
constexpr int kStride[3] = {kCellGridPoints * kCellGridPoints, kCellGridPoints, 1};

// A grid node is the base corner of its own cell; at the far ends of the axes, another corner of
// the last cell.
// @return whether all nodes are bytes times 256.
bool MakeNodes(const Cell (*cells)[16][16], Node (&nodes)[kGridNodes]) {
  for (int index = 0; index < kGridNodes; ++index) {
    int cellAt[3], corner = 0;
    for (int axis = 0; axis < 3; ++axis) {
      const int at = index / kStride[axis] % kCellGridPoints;
      cellAt[axis] = std::min(at, kCellsPerAxis - 1);
      corner = 2 * corner + at - cellAt[axis];
    }
    nodes[index] = 0;
    for (int c = 0; c < 3; ++c) {
      const std::uint32_t value = CornerValue(cells[cellAt[0]][cellAt[1]][cellAt[2]], corner, c);
      if ((value & 0xFFFF00FF) != 0) return false;
      nodes[index] |= value >> 8 << (8 * c);
    }
  }
  return true;
}

int NodeOffset(int corner) {
  return (corner >> 2) * kStride[0] + (corner >> 1 & 1) * kStride[1] + (corner & 1) * kStride[2];
}

// The record of four nodes: their 4 x 4 bytes transposed.
TetrahedronRecord Transposed(const Node (&nodes)[4]) {
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

// @return whether every cell has just these nodes at its corners.
bool MakeRecords(const Cell (*cells)[16][16], const Node (&nodes)[kGridNodes],
                 TetrahedronRecord* record) {
  // The workers number a cell's records by 3 (x > y) + (y > z) + (x > z): 5 for tetrahedron 0, 0
  // for tetrahedron 5.
  constexpr int kLast = 5;
  std::uint32_t disagreement = 0;
  for (int index = 0; index < kCells; ++index, record += 6) {
    const Cell& cell = cells[index >> 8][index >> 4 & 15][index & 15];
    const Node* base = nodes + (index >> 8) * kStride[0] + (index >> 4 & 15) * kStride[1] +
                       (index & 15) * kStride[2];
    Node corner[8];
    std::int32_t level[3][8];  // the corners' values, by channel
    for (int n = 0; n < 8; ++n) {
      corner[n] = base[NodeOffset(n)];
      for (int c = 0; c < 3; ++c) {
        level[c][n] = static_cast<std::int32_t>((corner[n] >> (8 * c) & 0xFF) << 8);
      }
    }
#pragma GCC unroll 6
    for (int t = 0; t < 6; ++t) {
      const auto& [path, edge] = ICC_UNIT::kTetrahedra[t];
      record[kLast - t] =
          Transposed({corner[path[0]], corner[path[1]], corner[path[2]], corner[path[3]]});
      for (int c = 0; c < 3; ++c) {
        const std::uint32_t* coefficient = cell[t] + 4 * c;
        disagreement |= coefficient[0] ^ static_cast<std::uint32_t>(level[c][0]) << kFractionBits;
        for (int axis = 0; axis < 3; ++axis) {
          const std::int32_t slope = level[c][path[edge[axis] + 1]] - level[c][path[edge[axis]]];
          disagreement |= coefficient[1 + axis] ^ static_cast<std::uint32_t>(slope);
        }
      }
    }
  }
  return disagreement == 0;
}

// The segments of a step curve: see StepCurve.
constexpr struct {
  int begin, end, length;
} kSegments[3] = {{256, 2048, 16}, {2048, 16384, 64}, {16384, 65536, 256}};

bool MakeSegment(const std::uint8_t* bytes, int length, std::uint8_t& base, std::uint8_t& last) {
  base = bytes[0];
  int position = 1;
  while (position < length && bytes[position] == base) ++position;
  last = static_cast<std::uint8_t>(position - 1);
  for (; position < length; ++position) {
    if (bytes[position] != base + 1) return false;
  }
  return true;
}

bool MakeSteps(const std::uint8_t* bytes, StepCurve& steps) {
  std::copy_n(bytes, 256, steps.first);
  for (int s = 0; s < 3; ++s) {
    for (int v = kSegments[s].begin; v < kSegments[s].end; v += kSegments[s].length) {
      const int segment = v / kSegments[s].length;
      if (!MakeSegment(bytes + v, kSegments[s].length, steps.base[s][segment],
                       steps.last[s][segment])) {
        return false;
      }
    }
  }
  return true;
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
  for (int c = 0; c < 3; ++c) {
    for (int level = 0; level < kLevels8; ++level) {
      coordinateBytes_[c][0][level] = static_cast<std::uint8_t>(coordinates_[c][level]);
      coordinateBytes_[c][1][level] = static_cast<std::uint8_t>(coordinates_[c][level] >> 8);
    }
  }
  compact_.coordinateBytes = coordinateBytes_;
  if (!withPairs) return areCompact;
  std::uint32_t* pair = coordinatePairs_;
  for (int second = 0; second < kLevels8; ++second) {
    const std::uint32_t high = std::uint32_t{coordinates_[1][second]} << 16;
    for (int first = 0; first < kLevels8; ++first) *pair++ = high | coordinates_[0][first];
  }
  compact_.coordinatePairs = coordinatePairs_;
  return areCompact;
}

// @return whether the cells are those of a grid of bytes.
bool WorkerTables::MakeGrid(const Cell (*cells)[16][16]) {
  Node nodes[kGridNodes];
  compact_.records = records_;
  return MakeNodes(cells, nodes) && MakeRecords(cells, nodes, records_);
}

void WorkerTables::MakeOutput(const std::uint32_t (*output)[kLevels16], PixelFormat format) {
  if (format != PixelFormat::k8To8) return MakeNarrow(output, output16_, compact_.output16);
  MakeNarrow(output, output8_, compact_.output8);
  const bool isShared = compact_.output8[1] == output8_[0] && compact_.output8[2] == output8_[0];
  compact_.steps = isShared && MakeSteps(output8_[0], steps_) ? &steps_ : nullptr;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
