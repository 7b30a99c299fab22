#ifndef KXCMS_API_IMAGECHECK_H
#define KXCMS_API_IMAGECHECK_H

#include <cstddef>

#include "api/pipeline.h"
#include "pipeline/ImageLayout.h"

namespace kxcms {

/// Two images that can be converted from and to, of one size, which is not 0.
struct ImagePair {
  SourceImage source;
  DestinationImage destination;
  AlphaResult alpha;
};

/// A caller's descriptions, with their defaults filled in. Throws Failure for one that describes
/// nothing that can be converted, and where the two overlap other than in place.
ImagePair CheckedImages(const kxp_image* source, const kxp_image* destination, std::size_t width,
                        std::size_t height);

}  // namespace kxcms

#endif
