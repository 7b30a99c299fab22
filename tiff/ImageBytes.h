#ifndef KXCMS_TIFF_IMAGEBYTES_H
#define KXCMS_TIFF_IMAGEBYTES_H

#include <cstdint>

#include "CTiff.h"
#include "PixelData.h"

namespace KX_Tiff_STL3 {

/// Width, length, samples and bits from the tags of an image.
ImageGeometry GeometryOf(Tiff& image);

/// Bytes that the pixel buffer of an image is good for, 0 when it has none: the StripByteCounts
/// value, since that is what saving writes, or without that tag what the dimensions in the tags
/// take. The buffer of an image that was read or newly made is never smaller, until a saving makes
/// an offset of that value (types 6 to 9), but it can be larger:
/// - An image of several strips without RowsPerStrip is read as one strip, and an array of byte
///   counts stays with it: its value is the low half of the first count.
/// - The strips of several, or of separate planes, can hold less than the image takes. The buffer
///   goes on in zeros.
/// - Separate planes of other than three samples are interleaved as four.
std::uint64_t ImageBytes(CTiff& image);

}  // namespace KX_Tiff_STL3

#endif
