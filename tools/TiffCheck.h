#ifndef KXCMS_TOOLS_TIFFCHECK_H
#define KXCMS_TOOLS_TIFFCHECK_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Finding.h"

/// What the check found out about an image.
struct TiffForm {
  std::uint32_t width = 0;
  std::uint32_t length = 0;
  int bits = 0;  ///< per sample, 8 or 16
  std::uint16_t orientation = 1;
  std::optional<std::vector<unsigned char>> profile;  ///< the embedded one
  /// Tags that would be untrue in the converted file: what describes the old colours, what points
  /// into the old file, and what the library's writer cannot store.
  std::vector<std::uint16_t> leftOut;

  std::uint64_t PixelBytes() const { return std::uint64_t{width} * length * 3 * (bits / 8); }
};

struct TiffReport {
  TiffForm form;  ///< as far as it could be found out
  std::vector<Finding> findings;
};

/// Everything that keeps the library from reading the image rightly. The embedded profile is not
/// looked into. Refuses what is no file or cannot be read at all.
/// @param fd    the open file, of which nothing is trusted; its position is left alone
/// @param name  how messages call it
TiffReport InspectTiff(int fd, const std::string& name);

/// Passes an RGB image that the library reads rightly, and refuses every other one with the first
/// error.
TiffForm CheckTiff(int fd, const std::string& name);

#endif
