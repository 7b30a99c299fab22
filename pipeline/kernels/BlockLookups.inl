// A block of pixels and its table reads, for the levels that work in blocks. A level's source
// includes this file inside its own unnamed namespace. Pixels come in multiples of 16.

// Pixels of one pass through the phases.
constexpr int kBlockPixels = 256;

struct alignas(64) PixelBlock {
  std::uint16_t coordinates[3][kBlockPixels];  // on the grid, by axis
  std::uint16_t values[3][kBlockPixels];       // interpolated, by channel
};

// Table entries go from memory straight into a vector register and leave it in one store: single
// stores wait for each other, and to put words together in general registers is dearer. Scalar
// reads beat gathers.

using Words = std::uint16_t __attribute__((vector_size(16)));

// word(0) to word(7) side by side.
template <typename Word>
__attribute__((always_inline)) inline Words EightWords(Word word) {
  return Words{word(0), word(1), word(2), word(3), word(4), word(5), word(6), word(7)};
}

// byte(0) to byte(15) side by side, as words of two.
template <typename Byte>
__attribute__((always_inline)) inline Words SixteenBytes(Byte byte) {
  return EightWords(
      [&](int i) { return static_cast<std::uint16_t>(byte(2 * i) | byte(2 * i + 1) << 8); });
}

void StoreWords(void* at, Words words) {
  __builtin_memcpy(at, &words, sizeof words);
}

template <typename Sample>
Sample Load(const unsigned char* samples, int index) {
  Sample sample;
  __builtin_memcpy(&sample, samples + index * static_cast<int>(sizeof sample), sizeof sample);
  return sample;
}

// Grid coordinates by interleaved 16-bit sample.
void Coordinates16(const CompactTables& tables, const unsigned char* samples, int pixels,
                   PixelBlock& block) {
  // A copy, so that the addresses stay in registers: a store of bytes might change what a pointer
  // in memory says.
  const std::uint16_t* const table[3] = {tables.coordinates[0], tables.coordinates[1],
                                         tables.coordinates[2]};
  for (int p = 0; p < pixels; p += 8) {
#pragma GCC unroll 3
    for (int c = 0; c < 3; ++c) {
      StoreWords(block.coordinates[c] + p, EightWords([&](int i) {
                   return table[c][Load<std::uint16_t>(samples, 3 * (p + i) + c)];
                 }));
    }
  }
}

// Output bytes by interpolated value.
void LookUpBytes(const std::uint8_t* const (&output)[3], const PixelBlock& block, int pixels,
                 unsigned char* samples) {
  const std::uint8_t* const table[3] = {output[0], output[1], output[2]};
  for (int p = 0; p < pixels; p += 16) {
#pragma GCC unroll 3
    for (int begin = 0; begin < 48; begin += 16) {
      StoreWords(samples + 3 * p + begin, SixteenBytes([&](int i) {
                   const int n = begin + i;
                   return table[n % 3][block.values[n % 3][p + n / 3]];
                 }));
    }
  }
}

// Output words by interpolated value.
void LookUpWords(const std::uint16_t* const (&output)[3], const PixelBlock& block, int pixels,
                 unsigned char* samples) {
  const std::uint16_t* const table[3] = {output[0], output[1], output[2]};
  for (int p = 0; p < pixels; p += 8) {
#pragma GCC unroll 3
    for (int begin = 0; begin < 24; begin += 8) {
      StoreWords(samples + 2 * (3 * p + begin), EightWords([&](int i) {
                   const int n = begin + i;
                   return table[n % 3][block.values[n % 3][p + n / 3]];
                 }));
    }
  }
}
