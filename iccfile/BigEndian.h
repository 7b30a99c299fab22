#ifndef KXCMS_ICCFILE_BIGENDIAN_H
#define KXCMS_ICCFILE_BIGENDIAN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ICC40 {
namespace ICCFILE {

/// Big-endian cursor over borrowed bytes: all numbers of a profile are big-endian (ICC.1:2010 7.1).
/// A byte that is not there reads as 0, singly: of a number that is cut off, the bytes that are
/// there count.
class ByteReader {
 public:
  ByteReader(const unsigned char* data, std::size_t size)
      : data_(data), size_(data == nullptr ? 0 : size) {}

  /// Moves to `position` bytes from the start; past the end, nothing is left.
  void Seek(std::uint64_t position) {
    position_ = position < size_ ? static_cast<std::size_t>(position) : size_;
  }

  void Skip(std::uint64_t count) {
    position_ += static_cast<std::size_t>(std::min<std::uint64_t>(count, left()));
  }

  std::size_t left() const { return size_ - position_; }
  const unsigned char* here() const { return data_ + position_; }

  std::uint8_t U8() { return position_ < size_ ? data_[position_++] : std::uint8_t{0}; }

  std::uint16_t U16() {
    const unsigned high = U8();
    return static_cast<std::uint16_t>(high << 8 | U8());
  }

  std::uint32_t U32() {
    const std::uint32_t high = U16();
    return high << 16 | U16();
  }

  std::int32_t S32() { return static_cast<std::int32_t>(U32()); }

  /// Fills `to` with the next `count` bytes.
  void Read(std::uint8_t* to, std::size_t count) {
    const std::size_t there = std::min(count, left());
    if (there > 0) std::memcpy(to, here(), there);
    std::fill(to + there, to + count, std::uint8_t{0});
    position_ += there;
  }

  /// Fills `to` with the next `count` 16-bit numbers, in host order.
  void Read(std::uint16_t* to, std::size_t count) {
    const std::size_t whole = std::min(count, left() / 2);
    for (std::size_t i = 0; i < whole; ++i, position_ += 2) {
      to[i] = static_cast<std::uint16_t>(data_[position_] << 8 | data_[position_ + 1]);
    }
    if (whole == count) return;
    to[whole] = U16();  // one that is cut off, or 0
    std::fill(to + whole + 1, to + count, std::uint16_t{0});
  }

 private:
  const unsigned char* data_;
  std::size_t size_;
  std::size_t position_ = 0;
};

inline void StoreU16(unsigned char* to, std::uint16_t value) {
  to[0] = static_cast<unsigned char>(value >> 8);
  to[1] = static_cast<unsigned char>(value);
}

inline void StoreU32(unsigned char* to, std::uint32_t value) {
  StoreU16(to, static_cast<std::uint16_t>(value >> 16));
  StoreU16(to + 2, static_cast<std::uint16_t>(value));
}

/// The number whose memory holds `value` in file byte order. On any host it is its own inverse.
inline std::uint16_t SwapFileOrder(std::uint16_t value) {
  unsigned char bytes[2];
  StoreU16(bytes, value);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

inline std::uint32_t SwapFileOrder(std::uint32_t value) {
  unsigned char bytes[4];
  StoreU32(bytes, value);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

}  // namespace ICCFILE
}  // namespace ICC40

#endif
