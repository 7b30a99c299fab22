#include "tools/image/XzStream.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "tools/image/BitOrder.h"

namespace kxcms::image {

namespace {

/// A cursor over the stream; behind its end, bytes are 0.
class XzCursor {
 public:
  XzCursor(const InputBytes& bytes, std::uint64_t begin, std::uint64_t size, bool isReversed)
      : bytes_(bytes), begin_(begin), size_(size), isReversed_(isReversed) {}

  std::uint64_t position() const { return position_; }
  bool IsAtEnd() const { return position_ >= size_; }
  void Skip(std::uint64_t count) { position_ += std::min(count, size_ - position_); }

  std::uint8_t Byte() {
    if (IsAtEnd()) return 0;
    if (position_ < held_ || position_ >= held_ + count_) Fill();
    return buffer_[static_cast<std::size_t>(position_++ - held_)];
  }
  std::uint64_t BigEndian16() {
    const std::uint64_t high = Byte();
    return high << 8 | Byte();
  }
  /// A number of seven bits a byte; of nine bytes at most.
  std::uint64_t Number() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 63; shift += 7) {
      const std::uint64_t byte = Byte();
      number |= (byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) break;
    }
    return number;
  }

 private:
  void Fill() {
    held_ = position_;
    count_ = std::min<std::uint64_t>(buffer_.size(), size_ - position_);
    const std::span<unsigned char> filled(buffer_.data(), static_cast<std::size_t>(count_));
    bytes_.Read(begin_ + held_, filled.data(), filled.size());
    if (isReversed_) ReverseBits(filled);
  }

  const InputBytes& bytes_;
  std::uint64_t begin_, size_;
  bool isReversed_;
  std::uint64_t position_ = 0;
  // A chunk has 64 KiB at most, of which only the header is wanted.
  std::array<unsigned char, 1024> buffer_;
  std::uint64_t held_ = 0;
  std::uint64_t count_ = 0;
};

/// The dictionary that a block names; none if there is no block, or no LZMA2 in it.
std::optional<std::uint64_t> ReadBlockHeader(XzCursor& cursor) {
  const std::uint64_t start = cursor.position();
  const std::uint64_t size = (cursor.Byte() + std::uint64_t{1}) * 4;
  if (size == 4) return std::nullopt;  // the index
  const unsigned flags = cursor.Byte();
  if ((flags & 0x40) != 0) cursor.Number();
  if ((flags & 0x80) != 0) cursor.Number();
  constexpr std::uint64_t kLzma2 = 0x21;
  std::optional<std::uint64_t> dictionary;
  for (unsigned filter = 0; filter <= (flags & 3); ++filter) {
    const std::uint64_t id = cursor.Number();
    const std::uint64_t propertyBytes = cursor.Number();
    if (id != kLzma2 || propertyBytes != 1) {
      cursor.Skip(propertyBytes);
      continue;
    }
    constexpr unsigned kLargest = 40;  // 4 GiB less one
    const unsigned property = cursor.Byte();
    if (property > kLargest) return std::nullopt;
    dictionary = property == kLargest ? 0xFFFF'FFFF
                                      : std::uint64_t{2 | (property & 1)} << (property / 2 + 11);
  }
  const std::uint64_t end = start + size;
  if (cursor.position() > end) return std::nullopt;
  cursor.Skip(end - cursor.position());
  return dictionary;
}

/// @return whether all chunks of a block are there.
bool SkipChunks(XzCursor& cursor) {
  while (!cursor.IsAtEnd()) {
    const unsigned control = cursor.Byte();
    if (control == 0) return true;
    if (control < 0x80) {
      constexpr unsigned kLastPlain = 2;
      if (control > kLastPlain) return false;
      cursor.Skip(cursor.BigEndian16() + 1);
      continue;
    }
    cursor.Skip(2);  // bytes when decoded
    const std::uint64_t size = cursor.BigEndian16() + 1;
    constexpr unsigned kNewProperties = 0xC0;
    cursor.Skip(size + (control >= kNewProperties ? 1 : 0));
  }
  return false;
}

}  // namespace

std::uint64_t XzDictionaryBytes(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes,
                                bool isReversed) {
  XzCursor cursor(bytes, at, sizeBytes, isReversed);
  constexpr std::uint64_t kMagicBytes = 7, kHeaderRest = 4;
  cursor.Skip(kMagicBytes);
  const unsigned check = cursor.Byte() & 0x0F;
  cursor.Skip(kHeaderRest);
  constexpr unsigned kCheckBytes[] = {0, 4, 4, 4, 8, 8, 8, 16, 16, 16, 32, 32, 32, 64, 64, 64};
  std::uint64_t largest = 0;
  while (const std::optional<std::uint64_t> dictionary = ReadBlockHeader(cursor)) {
    largest = std::max(largest, *dictionary);
    if (!SkipChunks(cursor)) break;
    cursor.Skip((4 - cursor.position() % 4) % 4 + kCheckBytes[check]);
  }
  return largest;
}

}  // namespace kxcms::image
