#include "base/Md5.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "base/Bytes.h"

namespace kxcms {

namespace {

constexpr std::size_t kBlockBytes = 64;
constexpr std::size_t kLengthBytes = 8;

// RFC 1321, 3.4: the integer part of 2^32 |sin(n + 1)|.
constexpr std::uint32_t kSines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};
// How far the steps of each round rotate, by turns of four.
constexpr int kRotations[4][4] = {
    {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

class State {
 public:
  void Add(const unsigned char* block) {
    const LittleEndianView words(block, kBlockBytes);
    std::uint32_t a = words_[0], b = words_[1], c = words_[2], d = words_[3];
    for (std::size_t n = 0; n < 64; ++n) {
      const std::size_t round = n / 16;
      std::uint32_t mixed;
      std::size_t word;
      if (round == 0) {
        mixed = (b & c) | (~b & d);
        word = n;
      } else if (round == 1) {
        mixed = (b & d) | (c & ~d);
        word = 5 * n + 1;
      } else if (round == 2) {
        mixed = b ^ c ^ d;
        word = 3 * n + 5;
      } else {
        mixed = c ^ (b | ~d);
        word = 7 * n;
      }
      const std::uint32_t sum = a + mixed + words.U32(4 * (word % 16)) + kSines[n];
      a = d;
      d = c;
      c = b;
      b += std::rotl(sum, kRotations[round][n % 4]);
    }
    words_[0] += a;
    words_[1] += b;
    words_[2] += c;
    words_[3] += d;
  }

  Md5Digest Digest() const {
    Md5Digest digest;
    for (std::size_t n = 0; n < 4; ++n) StoreLittle32(&digest[4 * n], words_[n]);
    return digest;
  }

 private:
  std::uint32_t words_[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
};

}  // namespace

Md5Digest Md5(std::span<const unsigned char> bytes) {
  State state;
  auto rest = bytes;
  for (; rest.size() >= kBlockBytes; rest = rest.subspan(kBlockBytes)) state.Add(rest.data());
  // A one bit, zeros, and the length in bits at the end of a block: in the first or the second one.
  unsigned char last[2 * kBlockBytes] = {};
  std::copy(rest.begin(), rest.end(), last);
  last[rest.size()] = 0x80;
  const bool isOne = rest.size() + 1 + kLengthBytes <= kBlockBytes;
  unsigned char* const end = last + (isOne ? kBlockBytes : 2 * kBlockBytes);
  const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  StoreLittle32(end - 8, static_cast<std::uint32_t>(bits));
  StoreLittle32(end - 4, static_cast<std::uint32_t>(bits >> 32));
  state.Add(last);
  if (!isOne) state.Add(last + kBlockBytes);
  return state.Digest();
}

}  // namespace kxcms
