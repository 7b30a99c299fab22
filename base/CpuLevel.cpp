#include "base/CpuLevel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ICC40 {

namespace {

constexpr CpuLevel kLevels[] = {CpuLevel::kScalar, CpuLevel::kPortable, CpuLevel::kAvx2,
                                CpuLevel::kAvx512};

CpuLevel ChooseLevel() {
  const CpuLevel supported = SupportedCpuLevel();
  const char* wanted = std::getenv("KXCMS_LEVEL");
  if (wanted == nullptr) return supported;
  for (const CpuLevel level : kLevels) {
    if (std::strcmp(wanted, NameOf(level)) == 0) return std::min(level, supported);
  }
  return supported;
}

}  // namespace

// The compiler's run-time check also asks whether the operating system saves the registers.
CpuLevel SupportedCpuLevel() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni")) {
    return CpuLevel::kAvx512;
  }
  if (__builtin_cpu_supports("avx2")) return CpuLevel::kAvx2;
#endif
  return CpuLevel::kPortable;
}

CpuLevel ChosenCpuLevel() {
  static const CpuLevel level = ChooseLevel();
  return level;
}

const char* NameOf(CpuLevel level) {
  switch (level) {
    case CpuLevel::kScalar:
      return "scalar";
    case CpuLevel::kPortable:
      return "portable";
    case CpuLevel::kAvx2:
      return "avx2";
    case CpuLevel::kAvx512:
      return "avx512";
  }
  return "";
}

}  // namespace ICC40
