#include "tools/commands/PixelDigest.h"

#include <algorithm>
#include <bit>

#include "tools/image/ImageError.h"

void PixelDigest::Update(const unsigned char* samples, std::size_t sizeBytes, unsigned bits) {
  if (bits == 16 && std::endian::native == std::endian::big) {
    swapped_.assign(samples, samples + sizeBytes);
    for (std::size_t i = 0; i + 1 < sizeBytes; i += 2) std::swap(swapped_[i], swapped_[i + 1]);
    samples = swapped_.data();
  }
  digest_.Update(samples, sizeBytes);
}

std::string PixelDigestOf(kxcms::image::ImageSource& source) {
  constexpr std::size_t kPieceBytes = 1u << 20;
  PixelDigest digest;
  std::vector<unsigned char> piece;
  for (std::size_t i = 0; i < source.pages().size(); ++i) {
    const kxcms::image::Page& page = source.pages()[i];
    if (!page.refusal.empty()) kxcms::image::RefuseForm(page.refusal);
    const auto rows = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kPieceBytes / page.RowBytes(), 1, page.height));
    piece.resize(page.RowBytes() * rows);
    source.Select(i);
    for (std::uint32_t row = 0; row < page.height; row += rows) {
      const std::uint32_t count = std::min(rows, page.height - row);
      source.ReadRows(piece.data(), count);
      digest.Update(piece.data(), page.RowBytes() * count, page.bits);
    }
  }
  return digest.Hexadecimal();
}
