#include "tools/Sha256.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <vector>

namespace {

constexpr std::size_t kDigestBytes = 32;

EVP_MD_CTX* Context(void* context) {
  return static_cast<EVP_MD_CTX*>(context);
}

// libcrypto fails here for want of memory alone.
void Check(int succeeded) {
  if (succeeded != 1) throw std::bad_alloc();
}

}  // namespace

void Sha256::Release::operator()(void* context) const {
  EVP_MD_CTX_free(Context(context));
}

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  if (context_ == nullptr) throw std::bad_alloc();
  // Looked up once: each look-up takes a lock and longer than a small file.
  static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  if (algorithm == nullptr) throw std::bad_alloc();
  Check(EVP_DigestInit_ex(Context(context_.get()), algorithm, nullptr));
}

void Sha256::Update(const void* bytes, std::size_t count) {
  Check(EVP_DigestUpdate(Context(context_.get()), bytes, count));
}

std::string Sha256::Hexadecimal() {
  std::array<unsigned char, kDigestBytes> digest;
  Check(EVP_DigestFinal_ex(Context(context_.get()), digest.data(), nullptr));
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
