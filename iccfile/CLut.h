#ifndef KXCMS_ICCFILE_CLUT_H
#define KXCMS_ICCFILE_CLUT_H

#include "CCurveType.h"
#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// The CLUT element of an 'mAB ' or 'mBA ' tag (ICC.1:2010 lutAToBType).
struct LutGrid {
  unsigned char gridPoints[16];  ///< one per input dimension, as the tag states them
  unsigned char precision;       ///< bytes per value, 1 or 2
  unsigned char padding[3];      ///< as in the tag
  /// Owned by the `CLut`, new[]: the CLUT's bytes, first input slowest; 16-bit values in host
  /// order. Null when absent.
  unsigned char* values;
};

/// A lookup table of curves and a CLUT (ICC.1:2010 lutAToBType, lutBToAType).
/// The matrix, all M curves but the first, and channels without a curve slot are not read. Curves
/// follow one another at the distance that `CCurveType::Initial` without a size returns.
class KX_API CLut : public iccTagBase {
 public:
  /// Everything 0, no elements.
  CLut();
  ~CLut() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  unsigned char inputChannels;     ///< device channels of an A2B tag, PCS channels of a B2A tag
  unsigned char outputChannels;    ///< PCS channels of an A2B tag, device channels of a B2A tag
  unsigned char reservedBytes[2];  ///< as in the tag
  ///@{
  /// Byte offset of an element from the tag's first byte, 0 = absent. The matrix is never followed.
  unsigned int offsetB;
  unsigned int offsetMatrix;
  unsigned int offsetM;
  unsigned int offsetClut;
  unsigned int offsetA;
  ///@}
  CCurveType* curvesB[3];  ///< owned, null when absent; PCS side
  CCurveType* curveM;      ///< owned, null when absent; the first M curve
  LutGrid* grid;           ///< owned, null when absent
  CCurveType* curvesA[7];  ///< owned, null when absent; device side
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
