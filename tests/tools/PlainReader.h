#ifndef KXCMS_TESTS_TOOLS_PLAINREADER_H
#define KXCMS_TESTS_TOOLS_PLAINREADER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What libtiff, libpng or libjpeg read of an image, without any code of the command.
struct PlainPage {
  std::uint32_t width = 0, height = 0;
  unsigned samples = 0;  ///< of a pixel
  unsigned bits = 0;     ///< of a sample
  unsigned alpha = 0;    ///< the first sample that is one, or 0
  bool isAssociated = false;
  std::vector<unsigned char> rows;  ///< interleaved samples as the machine holds them
  std::vector<unsigned char> profile;
};

enum class PlainFormat { kTiff, kPng, kJpeg };

/// By the suffix of a file's name.
PlainFormat PlainFormatOf(const std::string& path);

/// The pages of a TIFF file, those of SubIFDs behind the one that they belong to, or the image of
/// another; none for a page that cannot be read, or only with an error. What the libraries say is
/// added to `said`.
std::vector<std::optional<PlainPage>> ReadPlainly(const char* path, PlainFormat format,
                                                  std::string& said);

#endif
