#ifndef KXCMS_TOOLS_IMAGE_TRUETAGS_H
#define KXCMS_TOOLS_IMAGE_TRUETAGS_H

#include <string>
#include <vector>

#include "tools/image/Metadata.h"
#include "tools/image/Thumbnails.h"

namespace kxcms::image {

/// The colours that pixels have got, as far as metadata have names for them.
enum class NamedColors { kOther, kSrgb, kAdobeRgb };

/// Makes the metadata of converted pixels true: what described the old colours is taken out, or set
/// to what the new ones are.
///
/// Taken out: white point, primaries and transfer function of TIFF, the gamma of Exif, the profile
/// in Photoshop's blocks, its layers, the name of the profile and the thumbnails in XMP, what a PNG
/// file keeps of all this as coded texts, and pointers whose target is not carried over. Set:
/// Exif's ColorSpace and interoperability index. Converted: the thumbnails of Exif and of
/// Photoshop; taken out if they cannot be.
/// @param thumbnails  what converts them; none: all are taken out
/// @param dropped     receives names of what is taken out, for people
void MakeTrue(Metadata& metadata, NamedColors colors, const ColorChange& thumbnails,
              std::vector<std::string>& dropped);

}  // namespace kxcms::image

#endif
