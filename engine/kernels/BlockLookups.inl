// A block of pixels and the table reads of the levels that work in blocks. A level's source
// includes this file inside its own unnamed namespace, after kValueStride. Pixels come in multiples
// of four.

// Pixels of one pass through the phases.
constexpr int kBlockPixels = 256;

struct alignas(64) PixelBlock {
  std::uint16_t x[kBlockPixels], y[kBlockPixels], z[kBlockPixels];  // grid coordinates
  std::uint16_t values[kBlockPixels * kValueStride];                // interpolated
};

// Table reads go four pixels at a time, and their results leave as single words: of an array of
// words compilers make stores and reloads of other sizes, which stall. Scalar reads beat gathers.
// The tables' addresses stay in registers because they are copied first; a store of bytes might
// change what a pointer in memory says.

std::uint64_t FourWords(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
  return a | b << 16 | c << 32 | d << 48;
}

std::uint32_t FourBytes(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  return a | b << 8 | c << 16 | d << 24;
}

template <typename Word>
void Store(void* at, Word word) {
  __builtin_memcpy(at, &word, sizeof word);
}

// Grid coordinates by interleaved sample.
template <typename Sample>
void LookUpCoordinates(const WorkerTables& tables, const unsigned char* samples, int pixels,
                       PixelBlock& block) {
  const std::uint16_t* const table0 = tables.coordinates[0];
  const std::uint16_t* const table1 = tables.coordinates[1];
  const std::uint16_t* const table2 = tables.coordinates[2];
  for (int p = 0; p < pixels; p += 4) {
    Sample s[12];
    __builtin_memcpy(s, samples + 3 * p * static_cast<int>(sizeof(Sample)), sizeof s);
    Store(block.x + p, FourWords(table0[s[0]], table0[s[3]], table0[s[6]], table0[s[9]]));
    Store(block.y + p, FourWords(table1[s[1]], table1[s[4]], table1[s[7]], table1[s[10]]));
    Store(block.z + p, FourWords(table2[s[2]], table2[s[5]], table2[s[8]], table2[s[11]]));
  }
}

// Output bytes by interpolated value.
void LookUpBytes(const std::uint8_t* const (&output)[3], const PixelBlock& block, int pixels,
                 unsigned char* samples) {
  const std::uint8_t* const table0 = output[0];
  const std::uint8_t* const table1 = output[1];
  const std::uint8_t* const table2 = output[2];
  for (int p = 0; p < pixels; p += 4) {
    const std::uint16_t* a = block.values + kValueStride * p;
    const std::uint16_t* b = a + kValueStride;
    const std::uint16_t* c = b + kValueStride;
    const std::uint16_t* d = c + kValueStride;
    unsigned char* out = samples + 3 * p;
    Store(out, FourBytes(table0[a[0]], table1[a[1]], table2[a[2]], table0[b[0]]));
    Store(out + 4, FourBytes(table1[b[1]], table2[b[2]], table0[c[0]], table1[c[1]]));
    Store(out + 8, FourBytes(table2[c[2]], table0[d[0]], table1[d[1]], table2[d[2]]));
  }
}

// Output words by interpolated value.
void LookUpWords(const std::uint16_t* const (&output)[3], const PixelBlock& block, int pixels,
                 unsigned char* samples) {
  const std::uint16_t* const table0 = output[0];
  const std::uint16_t* const table1 = output[1];
  const std::uint16_t* const table2 = output[2];
  for (int p = 0; p < pixels; p += 4) {
    const std::uint16_t* a = block.values + kValueStride * p;
    const std::uint16_t* b = a + kValueStride;
    const std::uint16_t* c = b + kValueStride;
    const std::uint16_t* d = c + kValueStride;
    unsigned char* out = samples + 6 * p;
    Store(out, FourWords(table0[a[0]], table1[a[1]], table2[a[2]], table0[b[0]]));
    Store(out + 8, FourWords(table1[b[1]], table2[b[2]], table0[c[0]], table1[c[1]]));
    Store(out + 16, FourWords(table2[c[2]], table0[d[0]], table1[d[1]], table2[d[2]]));
  }
}
