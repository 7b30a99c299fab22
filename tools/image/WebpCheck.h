#ifndef KXCMS_TOOLS_IMAGE_WEBPCHECK_H
#define KXCMS_TOOLS_IMAGE_WEBPCHECK_H

#include <cstdint>

#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// Looks at the size that a WebP stream says it has, which libtiff takes for that of its strip or
/// tile: of a narrower one it would leave the rest of the rows as they were. Throws an `ImageError`
/// if it is another one.
/// @param isReversed  whether the bits of each byte come the other way round
void CheckWebp(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes, bool isReversed,
               std::uint32_t width, std::uint32_t height);

}  // namespace kxcms::image

#endif
