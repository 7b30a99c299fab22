#include "tools/image/SameSamples.h"

#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/SaturatingMath.h"
#include "tools/image/ImageError.h"
#include "tools/image/JpegDecoder.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/TiffDirectories.h"

namespace kxcms::image {

namespace {

using Bytes = std::vector<unsigned char>;

/// Positions of all directories of pages, in the order in which they are found.
std::vector<std::uint64_t> PagesOf(const InputBytes& bytes) {
  TiffDirectories directories(bytes);
  std::vector<std::uint64_t> found;
  std::vector<std::uint64_t> waiting = {directories.first()};
  while (!waiting.empty()) {
    const std::uint64_t position = waiting.back();
    waiting.pop_back();
    const TiffDirectories::Raw raw = directories.Read(position);
    found.push_back(position);
    if (raw.next != 0) waiting.push_back(raw.next);
    for (const Tag& tag : raw.tags) {
      if (tag.number != tag::kSubIfds) continue;
      for (std::uint64_t i = 0; i < tag.count; ++i) {
        waiting.push_back(UnsignedItem(tag, i, directories.order()).value_or(0));
      }
    }
  }
  return found;
}

/// A libtiff handle on a file as it is. What libtiff has to say becomes an `ImageError`.
class TiffPieces {
 public:
  explicit TiffPieces(const InputBytes& bytes) : bytes_(bytes) {
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, KeepMessage, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, KeepMessage, this);
    constexpr std::uint64_t kMostForByte = 256;
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        options,
        static_cast<tmsize_t>(kFreeMemory + std::min(SaturatingProduct(kMostForByte, bytes.size()),
                                                     std::uint64_t{1} << 62)));
    // "m": no mapping into memory; "h": the header alone, no directory; "c": strips as they are.
    tiff_ = TIFFClientOpenExt("", "rmhc", this, ReadAt, WriteNothing, Seek, CloseNothing, Size,
                              nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    if (tiff_ == nullptr) RefuseDamaged(message_);
  }
  ~TiffPieces() { TIFFClose(tiff_); }
  TiffPieces(const TiffPieces&) = delete;
  TiffPieces& operator=(const TiffPieces&) = delete;

  void Select(std::uint64_t directory) {
    message_[0] = '\0';
    if (TIFFSetSubDirectory(tiff_, directory) != 1) RefuseDamaged(message_);
    // What libtiff warns of in a directory is the same in both files.
    message_[0] = '\0';
    compression_ = Number<std::uint16_t>(TIFFTAG_COMPRESSION);
    if (TIFFIsCODECConfigured(compression_) != 1) {
      RefuseForm("compressed by method " + std::to_string(compression_) +
                 ", which cannot be decoded to compare the pixels");
    }
    isTiled_ = TIFFIsTiled(tiff_) != 0;
  }

  /// What the samples mean. Two pages that differ here are not the same.
  std::array<std::uint64_t, 10> Form() const {
    return {Number<std::uint32_t>(TIFFTAG_IMAGEWIDTH),
            Number<std::uint32_t>(TIFFTAG_IMAGELENGTH),
            Number<std::uint16_t>(TIFFTAG_BITSPERSAMPLE),
            Number<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL),
            Number<std::uint16_t>(TIFFTAG_SAMPLEFORMAT),
            Number<std::uint16_t>(TIFFTAG_PLANARCONFIG),
            Number<std::uint16_t>(TIFFTAG_PHOTOMETRIC),
            compression_,
            Count(),
            PieceBytes()};
  }
  std::uint32_t Count() const {
    return isTiled_ ? TIFFNumberOfTiles(tiff_) : TIFFNumberOfStrips(tiff_);
  }
  std::uint64_t PieceBytes() const {
    return isTiled_ ? TIFFTileSize64(tiff_) : TIFFStripSize64(tiff_);
  }
  bool IsPlain() const { return compression_ == COMPRESSION_NONE; }
  /// Where a strip or tile that is not compressed stands.
  std::pair<std::uint64_t, std::uint64_t> PlainPiece(std::uint32_t index) const {
    return {TIFFGetStrileOffset(tiff_, index), TIFFGetStrileByteCount(tiff_, index)};
  }

  /// Decodes a strip or tile. @return its bytes
  std::size_t Read(std::uint32_t index, Bytes& to) {
    const auto room = static_cast<tmsize_t>(to.size());
    const tmsize_t read = isTiled_ ? TIFFReadEncodedTile(tiff_, index, to.data(), room)
                                   : TIFFReadEncodedStrip(tiff_, index, to.data(), room);
    if (read < 0 || message_[0] != '\0') {
      RefuseDamaged(message_[0] != '\0' ? message_ : "its pixels cannot be decoded");
    }
    return static_cast<std::size_t>(read);
  }

