// The level of AVX-512 F, BW, VL, DQ, VBMI and VNNI.
#include <immintrin.h>

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Pixels of one step within a phase.
constexpr int kStepPixels = 64;
// Interpolated values per pixel.
constexpr int kValueStride = 3;
// How far ahead of a block its buffers are fetched.
constexpr int kPrefetchBytes = 6144;

#include "engine/kernels/BlockLookups.inl"

// Index vectors of the permutations, worked out at compile time.
struct alignas(64) ByteIndex {
  std::uint8_t at[64];
  __m512i Load() const { return _mm512_load_si512(at); }
};
struct alignas(64) WordIndex {
  std::uint16_t at[32];
  __m512i Load() const { return _mm512_load_si512(at); }
};
struct alignas(64) DoubleWordIndex {
  std::uint32_t at[16];
  __m512i Load() const { return _mm512_load_si512(at); }
};

// 256-entry byte table: two tables of 128 entries in registers, chosen by the index's top bit.
__m512i Lookup256(const std::uint8_t* table, __m512i index) {
  const __m512i low =
      _mm512_permutex2var_epi8(_mm512_loadu_si512(table), index, _mm512_loadu_si512(table + 64));
  const __m512i high = _mm512_permutex2var_epi8(_mm512_loadu_si512(table + 128), index,
                                                _mm512_loadu_si512(table + 192));
  return _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(index), high);
}

// Where 192 interleaved bytes have one channel's 64: from the first two registers, then from the
// third. Within each 128-bit lane the first eight bytes are pixels 0..31's and the last eight
// pixels 32..63's, so that the low and high unpacks below give pixels in order.
struct Deinterleave {
  ByteIndex firstTwo, third;
  __mmask64 isInThird;
};
constexpr Deinterleave MakeDeinterleave(int channel) {
  Deinterleave d{};
  for (int i = 0; i < 64; ++i) {
    const int lane = i / 16;
    const int byte = i % 16;
    const int pixel = byte < 8 ? 8 * lane + byte : 32 + 8 * lane + byte - 8;
    const int source = 3 * pixel + channel;
    if (source < 128) {
      d.firstTwo.at[i] = static_cast<std::uint8_t>(source);
    } else {
      d.third.at[i] = static_cast<std::uint8_t>(source - 128);
      d.isInThird |= __mmask64{1} << i;
    }
  }
  return d;
}
constexpr Deinterleave kDeinterleave[3] = {MakeDeinterleave(0), MakeDeinterleave(1),
                                           MakeDeinterleave(2)};

void Coordinates8(const WorkerTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  std::uint16_t* const coordinates[3] = {block.x, block.y, block.z};
  for (int c = 0; c < 3; ++c) {
    const Deinterleave& d = kDeinterleave[c];
    const __m512i firstTwo = d.firstTwo.Load();
    const __m512i third = d.third.Load();
    for (int p = 0; p < pixels; p += kStepPixels) {
      const unsigned char* in = samples + 3 * p;
      __m512i level =
          _mm512_permutex2var_epi8(_mm512_loadu_si512(in), firstTwo, _mm512_loadu_si512(in + 64));
      level = _mm512_mask_permutexvar_epi8(level, d.isInThird, third, _mm512_loadu_si512(in + 128));
      const __m512i low = Lookup256(tables.coordinateBytes[c][0], level);
      const __m512i high = Lookup256(tables.coordinateBytes[c][1], level);
      _mm512_store_si512(coordinates[c] + p, _mm512_unpacklo_epi8(low, high));
      _mm512_store_si512(coordinates[c] + p + 32, _mm512_unpackhi_epi8(low, high));
    }
  }
}

// Two words per pixel side by side as bytes: the low halves of `even` and `odd`.
__m512i PackBytes(__m512i even, __m512i odd) {
  return _mm512_or_si512(even, _mm512_slli_epi16(odd, 8));
}

// Broadcasts the four double words of one 128-bit lane, each to a lane of its own.
constexpr DoubleWordIndex MakeBroadcast(int lane) {
  DoubleWordIndex index{};
  for (int i = 0; i < 16; ++i) index.at[i] = static_cast<std::uint32_t>(4 * lane + i / 4);
  return index;
}
constexpr DoubleWordIndex kBroadcast[4] = {MakeBroadcast(0), MakeBroadcast(1), MakeBroadcast(2),
                                           MakeBroadcast(3)};

// Takes the values of 32 pixels out of four registers of eight pixels (lane k: pixel k, pixel
// 4 + k, four words each, the fourth unused) into three registers, interleaved. Register r comes
// from registers r and r + 1.
constexpr WordIndex MakeInterleave(int r) {
  WordIndex index{};
  for (int i = 0; i < 32; ++i) {
    const int sample = 32 * r + i;
    const int pixel = sample / 3;
    const int inRegister = pixel % 8;
    index.at[i] = static_cast<std::uint16_t>(32 * (pixel / 8 - r) + 8 * (inRegister % 4) +
                                             4 * (inRegister / 4) + sample % 3);
  }
  return index;
}
constexpr WordIndex kInterleave[3] = {MakeInterleave(0), MakeInterleave(1), MakeInterleave(2)};

