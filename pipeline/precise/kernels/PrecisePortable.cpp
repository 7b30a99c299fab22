// The level of any CPU: 128-bit vectors of GCC's and Clang's extension, which they map to what the
// CPU has, or else take apart. Where x86's baseline, SSE2, has an operation that the extension
// cannot say, it is called. KXCMS_GENERIC_VECTORS is for tests: vectors of so many bytes by the
// extension alone. With 16 they are what other CPUs get; with 64 the stages have as many elements
// as at the widest level, on any CPU.
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#if defined(__SSE2__) && !defined(KXCMS_GENERIC_VECTORS)
#define KXCMS_SSE2_VECTORS
#include <emmintrin.h>
#endif

#include "pipeline/precise/kernels/PreciseKernels.h"

namespace kxcms {

namespace {

#if defined(KXCMS_GENERIC_VECTORS)
constexpr int kVectorBytes = KXCMS_GENERIC_VECTORS;
#else
constexpr int kVectorBytes = 16;
#endif

#include "pipeline/precise/kernels/FloatVectors.inl"

template <typename Vector>
KXCMS_INLINE Vector Select(Ints where, Vector a, Vector b) {
  return Vector((Ints(a) & where) | (Ints(b) & ~where));
}
template <typename Lane>
KXCMS_INLINE Floats FromLanes(Lane lane) {
  Floats all;
  for (int n = 0; n < kElements / kLaneElements; ++n) {
    const LaneWords words = lane(n);
    __builtin_memcpy(reinterpret_cast<LaneWords*>(&all) + n, &words, sizeof words);
  }
  return all;
}
#if defined(KXCMS_SSE2_VECTORS)
KXCMS_INLINE Floats Min(Floats a, Floats b) {
  return Floats(_mm_min_ps(__m128(a), __m128(b)));
}
KXCMS_INLINE Floats Max(Floats a, Floats b) {
  return Floats(_mm_max_ps(__m128(a), __m128(b)));
}
#else
KXCMS_INLINE Floats Min(Floats a, Floats b) {
  return Select(a < b, a, b);
}
KXCMS_INLINE Floats Max(Floats a, Floats b) {
  return Select(a > b, a, b);
}
#endif
KXCMS_INLINE Floats Lower(Floats a, Floats b) {
  return Min(a, b);
}
KXCMS_INLINE Floats Higher(Floats a, Floats b) {
  return Max(a, b);
}

#include "pipeline/precise/kernels/Arithmetic.inl"
#include "pipeline/precise/kernels/ChannelStages.inl"
#include "pipeline/precise/kernels/ColorStages.inl"
#include "pipeline/precise/kernels/Samples.inl"
#include "pipeline/precise/kernels/Worker.inl"

}  // namespace

const PreciseKernels kPrecisePortable = {Convert, Run};

}  // namespace kxcms
