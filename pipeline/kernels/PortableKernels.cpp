// The level of any CPU: 128-bit vectors of GCC's and Clang's extension, which they map to what the
// CPU has, or else take apart. Where x86's baseline, SSE2, has an operation that the extension
// cannot say, it is called; KXCMS_GENERIC_VECTORS is for testing what other CPUs get.
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#if defined(__SSE2__) && !defined(KXCMS_GENERIC_VECTORS)
#define KXCMS_SSE2_VECTORS
#include <emmintrin.h>
#endif

#include "pipeline/kernels/CompactTables.h"
#include "pipeline/kernels/Kernels.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

constexpr int kVectorBytes = 16;
constexpr int kStepPixels = 16;
constexpr int kPrefetchBytes = 3072;

#include "pipeline/kernels/Vectors.inl"

Vector AddWhereGreater(Vector sum, Vector a, Vector b, std::uint16_t amount) {
  return sum + (Vector(SignedVector(a) > SignedVector(b)) & amount);
}
#if defined(KXCMS_SSE2_VECTORS)
Vector Products(Vector a, Vector b) {
  return Vector(_mm_madd_epi16(__m128i(a), __m128i(b)));
}
// SSE2 packs signed numbers only.
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  const auto signedWord = [](Vector v) {
    return _mm_srai_epi32(_mm_slli_epi32(__m128i(v), 16 - kBits), 16);
  };
  return Vector(_mm_packs_epi32(signedWord(a), signedWord(b)));
}
#else
Vector Products(Vector a, Vector b) {
  const auto low = [](Vector v) { return Vector32(v) & 0xFFFF; };
  const auto high = [](Vector v) { return Vector32(v) >> 16; };
  return Vector(low(a) * low(b) + high(a) * high(b));
}
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  return __builtin_shufflevector(Vector(Vector32(a) >> kBits), Vector(Vector32(b) >> kBits), 0, 2,
                                 4, 6, 8, 10, 12, 14);
}
#endif
Vector AddProducts(Vector sum, Vector a, Vector b) {
  return Vector(Vector32(sum) + Vector32(Products(a, b)));
}

Vector LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  return LoadVector(reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[0]);
}

#include "pipeline/kernels/BlockLookups.inl"
#include "pipeline/kernels/EightBitLookups.inl"
#include "pipeline/kernels/Interpolation.inl"

#include "pipeline/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kPortableKernels = {{Convert<1, 1>, Convert<1, 2>, Convert<2, 2>}, true};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
