#ifndef KXCMS_PIPELINE_KERNELS_KERNELS_H
#define KXCMS_PIPELINE_KERNELS_KERNELS_H

#include <cstdint>

// The pixel workers. ScalarWorker defines the result and reads a pipeline's tables; the others read
// a compact form of these and give the same bits.
//
//   Kernels.cpp          chooses the level, once
//   PortableKernels.cpp  one level each: what only its instructions can do
//   Avx2Kernels.cpp
//   Avx512Kernels.cpp
//   BlockKernel.inl      the loop of all of them: 256 pixels at a time through three phases
//   BlockLookups.inl     first and third phase: table reads, samples <-> block
//   EightBitLookups.inl  the same for 8-bit samples, except with AVX-512
//   Interpolation.inl    second phase, in vectors: Vectors.inl

namespace ICC40 {
namespace ICC_ENG_S4 {

struct CompactTables;

/// Converts the pixels [begin, end) of interleaved three-sample buffers, bit for bit as the scalar
/// worker does. Buffers need no alignment and may be the same when the sample types are; nothing
/// outside [begin, end) is read or written.
using PixelKernel = void (*)(const CompactTables& tables, const unsigned char* source,
                             unsigned char* destination, std::int64_t begin, std::int64_t end);

/// The workers of one instruction-set level.
struct KernelSet {
  PixelKernel convert[3];     ///< by PixelFormat
  bool readsCoordinatePairs;  ///< for 8-bit samples: CompactTables::coordinatePairs
};

/// The fast workers read and write two bytes as one word, the first one lowest: they need a CPU
/// that stores words so.
constexpr bool kIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

/// The workers of the chosen instruction-set level; null for the scalar one, and on CPUs that are
/// not little-endian.
const KernelSet* ChosenKernels();

extern const KernelSet kPortableKernels;
extern const KernelSet kAvx2Kernels;
extern const KernelSet kAvx512Kernels;

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
