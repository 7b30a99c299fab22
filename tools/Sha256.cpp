#include "tools/Sha256.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>

Sha256::Sha256() {
  sha256_init(&context_);
}

void Sha256::Update(const void* bytes, std::size_t count) {
  sha256_update(&context_, count, static_cast<const unsigned char*>(bytes));
}

std::string Sha256::Hexadecimal() {
  std::array<unsigned char, SHA256_DIGEST_SIZE> digest;
  sha256_digest(&context_, digest.size(), digest.data());
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Sha256Of(std::span<const unsigned char> bytes) {
  Sha256 digest;
  digest.Update(bytes.data(), bytes.size());
  return digest.Hexadecimal();
}

std::string Sha256Of(const std::string& text) {
  Sha256 digest;
  digest.Update(text.data(), text.size());
  return digest.Hexadecimal();
}

std::string Sha256OfFile(int fd) {
  constexpr std::size_t kBlockBytes = 1u << 18;  // stays in the cache of a core
  // Not filled with zeros for every small file.
  const std::unique_ptr<unsigned char[]> block(new unsigned char[kBlockBytes]);
  Sha256 digest;
  for (off_t at = 0;;) {
    const ssize_t got = pread(fd, block.get(), kBlockBytes, at);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) return digest.Hexadecimal();
    digest.Update(block.get(), static_cast<std::size_t>(got));
    at += got;
  }
}
