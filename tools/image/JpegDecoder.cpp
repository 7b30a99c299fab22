#include "tools/image/JpegDecoder.h"

#include <jerror.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>

#include "tools/image/ImageError.h"

namespace kxcms::image {

namespace {

// Real progressive files have about ten; each one goes through all coefficients again.
constexpr int kMostScans = 200;

}  // namespace

JpegDecoder::JpegDecoder(const InputBytes& bytes) : bytes_(bytes) {
  info_.err = jpeg_std_error(&errors_);
  errors_.error_exit = [](j_common_ptr info) { Self(info).Leave(); };
  errors_.emit_message = [](j_common_ptr info, int level) { Self(info).Warn(level); };
  errors_.output_message = [](j_common_ptr) {};
  info_.client_data = this;
  if (setjmp(leave_) == 0) {
    jpeg_create_decompress(&info_);
  } else {
    Fail();
  }
  // jpeg_create_decompress clears it.
  info_.client_data = this;
  source_.init_source = [](j_decompress_ptr) {};
  source_.fill_input_buffer = [](j_decompress_ptr info) { return Self(info).Fill(); };
  source_.skip_input_data = [](j_decompress_ptr info, long count) { Self(info).Skip(count); };
  source_.resync_to_restart = jpeg_resync_to_restart;
  source_.term_source = [](j_decompress_ptr) {};
  info_.src = &source_;
  progress_.progress_monitor = [](j_common_ptr info) {
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMostScans) {
      ERREXIT(info, JERR_BAD_PROGRESSION);
    }
  };
  info_.progress = &progress_;
}

JpegDecoder::~JpegDecoder() {
  jpeg_destroy_decompress(&info_);
}

void JpegDecoder::ReadHeader(bool keepMarkers) {
  if (setjmp(leave_) != 0) Fail();
  if (keepMarkers) {
    jpeg_save_markers(&info_, JPEG_COM, 0xFFFF);
    for (int i = 0; i < 16; ++i) jpeg_save_markers(&info_, JPEG_APP0 + i, 0xFFFF);
  }
  jpeg_read_header(&info_, TRUE);
}

std::optional<std::vector<unsigned char>> JpegDecoder::Profile() {
  JOCTET* data = nullptr;
  unsigned size = 0;
  if (!ReadProfile(data, size)) return std::nullopt;
  std::vector<unsigned char> profile(data, data + size);
  std::free(data);
  return profile;
}

void JpegDecoder::Start(J_COLOR_SPACE colors) {
  if (setjmp(leave_) != 0) Fail();
  info_.out_color_space = colors;
  jpeg_start_decompress(&info_);
}

void JpegDecoder::ReadRow(unsigned char* to) {
  if (setjmp(leave_) != 0) Fail();
  JSAMPROW row = to;
  jpeg_read_scanlines(&info_, &row, 1);
  if (info_.output_scanline == info_.output_height) jpeg_finish_decompress(&info_);
}

bool JpegDecoder::ReadProfile(JOCTET*& data, unsigned& size) {
  if (setjmp(leave_) != 0) Fail();
  return jpeg_read_icc_profile(&info_, &data, &size) == TRUE;
}

void JpegDecoder::Leave() {
  errors_.format_message(reinterpret_cast<j_common_ptr>(&info_), message_);
  std::longjmp(leave_, 1);
}

void JpegDecoder::Warn(int level) {
  // A warning tells of bytes that were made up or passed over, but for this one.
  if (level < 0 && errors_.msg_code != JWRN_JFIF_MAJOR) Leave();
}

void JpegDecoder::Fail() {
  if (errors_.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
  RefuseDamaged(message_);
}

boolean JpegDecoder::Fill() {
  const std::uint64_t left = bytes_.size() - position_;
  if (left == 0) ERREXIT(&info_, JERR_INPUT_EOF);
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer_.size()));
  bool isRead = true;
  try {
    bytes_.Read(position_, buffer_.data(), count);
  } catch (const std::exception&) {
    isRead = false;
  }
  if (!isRead) ERREXIT(&info_, JERR_FILE_READ);
  position_ += count;
  source_.next_input_byte = buffer_.data();
  source_.bytes_in_buffer = count;
  return TRUE;
}

void JpegDecoder::Skip(long count) {
  if (count <= 0) return;
  const auto skipped = static_cast<std::uint64_t>(count);
  if (skipped <= source_.bytes_in_buffer) {
    source_.next_input_byte += skipped;
    source_.bytes_in_buffer -= skipped;
    return;
  }
  const std::uint64_t further = skipped - source_.bytes_in_buffer;
  position_ += std::min(further, bytes_.size() - position_);
  source_.bytes_in_buffer = 0;
}

}  // namespace kxcms::image
