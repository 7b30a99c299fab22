#ifndef KXCMS_TIFF_TAGDATA_H
#define KXCMS_TIFF_TAGDATA_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "TiffLayout.h"
#include "TiffTag.h"

// The out-of-line data of tags in memory: how they are made, and how much of them may be held.

namespace KX_Tiff_STL3 {

/// Zeroed bytes for a tag's data, at least as many as its class reads at fixed places: a rational,
/// or for 34665 the Exif block.
std::unique_ptr<unsigned char[]> NewTagData(unsigned tag, std::uint64_t sizeBytes);

/// What the data of all tags together may take for a file: half of what its reader may hold. The
/// other half is for the pixels.
std::uint64_t TagLimit(FILE* file);

/// Bytes held by tags, as their types and counts tell. A pixel buffer is not counted.
std::uint64_t HeldBytes(const std::vector<std::shared_ptr<TiffTag>>& tags);

}  // namespace KX_Tiff_STL3

#endif
