#ifndef KXCMS_ICCFILE_CXYZTYPE_H
#define KXCMS_ICCFILE_CXYZTYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// One XYZ value (ICC.1:2010 XYZType; only the first triple of the tag).
class KX_API CXYZType : public iccTagBase {
 public:
  /// Size 20, X = Y = Z = 0.
  CXYZType();
  ~CXYZType() override;

  using iccTagBase::Initial;
  /// Reads the triple at bytes 8, 12 and 16. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  /// Sets the value. Each fixed-point word becomes |trunc(value * 65536 + 0.5)| in big-endian
  /// (file) byte order: the sign of a negative value is dropped. @return 0.
  virtual int Initial(ICC4_HEADER::icTagSignature signature, double X, double Y, double Z);

  /// Writes 20 bytes: "XYZ ", a zero word, the fixed-point words as they lie in memory. Right on
  /// disk only for a value set through `Initial(signature, X, Y, Z)`. @return 0.
  int Save(FILE* stream) override;

  ///@{
  /// s15Fixed16 word: 65536 is 1.0. Host order when parsed, file order when set from doubles.
  int fixedX;
  int fixedY;
  int fixedZ;
  ///@}
  ///@{
  /// The value as a number; a perfect white has Y = 1.0.
  double X;
  double Y;
  double Z;
  ///@}
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
