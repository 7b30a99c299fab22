// The loop of the levels that work in blocks. A level's source includes this file inside its own
// unnamed namespace, after it has defined, for a multiple of kStepPixels pixels each:
//
//   Coordinates8(tables, samples, pixels, block)  interleaved bytes -> block.coordinates
//   Output8(tables, block, pixels, samples)       block.values -> interleaved bytes
//
// (what the level has no better way for, it takes from BlockLookups.inl). The other phases are those
// of BlockLookups.inl and Interpolation.inl. Every phase works on arrays that stay in the first-level
// cache.

constexpr int RoundUp(int pixels) { return (pixels + kStepPixels - 1) / kStepPixels * kStepPixels; }

template <int kSourceBytes, int kDestinationBytes>
void ConvertBlock(const WorkerTables& tables, const unsigned char* source,
                  unsigned char* destination, int pixels, PixelBlock& block) {
  if constexpr (kSourceBytes == 1) {
    Coordinates8(tables, source, pixels, block);
  } else {
    LookUpCoordinates<std::uint16_t>(tables, source, pixels, block);
  }
  Interpolate(tables, block, pixels);
  if constexpr (kDestinationBytes == 1) {
    Output8(tables, block, pixels, destination);
  } else {
    LookUpWords(tables.output16, block, pixels, destination);
  }
}

template <int kSourceBytes, int kDestinationBytes>
void Convert(const WorkerTables& tables, const unsigned char* source, unsigned char* destination,
             std::int64_t begin, std::int64_t end) {
  constexpr int kSourcePixel = 3 * kSourceBytes;
  constexpr int kDestinationPixel = 3 * kDestinationBytes;
  PixelBlock block;
  source += begin * kSourcePixel;
  destination += begin * kDestinationPixel;
  std::int64_t left = end - begin;
  for (; left >= kBlockPixels; left -= kBlockPixels) {
    for (int line = 0; line < kBlockPixels * kSourcePixel; line += 64) {
      __builtin_prefetch(source + kPrefetchBytes + line);
    }
    for (int line = 0; line < kBlockPixels * kDestinationPixel; line += 64) {
      __builtin_prefetch(destination + kPrefetchBytes + line, 1);
    }
    ConvertBlock<kSourceBytes, kDestinationBytes>(tables, source, destination, kBlockPixels, block);
    source += kBlockPixels * kSourcePixel;
    destination += kBlockPixels * kDestinationPixel;
  }
  if (left == 0) return;
  // The same phases on a copy, padded with zeros to whole steps.
  const int pixels = static_cast<int>(left);
  const int padded = RoundUp(pixels);
  alignas(64) unsigned char in[kBlockPixels * kSourcePixel];
  alignas(64) unsigned char out[kBlockPixels * kDestinationPixel];
  __builtin_memcpy(in, source, static_cast<unsigned>(pixels * kSourcePixel));
  __builtin_memset(in + pixels * kSourcePixel, 0,
                   static_cast<unsigned>((padded - pixels) * kSourcePixel));
  ConvertBlock<kSourceBytes, kDestinationBytes>(tables, in, out, padded, block);
  __builtin_memcpy(destination, out, static_cast<unsigned>(pixels * kDestinationPixel));
}
