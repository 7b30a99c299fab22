#ifndef KXCMS_CORPUS_DIGEST_H
#define KXCMS_CORPUS_DIGEST_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace corpus {

/// The 64-bit hash FNV-1a of Fowler, Noll and Vo. It guards against mistakes of processors,
/// compilers and programmers, none of whom choose their error to fit; a cryptographic hash would
/// need a library.
class Digest {
 public:
  void Add(std::span<const unsigned char> bytes) {
    for (const unsigned char byte : bytes) AddByte(byte);
  }
  /// Words count as four bytes each, the lowest first, on every machine.
  void Add(std::span<const std::uint32_t> words) {
    for (const std::uint32_t word : words) {
      AddByte(static_cast<unsigned char>(word));
      AddByte(static_cast<unsigned char>(word >> 8));
      // Most words hold 16 bits, and a byte of zero only multiplies.
      if (word < 65536) {
        value_ *= kPrime * kPrime;
      } else {
        AddByte(static_cast<unsigned char>(word >> 16));
        AddByte(static_cast<unsigned char>(word >> 24));
      }
    }
  }
  std::uint64_t value() const { return value_; }

 private:
  static constexpr std::uint64_t kPrime = 0x100000001b3u;
  void AddByte(unsigned char byte) { value_ = (value_ ^ byte) * kPrime; }
  std::uint64_t value_ = 0xcbf29ce484222325u;
};

/// Digests by name.
using Digests = std::map<std::string, std::uint64_t, std::less<>>;

/// One line for each: name, space, 16 hexadecimal digits.
std::string Format(const Digests& digests);

/// What `Format` wrote; empty if a line reads otherwise or a name stands twice.
std::optional<Digests> ParseDigests(std::string_view text);

/// 16 hexadecimal digits.
std::string Hexadecimal(std::uint64_t value);

}  // namespace corpus

#endif
