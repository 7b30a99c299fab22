#include "pipeline/ImageLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "pipeline/precise/PrecisePipeline.h"
#include "tests/pipeline/ProfileValues.h"

namespace kxcms {

namespace {

// Offsets in bytes from one address. No alpha is -1.
struct Description {
  std::ptrdiff_t offset[4];
  std::ptrdiff_t pixelStride, rowStride;
  std::int64_t width, height;
  SampleType type = SampleType::kUInt8;
};

template <typename Byte>
Image<Byte> ImageAt(Byte* base, const Description& d) {
  Image<Byte> image{{{}, d.pixelStride, d.type, false}, d.rowStride, d.width, d.height};
  for (int c = 0; c < 4; ++c) {
    image.firstRow.samples[c] = c == 3 && d.offset[c] == -1 ? nullptr : base + d.offset[c];
  }
  return image;
}

unsigned char memory[1 << 16];
unsigned char* const kBase = memory + sizeof memory / 2;

SourceImage Source(const Description& d) {
  return ImageAt<const unsigned char>(kBase, d);
}
DestinationImage Destination(const Description& d) {
  return ImageAt<unsigned char>(kBase, d);
}

Overlap HowTheyOverlap(const Description& from, const Description& to) {
  const SourceImage source = Source(from);
  const DestinationImage destination = Destination(to);
  return OverlapOf(source, ExtentOf(source).value(), destination, ExtentOf(destination).value());
}

// ---- Extent -------------------------------------------------------------------------------------

TEST(ImageLayout, HasAnExtent) {
  const struct {
    const char* what;
    Description image;
    std::ptrdiff_t begin, end;
  } kRows[] = {
      {"RGB", {{0, 1, 2, -1}, 3, 30, 10, 5}, 0, 150},
      {"RGB with padded rows", {{0, 1, 2, -1}, 3, 32, 10, 5}, 0, 158},
      {"BGRA", {{2, 1, 0, 3}, 4, 40, 10, 5}, 0, 200},
      {"RGB and a gap", {{0, 1, 2, -1}, 4, 40, 10, 5}, 0, 199},
      {"upside down", {{0, 1, 2, -1}, 3, -30, 10, 5}, -120, 30},
      {"from right to left", {{0, 1, 2, -1}, -3, 30, 10, 5}, -27, 123},
      {"planes", {{0, 50, 100, -1}, 1, 10, 10, 5}, 0, 150},
      {"16 bit", {{0, 2, 4, 6}, 8, 80, 10, 5, SampleType::kUInt16}, 0, 400},
      {"float", {{0, 4, 8, -1}, 12, 0, 10, 1, SampleType::kFloat}, 0, 120},
      {"one pixel", {{5, 3, 9, -1}, 1000, 1000, 1, 1, SampleType::kHalf}, 3, 11},
  };
  const auto base = reinterpret_cast<std::uintptr_t>(kBase);
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto extent = ExtentOf(Source(row.image));
    ASSERT_TRUE(extent.has_value());
    EXPECT_EQ(extent->begin, base + static_cast<std::uintptr_t>(row.begin));
    EXPECT_EQ(extent->end, base + static_cast<std::uintptr_t>(row.end));
  }
}

TEST(ImageLayout, HasNoExtentBeyondTheAddressSpace) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::ptrdiff_t>::min();
  const Description kRows[] = {
      {{0, 1, 2, -1}, 3, 30, 0, 5},         {{0, 1, 2, -1}, 3, 30, 5, 0},
      {{0, 1, 2, -1}, 3, 30, -1, 5},        {{0, 1, 2, -1}, 3, 30, kMost, 5},
      {{0, 1, 2, -1}, 3, kMost, 5, kMost},  {{0, 1, 2, -1}, kMost, kMost, kMost, kMost},
      {{0, 1, 2, -1}, kLeast, 0, 2, 1},     {{0, 1, 2, -1}, 3, kLeast, 1, 2},
      {{0, 1, 2, -1}, 3, kLeast, 1, kMost},
  };
  for (const Description& row : kRows) {
    EXPECT_FALSE(ExtentOf(Source(row)).has_value()) << row.pixelStride << " " << row.rowStride;
  }
}

// ---- Overlap ------------------------------------------------------------------------------------

