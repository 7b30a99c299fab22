#ifndef KXCMS_ICCFILE_CTEXTDESCRIPTIONTYPE_H
#define KXCMS_ICCFILE_CTEXTDESCRIPTIONTYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A text description (ICC.1:2001-04 6.5.17, textDescriptionType) or an unlisted text tag; the
/// inner structure is not parsed.
class KX_API CTextDescriptionType : public iccTagBase {
 public:
  CTextDescriptionType();
  ~CTextDescriptionType() override;

  using iccTagBase::Initial;
  /// Copies the `size` - 8 bytes from byte 8 on. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  /// Writes `size` bytes of the text array as they stand; bytes past the array are written as 0.
  /// @return 0.
  int Save(FILE* stream) override;

  unsigned int length;  ///< bytes in `text`
  unsigned char* text;  ///< owned, new[]: `length` bytes, or null
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
