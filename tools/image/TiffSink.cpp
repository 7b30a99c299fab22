#include "tools/image/TiffSink.h"

#include <fcntl.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

/// A libtiff handle that appends the pixels of one page to a file. The header that libtiff writes
/// does not arrive there, and a directory it never writes.
class TiffEncoder {
 public:
  TiffEncoder(OutputBytes& bytes, bool isBig, ByteOrder order)
      : bytes_(bytes), headerBytes_(isBig ? 16 : 8) {
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, KeepError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, KeepError, this);
    const std::string mode =
        std::string(isBig ? "w8" : "w4") + (order == ByteOrder::kBig ? "b" : "l");
    tiff_ = TIFFClientOpenExt("", mode.c_str(), this, ReadNothing, Write, Seek, CloseNothing, Size,
                              nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    if (tiff_ == nullptr) Check(false);
  }
  ~TiffEncoder() {
    // Closing a file that is written would complete it, and codecs that failed do not survive that.
    TIFFSetMode(tiff_, O_RDONLY);
    TIFFClose(tiff_);
  }
  TiffEncoder(const TiffEncoder&) = delete;
  TiffEncoder& operator=(const TiffEncoder&) = delete;

  TIFF* tiff() { return tiff_; }

  void Check(bool isGood) const {
    bytes_.Check();
    if (isGood && error_[0] == '\0') return;
    if (std::string_view(error_) == "Maximum TIFF file size exceeded") {
      throw ImageError(ImageError::Kind::kUnwritable, std::string(kTooLargeForTiff));
    }
    throw ImageError(ImageError::Kind::kUnwritable,
                     error_[0] == '\0' ? "its pixels cannot be encoded" : error_);
  }

  std::vector<std::uint64_t> Numbers(std::uint32_t tag, std::uint32_t count) const {
    const std::uint64_t* values = nullptr;
    Check(TIFFGetField(tiff_, tag, &values) == 1 && values != nullptr);
    return {values, values + count};
  }

 private:
  static int KeepError(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    // Room of its own: no exception may pass through libtiff. What follows is a consequence.
    auto& first = static_cast<TiffEncoder*>(self)->error_;
    if (first[0] == '\0') std::vsnprintf(first, sizeof first, format, arguments);
    return 1;
  }
  static tmsize_t ReadNothing(thandle_t, void*, tmsize_t) { return 0; }
  static tmsize_t Write(thandle_t handle, void* from, tmsize_t count) {
    auto& self = *static_cast<TiffEncoder*>(handle);
    const std::uint64_t at = self.position_;
    self.position_ += static_cast<std::uint64_t>(count);
    if (at < self.headerBytes_) return count;
    return self.bytes_.Write(at, from, static_cast<std::size_t>(count)) ? count : 0;
  }
  static toff_t Seek(thandle_t handle, toff_t offset, int from) {
    auto& self = *static_cast<TiffEncoder*>(handle);
    if (from == SEEK_CUR) offset += self.position_;
    if (from == SEEK_END) offset += self.End();
    self.position_ = offset;
    return offset;
  }
  static int CloseNothing(thandle_t) { return 0; }
  static toff_t Size(thandle_t handle) { return static_cast<TiffEncoder*>(handle)->End(); }

  /// Where new strips and tiles begin: at an even position behind everything.
  std::uint64_t End() const {
    const std::uint64_t size = std::max(bytes_.size(), headerBytes_);
    return size + size % 2;
  }

  OutputBytes& bytes_;
  std::uint64_t headerBytes_;
  std::uint64_t position_ = 0;
  TIFF* tiff_ = nullptr;
  char error_[240] = "";
};

TiffSink::TiffSink(OutputBytes& bytes, bool isBig, std::vector<std::string>& dropped)
    : bytes_(bytes), isBig_(isBig), dropped_(dropped) {}

TiffSink::~TiffSink() = default;

