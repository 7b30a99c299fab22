#include "TagData.h"

#include <algorithm>

#include "FileStream.h"

namespace KX_Tiff_STL3 {

std::unique_ptr<unsigned char[]> NewTagData(unsigned tag, std::uint64_t sizeBytes) {
  const std::uint64_t leastBytes = tag == ExifIfd ? kExifBlockBytes : kRationalBytes;
  return std::make_unique<unsigned char[]>(std::max(sizeBytes, leastBytes));
}

bool MayHoldTagData(FILE* file, std::uint64_t offset, std::uint64_t sizeBytes) {
  const std::uint64_t fileBytes = FileBytes(file);
  const std::uint64_t presentBytes = fileBytes > offset ? fileBytes - offset : 0;
  return sizeBytes <= kZeroFilledTagBytes || sizeBytes - kZeroFilledTagBytes <= presentBytes;
}

std::uint64_t HeldBytes(const std::vector<std::shared_ptr<TiffTag>>& tags) {
  std::uint64_t heldBytes = 0;
  for (const auto& tag : tags) {
    if (!tag->data) continue;
    heldBytes += std::max(TagDataBytes(*tag), kExifBlockBytes);
  }
  return heldBytes;
}

bool AlwaysGetsOffset(unsigned type) {
  return type >= TIFF_SBYTE && type <= TIFF_SLONG;
}

std::uint64_t ReservedBytes(const TiffTag& tag) {
  const std::uint64_t sizeBytes = TagDataBytes(tag);
  const bool tooLarge = !tag.data && sizeBytes > kZeroFilledTagBytes;
  return tooLarge ? 0 : sizeBytes;
}

}  // namespace KX_Tiff_STL3
