#include "api/ImageCheck.h"

#include <algorithm>
#include <string>

#include "api/Failure.h"

namespace kxcms {

namespace {

constexpr std::ptrdiff_t kSampleBytes[] = {1, 2, 2, 4};  // by KXP_U8 and so on
constexpr std::uint32_t kSampleTypes = 4;

// Where a plane's bytes lie: [begin, end).
struct Extent {
  std::uintptr_t begin, end;
};

[[noreturn]] void Refuse(const char* what, const char* why) {
  throw Failure{KXP_ERROR_ARGUMENT, std::string("The ") + what + " image " + why};
}

// Distance in bytes from the first of `count` samples to the last one; false if no address holds
// it.
bool Reach(std::ptrdiff_t stride, std::size_t count, std::ptrdiff_t& reach) {
  return !__builtin_mul_overflow(stride, count - 1, &reach);
}

// The bytes that the samples of a channel lie in; false if these reach past the ends of memory.
bool FindExtent(const unsigned char* first, const Image& image, std::size_t width,
                std::size_t height, Extent& extent) {
  std::ptrdiff_t along, down;
  if (!Reach(image.pixelStride, width, along) || !Reach(image.rowStride, height, down))
    return false;
  std::ptrdiff_t low, high;
  if (__builtin_add_overflow(std::min<std::ptrdiff_t>(along, 0), std::min<std::ptrdiff_t>(down, 0),
                             &low) ||
      __builtin_add_overflow(std::max<std::ptrdiff_t>(along, 0), std::max<std::ptrdiff_t>(down, 0),
                             &high) ||
      __builtin_add_overflow(high, kSampleBytes[image.sample], &high)) {
    return false;
  }
  const auto address = reinterpret_cast<std::uintptr_t>(first);
  const auto below = std::uintptr_t{0} - static_cast<std::uintptr_t>(low);
  if (below > address) return false;
  extent.begin = address - below;
  return !__builtin_add_overflow(address, static_cast<std::uintptr_t>(high), &extent.end);
}

bool Overlap(const Extent& a, const Extent& b) {
  return a.begin < b.end && b.begin < a.end;
}

// Whether all samples of one channel have bytes of their own: the rows do not run into each other,
// or, of an image that is stored column by column, the columns do not.
bool IsWrittenOnce(const Image& image, std::size_t width, std::size_t height) {
  const auto size = static_cast<std::uint64_t>(kSampleBytes[image.sample]);
  const auto magnitude = [](std::ptrdiff_t stride) {
    return stride < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(stride)
                      : static_cast<std::uint64_t>(stride);
  };
  const std::uint64_t pixel = magnitude(image.pixelStride), row = magnitude(image.rowStride);
  // Products that FindExtent has found to fit.
  const bool rowsApart = height == 1 || row >= pixel * (width - 1) + size;
  const bool columnsApart = width == 1 || pixel >= row * (height - 1) + size;
  const bool pixelsApart = width == 1 || pixel >= size;
  const bool linesApart = height == 1 || row >= size;
  return pixelsApart && linesApart && (rowsApart || columnsApart);
}

// Whether the samples of two channels of one image interleave without sharing bytes: then they
// stand within a pixel, at the same place of it everywhere.
bool Interleave(const unsigned char* a, const unsigned char* b, const Image& image) {
  const auto apart = a < b ? b - a : a - b;
  const std::ptrdiff_t size = kSampleBytes[image.sample];
  const std::ptrdiff_t pixel = image.pixelStride < 0 ? -image.pixelStride : image.pixelStride;
  if (pixel < size) return false;
  const std::ptrdiff_t within = apart % pixel;
  return within >= size && pixel - within >= size;
}

bool IsInPlace(const Image& source, const Image& destination) {
  if (source.pixelStride != destination.pixelStride || source.rowStride != destination.rowStride ||
      kSampleBytes[source.sample] != kSampleBytes[destination.sample]) {
    return false;
  }
  return std::equal(source.samples, source.samples + 3, destination.samples);
}

}  // namespace

Image CheckedImage(const kxp_image* given, std::size_t width, std::size_t height,
                   const char* what) {
  if (given == nullptr) Refuse(what, "is a null pointer.");
  const kxp_image image = Known(given, sizeof(kxp_image), "kxp_image");
  if (image.r == nullptr || image.g == nullptr || image.b == nullptr) {
    Refuse(what, "has no address for one of its samples.");
  }
  if (image.sample >= kSampleTypes) Refuse(what, "has an unknown type of samples.");
  Image checked = {{static_cast<unsigned char*>(image.r), static_cast<unsigned char*>(image.g),
                    static_cast<unsigned char*>(image.b), static_cast<unsigned char*>(image.a)},
                   image.pixel_stride,
                   image.row_stride,
                   image.sample,
                   image.flags};
  if (checked.pixelStride == 0) {
    checked.pixelStride = kSampleBytes[image.sample] * (image.a != nullptr ? 4 : 3);
  }
  if (checked.rowStride == 0 &&
      __builtin_mul_overflow(checked.pixelStride, width, &checked.rowStride)) {
    Refuse(what, "is larger than any memory.");
  }
  for (const unsigned char* sample : checked.samples) {
    Extent extent;
    if (sample != nullptr && !FindExtent(sample, checked, width, height, extent)) {
      Refuse(what, "reaches past the ends of memory.");
    }
  }
  return checked;
}

void CheckOverlap(const Image& source, const Image& destination, std::size_t width,
                  std::size_t height) {
  if (!IsWrittenOnce(destination, width, height)) {
    Refuse("destination", "has pixels that share bytes: its strides are too small.");
  }
  Extent to[4], from[4];
  for (int c = 0; c < 4; ++c) {
    if (destination.samples[c] != nullptr) {
      FindExtent(destination.samples[c], destination, width, height, to[c]);
    }
    if (source.samples[c] != nullptr) {
      FindExtent(source.samples[c], source, width, height, from[c]);
    }
  }
  for (int a = 0; a < 4; ++a) {
    for (int b = 0; b < a; ++b) {
      if (destination.samples[a] == nullptr || !Overlap(to[a], to[b])) continue;
      if (!Interleave(destination.samples[a], destination.samples[b], destination)) {
        Refuse("destination", "has two samples that share bytes.");
      }
    }
  }
  // In place, every pixel is read before it is written; its own other samples, like an alpha that
  // only the destination has, may stand between those of the source.
  const bool inPlace = IsInPlace(source, destination);
  for (int d = 0; d < 4; ++d) {
    if (destination.samples[d] == nullptr) continue;
    for (int s = 0; s < 4; ++s) {
      if (source.samples[s] == nullptr || !Overlap(to[d], from[s])) continue;
      const bool isSame = inPlace && source.samples[s] == destination.samples[d];
      const bool isApart =
          inPlace && Interleave(destination.samples[d], source.samples[s], destination);
      if (!isSame && !isApart) {
        Refuse("destination", "overlaps the source other than in place.");
      }
    }
  }
}

}  // namespace kxcms