void TiffSink::BeginPage(Page page) {
  if (written_.empty()) order_ = page.metadata.order;
  TextsToTags(page.metadata);
  for (const Comment& comment : page.metadata.comments) {
    dropped_.push_back(comment.keyword.empty() ? "comment" : "text " + comment.keyword);
  }
  // Behind a directory of TIFF stands the next page.
  if (page.metadata.thumbnail) dropped_.emplace_back("thumbnail");
  page_ = std::move(page);
  row_ = 0;
  const Layout& layout = page_.layout;
  encoder_ = std::make_unique<TiffEncoder>(bytes_, isBig_, order_);
  TIFF* const tiff = encoder_->tiff();
  const auto set = [&](std::uint32_t tag, auto value) {
    encoder_->Check(TIFFSetField(tiff, tag, value) == 1);
  };
  set(TIFFTAG_IMAGEWIDTH, page_.width);
  set(TIFFTAG_IMAGELENGTH, page_.height);
  set(TIFFTAG_BITSPERSAMPLE, page_.bits);
  set(TIFFTAG_SAMPLESPERPIXEL, page_.Samples());
  set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  set(TIFFTAG_COMPRESSION, unsigned{layout.compression});
  if (layout.predictor != 1) set(TIFFTAG_PREDICTOR, unsigned{layout.predictor});
  if (layout.rowsPerStrip == 0) {
    set(TIFFTAG_TILEWIDTH, layout.tileWidth);
    set(TIFFTAG_TILELENGTH, layout.tileLength);
    scratch_.assign(page_.PixelBytes() * layout.tileWidth * layout.tileLength, 0);
    tileRow_.resize(page_.RowBytes() * std::min(layout.tileLength, page_.height));
  } else {
    set(TIFFTAG_ROWSPERSTRIP, layout.rowsPerStrip);
    scratch_.resize(page_.RowBytes());
    // Encoded bytes go to the file piece by piece; libtiff would take room for a whole strip.
    constexpr std::uint64_t kMostWaiting = 1u << 20;
    const auto most = std::min(TIFFStripSize64(tiff) + kMostWaiting / 16, kMostWaiting);
    if (TIFFWriteBufferSetup(tiff, nullptr, static_cast<tmsize_t>(most)) != 1) {
      throw std::bad_alloc();
    }
  }
}

void TiffSink::WriteRows(const unsigned char* from, std::uint32_t rows) {
  const std::size_t rowBytes = page_.RowBytes();
  for (; rows > 0; --rows, from += rowBytes) {
    if (page_.layout.rowsPerStrip != 0) {
      std::memcpy(scratch_.data(), from, rowBytes);
      encoder_->Check(TIFFWriteScanline(encoder_->tiff(), scratch_.data(), row_, 0) == 1);
      ++row_;
      continue;
    }
    const std::uint32_t inTile = row_ % page_.layout.tileLength;
    std::memcpy(tileRow_.data() + inTile * rowBytes, from, rowBytes);
    ++row_;
    if (inTile + 1 == page_.layout.tileLength || row_ == page_.height) WriteTileRow();
  }
}

void TiffSink::WriteTileRow() {
  const std::uint32_t tileWidth = page_.layout.tileWidth;
  const std::uint32_t top = (row_ - 1) / page_.layout.tileLength * page_.layout.tileLength;
  const std::size_t pixelBytes = page_.PixelBytes();
  for (std::uint32_t left = 0; left < page_.width; left += tileWidth) {
    const std::uint32_t columns = std::min(tileWidth, page_.width - left);
    // What is outside the image is 0; encoding has left something else there.
    if (columns < tileWidth || row_ - top < page_.layout.tileLength) {
      std::fill(scratch_.begin(), scratch_.end(), static_cast<unsigned char>(0));
    }
    for (std::uint32_t y = 0; y < row_ - top; ++y) {
      std::memcpy(scratch_.data() + std::size_t{y} * tileWidth * pixelBytes,
                  tileRow_.data() + y * page_.RowBytes() + left * pixelBytes, columns * pixelBytes);
    }
    const std::uint32_t number = TIFFComputeTile(encoder_->tiff(), left, top, 0, 0);
    const auto size = static_cast<tmsize_t>(scratch_.size());
    encoder_->Check(TIFFWriteEncodedTile(encoder_->tiff(), number, scratch_.data(), size) == size);
  }
}

