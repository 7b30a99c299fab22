#ifndef KXCMS_PIPELINE_IMAGELAYOUT_H
#define KXCMS_PIPELINE_IMAGELAYOUT_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "pipeline/RunConverter.h"
#include "pipeline/precise/PixelRun.h"

/// @file
/// Images in memory, of any layout: interleaved in any order, planar, flipped, parts of larger
/// ones.

namespace kxcms {

/// Rows of pixels. Strides may have any sign; rows may lie anywhere, also between each other.
template <typename Byte>
struct Image {
  PixelRun<Byte> firstRow;
  std::ptrdiff_t rowStride;  ///< in bytes, from a row's first pixel to the next row's
  std::int64_t width, height;
};

using SourceImage = Image<const unsigned char>;
using DestinationImage = Image<unsigned char>;

/// Addresses from `begin` to before `end`.
struct ByteRange {
  std::uintptr_t begin, end;
};

/// From the first to the last byte of an image's samples. Nothing if the image is empty, or if the
/// numbers lead out of the address space; such an image must not be converted.
std::optional<ByteRange> ExtentOf(const SourceImage& image);
std::optional<ByteRange> ExtentOf(const DestinationImage& image);

enum class Overlap {
  kNone,
  kSame,     ///< every sample of the destination replaces the same sample of the source
  kPartial,  ///< or perhaps so: the images are entangled in a way that is not looked into
};

/// How a source and a destination of the same size lie to each other. Exact where their strides are
/// the same; otherwise images whose extents overlap count as overlapping.
/// @param sourceExtent, destinationExtent  as `ExtentOf` gives them.
Overlap OverlapOf(const SourceImage& source, const ByteRange& sourceExtent,
                  const DestinationImage& destination, const ByteRange& destinationExtent);

/// Whether samples of an image share bytes, or may do so: its rows are entangled in a way that is
/// not looked into. It must have an extent.
bool OverlapsItself(const DestinationImage& image);

/// Converts the pixels [begin, end), counted row by row. What `RunConverter::Convert` says of
/// runs holds for the images, which must be of the same size.
void ConvertPixels(const RunConverter& pipeline, const SourceImage& source,
                   const DestinationImage& destination, AlphaResult alpha, std::int64_t begin,
                   std::int64_t end);

}  // namespace kxcms

#endif
