#ifndef KXCMS_ICCFILE_CTEXTDESCRIPTIONTYPE_H
#define KXCMS_ICCFILE_CTEXTDESCRIPTIONTYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// The description tag (ICC.1:2001-04 textDescriptionType; any other type is taken alike) or text
/// under a signature without a class of its own. The inner structure is not parsed.
class KX_API CTextDescriptionType : public iccTagBase {
 public:
  /// No text.
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
