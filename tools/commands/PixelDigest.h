#ifndef KXCMS_TOOLS_COMMANDS_PIXELDIGEST_H
#define KXCMS_TOOLS_COMMANDS_PIXELDIGEST_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/Sha256.h"
#include "tools/image/ImageSource.h"

/// SHA-256 of samples: R, G, B and the extra ones of each pixel, 16-bit samples low byte first, row
/// by row and page by page, and nothing else. So what a file says of itself, and how it is
/// compressed, does not count, on any machine.
class PixelDigest {
 public:
  /// @param samples  interleaved samples in the machine's byte order
  /// @param bits     of each: 8 or 16
  void Update(const unsigned char* samples, std::size_t sizeBytes, unsigned bits);
  std::string Hexadecimal() { return digest_.Hexadecimal(); }

 private:
  Sha256 digest_;
  std::vector<unsigned char> swapped_;
};

/// That of all pages of a file. Throws an `ImageError` for one that cannot be decoded.
std::string PixelDigestOf(kxcms::image::ImageSource& source);

#endif
