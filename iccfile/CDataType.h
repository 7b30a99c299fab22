#ifndef KXCMS_ICCFILE_CDATATYPE_H
#define KXCMS_ICCFILE_CDATATYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A tag that is kept as raw bytes only.
class KX_API CDataType : public iccTagBase {
 public:
  CDataType();
  ~CDataType() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
