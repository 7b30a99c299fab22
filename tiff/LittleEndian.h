#ifndef KXCMS_TIFF_LITTLEENDIAN_H
#define KXCMS_TIFF_LITTLEENDIAN_H

#include <cstddef>
#include <cstdint>
#include <utility>

namespace KX_Tiff_STL3 {

/// Little-endian cursor over borrowed bytes. A read past the end gives 0, and nothing is left then.
class LittleEndianReader {
 public:
  LittleEndianReader(const unsigned char* bytes, std::uint64_t sizeBytes)
      : next_(bytes), left_(sizeBytes) {}

  std::uint16_t U16() {
    const unsigned char* b = Take(2);
    return b ? static_cast<std::uint16_t>(b[0] | b[1] << 8) : std::uint16_t{0};
  }
  std::uint32_t U32() {
    const unsigned char* b = Take(4);
    return b ? b[0] | std::uint32_t{b[1]} << 8 | std::uint32_t{b[2]} << 16 |
                   std::uint32_t{b[3]} << 24
             : 0;
  }

 private:
  const unsigned char* Take(std::uint64_t sizeBytes) {
    if (sizeBytes > left_) {
      left_ = 0;
      return nullptr;
    }
    left_ -= sizeBytes;
    return std::exchange(next_, next_ + sizeBytes);
  }

  const unsigned char* next_;
  std::uint64_t left_;
};

inline void StoreU16(unsigned char* to, std::uint32_t value) {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8);
}

inline void StoreU32(unsigned char* to, std::uint32_t value) {
  StoreU16(to, value);
  StoreU16(to + 2, value >> 16);
}

}  // namespace KX_Tiff_STL3

#endif