TEST(ImageLayout, TellsHowImagesOverlap) {
  const Description kRgb = {{0, 1, 2, -1}, 3, 30, 10, 5};
  const Description kRgba = {{0, 1, 2, 3}, 4, 40, 10, 5};
  const Description kRgbx = {{0, 1, 2, -1}, 4, 40, 10, 5};
  const struct {
    const char* what;
    Description from, to;
    Overlap overlap;
  } kRows[] = {
      {"in place", kRgb, kRgb, Overlap::kSame},
      {"in place with alpha", kRgba, kRgba, Overlap::kSame},
      {"alpha left alone", kRgba, kRgbx, Overlap::kSame},
      {"alpha written into the gap", kRgbx, kRgba, Overlap::kSame},
      {"side by side", kRgb, {{150, 151, 152, -1}, 3, 30, 10, 5}, Overlap::kNone},
      {"one byte too near", kRgb, {{149, 150, 151, -1}, 3, 30, 10, 5}, Overlap::kPartial},
      {"left and right half",
       {{0, 1, 2, -1}, 3, 30, 5, 5},
       {{15, 16, 17, -1}, 3, 30, 5, 5},
       Overlap::kNone},
      {"halves that share a column",
       {{0, 1, 2, -1}, 3, 30, 6, 5},
       {{15, 16, 17, -1}, 3, 30, 6, 5},
       Overlap::kPartial},
      {"every other row",
       {{0, 1, 2, -1}, 3, 60, 10, 5},
       {{30, 31, 32, -1}, 3, 60, 10, 5},
       Overlap::kNone},
      {"every other pixel",
       {{0, 1, 2, -1}, 6, 60, 10, 5},
       {{3, 4, 5, -1}, 6, 60, 10, 5},
       Overlap::kNone},
      {"other channels of the same pixels",
       {{0, 1, 2, -1}, 8, 80, 10, 5},
       {{4, 5, 6, 7}, 8, 80, 10, 5},
       Overlap::kNone},
      {"channels in another order", kRgb, {{2, 1, 0, -1}, 3, 30, 10, 5}, Overlap::kPartial},
      {"the next row", kRgb, {{30, 31, 32, -1}, 3, 30, 10, 5}, Overlap::kPartial},
      {"a wider type", kRgb, {{0, 2, 4, -1}, 6, 60, 10, 5, SampleType::kUInt16}, Overlap::kPartial},
      {"another type of the same size",
       {{0, 2, 4, -1}, 6, 60, 10, 5, SampleType::kUInt16},
       {{0, 2, 4, -1}, 6, 60, 10, 5, SampleType::kHalf},
       Overlap::kPartial},
      {"a wider type at the same places",
       {{0, 4, 8, -1}, 12, 120, 10, 5},
       {{0, 4, 8, -1}, 12, 120, 10, 5, SampleType::kFloat},
       Overlap::kPartial},
      {"upside down", kRgb, {{120, 121, 122, -1}, 3, -30, 10, 5}, Overlap::kPartial},
      {"planes of which one is the same",
       {{0, 50, 100, -1}, 1, 10, 10, 5},
       {{150, 200, 100, -1}, 1, 10, 10, 5},
       Overlap::kPartial},
      {"other planes",
       {{0, 50, 100, -1}, 1, 10, 10, 5},
       {{150, 200, 250, -1}, 1, 10, 10, 5},
       Overlap::kNone},
      {"alpha over the source's colour",
       {{0, 50, 100, -1}, 1, 10, 10, 5},
       {{150, 200, 250, 50}, 1, 10, 10, 5},
       Overlap::kPartial},
      {"in place, alpha over colour",
       {{0, 50, 100, -1}, 1, 10, 10, 5},
       {{0, 50, 100, 51}, 1, 10, 10, 5},
       Overlap::kPartial},
      {"another alpha in place",
       {{0, 1, 2, 3}, 5, 50, 10, 5},
       {{0, 1, 2, 4}, 5, 50, 10, 5},
       Overlap::kSame},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(HowTheyOverlap(row.from, row.to), row.overlap) << row.what;
  }
}

// Which samples, by channel, row and column, use a byte.
std::map<std::ptrdiff_t, int> UsesOfBytes(const Description& d) {
  std::map<std::ptrdiff_t, int> uses;
  for (int c = 0; c < 4; ++c) {
    if (c == 3 && d.offset[c] == -1) continue;
    for (std::int64_t y = 0; y < d.height; ++y) {
      for (std::int64_t x = 0; x < d.width; ++x) {
        for (int byte = 0; byte < SizeOf(d.type); ++byte) {
          ++uses[d.offset[c] + x * d.pixelStride + y * d.rowStride + byte];
        }
      }
    }
  }
  return uses;
}

Description AnyImage(std::mt19937& generator, const Description* like) {
  const auto any = [&generator](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(generator);
  };
  Description d;
  for (std::ptrdiff_t& offset : d.offset) offset = any(0, 12);
  if (any(0, 1) == 0) d.offset[3] = -1;
  d.type = static_cast<SampleType>(any(0, 3));
  d.width = like != nullptr ? like->width : any(1, 5);
  d.height = like != nullptr ? like->height : any(1, 4);
  d.pixelStride = like != nullptr ? like->pixelStride : any(-16, 16);
  d.rowStride = like != nullptr ? like->rowStride : any(-60, 60);
  return d;
}

