// The level of AVX2.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "pipeline/precise/kernels/PreciseKernels.h"

namespace kxcms {

namespace {

constexpr int kVectorBytes = 32;

#include "pipeline/precise/kernels/FloatVectors.inl"

template <typename Vector>
KXCMS_INLINE Vector Select(Ints where, Vector a, Vector b) {
  return where ? a : b;
}
KXCMS_INLINE Floats Min(Floats a, Floats b) {
  return Floats(_mm256_min_ps(__m256(a), __m256(b)));
}
KXCMS_INLINE Floats Max(Floats a, Floats b) {
  return Floats(_mm256_max_ps(__m256(a), __m256(b)));
}
KXCMS_INLINE Floats Lower(Floats a, Floats b) {
  return Floats(_mm256_min_epi32(__m256i(a), __m256i(b)));
}
KXCMS_INLINE Floats Higher(Floats a, Floats b) {
  return Floats(_mm256_max_epi32(__m256i(a), __m256i(b)));
}
template <typename Lane>
KXCMS_INLINE Floats FromLanes(Lane lane) {
  return Floats(
      _mm256_inserti128_si256(_mm256_castsi128_si256(__m128i(lane(0))), __m128i(lane(1)), 1));
}

#include "pipeline/precise/kernels/Arithmetic.inl"
#include "pipeline/precise/kernels/ChannelStages.inl"
#include "pipeline/precise/kernels/ColorStages.inl"
#include "pipeline/precise/kernels/Samples.inl"
#include "pipeline/precise/kernels/Worker.inl"

}  // namespace

const PreciseKernels kPreciseAvx2 = {Convert, Run};

}  // namespace kxcms
