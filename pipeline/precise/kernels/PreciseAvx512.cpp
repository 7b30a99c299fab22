// The level of AVX-512 F, BW, VL, DQ and VBMI.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "pipeline/precise/kernels/PreciseKernels.h"

namespace kxcms {

namespace {

constexpr int kVectorBytes = 64;

#include "pipeline/precise/kernels/FloatVectors.inl"

template <typename Vector>
KXCMS_INLINE Vector Select(Ints where, Vector a, Vector b) {
  return where ? a : b;
}
KXCMS_INLINE Floats Min(Floats a, Floats b) {
  return Floats(_mm512_min_ps(__m512(a), __m512(b)));
}
KXCMS_INLINE Floats Max(Floats a, Floats b) {
  return Floats(_mm512_max_ps(__m512(a), __m512(b)));
}
KXCMS_INLINE Floats Lower(Floats a, Floats b) {
  return Floats(_mm512_min_epi32(__m512i(a), __m512i(b)));
}
KXCMS_INLINE Floats Higher(Floats a, Floats b) {
  return Floats(_mm512_max_epi32(__m512i(a), __m512i(b)));
}
template <typename Lane>
KXCMS_INLINE Floats FromLanes(Lane lane) {
  const auto two = [&lane](int n) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(__m128i(lane(n))), __m128i(lane(n + 1)),
                                   1);
  };
  return Floats(_mm512_inserti64x4(_mm512_castsi256_si512(two(0)), two(2), 1));
}

#include "pipeline/precise/kernels/Arithmetic.inl"
#include "pipeline/precise/kernels/ChannelStages.inl"
#include "pipeline/precise/kernels/ColorStages.inl"
#include "pipeline/precise/kernels/Samples.inl"
#include "pipeline/precise/kernels/Worker.inl"

}  // namespace

const PreciseKernels kPreciseAvx512 = {Convert, Run};

}  // namespace kxcms
