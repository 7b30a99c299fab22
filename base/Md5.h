#ifndef KXCMS_BASE_MD5_H
#define KXCMS_BASE_MD5_H

#include <array>
#include <span>

namespace kxcms {

using Md5Digest = std::array<unsigned char, 16>;

/// MD5 (RFC 1321): names bytes, as the ID of an ICC profile does, and protects nothing.
Md5Digest Md5(std::span<const unsigned char> bytes);

}  // namespace kxcms

#endif
