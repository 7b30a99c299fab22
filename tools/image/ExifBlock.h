#ifndef KXCMS_TOOLS_IMAGE_EXIFBLOCK_H
#define KXCMS_TOOLS_IMAGE_EXIFBLOCK_H

#include <cstddef>
#include <cstdint>
#include <optional>
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

/// Moves texts of PNG and JPEG to the tags that say the same, where these say nothing yet: the
/// description, author, copyright and software of PNG, and a text without a keyword, which is a
/// description too.
void TextsToTags(Metadata& metadata);

/// What is known from elsewhere than tags, for images whose tags do not say it.
/// @param unit  2: pixels per inch, 3: per centimetre, 1: only their proportion
void AddResolution(Metadata& metadata, std::uint32_t x, std::uint32_t y, std::uint32_t divisor,
                   std::uint16_t unit);

/// Pixels per unit, as the tags say.
struct Resolution {
  double x, y;
  std::uint16_t unit;  ///< as of `AddResolution`
};
/// None where a tag is missing or says nothing.
std::optional<Resolution> ResolutionOf(const Metadata& metadata);

/// Metadata in the places that formats other than TIFF have for them.
struct Places {
  std::vector<unsigned char> exif;  ///< a block with its TIFF header; empty: none
  std::vector<unsigned char> xmp;
  std::vector<unsigned char> photoshop;  ///< blocks, IPTC among them
};

/// @param mostExif  bytes of a block of Exif: tags that do not fit are dropped, the largest first
/// @param dropped   receives their names
Places PlacesOf(Metadata metadata, std::size_t mostExif, std::vector<std::string>& dropped);

}  // namespace kxcms::image

#endif
