// The level of AVX-512 F, BW, VL, DQ, VBMI and VNNI.
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

constexpr int kVectorBytes = 64;
constexpr int kStepPixels = 64;
constexpr int kPrefetchBytes = 6144;

#include "pipeline/kernels/Vectors.inl"

Vector AddWhereGreater(Vector sum, Vector a, Vector b, std::uint16_t amount) {
  const __mmask32 where = _mm512_cmpgt_epi16_mask(__m512i(a), __m512i(b));
  return Vector(
      _mm512_mask_add_epi16(__m512i(sum), where, __m512i(sum), __m512i(Vector{} + amount)));
}
Vector Products(Vector a, Vector b) {
  return Vector(_mm512_madd_epi16(__m512i(a), __m512i(b)));
}
Vector AddProducts(Vector sum, Vector a, Vector b) {
  return Vector(_mm512_dpwssd_epi32(__m512i(sum), __m512i(a), __m512i(b)));
}
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  return Vector(_mm512_packus_epi32(_mm512_srli_epi32(__m512i(a), kBits),
                                    _mm512_srli_epi32(__m512i(b), kBits)));
}
Vector LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  const auto record = [&](int i) {
    const char* at = reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[i];
    return _mm_load_si128(reinterpret_cast<const __m128i*>(at));
  };
  __m512i four = _mm512_castsi128_si512(record(0));
  four = _mm512_inserti32x4(four, record(8), 1);
  four = _mm512_inserti32x4(four, record(16), 2);
  return Vector(_mm512_inserti32x4(four, record(24), 3));
}

#include "pipeline/kernels/BlockLookups.inl"
#include "pipeline/kernels/Interpolation.inl"

// Index vectors of the permutations, worked out at compile time.
struct alignas(64) ByteIndex {
  std::uint8_t at[64];
  __m512i Load() const { return _mm512_load_si512(at); }
};

// 128-entry byte table.
__m512i LookUp128(const std::uint8_t* table, __m512i index) {
  return _mm512_permutex2var_epi8(_mm512_loadu_si512(table), index, _mm512_loadu_si512(table + 64));
}

// 256-entry byte table: two tables of 128 entries in registers, chosen by the index's top bit.
struct ByteTable {
  __m512i quarter[4];

  explicit ByteTable(const std::uint8_t* bytes)
      : quarter{_mm512_loadu_si512(bytes), _mm512_loadu_si512(bytes + 64),
                _mm512_loadu_si512(bytes + 128), _mm512_loadu_si512(bytes + 192)} {}

  __m512i operator[](__m512i index) const {
    const __m512i low = _mm512_permutex2var_epi8(quarter[0], index, quarter[1]);
    const __m512i high = _mm512_permutex2var_epi8(quarter[2], index, quarter[3]);
    return _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(index), high);
  }
};

// Where each of 64 bytes comes from among the 192 of three registers.
struct Selection {
  ByteIndex firstTwo, third;
  __mmask64 isInThird;

  __m512i From(__m512i a, __m512i b, __m512i c) const {
    return _mm512_mask_permutexvar_epi8(_mm512_permutex2var_epi8(a, firstTwo.Load(), b), isInThird,
                                        third.Load(), c);
  }
};
template <typename Source>
constexpr Selection MakeSelection(Source source) {
  Selection selection{};
  for (int i = 0; i < 64; ++i) {
    const int from = source(i);
    if (from < 128) {
      selection.firstTwo.at[i] = static_cast<std::uint8_t>(from);
    } else {
      selection.third.at[i] = static_cast<std::uint8_t>(from - 128);
      selection.isInThird |= __mmask64{1} << i;
    }
  }
  return selection;
}

// One channel's 64 of 192 interleaved bytes. Within each 128-bit lane the first eight are pixels
// 0..31's and the last eight pixels 32..63's, so that the low and high unpacks below give pixels in
// order.
constexpr Selection MakeDeinterleave(int channel) {
  return MakeSelection([channel](int i) {
    const int lane = i / 16;
    const int byte = i % 16;
    const int pixel = byte < 8 ? 8 * lane + byte : 32 + 8 * lane + byte - 8;
    return 3 * pixel + channel;
  });
}
constexpr Selection kDeinterleave[3] = {MakeDeinterleave(0), MakeDeinterleave(1),
                                        MakeDeinterleave(2)};

void Coordinates8(const CompactTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  for (int c = 0; c < 3; ++c) {
    const ByteTable lowBytes(tables.coordinateBytes[c][0]);
    const ByteTable highBytes(tables.coordinateBytes[c][1]);
    for (int p = 0; p < pixels; p += kStepPixels) {
      const unsigned char* in = samples + 3 * p;
      const __m512i level = kDeinterleave[c].From(
          _mm512_loadu_si512(in), _mm512_loadu_si512(in + 64), _mm512_loadu_si512(in + 128));
      const __m512i low = lowBytes[level];
      const __m512i high = highBytes[level];
      _mm512_store_si512(block.coordinates[c] + p, _mm512_unpacklo_epi8(low, high));
      _mm512_store_si512(block.coordinates[c] + p + 32, _mm512_unpackhi_epi8(low, high));
    }
  }
}

