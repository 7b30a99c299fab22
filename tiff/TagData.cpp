#include "TagData.h"

#include <algorithm>

#include "../base/FileStream.h"
#include "../base/Limits.h"

namespace KX_Tiff_STL3 {

std::unique_ptr<unsigned char[]> NewTagData(unsigned tag, std::uint64_t sizeBytes) {
  const std::uint64_t leastBytes = tag == ExifIfd ? kExifBlockBytes : kRationalBytes;
  return std::make_unique<unsigned char[]>(std::max(sizeBytes, leastBytes));
}

std::uint64_t TagLimit(FILE* file) {
  return ReaderLimit(FileBytes(file)) / 2;
}

std::uint64_t HeldBytes(const std::vector<std::shared_ptr<TiffTag>>& tags) {
  std::uint64_t heldBytes = 0;
  for (const auto& tag : tags) {
    if (!tag->data) continue;
    heldBytes += std::max(HeldDataBytes(*tag), kExifBlockBytes);
  }
  return heldBytes;
}

}  // namespace KX_Tiff_STL3