// Beside a plain count of bytes: with the same strides, what is free of overlap is called so.
TEST(ImageLayout, OverlapsAsBytesDo) {
  std::mt19937 generator(7);
  int none = 0, some = 0;
  for (int n = 0; n < 30000; ++n) {
    const Description from = AnyImage(generator, nullptr);
    const Description to = AnyImage(generator, &from);
    bool shares = false;
    const auto written = UsesOfBytes(to);
    for (const auto& [byte, uses] : UsesOfBytes(from)) shares = shares || written.contains(byte);
    const Overlap overlap = HowTheyOverlap(from, to);
    EXPECT_EQ(overlap == Overlap::kNone, !shares) << n;
    ++(shares ? some : none);

    const auto sharesItself =
        std::any_of(written.begin(), written.end(), [](const auto& use) { return use.second > 1; });
    EXPECT_EQ(OverlapsItself(Destination(to)), sharesItself) << n;
  }
  EXPECT_GT(none, 1000);
  EXPECT_GT(some, 1000);
}

// Where there is no next one its distance says nothing.
TEST(ImageLayout, OnePixelMayHaveAnyStrides) {
  using Limits = std::numeric_limits<std::ptrdiff_t>;
  for (const std::ptrdiff_t stride : {Limits::min(), std::ptrdiff_t{0}, Limits::max()}) {
    SCOPED_TRACE(stride);
    const Description pixel = {{0, 1, 2, -1}, stride, stride, 1, 1};
    EXPECT_FALSE(OverlapsItself(Destination(pixel)));
    EXPECT_EQ(HowTheyOverlap(pixel, pixel), Overlap::kSame);
  }
}

TEST(ImageLayout, OverlapOfLargeImagesIsFoundAtOnce) {
  // Rows of a gigapixel each, entangled.
  constexpr std::int64_t kWidth = 1 << 30, kHeight = 1 << 20;
  const Description kRows = {{0, 1, 2, -1}, 3, 7, kWidth, kHeight};
  EXPECT_TRUE(OverlapsItself(Destination(kRows)));
  const Description kApart = {{0, 1, 2, -1}, 3, 3 * kWidth, kWidth, kHeight};
  EXPECT_FALSE(OverlapsItself(Destination(kApart)));
}

// ---- Conversion ---------------------------------------------------------------------------------

const PrecisePipeline& Pipeline() {
  static const PrecisePipeline kPipeline(profile_values::Lut16Lab(5, 17, IdentityCurve{}),
                                         FindRgbSpace("srgb"), {});
  return kPipeline;
}

// A part of an image, turned upside down, in every division into two calls.
TEST(ImageLayout, RangesOfPixelsGoOnOverRows) {
  constexpr std::int64_t kWidth = 7, kHeight = 5, kPixels = kWidth * kHeight;
  const Description from = {{0, 1, 2, -1}, 3, 64, kWidth, kHeight};
  const Description to = {
      {4 * 96, 4 * 96 + 2, 4 * 96 + 4, -1}, 8, -96, kWidth, kHeight, SampleType::kUInt16};
  std::vector<unsigned char> source(64 * kHeight);
  std::mt19937 generator(8);
  for (unsigned char& byte : source) byte = static_cast<unsigned char>(generator());
  const auto sourceImage = ImageAt<const unsigned char>(source.data(), from);

  std::vector<unsigned char> expected(96 * kHeight, 0xEE);
  const auto expectedImage = ImageAt<unsigned char>(expected.data(), to);
  for (std::int64_t y = 0; y < kHeight; ++y) {
    for (std::int64_t x = 0; x < kWidth; ++x) {
      SourceRun pixel = sourceImage.firstRow;
      DestinationRun result = expectedImage.firstRow;
      for (int c = 0; c < 3; ++c) {
        pixel.samples[c] += 64 * y + 3 * x;
        result.samples[c] += -96 * y + 8 * x;
      }
      Pipeline().Convert(pixel, result, AlphaResult::kKept, 1);
    }
  }
  for (std::int64_t cut = 0; cut <= kPixels; ++cut) {
    std::vector<unsigned char> actual(expected.size(), 0xEE);
    const auto image = ImageAt<unsigned char>(actual.data(), to);
    ConvertPixels(Pipeline(), sourceImage, image, AlphaResult::kKept, 0, cut);
    ConvertPixels(Pipeline(), sourceImage, image, AlphaResult::kKept, cut, kPixels);
    EXPECT_EQ(actual, expected) << cut;
  }
}

}  // namespace

}  // namespace kxcms