// Low (0) or high (1) bytes of 64 words in two registers.
constexpr ByteIndex MakeHalfBytes(int half) {
  ByteIndex index{};
  for (int i = 0; i < 64; ++i) index.at[i] = static_cast<std::uint8_t>(2 * i + half);
  return index;
}
constexpr ByteIndex kLowBytes = MakeHalfBytes(0);
constexpr ByteIndex kHighBytes = MakeHalfBytes(1);

// The lower bytes of 64 values' segments, of 256 / 2^kBits values each.
template <int kBits>
__m512i Segments(__m512i low, __m512i high) {
  constexpr int kSelect = 0xCA;  // where the first has ones, bits of the second, else of the third
  const __m512i fromHigh = _mm512_set1_epi8(static_cast<char>(0xFF << kBits));
  return _mm512_ternarylogic_epi64(fromHigh, _mm512_slli_epi16(high, kBits),
                                   _mm512_srli_epi16(low, 8 - kBits), kSelect);
}

// Their positions within these segments.
template <int kBits>
__m512i Positions(__m512i low) {
  return _mm512_and_si512(low, _mm512_set1_epi8(0xFF >> kBits));
}

// The bytes of 64 values along a step curve. The finer tables are read only where one of the values
// needs them: most of a picture is not dark.
__m512i StepOutput(const StepCurve& curve, __m512i low, __m512i high) {
  __m512i base = ByteTable(curve.base[2])[high];
  __m512i last = ByteTable(curve.last[2])[high];
  __m512i position = low;
  if (const __mmask64 where = _mm512_cmplt_epu8_mask(high, _mm512_set1_epi8(16384 / 256))) {
    const __m512i segment = Segments<2>(low, high);
    base = _mm512_mask_mov_epi8(base, where, ByteTable(curve.base[1])[segment]);
    last = _mm512_mask_mov_epi8(last, where, ByteTable(curve.last[1])[segment]);
    position = _mm512_mask_mov_epi8(position, where, Positions<2>(low));
  }
  if (const __mmask64 where = _mm512_cmplt_epu8_mask(high, _mm512_set1_epi8(2048 / 256))) {
    const __m512i segment = Segments<4>(low, high);
    base = _mm512_mask_mov_epi8(base, where, LookUp128(curve.base[0], segment));
    last = _mm512_mask_mov_epi8(last, where, LookUp128(curve.last[0], segment));
    position = _mm512_mask_mov_epi8(position, where, Positions<4>(low));
  }
  const __m512i bytes =
      _mm512_mask_add_epi8(base, _mm512_cmpgt_epu8_mask(position, last), base, _mm512_set1_epi8(1));
  const __mmask64 below256 = _mm512_testn_epi8_mask(high, high);
  if (below256 == 0) return bytes;
  return _mm512_mask_mov_epi8(bytes, below256, ByteTable(curve.first)[low]);
}

// The 64 interleaved bytes of one part of three, out of one register a channel.
constexpr Selection MakeInterleave(int part) {
  return MakeSelection([part](int i) {
    const int pixel = (64 * part + i) / 3;
    const int channel = (64 * part + i) % 3;
    return 64 * channel + pixel;
  });
}
constexpr Selection kInterleave[3] = {MakeInterleave(0), MakeInterleave(1), MakeInterleave(2)};

void Output8(const CompactTables& tables, const PixelBlock& block, int pixels,
             unsigned char* samples) {
  if (tables.steps == nullptr) return LookUpBytes(tables.output8, block, pixels, samples);
  const __m512i lowBytes = kLowBytes.Load();
  const __m512i highBytes = kHighBytes.Load();
  for (int p = 0; p < pixels; p += kStepPixels) {
    __m512i bytes[3];
    for (int c = 0; c < 3; ++c) {
      const __m512i first = _mm512_load_si512(block.values[c] + p);
      const __m512i second = _mm512_load_si512(block.values[c] + p + 32);
      bytes[c] = StepOutput(*tables.steps, _mm512_permutex2var_epi8(first, lowBytes, second),
                            _mm512_permutex2var_epi8(first, highBytes, second));
    }
    for (int part = 0; part < 3; ++part) {
      _mm512_storeu_si512(samples + 3 * p + 64 * part,
                          kInterleave[part].From(bytes[0], bytes[1], bytes[2]));
    }
  }
}

#include "pipeline/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kAvx512Kernels = {{Convert<1, 1>, Convert<1, 2>, Convert<2, 2>}, false};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
