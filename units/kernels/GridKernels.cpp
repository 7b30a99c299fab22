#include "units/kernels/GridKernels.h"

#include "base/CpuLevel.h"

namespace ICC40 {
namespace ICC_UNIT {

GridKernel ChosenGridKernel(int samplesPerPixel) {
  const CpuLevel level = ChosenCpuLevel();
  if (level == CpuLevel::kScalar) return nullptr;
#if defined(__x86_64__)
  if (level >= CpuLevel::kAvx2) return Avx2GridKernel(samplesPerPixel);
#endif
  return PortableGridKernel(samplesPerPixel);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
