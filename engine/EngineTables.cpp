#include "engine/EngineTables.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "pipeline/PipelineTables.h"
#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// A grid node: its three channels' bytes, the first one lowest.
using Node = std::uint32_t;
constexpr int kGridNodes = kCellGridPoints * kCellGridPoints * kCellGridPoints;

// One array of words holds this record, aligned, with the tables behind it. Pages that a format
// never touches cost nothing.
struct alignas(64) EngineTables {
  InputArrays arrays;  // those that were made with the record; programs can put others into fields
  std::uint32_t inputLevels;
  // What is out of date is made anew when a conversion needs it.
  bool coordinatesAreCurrent;
  bool coordinatesAreCompact;  // every entry is a cell 0..15 and a fraction of 12 bits
  bool pairsAreCurrent;
  bool gridIsCurrent;
  bool gridIsCompact;  // every node is a byte times 256
  bool output8IsCurrent;
  bool output16IsCurrent;
  CompactTables tables;

  StepCurve steps;
  std::uint8_t coordinateBytes[3][2][256];
  TetrahedronRecord records[kCells * 6];
  Node nodes[kGridNodes];
  std::uint8_t output8[3][kLevels16];
  std::uint16_t output16[3][kLevels16];
  std::uint16_t coordinates[3][kLevels16];
  std::uint32_t coordinatePairs[kLevels8 * kLevels8];
};
static_assert(std::is_trivially_destructible_v<EngineTables>, "freed as an array of words");

EngineTables* Align(unsigned int* words) {
  constexpr auto kMask = static_cast<std::uintptr_t>(alignof(EngineTables) - 1);
  return reinterpret_cast<EngineTables*>((reinterpret_cast<std::uintptr_t>(words) + kMask) &
                                         ~kMask);
}

// Where an engine's record is. Nothing leads there but the engine's address: whatever stands in the
// arrays that its fields point to, and wherever they point, makes no difference.
struct Place {
  std::atomic<const CIccEngineS*> owner;  // null: free
  unsigned int* words;
};

// Any thread may look through the places for the one of its own engine. They stay once they are
// made, so that a search needs no lock; the first ones are enough for most programs.
struct Places {
  Place places[16];
  std::atomic<Places*> more;
};
constinit Places firstPlaces{};

Place* PlaceOf(const CIccEngineS& engine) {
  for (Places* some = &firstPlaces; some != nullptr; some = some->more.load()) {
    for (Place& place : some->places) {
      if (place.owner.load(std::memory_order_acquire) == &engine) return &place;
    }
  }
  return nullptr;
}

Place& TakePlace(const CIccEngineS& engine) {
  for (Places* some = &firstPlaces;; some = some->more.load()) {
    for (Place& place : some->places) {
      const CIccEngineS* nobody = nullptr;
      if (place.owner.compare_exchange_strong(nobody, &engine)) return place;
    }
    if (some->more.load() != nullptr) continue;
    auto made = std::make_unique<Places>();
    Places* none = nullptr;
    if (some->more.compare_exchange_strong(none, made.get())) static_cast<void>(made.release());
  }
}

EngineTables* RecordOf(const CIccEngineS& engine) {
  const Place* const place = PlaceOf(engine);
  return place == nullptr ? nullptr : Align(place->words);
}

InputArrays ArraysOf(const CIccEngineS& engine) {
  return {engine.inLut0,    engine.inLut1,    engine.inLut2,
          engine.inLutAux0, engine.inLutAux1, engine.inLutAux2};
}

// The record, or null where the engine holds a program's array in place of one of its own three
// that are read.
EngineTables* TablesOf(const CIccEngineS& engine) {
  EngineTables* const record = RecordOf(engine);
  if (record == nullptr) return nullptr;
  const InputArrays& own = record->arrays;
  const bool areOwn = engine.inLut0 == own[0] && engine.inLut1 == own[1] && engine.inLut2 == own[2];
  return areOwn ? record : nullptr;
}

// The 16-bit grid coordinate that an input entry was packed from.
std::uint16_t UnpackIndex(std::uint32_t entry) {
  return static_cast<std::uint16_t>((entry >> 16) << kFractionBits | (entry & 0xFFF));
}

