// The level of AVX2.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "pipeline/kernels/CompactTables.h"
#include "pipeline/kernels/Kernels.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

constexpr int kVectorBytes = 32;
constexpr int kStepPixels = 16;
constexpr int kPrefetchBytes = 3072;

#include "pipeline/kernels/Vectors.inl"

Vector AddWhereGreater(Vector sum, Vector a, Vector b, std::uint16_t amount) {
  return sum + (Vector(SignedVector(a) > SignedVector(b)) & amount);
}
Vector Products(Vector a, Vector b) {
  return Vector(_mm256_madd_epi16(__m256i(a), __m256i(b)));
}
Vector AddProducts(Vector sum, Vector a, Vector b) {
  return Vector(Vector32(sum) + Vector32(Products(a, b)));
}
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  return Vector(_mm256_packus_epi32(_mm256_srli_epi32(__m256i(a), kBits),
                                    _mm256_srli_epi32(__m256i(b), kBits)));
}
Vector LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  const auto record = [&](int i) {
    const char* at = reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[i];
    return _mm_load_si128(reinterpret_cast<const __m128i*>(at));
  };
  return Vector(_mm256_inserti128_si256(_mm256_castsi128_si256(record(0)), record(8), 1));
}

#include "pipeline/kernels/BlockLookups.inl"
#include "pipeline/kernels/EightBitLookups.inl"
#include "pipeline/kernels/Interpolation.inl"

#include "pipeline/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kAvx2Kernels = {{Convert<1, 1>, Convert<1, 2>, Convert<2, 2>}, true};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
