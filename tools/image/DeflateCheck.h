#ifndef KXCMS_TOOLS_IMAGE_DEFLATECHECK_H
#define KXCMS_TOOLS_IMAGE_DEFLATECHECK_H

#include <cstdint>

#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// Looks at the check sum of Deflate's data (RFC 1950), which a decoder that is asked for rows does
/// not come to. Throws an `ImageError` if it is wrong, or if the data are of another size.
/// @param isReversed   whether the bits of each byte come the other way round
/// @param wantedBytes  bytes when decoded; also right are `paddedBytes`, those of a last strip that
///                     is as long as the others
void CheckDeflate(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes,
                  bool isReversed, std::uint64_t wantedBytes, std::uint64_t paddedBytes);

}  // namespace kxcms::image

#endif