void TiffSink::EndPage() {
  TIFF* const tiff = encoder_->tiff();
  encoder_->Check(TIFFFlushData(tiff) == 1);
  const Layout& layout = page_.layout;
  const bool isTiled = layout.rowsPerStrip == 0;
  const std::uint32_t pieces = isTiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
  const auto offsets =
      encoder_->Numbers(isTiled ? TIFFTAG_TILEOFFSETS : TIFFTAG_STRIPOFFSETS, pieces);
  const auto sizes =
      encoder_->Numbers(isTiled ? TIFFTAG_TILEBYTECOUNTS : TIFFTAG_STRIPBYTECOUNTS, pieces);
  encoder_.reset();

  Directory directory = std::move(page_.metadata.directory);
  const auto set = [&](std::uint16_t number, TagType type, std::vector<std::uint64_t> values) {
    directory.Set(NumbersTag(number, type, values, order_));
  };
  if (page_.subfileType != 0) set(tag::kNewSubfileType, kLong, {page_.subfileType});
  set(tag::kImageWidth, kLong, {page_.width});
  set(tag::kImageLength, kLong, {page_.height});
  set(tag::kBitsPerSample, kShort, std::vector<std::uint64_t>(page_.Samples(), page_.bits));
  set(tag::kCompression, kShort, {layout.compression});
  set(tag::kPhotometric, kShort, {PHOTOMETRIC_RGB});
  set(tag::kSamplesPerPixel, kShort, {page_.Samples()});
  set(tag::kPlanarConfiguration, kShort, {PLANARCONFIG_CONTIG});
  if (layout.predictor != 1) set(tag::kPredictor, kShort, {layout.predictor});
  if (!page_.extras.empty()) {
    std::vector<std::uint64_t> extras;
    for (const Extra extra : page_.extras) extras.push_back(static_cast<std::uint64_t>(extra));
    set(tag::kExtraSamples, kShort, std::move(extras));
  }
  const TagType wide = isBig_ ? kLong8 : kLong;
  if (isTiled) {
    set(tag::kTileWidth, kLong, {layout.tileWidth});
    set(tag::kTileLength, kLong, {layout.tileLength});
  } else {
    set(tag::kRowsPerStrip, kLong, {layout.rowsPerStrip});
  }
  set(isTiled ? tag::kTileOffsets : tag::kStripOffsets, wide, offsets);
  set(isTiled ? tag::kTileByteCounts : tag::kStripByteCounts, wide, sizes);
  if (page_.profile) directory.Set(BytesTag(tag::kIccProfile, kUndefined, *page_.profile));
  written_.push_back({page_.parent, std::move(directory)});
}

void TiffSink::Finish() {
  const std::uint64_t base = bytes_.size() + bytes_.size() % 2;
  DirectoryBlock block(order_, isBig_, base);
  // From the last to the first: a SubIFD stands behind the page that points at it.
  std::vector<std::vector<std::uint64_t>> subPages(written_.size());
  std::vector<std::uint64_t> chain;
  for (std::size_t left = written_.size(); left > 0; --left) {
    const std::size_t i = left - 1;
    Written& page = written_[i];
    if (!subPages[i].empty()) {
      std::reverse(subPages[i].begin(), subPages[i].end());
      page.directory.Set(NumbersTag(tag::kSubIfds, isBig_ ? kIfd8 : kIfd, subPages[i], order_));
    }
    const std::uint64_t position = block.Append(std::move(page.directory), dropped_);
    (page.parent ? subPages[*page.parent] : chain).push_back(position);
  }
  for (std::size_t i = 1; i < chain.size(); ++i) block.Link(chain[i], chain[i - 1]);
  bytes_.Write(base, block.bytes().data(), block.bytes().size());
  const std::vector<unsigned char> header = TiffHeader(order_, isBig_, chain.back());
  bytes_.Write(0, header.data(), header.size());
  bytes_.Check();
}

}  // namespace kxcms::image
