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

KXCMS_INLINE Floats Select(Ints where, Floats a, Floats b) {
  return where ? a : b;
}
KXCMS_INLINE Floats Min(Floats a, Floats b) {
  return Floats(_mm512_min_ps(__m512(a), __m512(b)));
}
KXCMS_INLINE Floats Max(Floats a, Floats b) {
  return Floats(_mm512_max_ps(__m512(a), __m512(b)));
}
template <typename Lane>
KXCMS_INLINE Floats FromLanes(Lane lane) {
  __m512i four = _mm512_castsi128_si512(__m128i(lane(0)));
  four = _mm512_inserti32x4(four, __m128i(lane(1)), 1);
  four = _mm512_inserti32x4(four, __m128i(lane(2)), 2);
  return Floats(_mm512_inserti32x4(four, __m128i(lane(3)), 3));
}
constexpr float kNodeBias = 0;
KXCMS_INLINE Floats ReadNodes(const Node* nodes, const std::int32_t* indices) {
  const auto node = [&](int lane) {
    long long bits;
    __builtin_memcpy(&bits, nodes + static_cast<std::uint32_t>(indices[4 * lane]), sizeof bits);
    return bits;
  };
  using Two = long long __attribute__((vector_size(16)));
  const __m256i four = _mm256_inserti128_si256(
      _mm256_castsi128_si256(__m128i(Two{node(0), node(1)})), __m128i(Two{node(2), node(3)}), 1);
  return Floats(_mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(four)));
}

#include "pipeline/precise/kernels/Arithmetic.inl"
#include "pipeline/precise/kernels/ChannelStages.inl"
#include "pipeline/precise/kernels/ColorStages.inl"
#include "pipeline/precise/kernels/Samples.inl"
#include "pipeline/precise/kernels/Worker.inl"

}  // namespace

const PreciseKernels kPreciseAvx512 = {Convert, Run};

}  // namespace kxcms
