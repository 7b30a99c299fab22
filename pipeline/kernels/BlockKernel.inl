// The loop of the levels that work in blocks. A level's source includes this file inside its own
// unnamed namespace, after BlockLookups.inl and Interpolation.inl, whose phases it runs, and after
// it has defined:
//
//   kStepPixels                                   blocks come in multiples of this
//   kPrefetchBytes                                how far ahead of a block its buffers are fetched
//   Coordinates8(tables, samples, pixels, block)  interleaved bytes -> block.coordinates
//   Output8(tables, block, pixels, samples)       block.values -> interleaved bytes
//
// (or, if it has no better way, included EightBitLookups.inl). Every phase works on arrays that
// stay in the first-level cache.

static_assert(kBlockPixels % kStepPixels == 0 && kStepPixels % 16 == 0 &&
              kStepPixels % kVectorWords == 0);

constexpr int RoundUp(int pixels) {
  return (pixels + kStepPixels - 1) / kStepPixels * kStepPixels;
}

template <int kSourceBytes, int kDestinationBytes>
void ConvertBlock(const CompactTables& tables, const unsigned char* source,
                  unsigned char* destination, int pixels, PixelBlock& block) {
  if constexpr (kSourceBytes == 1) {
    Coordinates8(tables, source, pixels, block);
  } else {
    Coordinates16(tables, source, pixels, block);
  }
  Interpolate(tables, block, pixels);
  if constexpr (kDestinationBytes == 1) {
    Output8(tables, block, pixels, destination);
  } else {
    LookUpWords(tables.output16, block, pixels, destination);
  }
}

// Fetches what lies ahead of `from`. Addresses past a buffer are fetched, too, which does nothing.
template <int kBytes, int kForWriting>
void Prefetch(const unsigned char* from) {
  const auto ahead = reinterpret_cast<std::uintptr_t>(from) + kPrefetchBytes;
  for (int line = 0; line < kBytes; line += 64) {
    __builtin_prefetch(reinterpret_cast<const void*>(ahead + static_cast<unsigned>(line)),
                       kForWriting);
  }
}

template <int kSourceBytes, int kDestinationBytes>
void Convert(const CompactTables& tables, const unsigned char* source, unsigned char* destination,
             std::int64_t begin, std::int64_t end) {
  constexpr int kSourcePixel = 3 * kSourceBytes;
  constexpr int kDestinationPixel = 3 * kDestinationBytes;
  PixelBlock block;
  source += begin * kSourcePixel;
  destination += begin * kDestinationPixel;
  std::int64_t left = end - begin;
  for (; left >= kBlockPixels; left -= kBlockPixels) {
    Prefetch<kBlockPixels * kSourcePixel, 0>(source);
    Prefetch<kBlockPixels * kDestinationPixel, 1>(destination);
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
