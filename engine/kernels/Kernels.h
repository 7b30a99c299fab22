#ifndef KXCMS_ENGINE_KERNELS_KERNELS_H
#define KXCMS_ENGINE_KERNELS_KERNELS_H

#include <cstdint>

namespace ICC40 {
namespace ICC_ENG_S4 {

struct WorkerTables;

/// Converts the pixels [begin, end) of interleaved three-sample buffers, bit for bit as the scalar
/// worker does. Buffers need no alignment and may be the same when the sample types are; nothing
/// outside [begin, end) is read or written.
using PixelKernel = void (*)(const WorkerTables& tables, const unsigned char* source,
                             unsigned char* destination, std::int64_t begin, std::int64_t end);

/// The workers of one instruction-set level.
struct KernelSet {
  PixelKernel convert8To8;
  PixelKernel convert8To16;
  PixelKernel convert16To16;
};

/// The workers of the chosen instruction-set level; null for the scalar one, whose worker reads the
/// contract tables instead.
const KernelSet* ChosenKernels();

extern const KernelSet kPortableKernels;
extern const KernelSet kAvx2Kernels;
extern const KernelSet kAvx512Kernels;

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
