#include "TagData.h"

#include <algorithm>

#include "../base/FileStream.h"
#include "../base/Limits.h"

namespace KX_Tiff_STL3 {

std::uint64_t HeldDataBytes(const TiffTag& tag) {
  const std::uint64_t sizeBytes = TagDataBytes(tag);
  const bool blockOnly = tag.tag == ExifIfd && sizeBytes > kStandInTagBytes;
  return blockOnly ? kExifBlockBytes : sizeBytes;
}

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

bool AlwaysGetsOffset(unsigned type) {
  return type >= TIFF_SBYTE && type <= TIFF_SLONG;
}

std::uint64_t ReservedBytes(const TiffTag& tag) {
  const std::uint64_t sizeBytes = TagDataBytes(tag);
  const std::uint64_t heldBytes = tag.data ? HeldDataBytes(tag) : 0;
  return sizeBytes > std::max(heldBytes, kStandInTagBytes) ? 0 : sizeBytes;
}

}  // namespace KX_Tiff_STL3
