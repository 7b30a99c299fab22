// The phases for 8-bit samples of the levels that look everything up. A level's source includes
// this file inside its own unnamed namespace, after BlockLookups.inl.

// Four table entries of 32 bits side by side, as words.
template <typename Entry>
__attribute__((always_inline)) inline Words FourPairs(Entry entry) {
  using Pairs = std::uint32_t __attribute__((vector_size(16)));
  const Pairs pairs = {entry(0), entry(1), entry(2), entry(3)};
  return Words(pairs);
}

// Grid coordinates, those of the first two channels by one read.
void Coordinates8(const CompactTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  const std::uint32_t* const firstTwo = tables.coordinatePairs;
  const std::uint16_t* const third = tables.coordinates[2];
  for (int p = 0; p < pixels; p += 8) {
    const unsigned char* const from = samples + 3 * p;
    const auto pair = [&](int i) { return firstTwo[Load<std::uint16_t>(from + 3 * i, 0)]; };
    const Words low = FourPairs(pair);
    const Words high = FourPairs([&](int i) { return pair(4 + i); });
    StoreWords(block.coordinates[0] + p,
               __builtin_shufflevector(low, high, 0, 2, 4, 6, 8, 10, 12, 14));
    StoreWords(block.coordinates[1] + p,
               __builtin_shufflevector(low, high, 1, 3, 5, 7, 9, 11, 13, 15));
    StoreWords(block.coordinates[2] + p, EightWords([&](int i) { return third[from[3 * i + 2]]; }));
  }
}

void Output8(const CompactTables& tables, const PixelBlock& block, int pixels,
             unsigned char* samples) {
  LookUpBytes(tables.output8, block, pixels, samples);
}
