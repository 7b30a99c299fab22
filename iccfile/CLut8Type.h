#ifndef KXCMS_ICCFILE_CLUT8TYPE_H
#define KXCMS_ICCFILE_CLUT8TYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A lookup table with 8-bit entries, made for every A2B or B2A tag of another type. The tag is
/// read with the header of the 16-bit form (entry counts at bytes 48 and 50, tables from byte 52).
class KX_API CLut8Type : public iccTagBase {
 public:
  CLut8Type();
  ~CLut8Type() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  unsigned char inputChannels;
  unsigned char outputChannels;
  unsigned char gridPoints;
  unsigned char reservedByte;
  int matrix[9];
  unsigned short inputEntries;
  unsigned short outputEntries;
  unsigned char* inputTables;   ///< owned, new[]: inputChannels * inputEntries, or null
  unsigned char* colorTable;    ///< owned, new[]: gridPoints^3 * outputChannels, or null
  unsigned char* outputTables;  ///< owned, new[]: outputChannels * outputEntries, or null
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
