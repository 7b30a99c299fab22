#include "tools/image/PngSource.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/SaturatingMath.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

namespace {

constexpr char kXmpKeyword[] = "XML:com.adobe.xmp";
// Chunks whose contents are in the pixels, the profile or the metadata. Others are of the file's
// own colours (gAMA, cHRM, bKGD), say how an animation goes on, or are private.
constexpr std::array<std::string_view, 13> kTaken = {"IHDR", "IDAT", "IEND", "iCCP", "sRGB",
                                                     "tRNS", "eXIf", "tEXt", "zTXt", "iTXt",
                                                     "pHYs", "tIME", "sBIT"};
// What profile and texts may expand to, together: far above all real ones.
constexpr png_alloc_size_t kMostExpanded = 64u << 20;

/// A PNG file with the chunks behind its pixels moved in front of them, where they are allowed to
/// stand too: all metadata are there before the first row is.
class MetadataFirst {
 public:
  explicit MetadataFirst(const InputBytes& bytes) : bytes_(bytes) {
    constexpr std::uint64_t kSignature = 8, kChunk = 12;  // length, type, check sum
    std::uint64_t firstData = 0, behindData = 0, at = kSignature;
    for (;;) {
      unsigned char start[8];
      if (!bytes.Holds(at, kChunk)) RefuseDamaged("cut off");
      bytes.Read(at, start, sizeof start);
      const std::uint64_t chunk = kChunk + NumberAt(start, 4, ByteOrder::kBig);
      if (!bytes.Holds(at, chunk)) RefuseDamaged("cut off");
      const bool isData = std::memcmp(start + 4, "IDAT", 4) == 0;
      const std::string type(start + 4, start + 8);
      if (type == "zTXt" || type == "iTXt" || type == "iCCP") ++expandingChunks_;
      if (std::find(kTaken.begin(), kTaken.end(), type) == kTaken.end()) Drop("chunk " + type);
      if (isData && firstData == 0) firstData = at;
      if (isData) behindData = at + chunk;
      if (std::memcmp(start + 4, "IEND", 4) == 0) {
        if (firstData == 0) RefuseDamaged("no pixels");
        pieces_ = {
            Piece{0, firstData}, {behindData, at}, {firstData, behindData}, {at, at + chunk}};
        if (at + chunk < bytes.size()) Drop("bytes behind the image");
        return;
      }
      at += chunk;
    }
  }

  /// How many chunks may expand to more bytes than they have.
  std::size_t ExpandingChunks() const { return expandingChunks_; }

  /// Names of what is in the file and not taken over.
  const std::vector<std::string>& dropped() const { return dropped_; }

  /// @return whether there were so many bytes left.
  bool Read(unsigned char* to, std::size_t count) {
    while (count > 0) {
      if (taken_ == filled_ && !Fill()) return false;
      const std::size_t most = std::min(count, filled_ - taken_);
      std::memcpy(to, buffer_.data() + taken_, most);
      taken_ += most;
      to += most;
      count -= most;
    }
    return true;
  }

 private:
  struct Piece {
    std::uint64_t begin, end;
  };

  /// libpng asks for some chunks byte by byte. @return whether there was anything left.
  bool Fill() {
    while (next_ < pieces_.size() && pieces_[next_].begin == pieces_[next_].end) ++next_;
    if (next_ == pieces_.size()) return false;
    Piece& piece = pieces_[next_];
    const auto count = std::min<std::uint64_t>(buffer_.size(), piece.end - piece.begin);
    bytes_.Read(piece.begin, buffer_.data(), static_cast<std::size_t>(count));
    piece.begin += count;
    filled_ = static_cast<std::size_t>(count);
    taken_ = 0;
    return true;
  }

  /// Once each. A file may have more kinds of chunks than anybody wants to read of.
  void Drop(const std::string& name) {
    constexpr std::size_t kMost = 50;
    const bool isThere = std::find(dropped_.begin(), dropped_.end(), name) != dropped_.end();
    if (isThere || dropped_.size() > kMost) return;
    dropped_.push_back(dropped_.size() < kMost ? name : "further chunks");
  }

  const InputBytes& bytes_;
  std::array<Piece, 4> pieces_;
  std::size_t next_ = 0;
  std::array<unsigned char, 65536> buffer_;
  std::size_t filled_ = 0;
  std::size_t taken_ = 0;  ///< of what is filled
  std::size_t expandingChunks_ = 0;
  std::vector<std::string> dropped_;
};

}  // namespace

