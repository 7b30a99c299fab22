#ifndef KXCMS_TOOLS_IMAGE_JPEGDECODER_H
#define KXCMS_TOOLS_IMAGE_JPEGDECODER_H

// libjpeg's header needs FILE and size_t.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// A libjpeg decoder. What libjpeg has to say of damage becomes an `ImageError`, and so do its
/// warnings: they tell of bytes that were made up or passed over. Not for two threads at once.
///
/// libjpeg leaves a failed call by `error_exit`, which must not return: each call stands behind a
/// setjmp, in a function without objects that would have to be destroyed.
class JpegDecoder {
 public:
  /// `bytes` is borrowed.
  explicit JpegDecoder(const InputBytes& bytes);
  ~JpegDecoder();
  JpegDecoder(const JpegDecoder&) = delete;
  JpegDecoder& operator=(const JpegDecoder&) = delete;

  const jpeg_decompress_struct& info() const { return info_; }

  void ReadHeader(bool keepMarkers);
  /// Of a header that was read with its markers.
  std::optional<std::vector<unsigned char>> Profile();
  /// Whether all coefficients wait for the last of several scans.
  bool HasSeveralScans() { return jpeg_has_multiple_scans(&info_) != 0; }
  /// @param colors  what rows are to be of: JCS_RGB, or the space of the file for its components as
  ///                they are
  void Start(J_COLOR_SPACE colors = JCS_RGB);
  /// Reads the next row, of 8 bits a sample.
  void ReadRow(unsigned char* to);

  bool IsAtEnd() const { return info_.output_scanline == info_.output_height; }
  /// Bytes of the file that nobody has read.
  std::uint64_t BytesLeft() const { return bytes_.size() - position_ + source_.bytes_in_buffer; }

 private:
  template <typename Info>
  static JpegDecoder& Self(Info info) {
    return *static_cast<JpegDecoder*>(info->client_data);
  }

  bool ReadProfile(JOCTET*& data, unsigned& size);
  [[noreturn]] void Leave();
  void Warn(int level);
  [[noreturn]] void Fail();
  boolean Fill();
  void Skip(long count);

  const InputBytes& bytes_;
  std::uint64_t position_ = 0;
  std::array<unsigned char, 65536> buffer_;
  jpeg_decompress_struct info_ = {};
  jpeg_error_mgr errors_ = {};
  jpeg_source_mgr source_ = {};
  jpeg_progress_mgr progress_ = {};
  std::jmp_buf leave_;
  char message_[JMSG_LENGTH_MAX] = {};
};

}  // namespace kxcms::image

#endif
