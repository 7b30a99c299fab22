// The level of AVX2.
#include <immintrin.h>

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Pixels of one step within a phase.
constexpr int kStepPixels = 16;
// Interpolated values per pixel; four make whole vector stores.
constexpr int kValueStride = 4;
// How far ahead of a block its buffers are fetched.
constexpr int kPrefetchBytes = 3072;

#include "engine/kernels/BlockLookups.inl"

void Coordinates8(const WorkerTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  LookUpCoordinates<std::uint8_t>(tables, samples, pixels, block);
}

__m256i PackBytes(__m256i even, __m256i odd) {
  return _mm256_or_si256(even, _mm256_slli_epi16(odd, 8));
}

__m256i LoadRecords(const TetrahedronRecord* records, unsigned halfRecord0, unsigned halfRecord1) {
  // Indexes count half records, which the addressing mode scales by 8.
  const auto record = [&](std::size_t half) {
    const char* at = reinterpret_cast<const char*>(records) + 8 * half;
    return _mm_load_si128(reinterpret_cast<const __m128i*>(at));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(record(halfRecord0)), record(halfRecord1),
                                 1);
}

// What interpolation needs of a block; see the AVX-512 level.
struct alignas(32) Paths {
  std::uint16_t halfRecords[kBlockPixels];
  __m256i weights[kBlockPixels / 16][4];
};

// See the AVX-512 level for the arithmetic. Here the products with weight / 64 and weight % 64 are
// added in pairs to 16 bits, then to 32.
template <int kPixel>
__m256i TwoValues(const TetrahedronRecord* records, const std::uint16_t* halfRecords, __m256i high,
                  __m256i low) {
  constexpr int kBroadcast = kPixel % 4 * 0x55;
  const __m256i nodes = LoadRecords(records, halfRecords[kPixel], halfRecords[kPixel + 8]);
  const __m256i highPairs = _mm256_maddubs_epi16(nodes, _mm256_shuffle_epi32(high, kBroadcast));
  const __m256i lowPairs = _mm256_maddubs_epi16(nodes, _mm256_shuffle_epi32(low, kBroadcast));
  const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(highPairs, _mm256_set1_epi16(64)),
                                       _mm256_madd_epi16(lowPairs, _mm256_set1_epi16(1)));
  return _mm256_srli_epi32(sum, 4);
}

// Stores pixels kPixel, kPixel + 1 and kPixel + 8, kPixel + 9.
template <int kPixel>
void StoreFour(const TetrahedronRecord* records, const std::uint16_t* halfRecords, __m256i high,
               __m256i low, std::uint16_t* values) {
  const __m256i four = _mm256_packus_epi32(TwoValues<kPixel>(records, halfRecords, high, low),
                                           TwoValues<kPixel + 1>(records, halfRecords, high, low));
  _mm_store_si128(reinterpret_cast<__m128i*>(values + kValueStride * kPixel),
                  _mm256_castsi256_si128(four));
  _mm_store_si128(reinterpret_cast<__m128i*>(values + kValueStride * (kPixel + 8)),
                  _mm256_extracti128_si256(four, 1));
}

void FindPaths(const PixelBlock& block, int pixels, Paths& paths) {
  const __m256i kFraction = _mm256_set1_epi16(0xFFF);
  const __m256i kLow6 = _mm256_set1_epi16(63);
  for (int p = 0; p < pixels; p += 16) {
    const __m256i x = _mm256_load_si256(reinterpret_cast<const __m256i*>(block.x + p));
    const __m256i y = _mm256_load_si256(reinterpret_cast<const __m256i*>(block.y + p));
    const __m256i z = _mm256_load_si256(reinterpret_cast<const __m256i*>(block.z + p));
    const __m256i fx = _mm256_and_si256(x, kFraction);
    const __m256i fy = _mm256_and_si256(y, kFraction);
    const __m256i fz = _mm256_and_si256(z, kFraction);

    const __m256i cell = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(x, 4), _mm256_set1_epi16(0xF00)),
                        _mm256_and_si256(_mm256_srli_epi16(y, 8), _mm256_set1_epi16(0xF0))),
        _mm256_srli_epi16(z, 12));
    // Record within the cell, 0..5: 3 (fx > fy) + (fy > fz) + (fx > fz).
    __m256i half = _mm256_mullo_epi16(cell, _mm256_set1_epi16(2 * 6));
    half = _mm256_add_epi16(half,
                            _mm256_and_si256(_mm256_cmpgt_epi16(fx, fy), _mm256_set1_epi16(2 * 3)));
    half =
        _mm256_add_epi16(half, _mm256_and_si256(_mm256_cmpgt_epi16(fy, fz), _mm256_set1_epi16(2)));
    half =
        _mm256_add_epi16(half, _mm256_and_si256(_mm256_cmpgt_epi16(fx, fz), _mm256_set1_epi16(2)));
    _mm256_store_si256(reinterpret_cast<__m256i*>(paths.halfRecords + p), half);

    const __m256i lowXy = _mm256_min_epi16(fx, fy);
    const __m256i highXy = _mm256_max_epi16(fx, fy);
    const __m256i max = _mm256_max_epi16(highXy, fz);
    const __m256i mid = _mm256_max_epi16(lowXy, _mm256_min_epi16(highXy, fz));
    const __m256i min = _mm256_min_epi16(lowXy, fz);
    const __m256i w0 = _mm256_sub_epi16(_mm256_set1_epi16(4096), max);
    const __m256i w1 = _mm256_sub_epi16(max, mid);
    const __m256i w2 = _mm256_sub_epi16(mid, min);
    const __m256i w3 = min;
    const __m256i high01 = PackBytes(_mm256_srli_epi16(w0, 6), _mm256_srli_epi16(w1, 6));
    const __m256i high23 = PackBytes(_mm256_srli_epi16(w2, 6), _mm256_srli_epi16(w3, 6));
    const __m256i low01 = PackBytes(_mm256_and_si256(w0, kLow6), _mm256_and_si256(w1, kLow6));
    const __m256i low23 = PackBytes(_mm256_and_si256(w2, kLow6), _mm256_and_si256(w3, kLow6));
    // Four weight bytes per pixel: pixels 0..3 and 8..11, then 4..7 and 12..15.
    __m256i* weights = paths.weights[p / 16];
    _mm256_store_si256(weights, _mm256_unpacklo_epi16(high01, high23));
    _mm256_store_si256(weights + 1, _mm256_unpackhi_epi16(high01, high23));
    _mm256_store_si256(weights + 2, _mm256_unpacklo_epi16(low01, low23));
    _mm256_store_si256(weights + 3, _mm256_unpackhi_epi16(low01, low23));
  }
}

void Interpolate(const WorkerTables& tables, PixelBlock& block, int pixels) {
  Paths paths;
  FindPaths(block, pixels, paths);
  for (int p = 0; p < pixels; p += 16) {
    const __m256i* weights = paths.weights[p / 16];
    const std::uint16_t* halfRecords = paths.halfRecords + p;
    std::uint16_t* values = block.values + kValueStride * p;
    StoreFour<0>(tables.records, halfRecords, weights[0], weights[2], values);
    StoreFour<2>(tables.records, halfRecords, weights[0], weights[2], values);
    StoreFour<4>(tables.records, halfRecords, weights[1], weights[3], values);
    StoreFour<6>(tables.records, halfRecords, weights[1], weights[3], values);
  }
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
