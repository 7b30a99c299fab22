#ifndef KXCMS_TIFF_BITSPERSAMPLETAG_H
#define KXCMS_TIFF_BITSPERSAMPLETAG_H

#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// BitsPerSample (258, TIFF 6.0 section 8). Ownership and threads as in `TiffTag`.
class KX_API BitsPerSampleTag : public TiffTag {
 public:
  /// As `TiffTag`; without a file, a count above 1 gets one 16-bit entry of `value` per sample.
  BitsPerSampleTag(unsigned tagAndType, unsigned count, unsigned value, FILE* file);
  ~BitsPerSampleTag() override;

  /// @return `value` for a count of 1, else the first 16-bit entry of `data`, or 0 when that is
  /// null.
  unsigned GetValue() const override;
};

}  // namespace KX_Tiff_STL3

#endif
