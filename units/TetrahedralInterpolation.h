#ifndef KXCMS_UNITS_TETRAHEDRALINTERPOLATION_H
#define KXCMS_UNITS_TETRAHEDRALINTERPOLATION_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include "units/ColorGrid.h"
#include "units/ColorTable33.h"
#include "units/ColorTableNodes.h"
#include "units/OpenMpLoop.h"
#include "units/Tetrahedra.h"
#include "units/WorkingBuffer.h"
#include "units/kernels/GridKernels.h"

namespace ICC40 {
namespace ICC_UNIT {

/// The conversions of the colour tables, by number of channels: 3, 4, 6 or 7. Everywhere the first
/// three values of a pixel are the inputs, and all of them receive the outputs.

/// The 16-bit interpolation: wrapping 32-bit sums, shifted right arithmetically, stored modulo
/// 65536. A table that was never filled (shift 0) changes nothing.
template <std::size_t kChannels>
void Interpolate(const ColorTable33& table, const std::array<unsigned short*, kChannels>& samples) {
  if (table.shift == 0) return;
  int node[3], fraction[3];
  for (std::size_t axis = 0; axis < 3; ++axis) {
    node[axis] = *samples[axis] >> table.shift;
    fraction[axis] = *samples[axis] & table.mask;
  }
  const Tetrahedron& tetrahedron =
      kTetrahedra[TetrahedronOf(fraction[0], fraction[1], fraction[2])];
  const std::array<const int*, 4> path = PathNodes(NodesOf(table), node, tetrahedron);
  for (std::size_t c = 0; c < kChannels; ++c) {
    std::uint32_t sum = static_cast<std::uint32_t>(path[0][c]) * (1u << table.shift);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto edge = static_cast<std::size_t>(tetrahedron.edge[axis]);
      sum +=
          Difference(path[edge + 1][c], path[edge][c]) * static_cast<std::uint32_t>(fraction[axis]);
    }
    *samples[c] = static_cast<unsigned short>(static_cast<std::int32_t>(sum) >> table.shift);
  }
}

/// The reference interpolation in double precision, for inputs 0..65535. Other inputs, and a table
/// without node positions, change nothing.
template <std::size_t kChannels>
void InterpolateReference(const ColorTable33& table, const std::array<int*, kChannels>& values) {
  if (table.nodePositions == nullptr) return;
  InterpolateReference(NodesOf(table), {table.nodeStep, table.nodePositions}, values);
}

/// Converts a run state's working buffer in place, in one parallel region; the table is only read.
/// Pixel by pixel through the table's virtual 16-bit conversion, but for a table of class `Table`
/// itself, whose conversion is known, with the worker of the processor's level.
template <int kSamplesPerPixel, typename Table>
void ConvertWorkingBuffer(Table& table, const Info* info) {
  const bool isDerived = typeid(table) != typeid(Table);
  const GridKernel kernel = isDerived ? nullptr : ChosenGridKernel(kSamplesPerPixel);
  if (kernel != nullptr && table.shift == 0) return;  // never filled
  ForEachBlock(WorkingPixels(info, kSamplesPerPixel), [&](std::int64_t begin, std::int64_t end) {
    unsigned short* const first = info->workingBuf + begin * kSamplesPerPixel;
    if (kernel != nullptr) {
      kernel({table.grid[0][0][0], table.shift, table.mask}, first, end - begin);
      return;
    }
    for (std::int64_t p = 0; p < end - begin; ++p) {
      unsigned short* const pixel = first + p * kSamplesPerPixel;
      unsigned short v[7] = {};
      std::copy_n(pixel, kSamplesPerPixel, v);
      table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
      std::copy_n(v, kSamplesPerPixel, pixel);
    }
  });
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
