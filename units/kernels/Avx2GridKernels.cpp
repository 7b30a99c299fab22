#include <immintrin.h>

#include "units/kernels/GridKernels.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr int kChannels = 7;
// Distances between neighbouring nodes along the three axes, in ints.
constexpr std::uint32_t kStride[3] = {33 * 33 * kChannels, 33 * kChannels, kChannels};

struct FarNear {
  std::uint64_t far, near;
};

// Two selections and not one branch: fractions come in no predictable order.
FarNear Order(std::uint64_t a, std::uint64_t b) {
  return {a > b ? a : b, a > b ? b : a};
}

// The seven values of a node; the eighth lies behind the grid for the last node and stays 0.
__m256i LoadNode(const int* node) {
  return _mm256_maskload_epi32(node, _mm256_setr_epi32(-1, -1, -1, -1, -1, -1, -1, 0));
}

__m256i Fraction(std::uint64_t key) {
  return _mm256_set1_epi32(static_cast<int>(key >> 32));
}

// The outputs of one pixel, as eight words of which the last is 0.
__m128i InterpolateOne(const GridView& grid, const std::uint16_t* samples) {
  // Fraction and axis in one word: sorting by fraction gives the tetrahedron's path. Among tied
  // fractions any order gives the same sum, since the differences along the path add up.
  std::uint64_t key[3];
  const int* node = grid.nodes;
  for (int axis = 0; axis < 3; ++axis) {
    const std::uint32_t sample = samples[axis];
    node += (sample >> grid.shift) * kStride[axis];
    key[axis] = static_cast<std::uint64_t>(sample & static_cast<std::uint32_t>(grid.mask)) << 32 |
                kStride[axis];
  }
  const FarNear firstTwo = Order(key[0], key[1]);
  const FarNear high = Order(firstTwo.far, key[2]);
  const FarNear low = Order(firstTwo.near, high.near);

  // Wrapping 32-bit sums, like the scalar conversion's.
  const __m256i node0 = LoadNode(node);
  node += static_cast<std::uint32_t>(high.far);
  const __m256i node1 = LoadNode(node);
  node += static_cast<std::uint32_t>(low.far);
  const __m256i node2 = LoadNode(node);
  node += static_cast<std::uint32_t>(low.near);
  const __m256i node3 = LoadNode(node);
  __m256i sum = _mm256_sll_epi32(node0, _mm_cvtsi32_si128(grid.shift));
  sum =
      _mm256_add_epi32(sum, _mm256_mullo_epi32(_mm256_sub_epi32(node1, node0), Fraction(high.far)));
  sum =
      _mm256_add_epi32(sum, _mm256_mullo_epi32(_mm256_sub_epi32(node2, node1), Fraction(low.far)));
  sum =
      _mm256_add_epi32(sum, _mm256_mullo_epi32(_mm256_sub_epi32(node3, node2), Fraction(low.near)));
  const __m256i value = _mm256_and_si256(_mm256_sra_epi32(sum, _mm_cvtsi32_si128(grid.shift)),
                                         _mm256_set1_epi32(0xFFFF));
  return _mm_packus_epi32(_mm256_castsi256_si128(value), _mm256_extracti128_si256(value, 1));
}

template <int kSamples>
void Convert(const GridView& grid, std::uint16_t* samples, std::int64_t pixels) {
  for (std::int64_t p = 0; p < pixels; ++p, samples += kSamples) {
    alignas(16) std::uint16_t outputs[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(outputs), InterpolateOne(grid, samples));
    __builtin_memcpy(samples, outputs, kSamples * sizeof(std::uint16_t));
  }
}

}  // namespace

GridKernel Avx2GridKernel(int samplesPerPixel) {
  switch (samplesPerPixel) {
    case 3:
      return Convert<3>;
    case 4:
      return Convert<4>;
    case 6:
      return Convert<6>;
    default:
      return Convert<7>;
  }
}

}  // namespace ICC_UNIT
}  // namespace ICC40