 private:
  template <typename Value>
  std::uint64_t Number(std::uint32_t tag) const {
    Value value = 0;
    return TIFFGetFieldDefaulted(tiff_, tag, &value) == 1 ? value : 0;
  }
  static int KeepMessage(TIFF*, void* handle, const char*, const char* format, va_list arguments) {
    // Room of its own: no exception may pass through libtiff. What follows is a consequence.
    auto& message = static_cast<TiffPieces*>(handle)->message_;
    if (message[0] == '\0') std::vsnprintf(message, sizeof message, format, arguments);
    return 1;
  }
  static tmsize_t ReadAt(thandle_t handle, void* to, tmsize_t count) {
    auto& self = *static_cast<TiffPieces*>(handle);
    const auto wanted = static_cast<std::uint64_t>(count);
    if (!self.bytes_.Holds(self.position_, wanted)) return 0;
    try {
      self.bytes_.Read(self.position_, static_cast<unsigned char*>(to),
                       static_cast<std::size_t>(wanted));
    } catch (const std::exception&) {
      return 0;
    }
    self.position_ += wanted;
    return count;
  }
  static tmsize_t WriteNothing(thandle_t, void*, tmsize_t) { return 0; }
  static toff_t Seek(thandle_t handle, toff_t offset, int from) {
    auto& self = *static_cast<TiffPieces*>(handle);
    if (from == SEEK_CUR) offset += self.position_;
    if (from == SEEK_END) offset += Size(handle);
    self.position_ = offset;
    return offset;
  }
  static int CloseNothing(thandle_t) { return 0; }
  static toff_t Size(thandle_t handle) { return static_cast<TiffPieces*>(handle)->bytes_.size(); }

  const InputBytes& bytes_;
  std::uint64_t position_ = 0;
  TIFF* tiff_ = nullptr;
  std::uint64_t compression_ = 0;
  bool isTiled_ = false;
  char message_[240] = "";
};

bool AreSameBytes(const InputBytes& one, std::uint64_t at, const InputBytes& other,
                  std::uint64_t otherAt, std::uint64_t count) {
  constexpr std::uint64_t kMostAtOnce = 1u << 20;
  Bytes a(static_cast<std::size_t>(std::min(count, kMostAtOnce))), b(a.size());
  while (count > 0) {
    const auto now = static_cast<std::size_t>(std::min<std::uint64_t>(count, a.size()));
    one.Read(at, a.data(), now);
    other.Read(otherAt, b.data(), now);
    if (std::memcmp(a.data(), b.data(), now) != 0) return false;
    at += now;
    otherAt += now;
    count -= now;
  }
  return true;
}

bool HaveSamePieces(TiffPieces& one, const InputBytes& oneBytes, TiffPieces& other,
                    const InputBytes& otherBytes) {
  const std::uint32_t count = one.Count();
  if (one.IsPlain()) {
    // Samples as they are; libtiff would hold a whole strip, which often is the image.
    for (std::uint32_t i = 0; i < count; ++i) {
      const auto [at, size] = one.PlainPiece(i);
      const auto [otherAt, otherSize] = other.PlainPiece(i);
      if (!oneBytes.Holds(at, size)) RefuseDamaged("its pixels are cut off");
      if (size != otherSize || !otherBytes.Holds(otherAt, size) ||
          !AreSameBytes(oneBytes, at, otherBytes, otherAt, size)) {
        return false;
      }
    }
    return true;
  }
  const std::uint64_t size = one.PieceBytes();
  CheckProportion(SaturatingProduct(size, 2), SaturatingProduct(size, count), oneBytes.size());
  Bytes a(static_cast<std::size_t>(size)), b(a.size());
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t read = one.Read(i, a);
    if (other.Read(i, b) != read || std::memcmp(a.data(), b.data(), read) != 0) return false;
  }
  return true;
}

bool AreSameTiff(const InputBytes& one, const InputBytes& other) {
  const std::vector<std::uint64_t> pages = PagesOf(one), otherPages = PagesOf(other);
  if (pages.size() != otherPages.size()) return false;
  TiffPieces pieces(one), otherPieces(other);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    pieces.Select(pages[i]);
    otherPieces.Select(otherPages[i]);
    if (pieces.Form() != otherPieces.Form()) return false;
    if (!HaveSamePieces(pieces, one, otherPieces, other)) return false;
  }
  return true;
}

std::array<std::uint64_t, 4> FormOf(const jpeg_decompress_struct& info) {
  return {info.output_width, info.output_height, static_cast<std::uint64_t>(info.output_components),
          static_cast<std::uint64_t>(info.jpeg_color_space)};
}

