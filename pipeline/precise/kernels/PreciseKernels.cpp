#include "pipeline/precise/kernels/PreciseKernels.h"

#include "base/CpuLevel.h"

namespace kxcms {

const PreciseKernels& ChosenPreciseKernels() {
#if defined(__x86_64__)
  switch (ICC40::ChosenCpuLevel()) {
    case ICC40::CpuLevel::kScalar:
    case ICC40::CpuLevel::kPortable:
      break;
    case ICC40::CpuLevel::kAvx2:
      return kPreciseAvx2;
    case ICC40::CpuLevel::kAvx512:
      return kPreciseAvx512;
  }
#endif
  return kPrecisePortable;
}

}  // namespace kxcms
