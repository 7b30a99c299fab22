#include "TagWriting.h"

#include <algorithm>

namespace ICC40 {
namespace ICCFILE {

void WriteZeros(FILE* stream, std::uint64_t count) {
  static constexpr unsigned char kZeros[4096] = {};
  for (std::uint64_t left = std::min(count, kMaxStandInBytes); left > 0;) {
    const std::uint64_t part = std::min<std::uint64_t>(left, sizeof kZeros);
    std::fwrite(kZeros, 1, part, stream);
    left -= part;
  }
}

void WriteHeld(FILE* stream, const void* bytes, std::uint64_t held, std::uint64_t count) {
  const std::uint64_t there = bytes == nullptr ? 0 : std::min(held, count);
  if (there > 0) std::fwrite(bytes, 1, there, stream);
  WriteZeros(stream, count - there);
}

}  // namespace ICCFILE
}  // namespace ICC40
