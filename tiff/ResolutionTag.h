#ifndef KXCMS_TIFF_RESOLUTIONTAG_H
#define KXCMS_TIFF_RESOLUTIONTAG_H

#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// XResolution, YResolution (282, 283, TIFF 6.0 section 8). Ownership and threads as in `TiffTag`.
class KX_API ResolutionTag : public TiffTag {
 public:
  /// As `TiffTag`; without a file, the RATIONAL `value` * 100 / 100.
  ResolutionTag(unsigned tagAndType, unsigned count, unsigned value, FILE* file);
  ~ResolutionTag() override;

  /// @return numerator / denominator in unsigned integers; 0 for a zero denominator or absent data.
  unsigned GetValue() const override;
};

}  // namespace KX_Tiff_STL3

#endif
