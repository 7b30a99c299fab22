#include "tools/commands/ImageFile.h"

#include <algorithm>
#include <cstring>

using kxcms::image::Page;

ImageFile::ImageFile(const std::string& path) : path_(path), stream_(OpenInput(path)) {
  const std::uint64_t size = RegularFileSize(fileno(stream_.get()), path);
  ReadingImage(path, [&] {
    source_ = kxcms::image::ImageSource::Open(fileno(stream_.get()), size);
    if (!page().refusal.empty()) kxcms::image::RefuseForm(page().refusal);
    source_->Select(0);
  });
}

const std::vector<unsigned char>& ImageFile::EmbeddedProfile() const {
  static const std::vector<unsigned char> kNone;
  return page().profile ? *page().profile : kNone;
}

std::uint32_t ImageFile::RowsAtOnce() const {
  constexpr std::size_t kPixels = 1u << 18;
  return static_cast<std::uint32_t>(
      std::clamp<std::size_t>(kPixels / page().width, 1, page().height));
}

void ImageFile::ReadRows(std::uint32_t rows) {
  pixels_.resize(page().RowBytes() * rows);
  ReadingImage(path_, [&] { source_->ReadRows(pixels_.data(), rows); });
  rows_ = rows;
}

kxcms::ConstImage ImageFile::Rows() const {
  const std::size_t sampleBytes = page().bits / 8;
  const unsigned char* const first = pixels_.data();
  return {first,
          first + sampleBytes,
          first + 2 * sampleBytes,
          nullptr,
          page().bits == 8 ? std::uint32_t{KXP_U8} : std::uint32_t{KXP_U16},
          page().width,
          rows_,
          static_cast<std::ptrdiff_t>(page().PixelBytes()),
          static_cast<std::ptrdiff_t>(page().RowBytes())};
}

std::array<double, 3> ImageFile::ColorAt(std::size_t x, std::size_t row) const {
  const unsigned char* const pixel =
      pixels_.data() + row * page().RowBytes() + x * page().PixelBytes();
  std::array<double, 3> color;
  for (std::size_t n = 0; n < 3; ++n) {
    if (page().bits == 8) {
      color[n] = pixel[n] / 255.0;
    } else {
      std::uint16_t value;
      std::memcpy(&value, pixel + 2 * n, sizeof value);
      color[n] = value / 65535.0;
    }
  }
  return color;
}
