#include "tools/report/Thumbnail.h"

#include <png.h>

#include <algorithm>
#include <new>

namespace kxcms::report {

namespace {

std::vector<unsigned char> Png(const Thumbnail& thumbnail) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(thumbnail.width);
  image.height = static_cast<png_uint_32>(thumbnail.height);
  image.format = PNG_FORMAT_RGB;
  // Incompressible pixels take a little more room than they are large.
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::vector<unsigned char> file(size);
  // All that can fail here is memory.
  if (png_image_write_to_memory(&image, file.data(), &size, 0, thumbnail.rgb.data(), 0, nullptr) ==
      0) {
    throw std::bad_alloc();
  }
  file.resize(size);
  return file;
}

// RFC 4648, 4.
std::string Base64(const std::vector<unsigned char>& bytes) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t n = 0; n < bytes.size(); n += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - n);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < count ? std::uint32_t{bytes[n + i]} : 0);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace

std::string DataUri(const Thumbnail& thumbnail) {
  return "data:image/png;base64," + Base64(Png(thumbnail));
}

}  // namespace kxcms::report
