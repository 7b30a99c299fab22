#ifndef KXCMS_TESTS_API_TESTIMAGE_H
#define KXCMS_TESTS_API_TESTIMAGE_H

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/api/Handles.h"

// Images in every layout, in memory whose surroundings cannot be touched.

namespace api_test {

constexpr std::uint32_t kSampleTypes[] = {KXP_U8, KXP_U16, KXP_F16, KXP_F32};

inline std::ptrdiff_t SampleBytes(std::uint32_t sample) {
  constexpr std::ptrdiff_t kBytes[] = {1, 2, 2, 4};
  return kBytes[sample];
}

struct Shape {
  std::size_t width, height;
};

/// Where samples lie: the first one of each channel, and how far it is to the next, in bytes.
struct Layout {
  std::ptrdiff_t first[4];
  std::ptrdiff_t pixel, row;
};

/// A layout for any shape, size of samples, and 3 or 4 channels.
struct NamedLayout {
  const char* name;
  Layout (*make)(const Shape& shape, std::ptrdiff_t size, std::ptrdiff_t channels);
};

namespace layouts {

inline std::ptrdiff_t Columns(const Shape& shape) {
  return static_cast<std::ptrdiff_t>(shape.width);
}
inline std::ptrdiff_t Rows(const Shape& shape) {
  return static_cast<std::ptrdiff_t>(shape.height);
}

/// Samples of a pixel beside one another, `pixel` bytes from pixel to pixel.
inline Layout Interleaved(std::ptrdiff_t size, std::ptrdiff_t pixel, std::ptrdiff_t row) {
  return {{0, size, 2 * size, 3 * size}, pixel, row};
}
inline Layout Packed(const Shape& shape, std::ptrdiff_t size, std::ptrdiff_t channels) {
  return Interleaved(size, channels * size, Columns(shape) * channels * size);
}
/// The same in the order of Packed's channels from the last to the first.
inline Layout Reversed(const Shape& shape, std::ptrdiff_t size, std::ptrdiff_t channels) {
  Layout layout = Packed(shape, size, channels);
  std::reverse(layout.first, layout.first + channels);
  return layout;
}
inline Layout Planes(std::ptrdiff_t size, std::ptrdiff_t row, std::ptrdiff_t plane) {
  return {{0, plane, 2 * plane, 3 * plane}, size, row};
}
inline Layout FlippedVertically(Layout layout, const Shape& shape) {
  for (std::ptrdiff_t& first : layout.first) first += (Rows(shape) - 1) * layout.row;
  layout.row = -layout.row;
  return layout;
}
inline Layout FlippedHorizontally(Layout layout, const Shape& shape) {
  for (std::ptrdiff_t& first : layout.first) first += (Columns(shape) - 1) * layout.pixel;
  layout.pixel = -layout.pixel;
  return layout;
}

}  // namespace layouts

/// All kinds of layout, the plain one first.
inline const std::vector<NamedLayout>& AllLayouts() {
  using namespace layouts;
  static const std::vector<NamedLayout> kLayouts = {
      {"packed", Packed},
      {"reversed channels", Reversed},
      {"four samples a pixel",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         return Interleaved(size, 4 * size, 4 * size * Columns(s));
       }},
      {"padded rows",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return Interleaved(size, channels * size, Columns(s) * channels * size + 13);
       }},
      {"padded pixels",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         const std::ptrdiff_t pixel = channels * size + 1;
         return Interleaved(size, pixel, Columns(s) * pixel);
       }},
      {"part of a larger image",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return Interleaved(size, channels * size, (Columns(s) + 9) * channels * size);
       }},
      {"every other row",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return Interleaved(size, channels * size, 2 * Columns(s) * channels * size);
       }},
      {"samples far apart",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         const std::ptrdiff_t pixel = 4 * (size + 3);
         return Layout{{0, size + 3, 2 * (size + 3), 3 * (size + 3)}, pixel, Columns(s) * pixel};
       }},
      {"planes",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         return Planes(size, Columns(s) * size, Rows(s) * Columns(s) * size);
       }},
      {"planes with padded rows, one byte apart",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         const std::ptrdiff_t row = Columns(s) * size + 5;
         return Planes(size, row, Rows(s) * row + 1);
       }},
      {"a line for each channel",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return Planes(size, channels * Columns(s) * size, Columns(s) * size);
       }},
      {"alpha in a plane of its own",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         const std::ptrdiff_t row = 3 * Columns(s) * size;
         return Layout{{0, size, 2 * size, Rows(s) * row}, 3 * size, row};
       }},
      {"upside down",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return FlippedVertically(Packed(s, size, channels), s);
       }},
      {"mirrored",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return FlippedHorizontally(Packed(s, size, channels), s);
       }},
      {"turned by 180 degrees, reversed channels",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return FlippedHorizontally(FlippedVertically(Reversed(s, size, channels), s), s);
       }},
      {"by columns",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t channels) {
         return Interleaved(size, Rows(s) * channels * size, channels * size);
       }},
      {"planes by columns, mirrored",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         return FlippedHorizontally(
             Layout{{0, Rows(s) * Columns(s) * size, 2 * Rows(s) * Columns(s) * size,
                     3 * Rows(s) * Columns(s) * size},
                    Rows(s) * size,
                    size},
             s);
       }},
      {"planes upside down",
       [](const Shape& s, std::ptrdiff_t size, std::ptrdiff_t) {
         return FlippedVertically(Planes(size, Columns(s) * size, Rows(s) * Columns(s) * size), s);
       }},
  };
  return kLayouts;
}

