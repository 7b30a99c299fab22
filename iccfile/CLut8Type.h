#ifndef KXCMS_ICCFILE_CLUT8TYPE_H
#define KXCMS_ICCFILE_CLUT8TYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A lookup table with 8-bit entries, made for every A2B or B2A tag that is neither lut16Type nor
/// of the lutAToB, lutBToA form. The tag is read with the header of the 16-bit form (entry counts
/// at bytes 48 and 50, tables from byte 52), which ICC.1:2010 lut8Type does not have: kept so that
/// results stay identical.
class KX_API CLut8Type : public iccTagBase {
 public:
  /// Everything 0, no tables.
  CLut8Type();
  ~CLut8Type() override;

  using iccTagBase::Initial;
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  unsigned char inputChannels;   ///< as in the tag
  unsigned char outputChannels;  ///< as in the tag
  unsigned char gridPoints;      ///< per input dimension
  unsigned char reservedByte;    ///< tag byte 11
  int matrix[9];                 ///< e00, e01, ..., e22 as s15Fixed16 words
  unsigned short inputEntries;   ///< per input table, tag bytes 48 and 49
  unsigned short outputEntries;  ///< per output table, tag bytes 50 and 51
  unsigned char* inputTables;    ///< owned, new[]: inputChannels * inputEntries, or null
  unsigned char* colorTable;     ///< owned, new[]: gridPoints^3 * outputChannels, first input
                                 ///< slowest, or null
  unsigned char* outputTables;   ///< owned, new[]: outputChannels * outputEntries, or null
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
