#include "tools/image/JpegSink.h"

// libjpeg's header needs FILE and size_t.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/JpegMarkers.h"
#include "tools/image/XmpPacket.h"

namespace kxcms::image {

/// A libjpeg encoder. As with the decoder, each call stands behind a setjmp, in a function without
/// objects that would have to be destroyed.
class JpegEncoder {
 public:
  explicit JpegEncoder(OutputBytes& bytes) : bytes_(bytes) {
    info_.err = jpeg_std_error(&errors_);
    errors_.error_exit = [](j_common_ptr info) { Self(info).Leave(); };
    errors_.emit_message = [](j_common_ptr, int) {};
    errors_.output_message = [](j_common_ptr) {};
    info_.client_data = this;
    if (setjmp(leave_) == 0) {
      jpeg_create_compress(&info_);
    } else {
      Fail();
    }
    // jpeg_create_compress clears it.
    info_.client_data = this;
    target_.init_destination = [](j_compress_ptr info) { Self(info).Empty(); };
    target_.empty_output_buffer = [](j_compress_ptr info) {
      Self(info).Flush(kBufferBytes);
      return TRUE;
    };
    target_.term_destination = [](j_compress_ptr info) {
      Self(info).Flush(kBufferBytes - Self(info).target_.free_in_buffer);
    };
    info_.dest = &target_;
  }
  ~JpegEncoder() { jpeg_destroy_compress(&info_); }
  JpegEncoder(const JpegEncoder&) = delete;
  JpegEncoder& operator=(const JpegEncoder&) = delete;

  void Start(const Page& page, int quality, const Resolution* resolution) {
    if (setjmp(leave_) != 0) Fail();
    info_.image_width = page.width;
    info_.image_height = page.height;
    info_.input_components = 3;
    info_.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality, TRUE);
    // Colours at half the resolution are the first thing that one sees of a high quality.
    constexpr int kFullColors = 90;
    if (quality >= kFullColors)
      info_.comp_info[0].h_samp_factor = info_.comp_info[0].v_samp_factor = 1;
    if (resolution != nullptr) {
      constexpr double kMostDensity = 65535;
      info_.density_unit = static_cast<UINT8>(resolution->unit - 1);
      info_.X_density =
          static_cast<UINT16>(std::clamp(std::round(resolution->x), 1.0, kMostDensity));
      info_.Y_density =
          static_cast<UINT16>(std::clamp(std::round(resolution->y), 1.0, kMostDensity));
    }
    jpeg_start_compress(&info_, TRUE);
  }

  void WriteMarker(int marker, std::string_view mark, std::span<const unsigned char> content) {
    if (setjmp(leave_) != 0) Fail();
    jpeg_write_m_header(&info_, marker, static_cast<unsigned>(mark.size() + content.size()));
    for (const char c : mark) jpeg_write_m_byte(&info_, static_cast<unsigned char>(c));
    for (const unsigned char c : content) jpeg_write_m_byte(&info_, c);
  }

  void WriteProfile(std::span<const unsigned char> profile) {
    if (setjmp(leave_) != 0) Fail();
    jpeg_write_icc_profile(&info_, profile.data(), static_cast<unsigned>(profile.size()));
  }

  void WriteRow(unsigned char* row) {
    if (setjmp(leave_) != 0) Fail();
    JSAMPROW rows = row;
    jpeg_write_scanlines(&info_, &rows, 1);
  }

  void Finish() {
    if (setjmp(leave_) != 0) Fail();
    jpeg_finish_compress(&info_);
  }

 private:
  static constexpr std::size_t kBufferBytes = 65536;

