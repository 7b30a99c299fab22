// The level of any CPU: 128-bit vectors in the compilers' own terms, which they map to what the CPU
// has, or else take apart. Where x86's baseline, SSE2, has an operation that cannot be put in these
// terms, it is called.
#include <cstddef>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Pixels of one step within a phase.
constexpr int kStepPixels = 16;
// How far ahead of a block its buffers are fetched.
constexpr int kPrefetchBytes = 3072;

using Vector = std::uint16_t __attribute__((vector_size(16)));
using Signed16 = std::int16_t __attribute__((vector_size(16)));
using Vector32 = std::uint32_t __attribute__((vector_size(16)));
using Vector64 = std::uint64_t __attribute__((vector_size(16)));

Vector LoadVector(const void* from) {
  Vector v;
  __builtin_memcpy(&v, __builtin_assume_aligned(from, sizeof v), sizeof v);
  return v;
}
void StoreVector(void* to, Vector v) {
  __builtin_memcpy(__builtin_assume_aligned(to, sizeof v), &v, sizeof v);
}
Vector Splat16(int value) {
  return Vector{} + static_cast<std::uint16_t>(value);
}
Vector And(Vector a, Vector b) {
  return a & b;
}
Vector Or(Vector a, Vector b) {
  return a | b;
}
template <int kBits>
Vector ShiftRight16(Vector a) {
  return a >> kBits;
}
Vector Subtract16(Vector a, Vector b) {
  return a - b;
}
Vector Multiply16(Vector a, Vector b) {
  return a * b;
}
// All ones where it holds.
Vector Greater16(Vector a, Vector b) {
  return Vector(Signed16(a) > Signed16(b));
}
Vector Min16(Vector a, Vector b) {
  return Vector(Signed16(a) < Signed16(b) ? Signed16(a) : Signed16(b));
}
Vector Max16(Vector a, Vector b) {
  return Vector(Signed16(a) > Signed16(b) ? Signed16(a) : Signed16(b));
}
Vector AddWhereGreater16(Vector sum, Vector a, Vector b, int amount) {
  return sum + (Greater16(a, b) & Splat16(amount));
}
Vector UnpackLow16(Vector a, Vector b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
Vector UnpackHigh16(Vector a, Vector b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}
Vector UnpackLow32(Vector a, Vector b) {
  return Vector(__builtin_shufflevector(Vector32(a), Vector32(b), 0, 4, 1, 5));
}
Vector UnpackHigh32(Vector a, Vector b) {
  return Vector(__builtin_shufflevector(Vector32(a), Vector32(b), 2, 6, 3, 7));
}
Vector UnpackLow64(Vector a, Vector b) {
  return Vector(__builtin_shufflevector(Vector64(a), Vector64(b), 0, 2));
}
Vector UnpackHigh64(Vector a, Vector b) {
  return Vector(__builtin_shufflevector(Vector64(a), Vector64(b), 1, 3));
}

#if defined(__SSE2__)
// Sums of two neighbouring products each, 32 bits wide.
Vector Products16(Vector a, Vector b) {
  return Vector(_mm_madd_epi16(__m128i(a), __m128i(b)));
}
// The words above the lowest kBits bits of each element. SSE2 packs signed numbers only.
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  const auto signedWord = [](Vector v) {
    return _mm_srai_epi32(_mm_slli_epi32(__m128i(v), 16 - kBits), 16);
  };
  return Vector(_mm_packs_epi32(signedWord(a), signedWord(b)));
}
#else
Vector Products16(Vector a, Vector b) {
  const Vector32 low = Splat32(0xFFFF);
  return Vector((Vector32(a) & low) * (Vector32(b) & low) +
                (Vector32(a) >> 16) * (Vector32(b) >> 16));
}
template <int kBits>
Vector ShiftRightTo16(Vector a, Vector b) {
  return __builtin_shufflevector(Vector(Vector32(a) >> kBits), Vector(Vector32(b) >> kBits), 0, 2,
                                 4, 6, 8, 10, 12, 14);
}
#endif
Vector AddProducts16(Vector sum, Vector a, Vector b) {
  return Vector(Vector32(sum) + Vector32(Products16(a, b)));
}

Vector LoadRecords(const TetrahedronRecord* records, const std::uint16_t* halfRecords) {
  return LoadVector(reinterpret_cast<const char*>(records) + std::size_t{8} * halfRecords[0]);
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

const KernelSet kPortableKernels = {Convert<1, 1>, Convert<1, 2>, Convert<2, 2>};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
