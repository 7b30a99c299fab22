#ifndef KXCMS_TIFF_EXIF_IFD_TAG_H
#define KXCMS_TIFF_EXIF_IFD_TAG_H

#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// Exif directory pointer (34665): carries the bytes at its offset as an opaque block in `data`:
/// 256, or as many more as type and count tell up to 64 KiB. Ownership and threads as in `TiffTag`.
class KX_API Exif_IFD_Tag : public TiffTag {
 public:
  /// Reads the block at `offset`; bytes past the end of the file, or all without a file, are 0.
  Exif_IFD_Tag(unsigned tagAndType, unsigned count, unsigned offset, FILE* file);
  ~Exif_IFD_Tag() override;
};

}  // namespace KX_Tiff_STL3

#endif
