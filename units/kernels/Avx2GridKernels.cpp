#include <cstdint>

#include "units/kernels/GridKernels.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {
#include "units/kernels/GridKernel.inl"
}  // namespace

GridKernel Avx2GridKernel(int samplesPerPixel) {
  return ConvertFor(samplesPerPixel);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
