// The level of AVX2.
#include <immintrin.h>

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Pixels of one step within a phase.
constexpr int kStepPixels = 16;
// How far ahead of a block its buffers are fetched.
constexpr int kPrefetchBytes = 3072;

using Vector = __m256i;

Vector LoadVector(const void* from) {
  return _mm256_load_si256(static_cast<const Vector*>(from));
}
void StoreVector(void* to, Vector v) {
  _mm256_store_si256(static_cast<Vector*>(to), v);
}
Vector Splat16(int value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}
Vector And(Vector a, Vector b) {
  return _mm256_and_si256(a, b);
}
Vector Or(Vector a, Vector b) {
  return _mm256_or_si256(a, b);
}
template <int kBits>
Vector ShiftRight16(Vector a) {
  return _mm256_srli_epi16(a, kBits);
}
Vector Subtract16(Vector a, Vector b) {
  return _mm256_sub_epi16(a, b);
}
Vector Multiply16(Vector a, Vector b) {
  return _mm256_mullo_epi16(a, b);
}
Vector Min16(Vector a, Vector b) {
  return _mm256_min_epi16(a, b);
}
Vector Max16(Vector a, Vector b) {
  return _mm256_max_epi16(a, b);
}
Vector AddWhereGreater16(Vector sum, Vector a, Vector b, int amount) {
  return _mm256_add_epi16(sum, And(_mm256_cmpgt_epi16(a, b), Splat16(amount)));
}
// Sums of two neighbouring products each, 32 bits wide.
Vector Products16(Vector a, Vector b) {
  return _mm256_madd_epi16(a, b);
}
Vector AddProducts16(Vector sum, Vector a, Vector b) {
  return _mm256_add_epi32(sum, Products16(a, b));
}
Vector UnpackLow16(Vector a, Vector b) {
  return _mm256_unpacklo_epi16(a, b);
}
Vector UnpackHigh16(Vector a, Vector b) {
  return _mm256_unpackhi_epi16(a, b);
}
Vector UnpackLow32(Vector a, Vector b) {
  return _mm256_unpacklo_epi32(a, b);
}
Vector UnpackHigh32(Vector a, Vector b) {
  return _mm256_unpackhi_epi32(a, b);
}
Vector UnpackLow64(Vector a, Vector b) {
  return _mm256_unpacklo_epi64(a, b);
}
Vector UnpackHigh64(Vector a, Vector b) {
  return _mm256_unpackhi_epi64(a, b);
}
// The words above the lowest kBits bits of each element.
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  return _mm256_packus_epi32(_mm256_srli_epi32(a, kBits), _mm256_srli_epi32(b, kBits));
}

// The records of every eighth pixel, one a lane. Indexes count half records, which the addressing
// mode scales by 8.
Vector LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  const auto record = [&](int i) {
    const char* at = reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[i];
    return _mm_load_si128(reinterpret_cast<const __m128i*>(at));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(record(0)), record(8), 1);
}

#include "engine/kernels/BlockLookups.inl"
#include "engine/kernels/Interpolation.inl"

void Coordinates8(const WorkerTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  LookUpCoordinates<std::uint8_t>(tables, samples, pixels, block);
}

void Output8(const WorkerTables& tables, const PixelBlock& block, int pixels,
             unsigned char* samples) {
  LookUpBytes(tables.output8, block, pixels, samples);
}

#include "engine/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kAvx2Kernels = {Convert<1, 1>, Convert<1, 2>, Convert<2, 2>};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
