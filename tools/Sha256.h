#ifndef KXCMS_TOOLS_SHA256_H
#define KXCMS_TOOLS_SHA256_H

#include <nettle/sha2.h>

#include <cstddef>
#include <span>
#include <string>

/// SHA-256 (FIPS 180-4) by Nettle, which uses what the processor has for it. Not for two threads at
/// once.
class Sha256 {
 public:
  Sha256();
  void Update(const void* bytes, std::size_t count);
  /// The digest in 64 lower-case hexadecimal digits, and a beginning from nothing.
  std::string Hexadecimal();

 private:
  sha256_ctx context_;
};

std::string Sha256Of(std::span<const unsigned char> bytes);
/// Of a text's bytes.
std::string Sha256Of(const std::string& text);

/// Of a whole open file, whatever its position, which stays. Empty if it cannot be read; errno
/// tells why.
std::string Sha256OfFile(int fd);

#endif
