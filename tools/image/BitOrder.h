#ifndef KXCMS_TOOLS_IMAGE_BITORDER_H
#define KXCMS_TOOLS_IMAGE_BITORDER_H

#include <cstdint>
#include <span>

namespace kxcms::image {

/// Turns the bits of each byte round, as TIFF's FillOrder 2 has them.
inline void ReverseBits(std::span<unsigned char> bytes) {
  for (unsigned char& byte : bytes) {
    std::uint8_t rest = byte, reversed = 0;
    for (int bit = 0; bit < 8; ++bit, rest >>= 1) {
      reversed = static_cast<std::uint8_t>(reversed << 1 | (rest & 1));
    }
    byte = reversed;
  }
}

}  // namespace kxcms::image

#endif
