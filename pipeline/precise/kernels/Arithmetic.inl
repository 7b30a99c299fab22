// What the stages share. A level's source includes this file inside its own unnamed namespace,
// after FloatVectors.inl and its own Min, Max, Select and FromLanes.

constexpr bool kIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

template <typename Number>
constexpr Number Least(Number a, Number b) {
  return a < b ? a : b;
}

// Into [0, 1]; 0 for what is not a number.
KXCMS_INLINE Floats Clip(Floats x) {
  return Lower(Max(x, Floats{}), Splat(1));
}

KXCMS_INLINE Floats Absolute(Floats x) {
  return Floats(Words(x) & 0x7FFFFFFF);
}

// Table entries by index, read into registers: the index vector goes through memory, where two
// indices are read at once. The tables are read in loops of their own, after all indices of a
// block, or of a part of it, are known; nothing waits then.

KXCMS_INLINE void ReadTwo(const std::int32_t* indices, std::size_t (&two)[2]) {
  std::uint64_t both;
  __builtin_memcpy(&both, indices, sizeof both);
  two[0] = static_cast<std::uint32_t>(kIsLittleEndian ? both : both >> 32);
  two[1] = static_cast<std::uint32_t>(kIsLittleEndian ? both >> 32 : both);
}

// values[i] and values[i + 1] of a vector's indices.
struct Neighbours {
  Floats low, high;
};
KXCMS_INLINE Neighbours ReadNeighbours(const std::uint16_t* values, const std::int32_t* indices) {
  const auto pair = [values](std::size_t index) {
    std::uint32_t both;
    __builtin_memcpy(&both, values + index, sizeof both);
    return both;
  };
  const Words pairs = Words(FromLanes([&](int lane) {
    std::size_t a[2], b[2];
    ReadTwo(indices + kLaneElements * lane, a);
    ReadTwo(indices + kLaneElements * lane + 2, b);
    return LaneWords{pair(a[0]), pair(a[1]), pair(b[0]), pair(b[1])};
  }));
  const Floats lower = ToFloats(Ints(pairs & 0xFFFF)), upper = ToFloats(Ints(pairs >> 16));
  return kIsLittleEndian ? Neighbours{lower, upper} : Neighbours{upper, lower};
}

// Records of 8 bytes by index or, with kScale = 1, by offset in bytes: two of every lane's
// elements, from kElement on, side by side in the lane.
template <int kElement, int kScale, typename Record>
KXCMS_INLINE Floats ReadPairs(const Record* records, const std::int32_t* indices) {
  static_assert(sizeof(Record) == 8);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(records);
  return FromLanes([&](int lane) {
    using TwoRecords = std::uint64_t __attribute__((vector_size(16)));
    const auto bits = [bytes](std::size_t index) {
      std::uint64_t record;
      __builtin_memcpy(&record, bytes + kScale * index, sizeof record);
      return record;
    };
    std::size_t i[2];
    ReadTwo(indices + kLaneElements * lane + kElement, i);
    return LaneWords(TwoRecords{bits(i[0]), bits(i[1])});
  });
}

KXCMS_INLINE Floats ReadLines(const Line* lines, const std::int32_t* indices, Floats x) {
  const Floats first = ReadPairs<0, sizeof(Line)>(lines, indices);
  const Floats second = ReadPairs<2, sizeof(Line)>(lines, indices);
  return Unzip<0>(first, second) + Unzip<1>(first, second) * x;
}

// Records of four floats, aligned to 16 bytes, by offsets in bytes: one of every lane's elements a
// lane.
template <int kElement, typename Record>
KXCMS_INLINE Floats ReadRecords(const Record* records, const std::int32_t* offsets) {
  static_assert(sizeof(Record) == 16);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(records);
  return FromLanes([&](int lane) {
    const auto offset = static_cast<std::uint32_t>(offsets[kLaneElements * lane + kElement]);
    LaneFloats record;
    __builtin_memcpy(&record, __builtin_assume_aligned(bytes + offset, 16), sizeof record);
    return LaneWords(record);
  });
}
