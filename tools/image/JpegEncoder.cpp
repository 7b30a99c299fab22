#include "tools/image/JpegEncoder.h"

#include <jerror.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "tools/image/ImageError.h"

namespace kxcms::image {

JpegEncoder::JpegEncoder(Writer write) : write_(std::move(write)) {
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

JpegEncoder::~JpegEncoder() {
  jpeg_destroy_compress(&info_);
}

void JpegEncoder::Start(const JpegForm& form) {
  if (setjmp(leave_) != 0) Fail();
  info_.image_width = form.width;
  info_.image_height = form.height;
  info_.input_components = 3;
  info_.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info_);
  jpeg_set_quality(&info_, form.quality, TRUE);
  info_.comp_info[0].h_samp_factor = form.horizontalSampling;
  info_.comp_info[0].v_samp_factor = form.verticalSampling;
  info_.write_JFIF_header = form.hasJfif ? TRUE : FALSE;
  if (form.resolution) {
    constexpr double kMostDensity = 65535;
    info_.density_unit = static_cast<UINT8>(form.resolution->unit - 1);
    info_.X_density =
        static_cast<UINT16>(std::clamp(std::round(form.resolution->x), 1.0, kMostDensity));
    info_.Y_density =
        static_cast<UINT16>(std::clamp(std::round(form.resolution->y), 1.0, kMostDensity));
  }
  jpeg_start_compress(&info_, TRUE);
}

void JpegEncoder::WriteMarker(int marker, std::string_view mark,
                              std::span<const unsigned char> content) {
  if (setjmp(leave_) != 0) Fail();
  jpeg_write_m_header(&info_, marker, static_cast<unsigned>(mark.size() + content.size()));
  for (const char c : mark) jpeg_write_m_byte(&info_, static_cast<unsigned char>(c));
  for (const unsigned char c : content) jpeg_write_m_byte(&info_, c);
}

void JpegEncoder::WriteProfile(std::span<const unsigned char> profile) {
  if (setjmp(leave_) != 0) Fail();
  jpeg_write_icc_profile(&info_, profile.data(), static_cast<unsigned>(profile.size()));
}

void JpegEncoder::WriteRow(const unsigned char* row) {
  if (setjmp(leave_) != 0) Fail();
  JSAMPROW rows = const_cast<JSAMPROW>(row);  // which is only read
  jpeg_write_scanlines(&info_, &rows, 1);
}

void JpegEncoder::Finish() {
  if (setjmp(leave_) != 0) Fail();
  jpeg_finish_compress(&info_);
}

void JpegEncoder::Leave() {
  errors_.format_message(reinterpret_cast<j_common_ptr>(&info_), message_);
  std::longjmp(leave_, 1);
}

void JpegEncoder::Fail() {
  if (failure_) std::rethrow_exception(failure_);
  if (errors_.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
  throw ImageError(ImageError::Kind::kUnwritable, message_);
}

void JpegEncoder::Empty() {
  target_.next_output_byte = buffer_.data();
  target_.free_in_buffer = kBufferBytes;
}

void JpegEncoder::Flush(std::size_t count) {
  try {
    write_(std::span<const unsigned char>(buffer_.data(), count));
  } catch (...) {
    failure_ = std::current_exception();
  }
  if (failure_) ERREXIT(&info_, JERR_FILE_WRITE);
  Empty();
}

}  // namespace kxcms::image
