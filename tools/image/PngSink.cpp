#include "tools/image/PngSink.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

/// A libpng encoder. As with the decoder, each call stands behind a setjmp, in a function without
/// objects that would have to be destroyed.
class PngEncoder {
 public:
  explicit PngEncoder(OutputBytes& bytes) : bytes_(bytes) {
    Create();
    png_set_write_fn(png_, this, Write, [](png_structp) {});
    png_set_option(png_, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  }
  ~PngEncoder() { png_destroy_write_struct(&png_, &info_); }
  PngEncoder(const PngEncoder&) = delete;
  PngEncoder& operator=(const PngEncoder&) = delete;

  void SetForm(const Page& page, bool hasAlpha) {
    if (setjmp(leave_) != 0) Fail();
    png_set_IHDR(png_, info_, page.width, page.height, static_cast<int>(page.bits),
                 hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  }
  void SetProfile(const std::vector<unsigned char>& profile) {
    if (setjmp(leave_) != 0) Fail();
    png_set_iCCP(png_, info_, "ICC profile", PNG_COMPRESSION_TYPE_BASE, profile.data(),
                 static_cast<png_uint_32>(profile.size()));
  }
  /// @return whether libpng took the profile.
  bool HasProfile() const { return png_get_valid(png_, info_, PNG_INFO_iCCP) != 0; }
  void SetResolution(const Resolution& resolution) {
    if (setjmp(leave_) != 0) Fail();
    // Per metre; without a unit only the proportion counts, which small numbers would round away.
    constexpr double kPerMetre[] = {1000, 1 / 0.0254, 100};
    const double factor = kPerMetre[resolution.unit - 1];
    const auto count = [factor](double value) {
      return static_cast<png_uint_32>(
          std::clamp(std::round(value * factor), 1.0, double{PNG_UINT_31_MAX}));
    };
    png_set_pHYs(png_, info_, count(resolution.x), count(resolution.y),
                 resolution.unit == 1 ? PNG_RESOLUTION_UNKNOWN : PNG_RESOLUTION_METER);
  }
  void SetExif(std::vector<unsigned char>& exif) {
    if (setjmp(leave_) != 0) Fail();
    png_set_eXIf_1(png_, info_, static_cast<png_uint_32>(exif.size()), exif.data());
  }
  void SetText(char* keyword, char* content, bool isInternational) {
    if (setjmp(leave_) != 0) Fail();
    png_text text = {};
    text.compression = isInternational ? PNG_ITXT_COMPRESSION_NONE : PNG_TEXT_COMPRESSION_NONE;
    text.key = keyword;
    text.text = content;
    png_set_text(png_, info_, &text, 1);
  }
  void Start(bool is16) {
    if (setjmp(leave_) != 0) Fail();
    png_write_info(png_, info_);
    if (is16 && std::endian::native == std::endian::little) png_set_swap(png_);
  }
  void WriteRow(const unsigned char* row) {
    if (setjmp(leave_) != 0) Fail();
    png_write_row(png_, row);
  }
  void Finish() {
    if (setjmp(leave_) != 0) Fail();
    png_write_end(png_, nullptr);
    if (!Flush()) Fail();
  }

 private:
  // libpng speaks up while it makes its structs, too.
  void Create() {
    if (setjmp(leave_) == 0) {
      png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, Leave, Leave);
      if (png_ != nullptr) info_ = png_create_info_struct(png_);
    }
    if (info_ != nullptr) return;
    png_destroy_write_struct(&png_, nullptr);
    throw std::bad_alloc();
  }
  // Warnings too: libpng warns of what it leaves out.
  [[noreturn]] static void Leave(png_structp png, png_const_charp message) {
    auto& self = *static_cast<PngEncoder*>(png_get_error_ptr(png));
    std::snprintf(self.message_, sizeof self.message_, "%s", message);
    std::longjmp(self.leave_, 1);
  }
  [[noreturn]] void Fail() const {
    bytes_.Check();
    throw ImageError(ImageError::Kind::kUnwritable, message_);
  }
  static void Write(png_structp png, png_bytep from, png_size_t count) {
    auto& self = *static_cast<PngEncoder*>(png_get_io_ptr(png));
    if (!self.Put(from, count)) png_error(png, "write error");
  }
  // libpng hands some chunks over byte by byte.
  bool Put(const unsigned char* from, std::size_t count) {
    if (count > buffer_.size() - filled_ && !Flush()) return false;
    if (count > buffer_.size()) return bytes_.Write(bytes_.size(), from, count);
    std::memcpy(buffer_.data() + filled_, from, count);
    filled_ += count;
    return true;
  }
  bool Flush() {
    const std::size_t count = std::exchange(filled_, 0);
    return bytes_.Write(bytes_.size(), buffer_.data(), count);
  }

  OutputBytes& bytes_;
  std::array<unsigned char, 65536> buffer_;
  std::size_t filled_ = 0;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::jmp_buf leave_;
  char message_[200] = {};
};

PngSink::PngSink(OutputBytes& bytes, std::vector<std::string>& dropped)
    : bytes_(bytes), dropped_(dropped) {}

PngSink::~PngSink() = default;

void PngSink::BeginPage(Page page) {
  page_ = std::move(page);
  alpha_.reset();
  for (std::size_t i = 0; i < page_.extras.size() && !alpha_; ++i) {
    if (page_.extras[i] == Extra::kAlpha) alpha_ = 3 + i;
  }
  if (page_.extras.size() > (alpha_ ? 1 : 0)) dropped_.emplace_back("extra samples");
  row_.resize(std::size_t{page_.width} * (alpha_ ? 4 : 3) * (page_.bits / 8));
  const std::optional<Resolution> resolution = ResolutionOf(page_.metadata);
  constexpr std::size_t kMostExif = 64u << 20;
  Places places = PlacesOf(page_.metadata, kMostExif, dropped_);

  encoder_ = std::make_unique<PngEncoder>(bytes_);
  encoder_->SetForm(page_, alpha_.has_value());
  if (page_.profile) {
    encoder_->SetProfile(*page_.profile);
    if (!encoder_->HasProfile()) {
      throw ImageError(ImageError::Kind::kUnwritable, "PNG cannot hold this profile");
    }
  }
  if (resolution) encoder_->SetResolution(*resolution);
  if (!places.exif.empty()) encoder_->SetExif(places.exif);
  if (!places.photoshop.empty()) dropped_.emplace_back("IPTC and Photoshop's blocks");
  if (std::find(places.xmp.begin(), places.xmp.end(), 0) != places.xmp.end()) {
    dropped_.emplace_back("XMP (not a text)");
  } else if (!places.xmp.empty()) {
    char keyword[] = "XML:com.adobe.xmp";
    std::string text(places.xmp.begin(), places.xmp.end());
    encoder_->SetText(keyword, text.data(), true);
  }
  for (Comment& comment : page_.metadata.comments) {
    if (comment.keyword.empty()) comment.keyword = "Comment";
    // Its end, where a C program wrote it.
    while (comment.text.ends_with('\0')) comment.text.pop_back();
    if (comment.text.find('\0') != std::string::npos) {
      dropped_.push_back("text " + comment.keyword + " (not a text)");
      continue;
    }
    encoder_->SetText(comment.keyword.data(), comment.text.data(), comment.isInternational);
  }
  encoder_->Start(page_.bits == 16);
}

void PngSink::WriteRows(const unsigned char* from, std::uint32_t rows) {
  const std::size_t sampleBytes = page_.bits / 8;
  for (; rows > 0; --rows) {
    unsigned char* to = row_.data();
    for (std::uint32_t x = 0; x < page_.width; ++x, from += page_.PixelBytes()) {
      std::memcpy(to, from, 3 * sampleBytes);
      to += 3 * sampleBytes;
      if (!alpha_) continue;
      std::memcpy(to, from + *alpha_ * sampleBytes, sampleBytes);
      to += sampleBytes;
    }
    encoder_->WriteRow(row_.data());
  }
}

void PngSink::EndPage() {
  encoder_->Finish();
  bytes_.Check();
}

void PngSink::Finish() {}

}  // namespace kxcms::image
