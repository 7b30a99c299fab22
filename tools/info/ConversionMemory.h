#ifndef KXCMS_TOOLS_INFO_CONVERSIONMEMORY_H
#define KXCMS_TOOLS_INFO_CONVERSIONMEMORY_H

#include <cstdint>

#include "tools/image/FileForm.h"
#include "tools/image/ImageSource.h"

namespace kxcms::info {

/// How many bytes of memory `convert` needs at most for a result of the same form, program and
/// libraries included. Pages that are refused count nothing.
std::uint64_t ConversionMemory(const image::FileForm& form, const image::ImageSource& source);

}  // namespace kxcms::info

#endif
