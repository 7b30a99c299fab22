#ifndef KXCMS_TOOLS_IMAGE_EXIFBLOCK_H
#define KXCMS_TOOLS_IMAGE_EXIFBLOCK_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/image/Metadata.h"

namespace kxcms::image {

/// Whether a tag of TIFF says how the pixels lie, or belongs to another encoding of them: it is
/// made anew for every image that is written.
bool IsStructure(std::uint16_t number);

/// Takes the tags of an Exif block, which begins with a TIFF header, for those of the image.
/// @param dropped  receives the names of what is not taken over
void ReadExif(std::span<const unsigned char> block, Metadata& metadata,
              std::vector<std::string>& dropped);

/// What is known from elsewhere than tags, for images whose tags do not say it.
/// @param unit  2: pixels per inch, 3: per centimetre, 1: only their proportion
void AddResolution(Metadata& metadata, std::uint32_t x, std::uint32_t y, std::uint32_t divisor,
                   std::uint16_t unit);

}  // namespace kxcms::image

#endif
