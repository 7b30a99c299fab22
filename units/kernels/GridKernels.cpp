#include "units/kernels/GridKernels.h"

#include "interface/CpuLevel.h"

namespace ICC40 {
namespace ICC_UNIT {

GridKernel ChosenGridKernel([[maybe_unused]] int samplesPerPixel) {
#if defined(__x86_64__)
  if (ChosenCpuLevel() >= CpuLevel::kAvx2) return Avx2GridKernel(samplesPerPixel);
#endif
  return nullptr;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
