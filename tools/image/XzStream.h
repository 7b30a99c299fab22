#ifndef KXCMS_TOOLS_IMAGE_XZSTREAM_H
#define KXCMS_TOOLS_IMAGE_XZSTREAM_H

#include <cstdint>

#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// The largest dictionary that the blocks of an .xz stream name, as TIFF's LZMA compression has
/// them: a decoder takes that much memory before it decodes anything, up to 4 GiB. Follows the
/// headers of blocks and of the chunks in them (the .xz file format, 3; LZMA2), up to what the
/// decoder will refuse.
/// @param isReversed  whether the bits of each byte come the other way round
std::uint64_t XzDictionaryBytes(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes,
                                bool isReversed);

}  // namespace kxcms::image

#endif
