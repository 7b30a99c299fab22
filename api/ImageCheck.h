#ifndef KXCMS_API_IMAGECHECK_H
#define KXCMS_API_IMAGECHECK_H

#include <cstddef>
#include <cstdint>

#include "api/pipeline.h"

namespace kxcms {

/// A caller's description of an image, checked and with its defaults filled in: strides are what
/// they say, every sample's address can be computed.
struct Image {
  unsigned char* samples[4];  ///< first R, G, B, alpha; [3] may be null
  std::ptrdiff_t pixelStride;
  std::ptrdiff_t rowStride;
  std::uint32_t sample;  ///< KXP_U8 and so on
  std::uint32_t flags;
};

/// Throws Failure for a description that is none. `what` is "source" or "destination".
Image CheckedImage(const kxp_image* image, std::size_t width, std::size_t height, const char* what);

/// Throws Failure where pixels of the destination share bytes with one another, or with the source
/// other than in place.
void CheckOverlap(const Image& source, const Image& destination, std::size_t width,
                  std::size_t height);

}  // namespace kxcms

#endif
