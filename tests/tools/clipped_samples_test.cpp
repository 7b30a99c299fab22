#include "tools/commands/ClippedSamples.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

using Counts = std::array<std::uint64_t, 3>;

// Every second R is 0, every third G full scale, every fifth B the one or the other in turn; the
// samples behind them are all clipped, the other ones next to it.
template <typename Sample>
std::vector<Sample> Picture(std::size_t pixels, unsigned perPixel) {
  constexpr auto kFull = static_cast<Sample>(-1);
  std::vector<Sample> samples(pixels * perPixel, kFull);
  for (std::size_t i = 0; i < pixels; ++i) {
    Sample* const pixel = samples.data() + i * perPixel;
    pixel[0] = i % 2 == 0 ? 0 : 1;
    pixel[1] = i % 3 == 0 ? kFull : static_cast<Sample>(kFull - 1);
    pixel[2] = i % 10 == 0 ? 0 : i % 10 == 5 ? kFull : static_cast<Sample>(i % 2 == 0 ? 1 : 100);
  }
  return samples;
}

template <typename Sample>
void Check(unsigned bits) {
  // About the ends of a vector, a block of 64, and what a count of 8 bits holds of them.
  for (const std::size_t pixels :
       {0, 1, 15, 63, 64, 65, 200, 64 * 255 - 1, 64 * 255, 64 * 256, 99999}) {
    for (const unsigned perPixel : {3u, 4u, 5u, 9u}) {
      const std::vector<Sample> samples = Picture<Sample>(pixels, perPixel);
      Counts counts = {1000, 100, 10};
      CountClipped(reinterpret_cast<const unsigned char*>(samples.data()), pixels, perPixel, bits,
                   counts);
      const Counts expected = {1000 + (pixels + 1) / 2, 100 + (pixels + 2) / 3,
                               10 + (pixels + 4) / 5};
      EXPECT_EQ(counts, expected) << pixels << " pixels of " << perPixel << " samples";
    }
  }
}

TEST(ClippedSamples, OfEightBits) {
  Check<std::uint8_t>(8);
}
TEST(ClippedSamples, OfSixteenBits) {
  Check<std::uint16_t>(16);
}

TEST(ClippedSamples, AllOfThem) {
  constexpr std::size_t kPixels = 100000;
  const std::vector<unsigned char> samples(kPixels * 6, 255);
  for (const unsigned bits : {8u, 16u}) {
    Counts counts = {};
    CountClipped(samples.data(), kPixels, 3, bits, counts);
    EXPECT_EQ(counts, (Counts{kPixels, kPixels, kPixels})) << bits;
  }
}

}  // namespace
