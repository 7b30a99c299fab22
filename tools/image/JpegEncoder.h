#ifndef KXCMS_TOOLS_IMAGE_JPEGENCODER_H
#define KXCMS_TOOLS_IMAGE_JPEGENCODER_H

// libjpeg's header needs FILE and size_t.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "tools/image/ExifBlock.h"

namespace kxcms::image {

/// How a JPEG stream is written.
struct JpegForm {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int quality = 0;             ///< 1 to 100
  int horizontalSampling = 1;  ///< pixels for one sample of colour, 1 or 2
  int verticalSampling = 1;
  bool hasJfif = true;                                  ///< whether it begins with that marker
  std::optional<Resolution> resolution = std::nullopt;  ///< to be said there
};

/// A libjpeg encoder of baseline streams. As with the decoder, each call stands behind a setjmp, in
/// a function without objects that would have to be destroyed.
class JpegEncoder {
 public:
  /// Takes the next bytes of the stream; what it throws, the call throws that they come from.
  using Writer = std::function<void(std::span<const unsigned char>)>;

  explicit JpegEncoder(Writer write);
  ~JpegEncoder();
  JpegEncoder(const JpegEncoder&) = delete;
  JpegEncoder& operator=(const JpegEncoder&) = delete;

  void Start(const JpegForm& form);
  void WriteMarker(int marker, std::string_view mark, std::span<const unsigned char> content);
  void WriteProfile(std::span<const unsigned char> profile);
  /// R, G and B of 8 bits each.
  void WriteRow(const unsigned char* row);
  void Finish();

 private:
  static constexpr std::size_t kBufferBytes = 65536;

  template <typename Info>
  static JpegEncoder& Self(Info info) {
    return *static_cast<JpegEncoder*>(info->client_data);
  }
  [[noreturn]] void Leave();
  [[noreturn]] void Fail();
  void Empty();
  void Flush(std::size_t count);

  Writer write_;
  std::exception_ptr failure_;  ///< of the writer, which must not throw through libjpeg
  std::array<unsigned char, kBufferBytes> buffer_;
  jpeg_compress_struct info_ = {};
  jpeg_error_mgr errors_ = {};
  jpeg_destination_mgr target_ = {};
  std::jmp_buf leave_;
  char message_[JMSG_LENGTH_MAX] = {};
};

}  // namespace kxcms::image

#endif
