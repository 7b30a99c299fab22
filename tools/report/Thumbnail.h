#ifndef KXCMS_TOOLS_REPORT_THUMBNAIL_H
#define KXCMS_TOOLS_REPORT_THUMBNAIL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxcms::report {

/// A small picture, as sRGB of 8 bits a sample.
struct Thumbnail {
  std::size_t width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
};

/// The picture as a PNG file in a data URI (RFC 2397), for a page that needs no other file.
std::string DataUri(const Thumbnail& thumbnail);

}  // namespace kxcms::report

#endif
