#include "tools/image/ImageSink.h"

#include <tiff.h>

#include <algorithm>
#include <stdexcept>

#include "tools/image/JpegSink.h"
#include "tools/image/PngSink.h"
#include "tools/image/TiffSink.h"

namespace kxcms::image {

std::unique_ptr<ImageSink> ImageSink::Make(Format format, OutputBytes& bytes,
                                           const SinkOptions& options,
                                           std::vector<std::string>& dropped) {
  switch (format) {
    case Format::kJpeg:
      return std::make_unique<JpegSink>(bytes, options.quality, dropped);
    case Format::kPng:
      return std::make_unique<PngSink>(bytes, dropped);
    case Format::kTiff:
      break;
  }
  return std::make_unique<TiffSink>(bytes, options.isBigTiff, dropped);
}

EncodedRows ImageSink::Encode(const unsigned char*, std::uint32_t) const {
  throw std::logic_error("a format whose rows are not encoded apart");
}

void ImageSink::WriteEncoded(const EncodedRows&) {
  throw std::logic_error("a format whose rows are not encoded apart");
}

bool IsLossless(std::uint16_t compression) {
  switch (compression) {
    case COMPRESSION_NONE:
    case COMPRESSION_LZW:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_PACKBITS:
    case COMPRESSION_LZMA:
    case COMPRESSION_ZSTD:
      return true;
    default:  // JPEG; WebP and LERC lose as much as their encoder was told to
      return false;
  }
}

Layout LayoutFor(const Page& page, std::uint16_t compression) {
  // Strips for readers that hold one in memory (TIFF 6.0 speaks of 8 KB, in 1992).
  constexpr std::size_t kStripBytes = 256u << 10;
  Layout layout;
  layout.compression =
      compression == COMPRESSION_DEFLATE ? std::uint16_t{COMPRESSION_ADOBE_DEFLATE} : compression;
  const bool canPredict = compression != COMPRESSION_NONE && compression != COMPRESSION_PACKBITS;
  // As in the source, if it is compressed; differences shrink scans where nobody says otherwise.
  const bool predicted = page.layout.compression == compression ? page.layout.predictor == 2 : true;
  layout.predictor = canPredict && predicted ? 2 : 1;
  // TIFF 6.0 wants multiples of 16.
  if (page.layout.tileWidth % 16 == 0 && page.layout.tileLength % 16 == 0 &&
      page.layout.tileWidth != 0) {
    layout.tileWidth = page.layout.tileWidth;
    layout.tileLength = page.layout.tileLength;
  } else if (page.layout.rowsPerStrip != 0) {
    layout.rowsPerStrip = page.layout.rowsPerStrip;
  } else {
    const std::size_t rows = std::max<std::size_t>(1, kStripBytes / page.RowBytes());
    layout.rowsPerStrip = static_cast<std::uint32_t>(std::min<std::size_t>(rows, page.height));
  }
  return layout;
}

}  // namespace kxcms::image
