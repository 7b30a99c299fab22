#ifndef KXCMS_TIFF_STRIPOFFSETSTAG_H
#define KXCMS_TIFF_STRIPOFFSETSTAG_H

#include <cstdint>

#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// StripOffsets (273) of an image that was read or newly made: remembers the pixels that it was
/// given. For programs a `TiffTag`; they may put another one in its place, or other `data` into it.
class StripOffsetsTag final : public TiffTag {
 public:
  using TiffTag::TiffTag;

  const unsigned char* pixels = nullptr;  ///< borrowed, compared with `data` and never read
  std::uint64_t pixelBytes = 0;           ///< of these
};

}  // namespace KX_Tiff_STL3

#endif
