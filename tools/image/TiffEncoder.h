#ifndef KXCMS_TOOLS_IMAGE_TIFFENCODER_H
#define KXCMS_TOOLS_IMAGE_TIFFENCODER_H

#include <tiffio.h>

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <vector>

#include "tools/image/ImageSink.h"
#include "tools/image/ImageSource.h"
#include "tools/image/OutputBytes.h"

namespace kxcms::image {

/// A libtiff handle that appends the strips or tiles of one page to a file. The header that libtiff
/// writes does not arrive there, and a directory it never writes. Throws an `ImageError`.
///
/// The bytes do not depend on how many rows are handed over at a time.
class TiffEncoder {
 public:
  /// Where the strips or tiles of a page stand.
  struct Places {
    std::vector<std::uint64_t> offsets, sizes;
  };

  /// @param bytes  borrowed
  /// @param page   its size, samples and layout count
  TiffEncoder(OutputBytes& bytes, bool isBig, ByteOrder order, const Page& page);
  TiffEncoder(const TiffEncoder&) = delete;
  TiffEncoder& operator=(const TiffEncoder&) = delete;

  /// The next rows of the page.
  void WriteRows(const unsigned char* from, std::uint32_t rows);
  /// The next strips or tiles, as an encoder of the same byte order has made them.
  void WriteEncoded(const EncodedRows& rows);
  /// After the last row.
  Places Finish();

 private:
  struct Close {
    void operator()(TIFF* tiff) const;
  };

  static int KeepError(TIFF*, void* self, const char*, const char* format, va_list arguments);
  static tmsize_t Write(thandle_t handle, void* from, tmsize_t count);
  static toff_t Seek(thandle_t handle, toff_t offset, int from);

  bool IsTiled() const { return layout_.rowsPerStrip == 0; }
  void Check(bool isGood) const;
  std::vector<std::uint64_t> Numbers(std::uint32_t tag, std::uint32_t count) const;
  void WriteStrip();
  void WriteTileRow();
  /// Where new strips and tiles begin: at an even position behind everything.
  std::uint64_t End() const;

  OutputBytes& bytes_;
  std::uint64_t headerBytes_;
  std::uint64_t position_ = 0;
  char error_[240] = "";
  std::unique_ptr<TIFF, Close> tiff_;

  Layout layout_;
  std::uint32_t width_, height_;
  std::size_t pixelBytes_;
  std::uint32_t row_ = 0;    ///< the next one
  std::uint32_t piece_ = 0;  ///< the strip or tile that is encoded next
  /// How many rows wait to be encoded together: those of a tile, of a strip that is not large,
  /// or 1.
  std::uint32_t rowsAtOnce_ = 1;
  std::vector<unsigned char> rows_;  ///< those that wait; encoding changes them
  std::vector<unsigned char> tile_;
};

}  // namespace kxcms::image

#endif
