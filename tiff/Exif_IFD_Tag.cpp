#include "Exif_IFD_Tag.h"

#include <algorithm>

#include "../base/FileStream.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {

Exif_IFD_Tag::Exif_IFD_Tag(unsigned tagAndType, unsigned itemCount, unsigned offset, FILE* file)
    : TiffTag(tagAndType, itemCount, offset, nullptr) {
  const std::uint64_t sizeBytes = std::max(HeldDataBytes(*this), kExifBlockBytes);
  auto block = std::make_unique<unsigned char[]>(sizeBytes);
  ReadAt(file, offset, block.get(), sizeBytes);
  data = block.release();
}

Exif_IFD_Tag::~Exif_IFD_Tag() = default;

}  // namespace KX_Tiff_STL3
