#include "tools/image/TiffEncoder.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

TiffEncoder::TiffEncoder(OutputBytes& bytes, bool isBig, ByteOrder order, const Page& page)
    : bytes_(bytes),
      headerBytes_(isBig ? 16 : 8),
      layout_(page.layout),
      width_(page.width),
      height_(page.height),
      pixelBytes_(page.PixelBytes()) {
  TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
  if (options == nullptr) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, KeepError, this);
  TIFFOpenOptionsSetWarningHandlerExtR(options, KeepError, this);
  const std::string mode =
      std::string(isBig ? "w8" : "w4") + (order == ByteOrder::kBig ? "b" : "l");
  const auto readNothing = [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; };
  const auto closeNothing = [](thandle_t) { return 0; };
  const auto size = [](thandle_t self) -> toff_t { return static_cast<TiffEncoder*>(self)->End(); };
  tiff_.reset(TIFFClientOpenExt("", mode.c_str(), this, readNothing, Write, Seek, closeNothing,
                                size, nullptr, nullptr, options));
  TIFFOpenOptionsFree(options);
  Check(tiff_ != nullptr);
  const auto set = [this](std::uint32_t tag, auto value) {
    Check(TIFFSetField(tiff_.get(), tag, value) == 1);
  };
  set(TIFFTAG_IMAGEWIDTH, page.width);
  set(TIFFTAG_IMAGELENGTH, page.height);
  set(TIFFTAG_BITSPERSAMPLE, page.bits);
  set(TIFFTAG_SAMPLESPERPIXEL, page.Samples());
  set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  set(TIFFTAG_COMPRESSION, unsigned{layout_.compression});
  if (layout_.predictor != 1) set(TIFFTAG_PREDICTOR, unsigned{layout_.predictor});
  std::uint64_t waitingBytes = 0;
  if (IsTiled()) {
    set(TIFFTAG_TILEWIDTH, layout_.tileWidth);
    set(TIFFTAG_TILELENGTH, layout_.tileLength);
    waitingBytes = TIFFTileSize64(tiff_.get());
    tile_.resize(waitingBytes);
    rowsAtOnce_ = std::min(layout_.tileLength, height_);
  } else {
    set(TIFFTAG_ROWSPERSTRIP, layout_.rowsPerStrip);
    // Where a strip is handed over as a whole, codecs do better; of a larger one the encoded bytes
    // go to the file piece by piece.
    constexpr std::uint64_t kMostWaiting = 1u << 20;
    const std::uint64_t stripBytes = TIFFStripSize64(tiff_.get());
    if (stripBytes <= kMostWaiting) rowsAtOnce_ = std::min(layout_.rowsPerStrip, height_);
    waitingBytes = std::min(stripBytes, kMostWaiting);
  }
  // What libtiff would take by itself, and fail with a sentence of its own where memory is short.
  const auto bufferBytes = static_cast<tmsize_t>(waitingBytes + waitingBytes / 10 + 8192);
  if (TIFFWriteBufferSetup(tiff_.get(), nullptr, bufferBytes) != 1) throw std::bad_alloc();
  rows_.resize(page.RowBytes() * rowsAtOnce_);
}

void TiffEncoder::Close::operator()(TIFF* tiff) const {
  // Closing a file that is written would complete it, and codecs that failed do not survive that.
  TIFFSetMode(tiff, O_RDONLY);
  TIFFClose(tiff);
}

void TiffEncoder::Check(bool isGood) const {
  bytes_.Check();
  if (isGood && error_[0] == '\0') return;
  if (std::string_view(error_) == "Maximum TIFF file size exceeded") {
    throw ImageError(ImageError::Kind::kUnwritable, std::string(kTooLargeForTiff));
  }
  throw ImageError(ImageError::Kind::kUnwritable,
                   error_[0] == '\0' ? "its pixels cannot be encoded" : error_);
}

int TiffEncoder::KeepError(TIFF*, void* self, const char*, const char* format, va_list arguments) {
  // Room of its own: no exception may pass through libtiff. What follows is a consequence.
  auto& first = static_cast<TiffEncoder*>(self)->error_;
  if (first[0] == '\0') std::vsnprintf(first, sizeof first, format, arguments);
  return 1;
}

tmsize_t TiffEncoder::Write(thandle_t handle, void* from, tmsize_t count) {
  auto& self = *static_cast<TiffEncoder*>(handle);
  const std::uint64_t at = self.position_;
  self.position_ += static_cast<std::uint64_t>(count);
  if (at < self.headerBytes_) return count;
  return self.bytes_.Write(at, from, static_cast<std::size_t>(count)) ? count : 0;
}