__m512i LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  // Indexes count half records, which the addressing mode scales by 8.
  const auto record = [&](int i) {
    const char* at = reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[i];
    return _mm_load_si128(reinterpret_cast<const __m128i*>(at));
  };
  __m512i four = _mm512_castsi128_si512(record(0));
  four = _mm512_inserti32x4(four, record(1), 1);
  four = _mm512_inserti32x4(four, record(2), 2);
  return _mm512_inserti32x4(four, record(3), 3);
}

// What interpolation needs of a block. All addresses are known before the first record is read, so
// that reads need not wait for sorting.
struct alignas(64) Paths {
  std::uint16_t halfRecords[kBlockPixels];
  // Per 32 pixels: weights / 64, then weights % 64, each in two registers.
  __m512i weights[kBlockPixels / 32][4];
};

// With the fractions sorted, a value is the sum of the path's four nodes times the weights
// 4096 - max, max - mid, mid - min, min, shifted right by 4 (a node byte stands for 256 times its
// value, a fraction for 1/4096). Tied fractions give a node the weight 0, so that any order among
// them gives the same value. Weights have 13 bits: the byte dot product takes them as weight / 64
// and weight % 64.
void FindPaths(const PixelBlock& block, int pixels, Paths& paths) {
  const __m512i kFraction = _mm512_set1_epi16(0xFFF);
  const __m512i kLow6 = _mm512_set1_epi16(63);
  for (int p = 0; p < pixels; p += 32) {
    const __m512i x = _mm512_load_si512(block.x + p);
    const __m512i y = _mm512_load_si512(block.y + p);
    const __m512i z = _mm512_load_si512(block.z + p);
    const __m512i fx = _mm512_and_si512(x, kFraction);
    const __m512i fy = _mm512_and_si512(y, kFraction);
    const __m512i fz = _mm512_and_si512(z, kFraction);

    const __m512i cell = _mm512_or_si512(
        _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi16(x, 4), _mm512_set1_epi16(0xF00)),
                        _mm512_and_si512(_mm512_srli_epi16(y, 8), _mm512_set1_epi16(0xF0))),
        _mm512_srli_epi16(z, 12));
    // Record within the cell, 0..5: 3 (fx > fy) + (fy > fz) + (fx > fz).
    __m512i half = _mm512_mullo_epi16(cell, _mm512_set1_epi16(2 * 6));
    half = _mm512_mask_add_epi16(half, _mm512_cmpgt_epi16_mask(fx, fy), half,
                                 _mm512_set1_epi16(2 * 3));
    half = _mm512_mask_add_epi16(half, _mm512_cmpgt_epi16_mask(fy, fz), half, _mm512_set1_epi16(2));
    half = _mm512_mask_add_epi16(half, _mm512_cmpgt_epi16_mask(fx, fz), half, _mm512_set1_epi16(2));
    _mm512_store_si512(paths.halfRecords + p, half);

    const __m512i lowXy = _mm512_min_epi16(fx, fy);
    const __m512i highXy = _mm512_max_epi16(fx, fy);
    const __m512i max = _mm512_max_epi16(highXy, fz);
    const __m512i mid = _mm512_max_epi16(lowXy, _mm512_min_epi16(highXy, fz));
    const __m512i min = _mm512_min_epi16(lowXy, fz);
    const __m512i w0 = _mm512_sub_epi16(_mm512_set1_epi16(4096), max);
    const __m512i w1 = _mm512_sub_epi16(max, mid);
    const __m512i w2 = _mm512_sub_epi16(mid, min);
    const __m512i w3 = min;
    const __m512i high01 = PackBytes(_mm512_srli_epi16(w0, 6), _mm512_srli_epi16(w1, 6));
    const __m512i high23 = PackBytes(_mm512_srli_epi16(w2, 6), _mm512_srli_epi16(w3, 6));
    const __m512i low01 = PackBytes(_mm512_and_si512(w0, kLow6), _mm512_and_si512(w1, kLow6));
    const __m512i low23 = PackBytes(_mm512_and_si512(w2, kLow6), _mm512_and_si512(w3, kLow6));
    // Four weight bytes per pixel; lane k has pixels 8k..8k+3, then 8k+4..8k+7.
    __m512i* weights = paths.weights[p / 32];
    _mm512_store_si512(weights, _mm512_unpacklo_epi16(high01, high23));
    _mm512_store_si512(weights + 1, _mm512_unpackhi_epi16(high01, high23));
    _mm512_store_si512(weights + 2, _mm512_unpacklo_epi16(low01, low23));
    _mm512_store_si512(weights + 3, _mm512_unpackhi_epi16(low01, low23));
  }
}