// @return whether all entries were packed from such coordinates.
bool BuildCoordinates(EngineTables& compact) {
  bool areCompact = true;
  for (int c = 0; c < 3; ++c) {
    const std::uint32_t* const entries = compact.arrays[static_cast<std::size_t>(c)];
    for (std::uint32_t level = 0; level < compact.inputLevels; ++level) {
      compact.coordinates[c][level] = UnpackIndex(entries[level]);
      areCompact &= PackIndex(compact.coordinates[c][level]) == entries[level];
    }
    for (int level = 0; level < kLevels8; ++level) {
      const std::uint16_t coordinate = compact.coordinates[c][level];
      compact.coordinateBytes[c][0][level] = static_cast<std::uint8_t>(coordinate);
      compact.coordinateBytes[c][1][level] = static_cast<std::uint8_t>(coordinate >> 8);
    }
    compact.tables.coordinates[c] = compact.coordinates[c];
  }
  compact.tables.coordinateBytes = compact.coordinateBytes;
  return areCompact;
}

void BuildCoordinatePairs(EngineTables& compact) {
  std::uint32_t* pair = compact.coordinatePairs;
  for (int second = 0; second < kLevels8; ++second) {
    const std::uint32_t high = std::uint32_t{compact.coordinates[1][second]} << 16;
    for (int first = 0; first < kLevels8; ++first) *pair++ = high | compact.coordinates[0][first];
  }
  compact.tables.coordinatePairs = compact.coordinatePairs;
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
bool BuildNodes(const CIccEngineS& engine, Node (&nodes)[kGridNodes]) {
  for (int index = 0; index < kGridNodes; ++index) {
    int cellAt[3], corner = 0;
    for (int axis = 0; axis < 3; ++axis) {
      const int at = index / kStride[axis] % kCellGridPoints;
      cellAt[axis] = std::min(at, kCellsPerAxis - 1);
      corner = 2 * corner + at - cellAt[axis];
    }
    nodes[index] = 0;
    for (int c = 0; c < 3; ++c) {
      const std::uint32_t value =
          CornerValue(engine.cells[cellAt[0]][cellAt[1]][cellAt[2]], corner, c);
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
bool BuildRecords(const CIccEngineS& engine, const Node (&nodes)[kGridNodes],
                  TetrahedronRecord* record) {
  // The workers number a cell's records by 3 (x > y) + (y > z) + (x > z): 5 for tetrahedron 0, 0
  // for tetrahedron 5.
  constexpr int kLast = 5;
  std::uint32_t disagreement = 0;
  for (int index = 0; index < kCells; ++index, record += 6) {
    const Cell& cell = engine.cells[index >> 8][index >> 4 & 15][index & 15];
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

bool BuildSegment(const std::uint8_t* bytes, int length, std::uint8_t& base, std::uint8_t& last) {
  base = bytes[0];
  int position = 1;
  while (position < length && bytes[position] == base) ++position;
  last = static_cast<std::uint8_t>(position - 1);
  for (; position < length; ++position) {
    if (bytes[position] != base + 1) return false;
  }
  return true;
}

bool BuildSteps(const std::uint8_t* bytes, StepCurve& steps) {
  std::copy_n(bytes, 256, steps.first);
  for (int s = 0; s < 3; ++s) {
    for (int v = kSegments[s].begin; v < kSegments[s].end; v += kSegments[s].length) {
      const int segment = v / kSegments[s].length;
      if (!BuildSegment(bytes + v, kSegments[s].length, steps.base[s][segment],
                        steps.last[s][segment])) {
        return false;
      }
    }
  }
  return true;
}

// Copies the output tables in a narrower form; equal channels share one.
template <typename Sample>
void BuildOutput(const CIccEngineS& engine, Sample (&narrow)[3][kLevels16],
                 const Sample* (&tables)[3]) {
  for (int c = 0; c < 3; ++c) {
    tables[c] = narrow[c];
    for (int shared = 0; shared < c && tables[c] == narrow[c]; ++shared) {
      if (std::equal(engine.outLut[c], engine.outLut[c] + kLevels16, engine.outLut[shared])) {
        tables[c] = narrow[shared];
      }
    }
    if (tables[c] != narrow[c]) continue;
    std::transform(engine.outLut[c], engine.outLut[c] + kLevels16, narrow[c],
                   [](unsigned int value) { return static_cast<Sample>(value); });
  }
}

}  // namespace

void HoldEngineTables(const CIccEngineS& engine, std::uint32_t inputLevels) {
  DropEngineTables(engine);
  constexpr std::size_t kBytes = sizeof(EngineTables) + alignof(EngineTables);
  std::unique_ptr<unsigned int[]> words(new unsigned int[kBytes / sizeof(unsigned int)]);
  auto* record = new (Align(words.get())) EngineTables;
  record->arrays = ArraysOf(engine);
  record->inputLevels = inputLevels;
  record->coordinatesAreCurrent = false;
  record->pairsAreCurrent = false;
  record->gridIsCurrent = false;
  record->output8IsCurrent = false;
  record->output16IsCurrent = false;
  Place& place = TakePlace(engine);
  place.words = words.release();
}

void DropEngineTables(const CIccEngineS& engine) {
  Place* const place = PlaceOf(engine);
  if (place == nullptr) return;
  delete[] place->words;
  place->owner.store(nullptr, std::memory_order_release);
}

std::uint32_t InputLevels(const CIccEngineS& engine) {
  if (const EngineTables* record = RecordOf(engine)) {
    const InputArrays& own = record->arrays;
    const bool isOneOwn =
        engine.inLut0 == own[0] || engine.inLut1 == own[1] || engine.inLut2 == own[2];
    if (isOneOwn) return record->inputLevels;
  }
  return static_cast<std::uint32_t>(InputLevelsOf(engine.inputColor));
}

bool HasOwnInputTables(const CIccEngineS& engine, std::uint32_t inputLevels) {
  const EngineTables* record = RecordOf(engine);
  return record != nullptr && record->inputLevels == inputLevels &&
         record->arrays == ArraysOf(engine);
}

void InputTablesChanged(const CIccEngineS& engine) {
  EngineTables* tables = TablesOf(engine);
  if (tables == nullptr) return;
  tables->coordinatesAreCurrent = false;
  tables->pairsAreCurrent = false;
}

void CellsChanged(const CIccEngineS& engine) {
  if (EngineTables* record = RecordOf(engine)) record->gridIsCurrent = false;
}

void OutputTablesChanged(const CIccEngineS& engine) {
  EngineTables* record = RecordOf(engine);
  if (record == nullptr) return;
  record->output8IsCurrent = false;
  record->output16IsCurrent = false;
}

const CompactTables* CurrentCompactTables(const CIccEngineS& engine, PixelFormat format,
                                          const KernelSet& kernels) {
  EngineTables* const tables = TablesOf(engine);
  if (tables == nullptr) return nullptr;
  EngineTables& compact = *tables;
  if (format == PixelFormat::k16To16 && compact.inputLevels != kLevels16) return nullptr;
  if (!compact.coordinatesAreCurrent) {
    compact.coordinatesAreCompact = BuildCoordinates(compact);
    compact.coordinatesAreCurrent = true;
  }
  if (!compact.coordinatesAreCompact) return nullptr;
  if (format != PixelFormat::k16To16 && kernels.readsCoordinatePairs && !compact.pairsAreCurrent) {
    BuildCoordinatePairs(compact);
    compact.pairsAreCurrent = true;
  }
  if (!compact.gridIsCurrent) {
    compact.gridIsCompact =
        BuildNodes(engine, compact.nodes) && BuildRecords(engine, compact.nodes, compact.records);
    compact.tables.records = compact.records;
    compact.gridIsCurrent = true;
  }
  if (!compact.gridIsCompact) return nullptr;
  if (format == PixelFormat::k8To8 && !compact.output8IsCurrent) {
    BuildOutput(engine, compact.output8, compact.tables.output8);
    const bool isShared = compact.tables.output8[1] == compact.output8[0] &&
                          compact.tables.output8[2] == compact.output8[0];
    compact.tables.steps =
        isShared && BuildSteps(compact.output8[0], compact.steps) ? &compact.steps : nullptr;
    compact.output8IsCurrent = true;
  }
  if (format != PixelFormat::k8To8 && !compact.output16IsCurrent) {
    BuildOutput(engine, compact.output16, compact.tables.output16);
    compact.output16IsCurrent = true;
  }
  return &compact.tables;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