/// Bytes between pages that cannot be touched, at the beginning or at the end of what can.
class GuardedMemory {
 public:
  enum class Side { kBegin, kEnd };

  GuardedMemory(std::size_t size, Side side) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inner = (size + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    memory_ = static_cast<unsigned char*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (memory_ == MAP_FAILED ||
        (inner > 0 && mprotect(memory_ + page, inner, PROT_READ | PROT_WRITE) != 0)) {
      throw std::runtime_error("no memory for guarded pages");
    }
    data_ = memory_ + page + (side == Side::kEnd ? inner - size : 0);
  }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;
  ~GuardedMemory() { munmap(memory_, mapped_); }

  unsigned char* data() const { return data_; }

 private:
  unsigned char* memory_;
  unsigned char* data_;
  std::size_t mapped_;
};

/// An image that fills its memory up to the guards. What is between its samples is filled with a
/// pattern.
class TestImage {
 public:
  TestImage(const Layout& layout, const Shape& shape, std::uint32_t sample, int channels,
            GuardedMemory::Side side = GuardedMemory::Side::kEnd)
      : layout_(layout),
        shape_(shape),
        sample_(sample),
        channels_(channels),
        lowest_(Lowest()),
        sizeBytes_(static_cast<std::size_t>(Highest() - lowest_)),
        memory_(sizeBytes_, side) {
    std::memset(memory_.data(), kBetween, sizeBytes_);
  }

  unsigned char* At(std::size_t x, std::size_t y, int channel) const {
    return memory_.data() + Offset(x, y, channel);
  }

  kxp_image Describe(std::uint32_t flags = 0) const {
    kxp_image image = NewImage();
    image.r = At(0, 0, 0);
    image.g = At(0, 0, 1);
    image.b = At(0, 0, 2);
    image.a = channels_ == 4 ? At(0, 0, 3) : nullptr;
    image.pixel_stride = layout_.pixel;
    image.row_stride = layout_.row;
    image.sample = sample_;
    image.flags = flags;
    return image;
  }

  /// Samples of all pixels, row by row, channels together.
  void Write(const Bytes& samples) {
    std::size_t at = 0;
    ForEachSample([&](unsigned char* to) {
      std::memcpy(to, samples.data() + at, SizeOf());
      at += SizeOf();
    });
  }
  Bytes Read() const {
    Bytes samples;
    ForEachSample(
        [&](const unsigned char* from) { samples.insert(samples.end(), from, from + SizeOf()); });
    return samples;
  }

  /// Whether all bytes that belong to no sample are as they were.
  bool IsUntouchedBetween() const {
    std::vector<bool> isSample(sizeBytes_);
    ForEachSample([&](const unsigned char* sample) {
      const auto at = sample - memory_.data();
      std::fill_n(isSample.begin() + at, SizeOf(), true);
    });
    for (std::size_t n = 0; n < sizeBytes_; ++n) {
      if (!isSample[n] && memory_.data()[n] != kBetween) return false;
    }
    return true;
  }

 private:
  static constexpr unsigned char kBetween = 0xA5;