void Interpolate(const WorkerTables& tables, PixelBlock& block, int pixels) {
  Paths paths;
  FindPaths(block, pixels, paths);
  for (int p = 0; p < pixels; p += 32) {
    const __m512i* weights = paths.weights[p / 32];
    __m512i eight[4];
    for (int k = 0; k < 4; ++k) {
      const __m512i broadcast = kBroadcast[k].Load();
      __m512i value[2];
      for (int q = 0; q < 2; ++q) {
        const __m512i nodes = LoadRecords(tables.records, paths.halfRecords + p + 8 * k + 4 * q);
        __m512i sum = _mm512_dpbusd_epi32(_mm512_setzero_si512(), nodes,
                                          _mm512_permutexvar_epi32(broadcast, weights[q]));
        sum = _mm512_dpbusd_epi32(_mm512_slli_epi32(sum, 6), nodes,
                                  _mm512_permutexvar_epi32(broadcast, weights[2 + q]));
        value[q] = _mm512_srli_epi32(sum, 4);
      }
      eight[k] = _mm512_packus_epi32(value[0], value[1]);
    }
    for (int r = 0; r < 3; ++r) {
      _mm512_store_si512(block.values + kValueStride * p + 32 * r,
                         _mm512_permutex2var_epi16(eight[r], kInterleave[r].Load(), eight[r + 1]));
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

// Truth table: the second operand's bits where the first has ones, else the third's.
constexpr int kSelect = 0xCA;

// Where 64 values stand on a step curve: the byte is `base`, plus one past position `last`.
struct StepPosition {
  __m512i base, last, position;
};

// Takes the segments of 256 / 2^kBits values for the pixels of a mask.
template <int kBits>
void UseSegments(const StepCurve& curve, int segments, __mmask64 where, __m512i low, __m512i high,
                 StepPosition& at) {
  const __m512i fromHigh = _mm512_set1_epi8(static_cast<char>(0xFF << kBits));
  const __m512i index = _mm512_ternarylogic_epi64(fromHigh, _mm512_slli_epi16(high, kBits),
                                                  _mm512_srli_epi16(low, 8 - kBits), kSelect);
  const __m512i position = _mm512_and_si512(low, _mm512_set1_epi8(0xFF >> kBits));
  at.base = _mm512_mask_mov_epi8(at.base, where, Lookup256(curve.base[segments], index));
  at.last = _mm512_mask_mov_epi8(at.last, where, Lookup256(curve.last[segments], index));
  at.position = _mm512_mask_mov_epi8(at.position, where, position);
}

// The bytes of 64 values along a step curve: segments of 256 values, of 64 below 16384, of 16 below
// 4096. Pictures have large areas without dark values.
__m512i StepOutput(const StepCurve& curve, __m512i low, __m512i high) {
  StepPosition at = {Lookup256(curve.base[2], high), Lookup256(curve.last[2], high), low};
  const __mmask64 below16384 = _mm512_cmplt_epu8_mask(high, _mm512_set1_epi8(64));
  const __mmask64 below4096 = _mm512_cmplt_epu8_mask(high, _mm512_set1_epi8(16));
  const __mmask64 below256 = _mm512_testn_epi8_mask(high, high);
  if (below16384 != 0) UseSegments<2>(curve, 1, below16384, low, high, at);
  if (below4096 != 0) UseSegments<4>(curve, 0, below4096, low, high, at);
  const __m512i bytes = _mm512_mask_add_epi8(at.base, _mm512_cmpgt_epu8_mask(at.position, at.last),
                                             at.base, _mm512_set1_epi8(1));
  if (below256 == 0) return bytes;
  return _mm512_mask_mov_epi8(bytes, below256, Lookup256(curve.first, low));
}

void Output8(const WorkerTables& tables, const PixelBlock& block, int pixels,
             unsigned char* samples) {
  if (tables.steps == nullptr) return LookUpBytes(tables.output8, block, pixels, samples);
  const __m512i lowBytes = kLowBytes.Load();
  const __m512i highBytes = kHighBytes.Load();
  for (int i = 0; i < 3 * pixels; i += 64) {
    const __m512i first = _mm512_load_si512(block.values + i);
    const __m512i second = _mm512_load_si512(block.values + i + 32);
    _mm512_storeu_si512(samples + i,
                        StepOutput(*tables.steps, _mm512_permutex2var_epi8(first, lowBytes, second),
                                   _mm512_permutex2var_epi8(first, highBytes, second)));
  }
}

#include "engine/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kAvx512Kernels = {Convert<1, 1>, Convert<1, 2>, Convert<2, 2>};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
