#ifndef KXCMS_TOOLS_IMAGE_IMAGESINK_H
#define KXCMS_TOOLS_IMAGE_IMAGESINK_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/image/ImageSource.h"
#include "tools/image/OutputBytes.h"

namespace kxcms::image {

struct SinkOptions {
  bool isBigTiff = false;
  int quality = 90;  ///< of JPEG, 1 to 100
};

/// Rows that are encoded, as strips or tiles.
struct EncodedRows {
  std::vector<unsigned char> bytes;
  std::vector<std::uint64_t> offsets, sizes;  ///< of each strip or tile, in `bytes`
};

/// Writes images: page by page, the rows of each in order. Throws an `ImageError`; what was written
/// until then is no image. The metadata are written as they are given, and have to be true.
class ImageSink {
 public:
  virtual ~ImageSink() = default;

  /// @param bytes    an empty file, borrowed
  /// @param dropped  receives the names of what the format has no place for; borrowed
  static std::unique_ptr<ImageSink> Make(Format format, OutputBytes& bytes,
                                         const SinkOptions& options,
                                         std::vector<std::string>& dropped);

  /// Begins a page; `page.parent` counts the pages that were begun. Only a TIFF file has several.
  virtual void BeginPage(Page page) = 0;
  /// The next rows of it: interleaved samples of the machine's byte order.
  virtual void WriteRows(const unsigned char* from, std::uint32_t rows) = 0;

  /// How many rows of the page are encoded without regard to others, so that several threads can do
  /// it; 0: none are.
  virtual std::uint32_t RowsApart() const { return 0; }
  /// Encodes rows, a multiple of `RowsApart` but for those at the end of the page. On any thread,
  /// while this one encodes or writes others.
  virtual EncodedRows Encode(const unsigned char* from, std::uint32_t rows) const;
  /// The next rows, in place of `WriteRows`, with the same result.
  virtual void WriteEncoded(const EncodedRows& rows);

  /// Ends the page.
  virtual void EndPage() = 0;
  /// Completes the file, after at least one page.
  virtual void Finish() = 0;
};

/// How the pages of a file lie that take their strips or tiles from `page` where it has some.
/// @param compression  as TIFF numbers it
Layout LayoutFor(const Page& page, std::uint16_t compression);

/// Whether decoding gives what was encoded, whatever it was, so that the compression can be kept.
bool IsLossless(std::uint16_t compression);

}  // namespace kxcms::image

#endif
