#ifndef KXCMS_BASE_BYTES_H
#define KXCMS_BASE_BYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// @file
/// The numbers in the bytes of a file that nobody vouches for: big-endian in ICC profiles
/// (ICC.1:2010 7.1), either order in TIFF files. Nothing outside the bytes is ever read: a byte
/// that is not there counts as 0, singly, so that of a number which is cut off the bytes that are
/// there count.

namespace kxcms {

enum class ByteOrder { kBig, kLittle };

/// Random access to borrowed bytes. Callers ask `Holds` where absence matters.
template <ByteOrder kOrder>
class ByteView {
 public:
  ByteView() = default;
  ByteView(const unsigned char* data, std::size_t size)
      : data_(data), size_(data == nullptr ? 0 : size) {}
  explicit ByteView(std::span<const unsigned char> bytes) : ByteView(bytes.data(), bytes.size()) {}

  const unsigned char* data() const { return data_; }
  std::size_t size() const { return size_; }

  bool Holds(std::uint64_t at, std::uint64_t count) const {
    return at <= size_ && count <= size_ - at;
  }

  std::uint8_t U8(std::uint64_t at) const { return at < size_ ? data_[at] : std::uint8_t{0}; }
  std::uint16_t U16(std::uint64_t at) const { return Number<std::uint16_t>(at); }
  std::uint32_t U32(std::uint64_t at) const { return Number<std::uint32_t>(at); }
  std::uint64_t U64(std::uint64_t at) const { return Number<std::uint64_t>(at); }
  std::int32_t S32(std::uint64_t at) const { return static_cast<std::int32_t>(U32(at)); }

  /// The bytes from `at` on, at most `count`; none past the end.
  ByteView Part(std::uint64_t at, std::uint64_t count) const {
    if (at >= size_) return ByteView();
    const auto left = size_ - static_cast<std::size_t>(at);
    return ByteView(data_ + at, static_cast<std::size_t>(std::min<std::uint64_t>(count, left)));
  }

 private:
  template <typename Value>
  Value Number(std::uint64_t at) const {
    Value value = 0;
    for (std::size_t n = 0; n < sizeof(Value); ++n) {
      const std::size_t byte = kOrder == ByteOrder::kBig ? sizeof(Value) - 1 - n : n;
      // Compared before it is added: `at` can be any number.
      const bool isThere = at < size_ && n < size_ - at;
      value = static_cast<Value>(value | Value{isThere ? data_[at + n] : std::uint8_t{0}}
                                             << (8 * byte));
    }
    return value;
  }

  const unsigned char* data_ = nullptr;
  std::size_t size_ = 0;
};

/// A cursor over borrowed bytes.
template <ByteOrder kOrder>
class ByteReader {
 public:
  ByteReader(const unsigned char* data, std::size_t size) : bytes_(data, size) {}

  /// Moves to `position` bytes from the start; past the end, nothing is left.
  void Seek(std::uint64_t position) {
    position_ = static_cast<std::size_t>(std::min<std::uint64_t>(position, bytes_.size()));
  }
  void Skip(std::uint64_t count) {
    position_ += static_cast<std::size_t>(std::min<std::uint64_t>(count, left()));
  }

  std::size_t left() const { return bytes_.size() - position_; }
  const unsigned char* here() const { return bytes_.data() + position_; }
  /// Whether everything read so far was there.
  bool ok() const { return ok_; }

  std::uint8_t U8() { return bytes_.U8(Take(1)); }
  std::uint16_t U16() { return bytes_.U16(Take(2)); }
  std::uint32_t U32() { return bytes_.U32(Take(4)); }
  std::uint64_t U64() { return bytes_.U64(Take(8)); }
  std::int32_t S32() { return static_cast<std::int32_t>(U32()); }

  /// Fills `to` with the next `count` bytes.
  void Read(std::uint8_t* to, std::size_t count) {
    const std::size_t there = std::min(count, left());
    if (there > 0) std::memcpy(to, here(), there);
    std::fill(to + there, to + count, std::uint8_t{0});
    Take(count);
  }
  /// Fills `to` with the next `count` 16-bit numbers, in host order.
  void Read(std::uint16_t* to, std::size_t count) {
    const std::size_t whole = std::min(count, left() / 2);
    const unsigned char* from = here();
    constexpr int kHigh = kOrder == ByteOrder::kBig ? 0 : 1;
    for (std::size_t i = 0; i < whole; ++i, from += 2) {
      to[i] = static_cast<std::uint16_t>(from[kHigh] << 8 | from[1 - kHigh]);
    }
    position_ += 2 * whole;
    if (whole == count) return;
    to[whole] = U16();  // one that is cut off, or 0
    std::fill(to + whole + 1, to + count, std::uint16_t{0});
  }

 private:
  // Moves on by `count` bytes. @return the position before.
  std::size_t Take(std::size_t count) {
    const std::size_t at = position_;
    ok_ = ok_ && count <= left();
    position_ += std::min(count, left());
    return at;
  }

  ByteView<kOrder> bytes_;
  std::size_t position_ = 0;
  bool ok_ = true;
};

using BigEndianView = ByteView<ByteOrder::kBig>;
using LittleEndianView = ByteView<ByteOrder::kLittle>;
using BigEndianReader = ByteReader<ByteOrder::kBig>;
using LittleEndianReader = ByteReader<ByteOrder::kLittle>;

/// Stores the low 16 or all 32 bits of a number at `to`.
inline void StoreBig16(unsigned char* to, std::uint32_t value) {
  to[0] = static_cast<unsigned char>(value >> 8);
  to[1] = static_cast<unsigned char>(value);
}
inline void StoreBig32(unsigned char* to, std::uint32_t value) {
  StoreBig16(to, value >> 16);
  StoreBig16(to + 2, value);
}
inline void StoreLittle16(unsigned char* to, std::uint32_t value) {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8);
}
inline void StoreLittle32(unsigned char* to, std::uint32_t value) {
  StoreLittle16(to, value);
  StoreLittle16(to + 2, value >> 16);
}

/// The number whose memory holds `value` in big-endian order. On any host it is its own inverse.
inline std::uint16_t SwapBigEndian(std::uint16_t value) {
  unsigned char bytes[2];
  StoreBig16(bytes, value);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}
inline std::uint32_t SwapBigEndian(std::uint32_t value) {
  unsigned char bytes[4];
  StoreBig32(bytes, value);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

}  // namespace kxcms

#endif
