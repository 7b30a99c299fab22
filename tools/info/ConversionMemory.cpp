#include "tools/info/ConversionMemory.h"

#include <tiff.h>

#include <algorithm>

#include "base/SaturatingMath.h"

namespace kxcms::info {

namespace {

using image::Directory;
using image::Page;
using image::PageForm;

constexpr std::uint64_t kMiB = 1u << 20;
// The program and its libraries, the tables of a conversion (up to 32 MiB), and pieces of rows.
constexpr std::uint64_t kAlways = 64 * kMiB;
// Between a file and its copy metadata are held as read, as converted, as written and encoded.
constexpr std::uint64_t kCopiesOfMetadata = 8;
constexpr std::uint64_t kBytesOfPiece = 128;  // offset and size, here and in libtiff, twice

std::uint64_t BytesOf(const Directory& directory) {
  std::uint64_t bytes = 0;
  for (const image::Tag& tag : directory.tags) bytes += sizeof tag + tag.bytes.size();
  for (const image::SubDirectory& sub : directory.subDirectories) {
    bytes += sizeof sub + BytesOf(sub.directory);
  }
  return bytes;
}

std::uint64_t MetadataBytes(const Page& page, const PageForm& form) {
  std::uint64_t bytes = BytesOf(page.metadata.directory);
  for (const image::Comment& comment : page.metadata.comments) {
    bytes += sizeof comment + comment.keyword.size() + comment.text.size();
  }
  if (page.profile) bytes += page.profile->size();
  return kCopiesOfMetadata * bytes + kBytesOfPiece * form.pieces;
}

/// What the library of a compression takes besides the bytes that go in and come out, for reading
/// a piece of so many bytes and for writing it.
std::uint64_t CodecBytes(std::uint16_t compression, std::uint64_t pieceBytes) {
  const std::uint64_t twice = SaturatingProduct(pieceBytes, 2);
  switch (compression) {
    case COMPRESSION_ZSTD:
      // The window of the decoder, as long as the piece or 128 MiB, and the tables of level 9.
      return std::min(pieceBytes, 128 * kMiB) + 48 * kMiB;
    case COMPRESSION_LZMA:
      // The same with dictionaries of up to 64 MiB; liblzma names 94 MiB for its encoder.
      return std::min(pieceBytes, 64 * kMiB) + 96 * kMiB;
    case COMPRESSION_JPEG:
      // Coefficients, where a piece is progressive; libtiff allows them 100 MB.
      return std::min(twice, 100 * kMiB);
    case COMPRESSION_WEBP:
    case COMPRESSION_LERC:
      return twice;
    default:
      return 0;
  }
}

std::uint64_t PageBytes(const Page& page, image::Format format) {
  std::uint64_t bytes = page.memoryBytes;
  const auto add = [&bytes](std::uint64_t more) { bytes = std::max(bytes, bytes + more); };
  // Rows as they are read, converted and written, where a single one is larger than a piece.
  add(SaturatingProduct(page.RowBytes(), 8));
  if (format != image::Format::kTiff) return bytes;
  const image::Layout& layout = page.layout;
  const bool isTiled = layout.rowsPerStrip == 0;
  const std::uint64_t pieceBytes =
      isTiled ? SaturatingProduct(SaturatingProduct(layout.tileWidth, layout.tileLength),
                                  page.PixelBytes())
              : SaturatingProduct(layout.rowsPerStrip, page.RowBytes());
  add(CodecBytes(layout.compression, pieceBytes));
  // A tile to be written, as it is and encoded, and a row of them; large strips go row by row.
  if (isTiled) {
    add(SaturatingProduct(pieceBytes, 3));
    add(SaturatingProduct(page.RowBytes(), std::min(layout.tileLength, page.height)));
  }
  return bytes;
}

}  // namespace

std::uint64_t ConversionMemory(const image::FileForm& form, const image::ImageSource& source) {
  std::uint64_t largest = 0, metadata = 0;
  for (std::size_t i = 0; i < source.pages().size(); ++i) {
    const Page& page = source.pages()[i];
    if (!page.refusal.empty()) continue;
    largest = std::max(largest, PageBytes(page, source.format()));
    metadata += MetadataBytes(page, form.pages.at(i));
  }
  return std::max(largest, kAlways + metadata + largest);
}

}  // namespace kxcms::info