toff_t TiffEncoder::Seek(thandle_t handle, toff_t offset, int from) {
  auto& self = *static_cast<TiffEncoder*>(handle);
  if (from == SEEK_CUR) offset += self.position_;
  if (from == SEEK_END) offset += self.End();
  self.position_ = offset;
  return offset;
}

std::uint64_t TiffEncoder::End() const {
  const std::uint64_t size = std::max(bytes_.size(), headerBytes_);
  return size + size % 2;
}

void TiffEncoder::WriteRows(const unsigned char* from, std::uint32_t rows) {
  const std::size_t rowBytes = width_ * pixelBytes_;
  while (rows > 0) {
    const std::uint32_t waiting = row_ % rowsAtOnce_;
    const std::uint32_t count = std::min({rows, rowsAtOnce_ - waiting, height_ - row_});
    std::memcpy(rows_.data() + waiting * rowBytes, from, count * rowBytes);
    from += count * rowBytes;
    rows -= count;
    row_ += count;
    if (waiting + count < rowsAtOnce_ && row_ < height_) return;
    if (IsTiled()) {
      WriteTileRow();
    } else {
      WriteStrip();
    }
  }
}

void TiffEncoder::WriteStrip() {
  if (rowsAtOnce_ < std::min(layout_.rowsPerStrip, height_)) {
    Check(TIFFWriteScanline(tiff_.get(), rows_.data(), row_ - 1, 0) == 1);
    return;
  }
  const std::uint32_t rows = (row_ - 1) % rowsAtOnce_ + 1;
  const auto size = static_cast<tmsize_t>(width_ * pixelBytes_ * rows);
  Check(TIFFWriteEncodedStrip(tiff_.get(), piece_++, rows_.data(), size) == size);
}

void TiffEncoder::WriteTileRow() {
  const std::uint32_t rows = (row_ - 1) % rowsAtOnce_ + 1;
  const std::size_t rowBytes = width_ * pixelBytes_;
  for (std::uint32_t left = 0; left < width_; left += layout_.tileWidth) {
    const std::uint32_t columns = std::min(layout_.tileWidth, width_ - left);
    // What is outside the image is 0; encoding has left something else there.
    if (columns < layout_.tileWidth || rows < layout_.tileLength) {
      std::fill(tile_.begin(), tile_.end(), static_cast<unsigned char>(0));
    }
    for (std::uint32_t y = 0; y < rows; ++y) {
      std::memcpy(tile_.data() + std::size_t{y} * layout_.tileWidth * pixelBytes_,
                  rows_.data() + y * rowBytes + left * pixelBytes_, columns * pixelBytes_);
    }
    const auto size = static_cast<tmsize_t>(tile_.size());
    Check(TIFFWriteEncodedTile(tiff_.get(), piece_++, tile_.data(), size) == size);
  }
}

void TiffEncoder::WriteEncoded(const EncodedRows& rows) {
  for (std::size_t i = 0; i < rows.sizes.size(); ++i) {
    // libtiff takes what it may change, but changes nothing of what is encoded.
    void* const from = const_cast<unsigned char*>(rows.bytes.data() + rows.offsets[i]);
    const auto size = static_cast<tmsize_t>(rows.sizes[i]);
    Check((IsTiled() ? TIFFWriteRawTile(tiff_.get(), piece_, from, size)
                     : TIFFWriteRawStrip(tiff_.get(), piece_, from, size)) == size);
    ++piece_;
  }
}

TiffEncoder::Places TiffEncoder::Finish() {
  Check(TIFFFlushData(tiff_.get()) == 1);
  const std::uint32_t count =
      IsTiled() ? TIFFNumberOfTiles(tiff_.get()) : TIFFNumberOfStrips(tiff_.get());
  return {Numbers(IsTiled() ? TIFFTAG_TILEOFFSETS : TIFFTAG_STRIPOFFSETS, count),
          Numbers(IsTiled() ? TIFFTAG_TILEBYTECOUNTS : TIFFTAG_STRIPBYTECOUNTS, count)};
}

std::vector<std::uint64_t> TiffEncoder::Numbers(std::uint32_t tag, std::uint32_t count) const {
  const std::uint64_t* values = nullptr;
  Check(TIFFGetField(tiff_.get(), tag, &values) == 1 && values != nullptr);
  return {values, values + count};
}

}  // namespace kxcms::image
