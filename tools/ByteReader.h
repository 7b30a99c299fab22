#ifndef KXCMS_TOOLS_BYTEREADER_H
#define KXCMS_TOOLS_BYTEREADER_H

#include <cstddef>
#include <cstdint>
#include <span>

/// Random access to the big-endian numbers of a byte range that nobody vouches for. Reading past
/// the end gives 0; callers ask `Holds` where absence matters.
class BigEndianBytes {
 public:
  explicit BigEndianBytes(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  bool Holds(std::uint64_t offset, std::uint64_t size) const {
    return offset <= bytes_.size() && size <= bytes_.size() - offset;
  }
  std::uint8_t U8(std::uint64_t at) const { return Holds(at, 1) ? bytes_[at] : 0; }
  std::uint16_t U16(std::uint64_t at) const {
    return static_cast<std::uint16_t>(U8(at) << 8 | U8(at + 1));
  }
  std::uint32_t U32(std::uint64_t at) const { return std::uint32_t{U16(at)} << 16 | U16(at + 2); }

  /// The bytes from `offset` on, at most `size`; empty when there are none.
  BigEndianBytes Part(std::uint64_t offset, std::uint64_t size) const {
    if (offset > bytes_.size()) return BigEndianBytes({});
    const std::uint64_t left = bytes_.size() - offset;
    return BigEndianBytes(bytes_.subspan(offset, size < left ? size : left));
  }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::span<const unsigned char> bytes_;
};

/// The little-endian numbers of a TIFF file, under the same rules.
class LittleEndianBytes {
 public:
  explicit LittleEndianBytes(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  std::uint16_t U16(std::uint64_t at) const {
    return static_cast<std::uint16_t>(Byte(at) | Byte(at + 1) << 8);
  }
  std::uint32_t U32(std::uint64_t at) const { return U16(at) | std::uint32_t{U16(at + 2)} << 16; }

 private:
  std::uint8_t Byte(std::uint64_t at) const { return at < bytes_.size() ? bytes_[at] : 0; }
  std::span<const unsigned char> bytes_;
};

#endif