  std::size_t SizeOf() const { return static_cast<std::size_t>(SampleBytes(sample_)); }
  std::ptrdiff_t Place(std::size_t x, std::size_t y, int channel) const {
    return layout_.first[channel] + static_cast<std::ptrdiff_t>(x) * layout_.pixel +
           static_cast<std::ptrdiff_t>(y) * layout_.row;
  }
  std::ptrdiff_t Offset(std::size_t x, std::size_t y, int channel) const {
    return Place(x, y, channel) - lowest_;
  }
  // Of the four corners.
  template <typename Better>
  std::ptrdiff_t Corner(const Better& better) const {
    std::ptrdiff_t found = Place(0, 0, 0);
    for (int c = 0; c < channels_; ++c) {
      for (const std::size_t x : {std::size_t{0}, shape_.width - 1}) {
        for (const std::size_t y : {std::size_t{0}, shape_.height - 1}) {
          found = better(found, Place(x, y, c));
        }
      }
    }
    return found;
  }
  std::ptrdiff_t Lowest() const {
    return Corner([](std::ptrdiff_t a, std::ptrdiff_t b) { return std::min(a, b); });
  }
  std::ptrdiff_t Highest() const {
    return Corner([](std::ptrdiff_t a, std::ptrdiff_t b) { return std::max(a, b); }) +
           SampleBytes(sample_);
  }
  template <typename Use>
  void ForEachSample(const Use& use) const {
    for (std::size_t y = 0; y < shape_.height; ++y) {
      for (std::size_t x = 0; x < shape_.width; ++x) {
        for (int c = 0; c < channels_; ++c) use(At(x, y, c));
      }
    }
  }

  Layout layout_;
  Shape shape_;
  std::uint32_t sample_;
  int channels_;
  std::ptrdiff_t lowest_;
  std::size_t sizeBytes_;
  GuardedMemory memory_;
};

/// `count` samples of a type, with what floats have besides numbers in [0, 1].
inline Bytes SomeSamples(std::size_t count, std::uint32_t sample, std::uint32_t seed) {
  const auto size = static_cast<std::size_t>(SampleBytes(sample));
  Bytes bytes = SomeBytes(count * size, seed);
  if (sample != KXP_F32) return bytes;
  for (std::size_t n = 0; n < count; ++n) {
    std::uint32_t drawn;
    std::memcpy(&drawn, bytes.data() + n * size, sizeof drawn);
    constexpr float kOdd[] = {0.0f,
                              -0.0f,
                              1.0f,
                              2.0f,
                              -1.0f,
                              1e-40f,
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()};
    const float value = drawn % 16 == 0 ? kOdd[drawn / 16 % std::size(kOdd)]
                                        : static_cast<float>(drawn >> 8) * 0x1.2p-24f - 0.05f;
    std::memcpy(bytes.data() + n * size, &value, sizeof value);
  }
  return bytes;
}

/// How an image is converted, besides its shape.
struct Conversion {
  std::uint32_t from = KXP_U8, to = KXP_U8;  ///< types of samples
  int fromChannels = 3, toChannels = 3;
  std::uint32_t fromFlags = 0, toFlags = 0;
  const kxp_convert_options* options = nullptr;
};

/// Converts samples (row by row, channels together) that stand in one layout into another one.
inline Bytes ConvertedThrough(const kxp_pipeline* pipeline, const NamedLayout& fromLayout,
                              const NamedLayout& toLayout, const Shape& shape,
                              const Conversion& how, const Bytes& samples,
                              GuardedMemory::Side side = GuardedMemory::Side::kEnd) {
  TestImage source(fromLayout.make(shape, SampleBytes(how.from), how.fromChannels), shape, how.from,
                   how.fromChannels, side);
  const TestImage destination(toLayout.make(shape, SampleBytes(how.to), how.toChannels), shape,
                              how.to, how.toChannels, side);
  source.Write(samples);
  const kxp_image in = source.Describe(how.fromFlags), out = destination.Describe(how.toFlags);
  kxp_error error = NewError();
  EXPECT_EQ(kxp_convert(pipeline, &in, &out, shape.width, shape.height, how.options, &error),
            KXP_OK)
      << fromLayout.name << " to " << toLayout.name << ": " << error.message;
  EXPECT_EQ(source.Read(), samples) << "the source was written to";
  EXPECT_TRUE(source.IsUntouchedBetween()) << fromLayout.name;
  EXPECT_TRUE(destination.IsUntouchedBetween()) << toLayout.name;
  return destination.Read();
}

/// The same from packed pixels to packed pixels.
inline Bytes ConvertedPlainly(const kxp_pipeline* pipeline, const Shape& shape,
                              const Conversion& how, const Bytes& samples) {
  return ConvertedThrough(pipeline, AllLayouts()[0], AllLayouts()[0], shape, how, samples);
}

}  // namespace api_test

#endif
