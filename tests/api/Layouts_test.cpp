// Every layout of an image against packed pixels: what a pixel becomes does not depend on where its
// samples stand, and nothing but the samples is touched.

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>

#include "tests/api/TestImage.h"

namespace {

using namespace api_test;
using Side = GuardedMemory::Side;

// Single pixels, rows and columns, one block of pixels and a bit more, odd numbers.
constexpr Shape kShapes[] = {{1, 1}, {1, 9}, {7, 1}, {61, 5}, {577, 2}};

const kxp_pipeline* Scanner() {
  static const Pipeline pipeline = ScannerToSrgb();
  return pipeline.get();
}

std::size_t SampleCount(const Shape& shape, int channels) {
  return shape.width * shape.height * static_cast<std::size_t>(channels);
}

// All layouts on one side, packed pixels on the other, for one pair of types.
void ExpectLayouts(const Conversion& how) {
  const NamedLayout& packed = AllLayouts()[0];
  std::uint32_t seed = 0;
  for (const Shape& shape : kShapes) {
    const Bytes samples = SomeSamples(SampleCount(shape, how.fromChannels), how.from, ++seed);
    const Bytes expected = ConvertedPlainly(Scanner(), shape, how, samples);
    for (const NamedLayout& layout : AllLayouts()) {
      const std::string what = std::string(layout.name) + ", " + std::to_string(shape.width) +
                               " x " + std::to_string(shape.height) + ", types " +
                               std::to_string(how.from) + " to " + std::to_string(how.to);
      for (const Side side : {Side::kBegin, Side::kEnd}) {
        EXPECT_EQ(ConvertedThrough(Scanner(), layout, packed, shape, how, samples, side), expected)
            << "from " << what;
        EXPECT_EQ(ConvertedThrough(Scanner(), packed, layout, shape, how, samples, side), expected)
            << "to " << what;
      }
    }
  }
}

TEST(Layouts, EveryLayoutAndPairOfTypes) {
  for (const std::uint32_t from : kSampleTypes) {
    for (const std::uint32_t to : kSampleTypes) ExpectLayouts({.from = from, .to = to});
  }
}

TEST(Layouts, EveryLayoutAndPairOfTypesWithAlpha) {
  for (const std::uint32_t from : kSampleTypes) {
    for (const std::uint32_t to : kSampleTypes) {
      ExpectLayouts({.from = from, .to = to, .fromChannels = 4, .toChannels = 4});
    }
  }
}

TEST(Layouts, EveryLayoutWithAlphaOnOneSide) {
  for (const std::uint32_t sample : kSampleTypes) {
    ExpectLayouts({.from = sample, .to = sample, .fromChannels = 4, .toChannels = 3});
    ExpectLayouts({.from = sample, .to = sample, .fromChannels = 3, .toChannels = 4});
  }
}

TEST(Layouts, PairsOfLayouts) {
  const Conversion how = {.from = KXP_U16, .to = KXP_U8, .fromChannels = 4, .toChannels = 4};
  const Shape shape = {61, 5};
  const Bytes samples = SomeSamples(SampleCount(shape, 4), how.from, 7);
  const Bytes expected = ConvertedPlainly(Scanner(), shape, how, samples);
  for (const NamedLayout& from : AllLayouts()) {
    for (const NamedLayout& to : AllLayouts()) {
      EXPECT_EQ(ConvertedThrough(Scanner(), from, to, shape, how, samples), expected)
          << from.name << " to " << to.name;
    }
  }
}

// ---- Orders of channels -------------------------------------------------------------------------

// Samples in places of their own within a pixel, in every order, without and with a gap.
void ExpectEveryOrder(int channels, int places, std::uint32_t sample) {
  const Shape shape = {37, 3};
  const std::ptrdiff_t size = SampleBytes(sample);
  const Conversion how = {
      .from = sample, .to = sample, .fromChannels = channels, .toChannels = channels};
  const Bytes samples = SomeSamples(SampleCount(shape, channels), sample, 3);
  const Bytes expected = ConvertedPlainly(Scanner(), shape, how, samples);
  Layout layout = layouts::Packed(shape, size, places);
  std::vector<std::ptrdiff_t> order(static_cast<std::size_t>(places));
  std::iota(order.begin(), order.end(), 0);
  do {
    std::string shown;
    for (std::size_t c = 0; c < 4; ++c) {
      layout.first[c] = c < order.size() ? order[c] * size : 0;
      if (c < static_cast<std::size_t>(channels)) shown += std::to_string(order[c]);
    }
    TestImage source(layout, shape, sample, channels);
    const TestImage destination(layout, shape, sample, channels);
    source.Write(samples);
    const kxp_image in = source.Describe(), out = destination.Describe();
    EXPECT_EQ(kxp_convert(Scanner(), &in, &out, shape.width, shape.height, nullptr, nullptr),
              KXP_OK);
    EXPECT_EQ(destination.Read(), expected)
        << "type " << sample << ", R, G, B, A in places " << shown << " of " << places;
    EXPECT_TRUE(destination.IsUntouchedBetween()) << shown << " of " << places;
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Layouts, EveryOrderOfChannels) {
  for (const std::uint32_t sample : kSampleTypes) {
    for (const int channels : {3, 4}) {
      for (const int places : {channels, channels + 1}) ExpectEveryOrder(channels, places, sample);
    }
  }
}

// ---- Strides of 0 -------------------------------------------------------------------------------

// 0 stands for packed pixels, of three samples or four with alpha, and for rows that follow.
TEST(Layouts, StridesOfZero) {
  for (const int channels : {3, 4}) {
    for (const std::uint32_t sample : kSampleTypes) {
      const Shape shape = {19, 4};
      const Conversion how = {
          .from = sample, .to = sample, .fromChannels = channels, .toChannels = channels};
      const Bytes samples = SomeSamples(SampleCount(shape, channels), sample, 5);
      const Bytes expected = ConvertedPlainly(Scanner(), shape, how, samples);
      TestImage source(layouts::Packed(shape, SampleBytes(sample), channels), shape, sample,
                       channels);
      source.Write(samples);
      kxp_image image = source.Describe();
      image.pixel_stride = image.row_stride = 0;
      EXPECT_EQ(kxp_convert(Scanner(), &image, &image, shape.width, shape.height, nullptr, nullptr),
                KXP_OK);
      EXPECT_EQ(source.Read(), expected) << "type " << sample << ", " << channels << " channels";
    }
  }
}

// Rows of a mirrored image follow one another downwards.
TEST(Layouts, ARowStrideOfZeroFollowsTheSignOfThePixels) {
  const Shape shape = {5, 3};
  const Bytes samples = SomeSamples(SampleCount(shape, 3), KXP_U8, 5);
  const Bytes expected =
      ConvertedPlainly(Scanner(), shape, {.from = KXP_U8, .to = KXP_U8}, samples);
  Layout layout = layouts::Interleaved(1, -3, -15);
  TestImage source(layout, shape, KXP_U8, 3);
  source.Write(samples);
  kxp_image image = source.Describe();
  image.row_stride = 0;
  EXPECT_EQ(kxp_convert(Scanner(), &image, &image, shape.width, shape.height, nullptr, nullptr),
            KXP_OK);
  EXPECT_EQ(source.Read(), expected);
}

// ---- In place -----------------------------------------------------------------------------------

TEST(Layouts, InPlace) {
  for (const std::uint32_t sample : kSampleTypes) {
    for (const int channels : {3, 4}) {
      for (const Shape& shape : kShapes) {
        const Conversion how = {
            .from = sample, .to = sample, .fromChannels = channels, .toChannels = channels};
        const Bytes samples = SomeSamples(SampleCount(shape, channels), sample, 11);
        const Bytes expected = ConvertedPlainly(Scanner(), shape, how, samples);
        for (const NamedLayout& layout : AllLayouts()) {
          TestImage image(layout.make(shape, SampleBytes(sample), channels), shape, sample,
                          channels);
          image.Write(samples);
          const kxp_image both = image.Describe();
          EXPECT_EQ(
              kxp_convert(Scanner(), &both, &both, shape.width, shape.height, nullptr, nullptr),
              KXP_OK);
          EXPECT_EQ(image.Read(), expected) << layout.name << ", type " << sample;
          EXPECT_TRUE(image.IsUntouchedBetween()) << layout.name;
        }
      }
    }
  }
}

// RGBX becomes RGBA: the fourth sample is alpha in the destination alone. And the other way round.
TEST(Layouts, InPlaceWithAlphaOnOneSide) {
  const Shape shape = {600, 3};
  for (const std::uint32_t sample : kSampleTypes) {
    for (const bool isInSource : {false, true}) {
      const Conversion how = {.from = sample,
                              .to = sample,
                              .fromChannels = isInSource ? 4 : 3,
                              .toChannels = isInSource ? 3 : 4};
      const Bytes all = SomeSamples(SampleCount(shape, 4), sample, 13);
      const auto size = static_cast<std::size_t>(SampleBytes(sample));
      Bytes colors;
      for (std::size_t n = 0; n < all.size(); n += 4 * size) {
        colors.insert(colors.end(), all.begin() + static_cast<std::ptrdiff_t>(n),
                      all.begin() + static_cast<std::ptrdiff_t>(n + 3 * size));
      }
      const Bytes expected = ConvertedPlainly(Scanner(), shape, how, isInSource ? all : colors);
      TestImage image(layouts::Packed(shape, SampleBytes(sample), 4), shape, sample, 4);
      image.Write(all);
      kxp_image in = image.Describe(), out = in;
      (isInSource ? out : in).a = nullptr;
      EXPECT_EQ(kxp_convert(Scanner(), &in, &out, shape.width, shape.height, nullptr, nullptr),
                KXP_OK);
      const Bytes after = image.Read();
      std::size_t at = 0;
      for (std::size_t n = 0; n < after.size(); n += 4 * size) {
        const std::size_t given = (isInSource ? 3 : 4) * size;
        EXPECT_TRUE(std::equal(expected.begin() + static_cast<std::ptrdiff_t>(at),
                               expected.begin() + static_cast<std::ptrdiff_t>(at + given),
                               after.begin() + static_cast<std::ptrdiff_t>(n)));
        if (isInSource) {
          EXPECT_TRUE(std::equal(all.begin() + static_cast<std::ptrdiff_t>(n + given),
                                 all.begin() + static_cast<std::ptrdiff_t>(n + 4 * size),
                                 after.begin() + static_cast<std::ptrdiff_t>(n + given)));
        }
        at += given;
      }
    }
  }
}

// The left half of an image into its right half.
TEST(Layouts, PartsOfOneImage) {
  const Shape whole = {40, 6}, half = {20, 6};
  TestImage image(layouts::Packed(whole, 1, 3), whole, KXP_U8, 3);
  const Bytes before = SomeSamples(SampleCount(whole, 3), KXP_U8, 17);
  image.Write(before);
  const kxp_image in = image.Describe();
  kxp_image out = in;
  out.r = image.At(20, 0, 0);
  out.g = image.At(20, 0, 1);
  out.b = image.At(20, 0, 2);
  ASSERT_EQ(kxp_convert(Scanner(), &in, &out, half.width, half.height, nullptr, nullptr), KXP_OK);
  const Bytes after = image.Read();
  for (std::size_t y = 0; y < whole.height; ++y) {
    const auto row = static_cast<std::ptrdiff_t>(y * whole.width * 3);
    const Bytes left(before.begin() + row, before.begin() + row + 60);
    EXPECT_EQ(Bytes(after.begin() + row, after.begin() + row + 60), left);
    EXPECT_EQ(Bytes(after.begin() + row + 60, after.begin() + row + 120),
              ConvertedPlainly(Scanner(), {20, 1}, {}, left));
  }
}

// ---- Sizes beyond 32 bits -----------------------------------------------------------------------

// Address space of which only the touched pages take memory.
class SparseMemory {
 public:
  explicit SparseMemory(std::size_t size)
      : size_(size),
        memory_(static_cast<unsigned char*>(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1,
                                                 0))) {}
  SparseMemory(const SparseMemory&) = delete;
  SparseMemory& operator=(const SparseMemory&) = delete;
  ~SparseMemory() {
    if (IsThere()) munmap(memory_, size_);
  }
  bool IsThere() const { return memory_ != MAP_FAILED; }
  unsigned char* data() const { return memory_; }

 private:
  std::size_t size_;
  unsigned char* memory_;
};

constexpr std::ptrdiff_t kGiB = std::ptrdiff_t{1} << 30;

TEST(Layouts, StridesBeyondFourGiB) {
  const Bytes color = {200, 100, 50};
  const Bytes expected = ConvertedPlainly(Scanner(), {1, 1}, {}, color);
  const struct {
    const char* what;
    std::ptrdiff_t first, pixel, row;
    std::size_t width, height;
    std::ptrdiff_t last;  // pixel in the other corner
  } kRows[] = {
      {"two rows 5 GiB apart", 0, 3, 5 * kGiB, 1, 2, 5 * kGiB},
      {"two rows 5 GiB apart, upside down", 5 * kGiB, 3, -5 * kGiB, 1, 2, 0},
      {"two pixels 5 GiB apart", 0, 5 * kGiB, 3, 2, 1, 5 * kGiB},
      {"two pixels 5 GiB apart, mirrored", 5 * kGiB, -5 * kGiB, 3, 2, 1, 0},
      {"five rows of 1.1 GiB", 0, 3, kGiB + kGiB / 10, 1, 5, 4 * (kGiB + kGiB / 10)},
      {"rows and pixels", 0, 2 * kGiB + 1, kGiB, 3, 2, 5 * kGiB + 2},
  };
  for (const auto& row : kRows) {
    const SparseMemory memory(5 * kGiB + 4096);
    if (!memory.IsThere()) GTEST_SKIP() << "no address space of 5 GiB";
    kxp_image image = PlainImage(memory.data() + row.first, KXP_U8);
    image.pixel_stride = row.pixel;
    image.row_stride = row.row;
    for (const std::ptrdiff_t at : {row.first, row.last}) {
      std::copy(color.begin(), color.end(), memory.data() + at);
    }
    EXPECT_EQ(kxp_convert(Scanner(), &image, &image, row.width, row.height, nullptr, nullptr),
              KXP_OK)
        << row.what;
    for (const std::ptrdiff_t at : {row.first, row.last}) {
      EXPECT_EQ(Bytes(memory.data() + at, memory.data() + at + 3), expected) << row.what;
    }
  }
}

// More than 2^32 pixels, of which only the first are converted before the caller has had enough.
TEST(Layouts, MorePixelsThan32BitsCount) {
  constexpr std::size_t kWidth = 70000, kHeight = 70000;
  const SparseMemory memory(kWidth * kHeight * 3);
  if (!memory.IsThere()) GTEST_SKIP() << "no address space of 15 GB";
  const kxp_image image = PlainImage(memory.data(), KXP_U8);
  struct Told {
    std::uint64_t done = 0, total = 0;
  } told;
  kxp_convert_options options = NewConvertOptions();
  options.progress = [](void* context, std::uint64_t done, std::uint64_t total) {
    *static_cast<Told*>(context) = {done, total};
    return done > 0 ? 1 : 0;
  };
  options.progress_context = &told;
  EXPECT_EQ(kxp_convert(Scanner(), &image, &image, kWidth, kHeight, &options, nullptr),
            KXP_CANCELLED);
  EXPECT_EQ(told.total, std::uint64_t{kWidth} * kHeight);
  EXPECT_GT(told.done, 0u);
  EXPECT_LT(told.done, 10'000'000u);
}

}  // namespace
