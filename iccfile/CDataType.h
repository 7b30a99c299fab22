#ifndef KXCMS_ICCFILE_CDATATYPE_H
#define KXCMS_ICCFILE_CDATATYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A tag without a class of its own, kept as raw bytes in `data`.
class KX_API CDataType : public iccTagBase {
 public:
  /// No data.
  CDataType();
  ~CDataType() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
