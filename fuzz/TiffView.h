#ifndef KXCMS_FUZZ_TIFFVIEW_H
#define KXCMS_FUZZ_TIFFVIEW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

// A TIFF file's bytes as they stand, read without the library.

namespace fuzz {

/// Little-endian numbers anywhere in a file; bytes past its end are 0.
class TiffView {
 public:
  TiffView(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}

  std::uint32_t U16(std::uint64_t at) const { return U8(at) | U8(at + 1) << 8; }
  std::uint32_t U32(std::uint64_t at) const { return U16(at) | U16(at + 2) << 16; }

  /// Roughly what the file makes the library hold: the data of its tags and the pixels.
  std::uint64_t ClaimedBytes() const {
    constexpr std::uint64_t kItemBytes[16] = {1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 4, 8, 1, 1, 1, 1};
    constexpr unsigned kMaxEntries = 39;
    constexpr std::uint64_t kInlineBytes = 4;
    const std::uint64_t directory = U32(4);
    std::uint64_t tagBytes = 0, stripBytes = 0, pixelBits = 1;
    for (unsigned i = 0; i < std::min(U16(directory), kMaxEntries); ++i) {
      const std::uint64_t entry = directory + 2 + 12 * std::uint64_t{i};
      const std::uint64_t dataBytes = kItemBytes[U16(entry + 2) & 15] * U32(entry + 4);
      const bool isInline = dataBytes <= kInlineBytes;
      if (!isInline) tagBytes += dataBytes;
      const std::uint64_t value = isInline ? U32(entry + 8) : U16(U32(entry + 8));
      const std::uint32_t tag = U16(entry);
      if (IsFactor(tag)) pixelBits = std::min(pixelBits * value, kMost);
      if (tag == 279) stripBytes = isInline ? value : SumOfLongs(U32(entry + 8), U32(entry + 4));
    }
    return tagBytes + std::max(pixelBits / 8, stripBytes);
  }

 private:
  static constexpr std::uint64_t kMost = std::uint64_t{1} << 31;

  std::uint32_t U8(std::uint64_t at) const { return at < size_ ? data_[at] : 0; }

  /// Width, length, bits and samples.
  static bool IsFactor(std::uint32_t tag) {
    return tag == 256 || tag == 257 || tag == 258 || tag == 277;
  }
  std::uint64_t SumOfLongs(std::uint64_t at, std::uint64_t count) const {
    std::uint64_t sum = 0;
    for (; count > 0 && at < size_; --count, at += 4) sum += U32(at);
    return sum;
  }

  const unsigned char* data_;
  std::size_t size_;
};

}  // namespace fuzz

#endif