  template <typename Info>
  static JpegEncoder& Self(Info info) {
    return *static_cast<JpegEncoder*>(info->client_data);
  }
  [[noreturn]] void Leave() {
    errors_.format_message(reinterpret_cast<j_common_ptr>(&info_), message_);
    std::longjmp(leave_, 1);
  }
  [[noreturn]] void Fail() {
    bytes_.Check();
    if (errors_.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw ImageError(ImageError::Kind::kUnwritable, message_);
  }
  void Empty() {
    target_.next_output_byte = buffer_.data();
    target_.free_in_buffer = kBufferBytes;
  }
  void Flush(std::size_t count) {
    if (!bytes_.Write(bytes_.size(), buffer_.data(), count)) ERREXIT(&info_, JERR_FILE_WRITE);
    Empty();
  }

  OutputBytes& bytes_;
  std::array<unsigned char, kBufferBytes> buffer_;
  jpeg_compress_struct info_ = {};
  jpeg_error_mgr errors_ = {};
  jpeg_destination_mgr target_ = {};
  std::jmp_buf leave_;
  char message_[JMSG_LENGTH_MAX] = {};
};

JpegSink::JpegSink(OutputBytes& bytes, int quality, std::vector<std::string>& dropped)
    : bytes_(bytes), quality_(quality), dropped_(dropped) {}

JpegSink::~JpegSink() = default;

void JpegSink::BeginPage(Page page) {
  if (page.bits != 8) {
    throw ImageError(ImageError::Kind::kUnwritable, "JPEG holds 8 bits a sample, not 16");
  }
  if (page.width > JPEG_MAX_DIMENSION || page.height > JPEG_MAX_DIMENSION) {
    throw ImageError(
        ImageError::Kind::kUnwritable,
        "JPEG holds at most " + std::to_string(JPEG_MAX_DIMENSION) + " pixels in width and height");
  }
  if (!page.extras.empty()) dropped_.emplace_back("alpha and other extra samples");
  page_ = std::move(page);
  std::vector<Comment> plain;  // which have markers of their own
  std::erase_if(page_.metadata.comments, [&plain](const Comment& comment) {
    if (comment.keyword.empty()) plain.push_back(comment);
    return comment.keyword.empty();
  });
  TextsToTags(page_.metadata);
  page_.metadata.comments.insert(page_.metadata.comments.end(), plain.begin(), plain.end());
  row_.resize(std::size_t{page_.width} * 3);
  const std::optional<Resolution> resolution = ResolutionOf(page_.metadata);
  const Places places = PlacesOf(page_.metadata, kMostInMarker - kExifMark.size(), dropped_);
  encoder_ = std::make_unique<JpegEncoder>(bytes_);
  encoder_->Start(page_, quality_, resolution ? &*resolution : nullptr);

  if (!places.exif.empty()) encoder_->WriteMarker(JPEG_APP0 + 1, kExifMark, places.exif);
  if (!places.xmp.empty()) WriteXmp(places.xmp);
  std::span<const unsigned char> blocks = places.photoshop;
  while (!blocks.empty()) {
    const std::size_t most = std::min(blocks.size(), kMostInMarker - kPhotoshopMark.size());
    encoder_->WriteMarker(JPEG_APP0 + 13, kPhotoshopMark, blocks.first(most));
    blocks = blocks.subspan(most);
  }
  if (page_.profile) encoder_->WriteProfile(*page_.profile);
  for (const Comment& comment : page_.metadata.comments) {
    const std::span<const unsigned char> text(
        reinterpret_cast<const unsigned char*>(comment.text.data()), comment.text.size());
    if (!comment.keyword.empty() || text.size() > kMostInMarker) {
      dropped_.push_back("text " + comment.keyword);
    } else {
      encoder_->WriteMarker(JPEG_COM, "", text);
    }
  }
}

void JpegSink::WriteXmp(std::span<const unsigned char> packet) {
  if (packet.size() <= kMostInMarker - kXmpMark.size()) {
    encoder_->WriteMarker(JPEG_APP0 + 1, kXmpMark, packet);
    return;
  }
  const DividedXmp divided = DivideXmp(packet);
  const auto bytesOf = [](const std::string& text) {
    return std::vector<unsigned char>(text.begin(), text.end());
  };
  encoder_->WriteMarker(JPEG_APP0 + 1, kXmpMark, bytesOf(divided.packet));
  constexpr std::size_t kMostInPart = kMostInMarker - kXmpRestMark.size() - kXmpDigestDigits - 8;
  for (std::size_t at = 0; at < divided.rest.size(); at += kMostInPart) {
    const std::size_t size = std::min(kMostInPart, divided.rest.size() - at);
    std::vector<unsigned char> part = bytesOf(divided.digest);
    AppendNumber(part, divided.rest.size(), 4, ByteOrder::kBig);
    AppendNumber(part, at, 4, ByteOrder::kBig);
    const auto from = divided.rest.begin() + static_cast<std::ptrdiff_t>(at);
    part.insert(part.end(), from, from + static_cast<std::ptrdiff_t>(size));
    encoder_->WriteMarker(JPEG_APP0 + 1, kXmpRestMark, part);
  }
}

void JpegSink::WriteRows(const unsigned char* from, std::uint32_t rows) {
  const std::size_t pixelBytes = page_.PixelBytes();
  for (; rows > 0; --rows) {
    for (std::size_t at = 0; at < row_.size(); at += 3, from += pixelBytes) {
      std::memcpy(row_.data() + at, from, 3);
    }
    encoder_->WriteRow(row_.data());
  }
}

void JpegSink::EndPage() {
  encoder_->Finish();
  bytes_.Check();
}

void JpegSink::Finish() {}

}  // namespace kxcms::image
