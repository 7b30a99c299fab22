#ifndef KXCMS_ICCFILE_CCHAD_H
#define KXCMS_ICCFILE_CCHAD_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// The chromatic adaptation matrix (ICC.1:2010 chromaticAdaptationTag, s15Fixed16ArrayType).
class KX_API CChad : public iccTagBase {
 public:
  /// All elements 0.
  CChad();
  ~CChad() override;

  using iccTagBase::Initial;
  /// Reads nine s15Fixed16 words from byte 8 on. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  double matrix[3][3];  ///< from the illuminant to the PCS white, row by row
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
