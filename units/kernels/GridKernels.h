#ifndef KXCMS_UNITS_KERNELS_GRIDKERNELS_H
#define KXCMS_UNITS_KERNELS_GRIDKERNELS_H

#include <cstdint>

// Included by sources with instruction-set flags of their own: plain declarations only.

namespace ICC40 {
namespace ICC_UNIT {

/// What the 16-bit conversion of a colour table reads, borrowed from the table.
struct GridView {
  const int* nodes;  ///< [33][33][33][7]
  int shift;         ///< log2 of the node spacing, 11 to 13
  int mask;          ///< node spacing - 1
};

/// Converts `pixels` pixels in place, bit for bit as the 16-bit conversion does: the first three
/// samples of each are the inputs, all samples receive the outputs. Nothing else is read or
/// written.
using GridKernel = void (*)(const GridView& grid, std::uint16_t* samples, std::int64_t pixels);

/// The worker of the chosen instruction-set level for 3, 4, 6 or 7 samples a pixel; null for
/// the scalar one, which calls the pixel conversion.
GridKernel ChosenGridKernel(int samplesPerPixel);

GridKernel PortableGridKernel(int samplesPerPixel);
GridKernel Avx2GridKernel(int samplesPerPixel);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
