#ifndef KXCMS_ICCFILE_LUTSHAPE_H
#define KXCMS_ICCFILE_LUTSHAPE_H

#include <algorithm>
#include <cstdint>

#include "../base/SaturatingMath.h"
#include "CLut.h"

// The direction of a lookup tag, and how many values its tables have. Counts saturate at the
// largest 64-bit number, so that whatever a file claims can be compared with a limit.

namespace ICC40 {
namespace ICCFILE {

/// Whether a lookup tag leads from device to PCS: 'A2B' and any fourth character.
constexpr bool IsAToB(ICC4_HEADER::icTagSignature signature) {
  return (static_cast<std::uint32_t>(signature) & 0xFFFFFF00) == 0x41324200;
}

/// Values of a colour table with as many axes as there are input channels, all of `gridPoints`.
inline std::uint64_t TableValueCount(unsigned gridPoints, unsigned inputChannels,
                                     unsigned outputChannels) {
  std::uint64_t count = 1;
  for (unsigned axis = 0; axis < inputChannels; ++axis) {
    count = SaturatingProduct(count, gridPoints);
  }
  return SaturatingProduct(count, outputChannels);
}

/// Values of the colour table of an 'mft1' or 'mft2' tag: a cube, whatever the number of input
/// channels, kept so that results stay identical.
constexpr std::uint64_t CubeValueCount(unsigned gridPoints, unsigned outputChannels) {
  return std::uint64_t{gridPoints} * gridPoints * gridPoints * outputChannels;
}

/// Values of a CLUT element: the product of the grid points of its input dimensions (at most the
/// 16 that the element has room for) times the output channels.
inline std::uint64_t GridValueCount(const LutGrid& grid, unsigned inputChannels,
                                    unsigned outputChannels) {
  std::uint64_t count = 1;
  for (unsigned axis = 0; axis < std::min(inputChannels, 16u); ++axis) {
    count = SaturatingProduct(count, grid.gridPoints[axis]);
  }
  return SaturatingProduct(count, outputChannels);
}

/// Bytes that `LutGrid::values` has when it is not null.
inline std::uint64_t GridByteCount(const LutGrid& grid, unsigned inputChannels,
                                   unsigned outputChannels) {
  return SaturatingProduct(GridValueCount(grid, inputChannels, outputChannels), grid.precision);
}

}  // namespace ICCFILE
}  // namespace ICC40

#endif