/// Of the components as they are.
bool AreSameJpeg(const InputBytes& one, const InputBytes& other) {
  JpegDecoder decoder(one), otherDecoder(other);
  decoder.ReadHeader(false);
  const jpeg_decompress_struct& info = decoder.info();
  const std::uint64_t pixelBytes =
      SaturatingProduct(std::uint64_t{info.image_width} * info.image_height,
                        static_cast<std::uint64_t>(info.num_components));
  // Coefficients are of 16 bits, and wait in both files.
  CheckProportion(decoder.HasSeveralScans() ? SaturatingProduct(pixelBytes, 4) : 0, pixelBytes,
                  one.size());
  decoder.Start(info.jpeg_color_space);
  otherDecoder.ReadHeader(false);
  otherDecoder.Start(otherDecoder.info().jpeg_color_space);
  const auto form = FormOf(info);
  if (form != FormOf(otherDecoder.info())) return false;
  const auto [width, height, components, space] = form;
  Bytes a(static_cast<std::size_t>(width * components)), b(a.size());
  for (std::uint64_t y = 0; y < height; ++y) {
    decoder.ReadRow(a.data());
    otherDecoder.ReadRow(b.data());
    if (a != b) return false;
  }
  return true;
}

/// A libpng decoder of the samples as they are; each call behind a setjmp likewise.
class PngRows {
 public:
  explicit PngRows(const InputBytes& bytes) : bytes_(bytes) {
    Create();
    png_set_read_fn(png_, this, ReadNext);
    // Profiles and the other chunks are judged elsewhere.
    png_set_option(png_, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_crc_action(png_, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
  }
  ~PngRows() { png_destroy_read_struct(&png_, &info_, nullptr); }
  PngRows(const PngRows&) = delete;
  PngRows& operator=(const PngRows&) = delete;

  void ReadHeader() {
    if (setjmp(leave_) != 0) Fail();
    png_read_info(png_, info_);
  }
  void Start() {
    if (setjmp(leave_) != 0) Fail();
    passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
  }
  std::array<std::uint64_t, 6> Form() const {
    return {png_get_image_width(png_, info_), png_get_image_height(png_, info_),
            png_get_bit_depth(png_, info_),   png_get_color_type(png_, info_),
            png_get_rowbytes(png_, info_),    static_cast<std::uint64_t>(passes_)};
  }
  void Read(unsigned char* to) {
    if (setjmp(leave_) != 0) Fail();
    png_read_row(png_, to, nullptr);
  }
  void ReadEnd() {
    if (setjmp(leave_) != 0) Fail();
    png_read_end(png_, nullptr);
  }

 private:
  void Create() {
    if (setjmp(leave_) == 0) {
      png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, Leave, Leave);
      if (png_ != nullptr) info_ = png_create_info_struct(png_);
    }
    if (info_ != nullptr) return;
    png_destroy_read_struct(&png_, nullptr, nullptr);
    throw std::bad_alloc();
  }
  [[noreturn]] static void Leave(png_structp png, png_const_charp message) {
    auto& self = *static_cast<PngRows*>(png_get_error_ptr(png));
    std::snprintf(self.message_, sizeof self.message_, "%s", message);
    std::longjmp(self.leave_, 1);
  }
  [[noreturn]] void Fail() const { RefuseDamaged(message_); }
  static void ReadNext(png_structp png, png_bytep to, png_size_t count) {
    auto& self = *static_cast<PngRows*>(png_get_io_ptr(png));
    bool isRead = self.bytes_.Holds(self.position_, count);
    try {
      if (isRead) self.bytes_.Read(self.position_, to, count);
    } catch (const std::exception&) {
      isRead = false;
    }
    if (!isRead) png_error(png, "cut off");
    self.position_ += count;
  }

  const InputBytes& bytes_;
  std::uint64_t position_ = 0;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  int passes_ = 1;
  std::jmp_buf leave_;
  char message_[200] = {};
};

bool AreSamePng(const InputBytes& one, const InputBytes& other) {
  PngRows rows(one), otherRows(other);
  for (PngRows* const each : {&rows, &otherRows}) {
    each->ReadHeader();
    each->Start();
  }
  if (rows.Form() != otherRows.Form()) return false;
  const auto [width, height, depth, type, rowBytes, passes] = rows.Form();
  const std::uint64_t pixelBytes = SaturatingProduct(rowBytes, height);
  const bool isInterlaced = passes > 1;
  CheckProportion(SaturatingProduct(isInterlaced ? pixelBytes : rowBytes, 2), pixelBytes,
                  one.size());
  // An interlaced image comes in passes, each of which adds to its rows.
  Bytes a(static_cast<std::size_t>(isInterlaced ? pixelBytes : rowBytes)), b(a.size());
  for (std::uint64_t pass = 0; pass < passes; ++pass) {
    for (std::uint64_t y = 0; y < height; ++y) {
      const std::size_t at = isInterlaced ? static_cast<std::size_t>(y * rowBytes) : 0;
      rows.Read(a.data() + at);
      otherRows.Read(b.data() + at);
      if (!isInterlaced && a != b) return false;
    }
  }
  rows.ReadEnd();
  otherRows.ReadEnd();
  return a == b;
}

}  // namespace

bool HaveSameSamples(Format format, const InputBytes& one, const InputBytes& other) {
  switch (format) {
    case Format::kJpeg:
      return AreSameJpeg(one, other);
    case Format::kPng:
      return AreSamePng(one, other);
    case Format::kTiff:
      break;
  }
  return AreSameTiff(one, other);
}

}  // namespace kxcms::image
