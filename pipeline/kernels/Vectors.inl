// Vectors of pixels in GCC's and Clang's vector extension (`vector_size`): operators work element
// by element. A level's source includes this file inside its own unnamed namespace, after it has
// defined kVectorBytes. What the extension cannot say without loss, each level has as functions of
// its own.

using Vector = std::uint16_t __attribute__((vector_size(kVectorBytes)));
using SignedVector = std::int16_t __attribute__((vector_size(kVectorBytes)));
using Vector32 = std::uint32_t __attribute__((vector_size(kVectorBytes)));
using Vector64 = std::uint64_t __attribute__((vector_size(kVectorBytes)));

constexpr int kVectorWords = kVectorBytes / 2;

Vector LoadVector(const void* from) {
  Vector v;
  __builtin_memcpy(&v, __builtin_assume_aligned(from, kVectorBytes), kVectorBytes);
  return v;
}

void StoreVector(void* to, Vector v) {
  __builtin_memcpy(__builtin_assume_aligned(to, kVectorBytes), &v, kVectorBytes);
}

// Of numbers below 2^15, for which the signed comparisons are the right ones too. Not every
// instruction set has unsigned ones.
Vector Min(Vector a, Vector b) {
  return Vector(SignedVector(a) < SignedVector(b) ? SignedVector(a) : SignedVector(b));
}
Vector Max(Vector a, Vector b) {
  return Vector(SignedVector(a) > SignedVector(b) ? SignedVector(a) : SignedVector(b));
}

// Interleaves a and b, element by element of kBits, from the lower (kHalf = 0) or upper (1) halves
// of each 128-bit lane, as x86's unpack instructions do.
template <typename Elements, int kHalf, std::size_t... i>
Vector Unpack(Vector a, Vector b, std::index_sequence<i...>) {
  constexpr int kCount = sizeof...(i);
  constexpr int kLane = 16 * kCount / kVectorBytes;
  constexpr auto source = [](int element) {
    const int lane = element / kLane * kLane;
    return lane + kHalf * kLane / 2 + element % kLane / 2 + element % 2 * kCount;
  };
  return Vector(__builtin_shufflevector(Elements(a), Elements(b), source(static_cast<int>(i))...));
}

template <int kBits, int kHalf>
Vector Unpack(Vector a, Vector b) {
  using Elements =
      std::conditional_t<kBits == 16, Vector, std::conditional_t<kBits == 32, Vector32, Vector64>>;
  return Unpack<Elements, kHalf>(a, b, std::make_index_sequence<8 * kVectorBytes / kBits>());
}

template <int kBits>
Vector UnpackLow(Vector a, Vector b) {
  return Unpack<kBits, 0>(a, b);
}
template <int kBits>
Vector UnpackHigh(Vector a, Vector b) {
  return Unpack<kBits, 1>(a, b);
}
