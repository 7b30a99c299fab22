// Vectors of single-precision numbers in GCC's and Clang's vector extension (`vector_size`):
// operators work element by element, and each rounds as IEEE 754 says. A level's source includes
// this file inside its own unnamed namespace, after it has defined kVectorBytes, and then defines
// what the extension cannot say without loss:
//
//   Min(a, b), Max(a, b)  a < b ? a : b and a > b ? a : b, so b where a is not a number
//   Lower(a, b), Higher(a, b)
//                         the same of numbers that are not both negative, nor -0 and 0: their bits
//                         are in order as integers, which x86 compares while it adds floats
//   Select(where, a, b)   a where the mask is set, else b
//   FromLanes(lane)       lane(0), lane(1), ... side by side
//
// A vector consists of lanes of 128 bits, four elements each.

using Floats = float __attribute__((vector_size(kVectorBytes)));
using Ints = std::int32_t __attribute__((vector_size(kVectorBytes)));
using Words = std::uint32_t __attribute__((vector_size(kVectorBytes)));
using LaneFloats = float __attribute__((vector_size(16)));
using LaneWords = std::uint32_t __attribute__((vector_size(16)));

constexpr int kElements = kVectorBytes / 4;
constexpr int kLaneElements = 4;

#define KXCMS_INLINE __attribute__((always_inline)) inline

template <typename Vector, typename Element>
KXCMS_INLINE Vector Load(const Element* from) {
  Vector v;
  __builtin_memcpy(&v, __builtin_assume_aligned(from, kVectorBytes), kVectorBytes);
  return v;
}

template <typename Element, typename Vector>
KXCMS_INLINE void Store(Element* to, Vector v) {
  __builtin_memcpy(__builtin_assume_aligned(to, kVectorBytes), &v, kVectorBytes);
}

KXCMS_INLINE Floats Splat(float x) {
  return x - Floats{};
}

KXCMS_INLINE Floats ToFloats(Ints i) {
  return __builtin_convertvector(i, Floats);
}
// Without the fraction. Of numbers within the range of integers.
KXCMS_INLINE Ints Truncate(Floats x) {
  return __builtin_convertvector(x, Ints);
}

// Elements of a and b in turn, from the lower (kHalf = 0) or upper halves of each lane.
template <int kHalf, std::size_t... i>
KXCMS_INLINE Floats Zip(Floats a, Floats b, std::index_sequence<i...>) {
  constexpr auto source = [](int n) {
    return n / 4 * 4 + 2 * kHalf + n % 4 / 2 + n % 2 * kElements;
  };
  return __builtin_shufflevector(a, b, source(static_cast<int>(i))...);
}
// Pairs of elements of a and b in turn.
template <int kHalf, std::size_t... i>
KXCMS_INLINE Floats ZipPairs(Floats a, Floats b, std::index_sequence<i...>) {
  constexpr auto source = [](int n) {
    return n / 4 * 4 + 2 * kHalf + n % 2 + n % 4 / 2 * kElements;
  };
  return __builtin_shufflevector(a, b, source(static_cast<int>(i))...);
}
// The even (kFirst = 0) or odd elements, lane by lane: those of a, then those of b.
template <int kFirst, std::size_t... i>
KXCMS_INLINE Floats Unzip(Floats a, Floats b, std::index_sequence<i...>) {
  constexpr auto source = [](int n) {
    return n / 4 * 4 + 2 * (n % 2) + kFirst + n % 4 / 2 * kElements;
  };
  return __builtin_shufflevector(a, b, source(static_cast<int>(i))...);
}

using EveryElement = std::make_index_sequence<kElements>;
template <int kHalf>
KXCMS_INLINE Floats Zip(Floats a, Floats b) {
  return Zip<kHalf>(a, b, EveryElement());
}
template <int kHalf>
KXCMS_INLINE Floats ZipPairs(Floats a, Floats b) {
  return ZipPairs<kHalf>(a, b, EveryElement());
}
template <int kFirst>
KXCMS_INLINE Floats Unzip(Floats a, Floats b) {
  return Unzip<kFirst>(a, b, EveryElement());
}

// The first three columns of a 4 x 4 matrix in each lane, whose rows are element n of the four
// vectors' lanes.
struct Columns {
  Floats c[3];
};
KXCMS_INLINE Columns Transpose(const Floats (&rows)[4]) {
  const Floats low01 = Zip<0>(rows[0], rows[1]), low23 = Zip<0>(rows[2], rows[3]);
  const Floats high01 = Zip<1>(rows[0], rows[1]), high23 = Zip<1>(rows[2], rows[3]);
  return {{ZipPairs<0>(low01, low23), ZipPairs<1>(low01, low23), ZipPairs<0>(high01, high23)}};
}
