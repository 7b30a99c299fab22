#include "pipeline/ImageLayout.h"

#include <algorithm>
#include <limits>

namespace kxcms {

namespace {

// Wide enough for every sum and product of addresses, strides and sizes here.
__extension__ using Wide = __int128;

// One channel's samples: `size` bytes at first + x pixelStride + y rowStride.
struct Lattice {
  Wide first, pixelStride, rowStride, width, height, size;
};

template <typename Byte>
Lattice LatticeOf(const Image<Byte>& image, int channel) {
  return {static_cast<Wide>(reinterpret_cast<std::uintptr_t>(image.firstRow.samples[channel])),
          image.firstRow.pixelStride,
          image.rowStride,
          image.width,
          image.height,
          SizeOf(image.firstRow.type)};
}

template <typename Byte>
bool HasChannel(const Image<Byte>& image, int channel) {
  return channel < 3 || image.firstRow.samples[channel] != nullptr;
}

// The addresses of the first pixel's lowest and highest sample.
struct Span {
  std::uintptr_t lowest, highest;
};
template <typename Byte>
Span SpanOf(const Image<Byte>& image) {
  Span span = {std::numeric_limits<std::uintptr_t>::max(), 0};
  for (int c = 0; c < (HasChannel(image, 3) ? 4 : 3); ++c) {
    const auto at = reinterpret_cast<std::uintptr_t>(image.firstRow.samples[c]);
    span = {std::min(span.lowest, at), std::max(span.highest, at)};
  }
  return span;
}

// How far the last of `count` things is from the first one. Nothing if that is no 64-bit number.
std::optional<std::int64_t> DistanceOfLast(std::int64_t count, std::ptrdiff_t stride) {
  std::int64_t distance;
  if (__builtin_mul_overflow(count - 1, stride, &distance)) return std::nullopt;
  return distance;
}

template <typename Byte>
std::optional<ByteRange> RangeOf(const Image<Byte>& image) {
  if (image.width <= 0 || image.height <= 0) return std::nullopt;
  const auto right = DistanceOfLast(image.width, image.firstRow.pixelStride);
  const auto down = DistanceOfLast(image.height, image.rowStride);
  if (!right || !down) return std::nullopt;
  const Span span = SpanOf(image);
  const Wide begin = Wide{span.lowest} + (*right < 0 ? *right : 0) + (*down < 0 ? *down : 0);
  const Wide end = Wide{span.highest} + (*right > 0 ? *right : 0) + (*down > 0 ? *down : 0) +
                   SizeOf(image.firstRow.type);
  // No object is larger than differences of pointers can say.
  if (begin < 1 || end > std::numeric_limits<std::uintptr_t>::max() ||
      end - begin > std::numeric_limits<std::ptrdiff_t>::max()) {
    return std::nullopt;
  }
  return ByteRange{static_cast<std::uintptr_t>(begin), static_cast<std::uintptr_t>(end)};
}

Wide FloorOfQuotient(Wide a, Wide b) {
  return a / b - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0);
}

// Integers from `first` to `last`; none if last < first.
struct Integers {
  Wide first, last;
};
// The n within (-count, count) for which offset + n stride lies within [low, high].
Integers Steps(Wide offset, Wide stride, Wide low, Wide high, Wide count) {
  if (stride == 0) {
    return low <= offset && offset <= high ? Integers{1 - count, count - 1} : Integers{0, -1};
  }
  if (stride < 0) return Steps(-offset, -stride, -high, -low, count);
  return {std::max(1 - count, -FloorOfQuotient(offset - low, stride)),
          std::min(count - 1, FloorOfQuotient(high - offset, stride))};
}

// Whether a sample of a and one of b share bytes, or may do so. Both have the same strides and
// sizes. If a is b, a sample does not count as another one.
bool ShareBytes(const Lattice& a, const Lattice& b, bool isSame) {
  // A sample that is dx pixels and dy rows further than another one starts at this distance from
  // it, plus dx and dy times the strides.
  const Wide distance = a.first - b.first;
  const Wide low = 1 - a.size, high = b.size - 1;
  const Wide rowLength = (a.width - 1) * (a.pixelStride < 0 ? -a.pixelStride : a.pixelStride);
  const Integers rows = Steps(distance, a.rowStride, low - rowLength, high + rowLength, a.height);
  constexpr Wide kMostRows = 1000;
  if (rows.last - rows.first > kMostRows) return true;
  for (Wide dy = rows.first; dy <= rows.last; ++dy) {
    const Integers pixels = Steps(distance + dy * a.rowStride, a.pixelStride, low, high, a.width);
    const bool isItself = isSame && dy == 0 && pixels.first == 0 && pixels.last == 0;
    if (pixels.first <= pixels.last && !isItself) return true;
  }
  return false;
}

// Whether all samples are apart for a simple reason: those of a pixel lie beside one another,
// within its stride, and no row reaches into another one. Spares most images the search for
// overlaps.
template <typename Byte>
bool IsInterleaved(const Image<Byte>& image) {
  const auto size = static_cast<std::uintptr_t>(SizeOf(image.firstRow.type));
  const auto magnitude = [](std::ptrdiff_t stride) {
    const auto bits = static_cast<std::uintptr_t>(stride);
    return stride < 0 ? ~bits + 1 : bits;
  };
  std::uintptr_t at[4];
  const int channels = HasChannel(image, 3) ? 4 : 3;
  for (int c = 0; c < channels; ++c) {
    at[c] = reinterpret_cast<std::uintptr_t>(image.firstRow.samples[c]);
    for (int other = 0; other < c; ++other) {
      if ((at[c] > at[other] ? at[c] - at[other] : at[other] - at[c]) < size) return false;
    }
  }
  const Span span = SpanOf(image);
  const std::uintptr_t pixel = span.highest - span.lowest + size;
  const std::uintptr_t pixelStride = magnitude(image.firstRow.pixelStride);
  if (image.width > 1 && pixelStride < pixel) return false;
  // What fits into the address space, as the extent of an image does.
  const std::uintptr_t row = static_cast<std::uintptr_t>(image.width - 1) * pixelStride + pixel;
  return image.height == 1 || magnitude(image.rowStride) >= row;
}

template <typename Byte>
PixelRun<Byte> RunAt(const Image<Byte>& image, std::int64_t row, std::int64_t column) {
  PixelRun<Byte> run = image.firstRow;
  for (Byte*& sample : run.samples) {
    if (sample != nullptr) sample += row * image.rowStride + column * run.pixelStride;
  }
  return run;
}

// Whether a row's last pixel is followed by the next row's first one.
template <typename Byte>
bool IsOneRun(const Image<Byte>& image) {
  return image.height <= 1 ||
         static_cast<Wide>(image.width) * image.firstRow.pixelStride == image.rowStride;
}

}  // namespace

