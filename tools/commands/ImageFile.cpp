#include "tools/commands/ImageFile.h"

#include <algorithm>
#include <cstring>
#include <string>

using kxcms::image::Extra;
using kxcms::image::Page;

ImageFile::ImageFile(const std::string& path) : path_(path), stream_(OpenInput(path)) {
  const std::uint64_t size = RegularFileSize(fileno(stream_.get()), path);
  ReadingImage(path,
               [&] { source_ = kxcms::image::ImageSource::Open(fileno(stream_.get()), size); });
  for (const std::uint32_t copies : {Page::kReduced | Page::kMask, 0u}) {
    for (std::size_t n = 0; n < source_->pages().size(); ++n) {
      if ((source_->pages()[n].subfileType & copies) == 0) pages_.push_back(n);
    }
    if (!pages_.empty()) break;
  }
  Select(0);
}

void ImageFile::Select(std::size_t n) {
  if (isAtStart_ && n == selected_) return;
  ReadingImage(path_, [&] {
    if (!PageAt(n).refusal.empty()) {
      kxcms::image::RefuseForm((n == 0 ? "" : "page " + std::to_string(n + 1) + ": ") +
                               PageAt(n).refusal);
    }
    source_->Select(pages_[n]);
  });
  selected_ = n;
  isAtStart_ = true;
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
  isAtStart_ = false;
  pixels_.resize(page().RowBytes() * rows);
  ReadingImage(path_, [&] { source_->ReadRows(pixels_.data(), rows); });
  rows_ = rows;
}

std::optional<std::size_t> ImageFile::AlphaSample() const {
  for (std::size_t n = 0; n < page().extras.size(); ++n) {
    if (page().extras[n] != Extra::kUnspecified) return 3 + n;
  }
  return std::nullopt;
}

kxcms::ConstImage ImageFile::Rows() const {
  const std::size_t sampleBytes = page().bits / 8;
  const unsigned char* const first = pixels_.data();
  const std::optional<std::size_t> alpha = AlphaSample();
  const kxcms::ConstImage rows = {first,
                                  first + sampleBytes,
                                  first + 2 * sampleBytes,
                                  alpha ? first + *alpha * sampleBytes : nullptr,
                                  page().bits == 8 ? std::uint32_t{KXP_U8} : std::uint32_t{KXP_U16},
                                  page().width,
                                  rows_,
                                  static_cast<std::ptrdiff_t>(page().PixelBytes()),
                                  static_cast<std::ptrdiff_t>(page().RowBytes())};
  const bool isAssociated = alpha && page().extras[*alpha - 3] == Extra::kAssociatedAlpha;
  return isAssociated ? rows.Associated() : rows;
}

double ImageFile::SampleAt(std::size_t x, std::size_t row, std::size_t sample) const {
  const unsigned char* const at = pixels_.data() + row * page().RowBytes() +
                                  x * page().PixelBytes() + sample * (page().bits / 8);
  if (page().bits == 8) return *at / 255.0;
  std::uint16_t value;
  std::memcpy(&value, at, sizeof value);
  return value / 65535.0;
}

std::array<double, 3> ImageFile::ColorAt(std::size_t x, std::size_t row) const {
  return {SampleAt(x, row, 0), SampleAt(x, row, 1), SampleAt(x, row, 2)};
}

double ImageFile::AlphaAt(std::size_t x, std::size_t row) const {
  const std::optional<std::size_t> alpha = AlphaSample();
  return alpha ? SampleAt(x, row, *alpha) : 1;
}
