#ifndef KXCMS_TIFF_EXIF_IFD_TAG_H
#define KXCMS_TIFF_EXIF_IFD_TAG_H

#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// Exif directory pointer (34665): carries the 256 bytes at its offset as an opaque block.
class KX_API Exif_IFD_Tag : public TiffTag {
 public:
  /// Reads 256 bytes at `offset`; those past the end of the file, or all without a file, are 0.
  Exif_IFD_Tag(unsigned tagAndType, unsigned count, unsigned offset, FILE* file);
  ~Exif_IFD_Tag() override;
};

}  // namespace KX_Tiff_STL3

#endif