std::optional<ByteRange> ExtentOf(const SourceImage& image) {
  return RangeOf(image);
}

std::optional<ByteRange> ExtentOf(const DestinationImage& image) {
  return RangeOf(image);
}

Overlap OverlapOf(const SourceImage& source, const ByteRange& sourceExtent,
                  const DestinationImage& destination, const ByteRange& destinationExtent) {
  if (sourceExtent.end <= destinationExtent.begin || destinationExtent.end <= sourceExtent.begin) {
    return Overlap::kNone;
  }
  const SourceRun& from = source.firstRow;
  const DestinationRun& to = destination.firstRow;
  const bool isOneImage = std::equal(from.samples, from.samples + 3, to.samples) &&
                          (from.samples[3] == to.samples[3] || from.samples[3] == nullptr ||
                           to.samples[3] == nullptr) &&
                          from.type == to.type && from.pixelStride == to.pixelStride &&
                          source.rowStride == destination.rowStride;
  if (isOneImage && IsInterleaved(source) && IsInterleaved(destination)) return Overlap::kSame;
  if (from.pixelStride != to.pixelStride || source.rowStride != destination.rowStride) {
    return Overlap::kPartial;
  }
  bool isSame = from.type == to.type, isNone = true;
  for (int c = 0; c < 4; ++c) {
    for (int d = 0; d < 4; ++d) {
      if (!HasChannel(source, c) || !HasChannel(destination, d)) continue;
      const bool isThis = c == d && from.samples[c] == to.samples[d] && from.type == to.type;
      const bool shares = ShareBytes(LatticeOf(source, c), LatticeOf(destination, d), isThis);
      isNone = isNone && !isThis && !shares;
      // Of the source, a pixel's own samples may be written to, but nothing else.
      isSame = isSame && !shares && (c != d || c == 3 || isThis);
    }
  }
  return isNone ? Overlap::kNone : isSame ? Overlap::kSame : Overlap::kPartial;
}

bool OverlapsItself(const DestinationImage& image) {
  if (IsInterleaved(image)) return false;
  for (int c = 0; c < 4; ++c) {
    for (int d = 0; d <= c; ++d) {
      if (!HasChannel(image, c) || !HasChannel(image, d)) continue;
      if (ShareBytes(LatticeOf(image, c), LatticeOf(image, d), c == d)) return true;
    }
  }
  return false;
}

void ConvertPixels(const RunConverter& pipeline, const SourceImage& source,
                   const DestinationImage& destination, AlphaResult alpha, std::int64_t begin,
                   std::int64_t end) {
  if (IsOneRun(source) && IsOneRun(destination)) {
    return pipeline.Convert(RunAt(source, 0, begin), RunAt(destination, 0, begin), alpha,
                            end - begin);
  }
  while (begin < end) {
    const std::int64_t row = begin / source.width, column = begin % source.width;
    const std::int64_t count = std::min(end - begin, source.width - column);
    pipeline.Convert(RunAt(source, row, column), RunAt(destination, row, column), alpha, count);
    begin += count;
  }
}

}  // namespace kxcms
