#include "pipeline/CompactForms.h"

#include <algorithm>

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

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

}  // namespace

void FillByteGrid(const ICC_UNIT::GridNodes<const int>& rgb, ByteGrid& grid) {
  std::uint32_t* node = grid.nodes;
  ICC_UNIT::ForEachNode(rgb, [&node](const int* value) {
    *node++ = static_cast<std::uint32_t>(value[0] >> 8 | value[1] | value[2] << 8);
  });
}

void FillCoordinateBytes(const std::uint16_t* coordinates, std::uint8_t (&bytes)[2][kLevels8]) {
  for (int level = 0; level < kLevels8; ++level) {
    bytes[0][level] = static_cast<std::uint8_t>(coordinates[level]);
    bytes[1][level] = static_cast<std::uint8_t>(coordinates[level] >> 8);
  }
}

void FillCoordinatePairs(const std::uint16_t* first, const std::uint16_t* second,
                         std::uint32_t* pairs) {
  for (int upper = 0; upper < kLevels8; ++upper) {
    const std::uint32_t high = std::uint32_t{second[upper]} << 16;
    for (int lower = 0; lower < kLevels8; ++lower) *pairs++ = high | first[lower];
  }
}

bool FillSteps(const std::uint8_t* bytes, StepCurve& steps) {
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

}  // namespace ICC_ENG_S4
}  // namespace ICC40
