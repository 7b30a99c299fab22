#ifndef KXCMS_ICCFILE_CLUT_H
#define KXCMS_ICCFILE_CLUT_H

#include "CCurveType.h"
#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// The CLUT element of an 'mAB ' or 'mBA ' tag (ICC.1:2010 10.12.5).
struct LutGrid {
  unsigned char gridPoints[16];  ///< one per input dimension
  unsigned char precision;       ///< bytes per value, 1 or 2
  unsigned char padding[3];
  unsigned char* values;  ///< owned, new[]: the CLUT's bytes, 16-bit values in host order, or null
};

/// A lookup table of curves and a CLUT (ICC.1:2010 10.12 lutAToBType, 10.13 lutBToAType).
/// The matrix, all M curves but the first, and channels without a curve slot are not read.
class KX_API CLut : public iccTagBase {
 public:
  CLut();
  ~CLut() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  unsigned char inputChannels;
  unsigned char outputChannels;
  unsigned char reservedBytes[2];
  unsigned int offsetB;       ///< offsets from the tag's first byte, 0 = element absent
  unsigned int offsetMatrix;  ///< kept, never followed
  unsigned int offsetM;
  unsigned int offsetClut;
  unsigned int offsetA;
  CCurveType* curvesB[3];  ///< owned, null when absent; PCS side
  CCurveType* curveM;      ///< owned, null when absent
  LutGrid* grid;           ///< owned, null when absent
  CCurveType* curvesA[7];  ///< owned, null when absent; device side
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
