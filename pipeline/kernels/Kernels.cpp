#include "pipeline/kernels/Kernels.h"

#include "base/CpuLevel.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

const KernelSet* ChosenKernels() {
  if (!kIsLittleEndian) return nullptr;
  switch (ChosenCpuLevel()) {
    case CpuLevel::kScalar:
      return nullptr;
    case CpuLevel::kPortable:
      return &kPortableKernels;
#if defined(__x86_64__)
    case CpuLevel::kAvx2:
      return &kAvx2Kernels;
    case CpuLevel::kAvx512:
      return &kAvx512Kernels;
#else
    case CpuLevel::kAvx2:
    case CpuLevel::kAvx512:
      break;
#endif
  }
  return &kPortableKernels;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
