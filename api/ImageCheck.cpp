#include "api/ImageCheck.h"

#include <algorithm>

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
  throw Failure{KXP_ERROR_ARGUMENT, {"The ", what, " image ", why}};
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

std::uint64_t Magnitude(std::ptrdiff_t stride) {
  return stride < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(stride)
                    : static_cast<std::uint64_t>(stride);
}

// The places of a channel's samples, as a lattice: lines, and steps along them. The signs of the
// strides do not count where only distances between samples do.
struct Lattice {
  std::uint64_t step, line;    // bytes
  std::uint64_t steps, lines;  // how many samples
  std::uint64_t size;          // of a sample
};

// Rows as lines, or columns if those lie apart from one another and rows do not. The products are
// those that FindExtent has found to fit.
Lattice LatticeOf(const Image& image, std::size_t width, std::size_t height) {
  const std::uint64_t pixel = Magnitude(image.pixelStride), row = Magnitude(image.rowStride);
  const auto size = static_cast<std::uint64_t>(kSampleBytes[image.sample]);
  const bool rowsApart = height == 1 || row >= pixel * (width - 1) + size;
  return rowsApart ? Lattice{pixel, row, width, height, size}
                   : Lattice{row, pixel, height, width, size};
}

// Whether all samples of one channel have bytes of their own.
bool IsWrittenOnce(const Lattice& at) {
  const bool stepsApart = at.steps == 1 || at.step >= at.size;
  const bool linesApart = at.lines == 1 || at.line >= at.step * (at.steps - 1) + at.size;
  return stepsApart && linesApart;
}

// Whether any two samples share bytes of two channels whose samples lie alike, each with bytes of
// its own.
bool Meet(const unsigned char* a, const unsigned char* b, const Lattice& at) {
  const auto distance = [](std::uint64_t x, std::uint64_t y) { return x < y ? y - x : x - y; };
  const std::uint64_t apart =
      distance(reinterpret_cast<std::uintptr_t>(a), reinterpret_cast<std::uintptr_t>(b));
  // Samples of other lines or steps than the two nearest are too far away.
  const std::uint64_t line = at.lines == 1 ? 0 : apart / at.line;
  for (std::uint64_t l = line; l < std::min(line + 2, at.lines); ++l) {
    const std::uint64_t rest = distance(apart, l * at.line);
    const std::uint64_t step = at.steps == 1 ? 0 : rest / at.step;
    for (std::uint64_t s = step; s < std::min(step + 2, at.steps); ++s) {
      if (distance(rest, s * at.step) < at.size) return true;
    }
  }
  return false;
}

bool HaveOneLattice(const Image& a, const Image& b) {
  return a.pixelStride == b.pixelStride && a.rowStride == b.rowStride &&
         kSampleBytes[a.sample] == kSampleBytes[b.sample];
}

// Every pixel is read before it is written.
bool IsInPlace(const Image& source, const Image& destination) {
  return HaveOneLattice(source, destination) &&
         std::equal(source.samples, source.samples + 3, destination.samples);
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
  const Lattice lattice = LatticeOf(destination, width, height);
  if (!IsWrittenOnce(lattice)) {
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
      if (Meet(destination.samples[a], destination.samples[b], lattice)) {
        Refuse("destination", "has two samples that share bytes.");
      }
    }
  }
  // Of images with different strides only those that keep wholly apart are known not to meet.
  const bool haveOneLattice = HaveOneLattice(source, destination);
  const bool inPlace = IsInPlace(source, destination);
  for (int d = 0; d < 4; ++d) {
    if (destination.samples[d] == nullptr) continue;
    for (int s = 0; s < 4; ++s) {
      if (source.samples[s] == nullptr || !Overlap(to[d], from[s])) continue;
      const bool isSame = inPlace && d == s && source.samples[s] == destination.samples[d];
      const bool isApart =
          haveOneLattice && !Meet(destination.samples[d], source.samples[s], lattice);
      if (!isSame && !isApart) {
        Refuse("destination", "overlaps the source other than in place.");
      }
    }
  }
}

}  // namespace kxcms
