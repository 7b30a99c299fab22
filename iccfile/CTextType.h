#ifndef KXCMS_ICCFILE_CTEXTTYPE_H
#define KXCMS_ICCFILE_CTEXTTYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// Plain text (ICC.1:2010 textType), used for the copyright tag.
class KX_API CTextType : public iccTagBase {
 public:
  /// No text.
  CTextType();
  ~CTextType() override;

  using iccTagBase::Initial;
  /// Copies the `size` - 8 bytes from byte 8 on; no terminator is added. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  unsigned char* text;  ///< owned, new[]: `size` - 8 bytes, or null
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
