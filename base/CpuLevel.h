#ifndef KXCMS_BASE_CPULEVEL_H
#define KXCMS_BASE_CPULEVEL_H

namespace ICC40 {

/// Instruction-set levels of the pixel workers, in rising order.
enum class CpuLevel { kScalar, kPortable, kAvx2, kAvx512 };

/// The best level that processor and operating system support.
CpuLevel SupportedCpuLevel();

/// The level of this process: the supported one, or a lower one that the environment variable
/// KXCMS_LEVEL names. An unknown name counts as none. Worked out at the first call, which is safe
/// from several threads.
CpuLevel ChosenCpuLevel();

/// "scalar", "portable", "avx2", "avx512".
const char* NameOf(CpuLevel level);

}  // namespace ICC40

#endif