/// A libpng decoder. libpng leaves a failed call by its error function, which must not return: each
/// call stands behind a setjmp, in a function without objects that would have to be destroyed.
class PngDecoder {
 public:
  explicit PngDecoder(const InputBytes& bytes) : bytes_(bytes) {
    Create();
    png_set_read_fn(png_, this, Read);
    // Profiles are judged elsewhere.
    png_set_option(png_, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_chunk_malloc_max(png_, kMostExpanded / (bytes_.ExpandingChunks() + 1));
    png_set_crc_action(png_, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
  }
  ~PngDecoder() { png_destroy_read_struct(&png_, &info_, nullptr); }
  PngDecoder(const PngDecoder&) = delete;
  PngDecoder& operator=(const PngDecoder&) = delete;

  png_structp png() { return png_; }
  png_infop info() { return info_; }
  const std::vector<std::string>& dropped() const { return bytes_.dropped(); }

  void ReadHeader() {
    if (setjmp(leave_) != 0) Fail();
    png_read_info(png_, info_);
  }
  /// Rows as the machine holds them, with alpha where a colour is transparent.
  void Start() {
    if (setjmp(leave_) != 0) Fail();
    if (png_get_valid(png_, info_, PNG_INFO_tRNS) != 0) png_set_tRNS_to_alpha(png_);
    if constexpr (std::endian::native == std::endian::little) {
      if (png_get_bit_depth(png_, info_) == 16) png_set_swap(png_);
    }
    if (png_get_interlace_type(png_, info_) != PNG_INTERLACE_NONE) {
      png_set_interlace_handling(png_);
    }
    png_read_update_info(png_, info_);
  }
  void ReadRow(unsigned char* to) {
    if (setjmp(leave_) != 0) Fail();
    png_read_row(png_, to, nullptr);
  }
  void ReadEnd() {
    if (setjmp(leave_) != 0) Fail();
    png_read_end(png_, nullptr);
  }

 private:
  // libpng speaks up while it makes its structs, too.
  void Create() {
    if (setjmp(leave_) == 0) {
      png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, Leave, Leave);
      if (png_ != nullptr) info_ = png_create_info_struct(png_);
    }
    if (info_ != nullptr) return;
    png_destroy_read_struct(&png_, nullptr, nullptr);
    throw std::bad_alloc();
  }
  // Warnings too: libpng warns of what it leaves out.
  [[noreturn]] static void Leave(png_structp png, png_const_charp message) {
    auto& self = *static_cast<PngDecoder*>(png_get_error_ptr(png));
    std::snprintf(self.message_, sizeof self.message_, "%s", message);
    std::longjmp(self.leave_, 1);
  }
  [[noreturn]] void Fail() const { RefuseDamaged(message_); }

  static void Read(png_structp png, png_bytep to, png_size_t count) {
    auto& self = *static_cast<PngDecoder*>(png_get_io_ptr(png));
    bool isRead = false;
    try {
      isRead = self.bytes_.Read(to, count);
    } catch (const std::exception&) {
    }
    if (!isRead) png_error(png, "cut off");
  }

  MetadataFirst bytes_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::jmp_buf leave_;
  char message_[200] = {};
};

namespace {

void ReadTexts(png_structp png, png_infop info, Page& page) {
  png_textp texts = nullptr;
  const int count = png_get_text(png, info, &texts, nullptr);
  for (int i = 0; i < count; ++i) {
    const png_text& text = texts[i];
    const bool isInternational = text.compression >= PNG_ITXT_COMPRESSION_NONE;
    const std::size_t length = isInternational ? text.itxt_length : text.text_length;
    const std::string content(text.text == nullptr ? "" : text.text, length);
    if (isInternational && std::strcmp(text.key, kXmpKeyword) == 0) {
      page.metadata.directory.Set(BytesTag(tag::kXmp, kByte, {content.begin(), content.end()}));
    } else {
      page.metadata.comments.push_back({text.key, content, isInternational});
    }
  }
}

void ReadMetadata(png_structp png, png_infop info, Page& page) {
  png_bytep exif = nullptr;
  png_uint_32 exifBytes = 0;
  if (png_get_eXIf_1(png, info, &exifBytes, &exif) != 0) {
    ReadExif({exif, exifBytes}, page.metadata, page.dropped);
  }
  ReadTexts(png, info, page);
  png_uint_32 x = 0, y = 0;
  int unit = 0;
  if (png_get_pHYs(png, info, &x, &y, &unit) != 0 && x != 0 && y != 0) {
    // TIFF knows no metres: a hundredth of them is a centimetre.
    const bool isMetre = unit == PNG_RESOLUTION_METER;
    AddResolution(page.metadata, x, y, isMetre ? 100 : 1, isMetre ? 3 : 1);
  }
  png_timep time = nullptr;
  constexpr std::uint16_t kDateTime = 306;
  if (png_get_tIME(png, info, &time) != 0 && page.metadata.directory.Find(kDateTime) == nullptr) {
    char text[32];
    std::snprintf(text, sizeof text, "%04u:%02u:%02u %02u:%02u:%02u", unsigned{time->year},
                  unsigned{time->month}, unsigned{time->day}, unsigned{time->hour},
                  unsigned{time->minute}, unsigned{time->second});
    page.metadata.directory.Set(BytesTag(kDateTime, kAscii, {text, text + std::strlen(text) + 1}));
  }
}

const char* KindOf(int colorType) {
  return colorType == PNG_COLOR_TYPE_PALETTE ? "palette colours" : "grey";
}

}  // namespace

PngSource::PngSource(int fd, std::uint64_t sizeBytes) : bytes_(fd, sizeBytes) {
  PngDecoder decoder(bytes_);
  decoder.ReadHeader();
  png_structp png = decoder.png();
  png_infop info = decoder.info();
  Page page;
  const int colorType = png_get_color_type(png, info);
  if (colorType != PNG_COLOR_TYPE_RGB && colorType != PNG_COLOR_TYPE_RGB_ALPHA) {
    page.refusal = std::string("holds ") + KindOf(colorType) + ", not RGB";
    pages_.push_back(std::move(page));
    return;
  }
  page.width = png_get_image_width(png, info);
  page.height = png_get_image_height(png, info);
  page.bits = png_get_bit_depth(png, info);
  page.layout.compression = 8;
  page.layout.predictor = 2;  // the nearest to PNG's filters
  if (colorType == PNG_COLOR_TYPE_RGB_ALPHA || png_get_valid(png, info, PNG_INFO_tRNS) != 0) {
    page.extras = {Extra::kAlpha};
  }
  png_charp name = nullptr;
  int method = 0;
  png_bytep profile = nullptr;
  png_uint_32 profileBytes = 0;
  if (png_get_iCCP(png, info, &name, &method, &profile, &profileBytes) != 0) {
    page.profile = std::vector<unsigned char>(profile, profile + profileBytes);
  } else {
    page.isSrgb = png_get_valid(png, info, PNG_INFO_sRGB) != 0;
  }
  page.dropped = decoder.dropped();
  ReadMetadata(png, info, page);
  const std::uint64_t pixelBytes = SaturatingProduct(page.RowBytes(), page.height);
  const bool isInterlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
  page.memoryBytes = isInterlaced ? pixelBytes : 4 * page.RowBytes();
  CheckProportion(page.memoryBytes, pixelBytes, sizeBytes);
  pages_.push_back(std::move(page));
}

PngSource::~PngSource() = default;

void PngSource::Select(std::size_t index) {
  if (!pages_.at(index).refusal.empty()) RefuseForm(pages_[index].refusal);
  decoder_ = std::make_unique<PngDecoder>(bytes_);
  decoder_->ReadHeader();
  decoder_->Start();
  row_ = 0;
  image_.clear();
  if (png_get_interlace_type(decoder_->png(), decoder_->info()) == PNG_INTERLACE_NONE) return;
  const Page& page = pages_[0];
  image_.resize(page.RowBytes() * page.height);
  constexpr int kPasses = 7;
  for (int pass = 0; pass < kPasses; ++pass) {
    for (std::uint32_t row = 0; row < page.height; ++row) {
      decoder_->ReadRow(image_.data() + row * page.RowBytes());
    }
  }
}

void PngSource::ReadRows(unsigned char* to, std::uint32_t rows) {
  const Page& page = pages_[0];
  for (; rows > 0; --rows, ++row_, to += page.RowBytes()) {
    if (image_.empty()) {
      decoder_->ReadRow(to);
    } else {
      std::memcpy(to, image_.data() + row_ * page.RowBytes(), page.RowBytes());
    }
    if (row_ + 1 == page.height) decoder_->ReadEnd();
  }
}

}  // namespace kxcms::image
