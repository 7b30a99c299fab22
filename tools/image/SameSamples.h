#ifndef KXCMS_TOOLS_IMAGE_SAMESAMPLES_H
#define KXCMS_TOOLS_IMAGE_SAMESAMPLES_H

#include "tools/image/ImageSource.h"
#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// Decodes every page of two files of a format, whatever its colours, and compares all samples, as
/// the codings hold them. Throws an `ImageError` if the first file is damaged or of a form that
/// nobody here decodes.
/// @return whether both have the same pages with the same samples
bool HaveSameSamples(Format format, const InputBytes& one, const InputBytes& other);

}  // namespace kxcms::image

#endif
