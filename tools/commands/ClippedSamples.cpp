#include "tools/commands/ClippedSamples.h"

#include <algorithm>
#include <vector>

namespace {

template <typename Sample>
bool IsClipped(Sample sample) {
  return (sample == 0) | (sample == static_cast<Sample>(-1));
}

template <typename Sample>
void Count(const Sample* samples, std::size_t pixels, unsigned perPixel,
           std::array<std::uint64_t, 3>& counts) {
  // Each sample of a block is counted apart, in the same type: so compilers count many at a time.
  constexpr std::size_t kBlockPixels = 64, kMostBlocks = 255;
  std::vector<Sample> clipped(kBlockPixels * perPixel);
  while (pixels >= kBlockPixels) {
    const std::size_t blocks = std::min(pixels / kBlockPixels, kMostBlocks);
    std::fill(clipped.begin(), clipped.end(), Sample{0});
    for (std::size_t block = 0; block < blocks; ++block, samples += clipped.size()) {
      Sample* const count = clipped.data();
      for (std::size_t i = 0; i < clipped.size(); ++i) {
        count[i] = static_cast<Sample>(count[i] + IsClipped(samples[i]));
      }
    }
    for (std::size_t i = 0; i < clipped.size(); i += perPixel) {
      for (std::size_t c = 0; c < 3; ++c) counts[c] += clipped[i + c];
    }
    pixels -= blocks * kBlockPixels;
  }
  for (; pixels > 0; --pixels, samples += perPixel) {
    for (std::size_t c = 0; c < 3; ++c) counts[c] += IsClipped(samples[c]);
  }
}

}  // namespace

void CountClipped(const unsigned char* samples, std::size_t pixels, unsigned perPixel,
                  unsigned bits, std::array<std::uint64_t, 3>& counts) {
  if (bits == 8) {
    Count(samples, pixels, perPixel, counts);
  } else {
    Count(reinterpret_cast<const std::uint16_t*>(samples), pixels, perPixel, counts);
  }
}
