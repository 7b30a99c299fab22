// The table reads of the vector levels, included by a level's source inside its own unnamed
// namespace, after PixelBlock and kValueStride. Pixels come in multiples of four.

// Table reads go four pixels at a time, so that their results leave in whole registers: stores are
// what bounds them. Scalar reads beat gathers. The tables' addresses stay in registers because they
// are copied first; a store of bytes might change what a pointer in memory says.

std::uint64_t FourWords(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
  return a | b << 16 | c << 32 | d << 48;
}

std::uint32_t FourBytes(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  return a | b << 8 | c << 16 | d << 24;
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
    const std::uint64_t x = FourWords(table0[s[0]], table0[s[3]], table0[s[6]], table0[s[9]]);
    const std::uint64_t y = FourWords(table1[s[1]], table1[s[4]], table1[s[7]], table1[s[10]]);
    const std::uint64_t z = FourWords(table2[s[2]], table2[s[5]], table2[s[8]], table2[s[11]]);
    __builtin_memcpy(block.x + p, &x, sizeof x);
    __builtin_memcpy(block.y + p, &y, sizeof y);
    __builtin_memcpy(block.z + p, &z, sizeof z);
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
    const std::uint32_t bytes[3] = {
        FourBytes(table0[a[0]], table1[a[1]], table2[a[2]], table0[b[0]]),
        FourBytes(table1[b[1]], table2[b[2]], table0[c[0]], table1[c[1]]),
        FourBytes(table2[c[2]], table0[d[0]], table1[d[1]], table2[d[2]])};
    __builtin_memcpy(samples + 3 * p, bytes, sizeof bytes);
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
    const std::uint64_t words[3] = {
        FourWords(table0[a[0]], table1[a[1]], table2[a[2]], table0[b[0]]),
        FourWords(table1[b[1]], table2[b[2]], table0[c[0]], table1[c[1]]),
        FourWords(table2[c[2]], table0[d[0]], table1[d[1]], table2[d[2]])};
    __builtin_memcpy(samples + 6 * p, words, sizeof words);
  }
}
