#ifndef KXCMS_ICCFILE_ICCHEADER_H
#define KXCMS_ICCFILE_ICCHEADER_H

#include "../interface/KxApi.h"

namespace ICC40 {
namespace ICC4_HEADER {

/// Tag signatures (ICC.1:2010 9.2): four ASCII characters, the first in the most significant byte.
/// Any other 32-bit value is a legal signature too.
enum icTagSignature : unsigned int {
  A2B0 = 0x41324230,
  A2B1 = 0x41324231,
  A2B2 = 0x41324232,
  B2A0 = 0x42324130,
  B2A1 = 0x42324131,
  B2A2 = 0x42324132,
  bXYZ = 0x6258595A,
  bkpt = 0x626B7074,
  bTRC = 0x62545243,
  chad = 0x63686164,
  cprt = 0x63707274,
  desc = 0x64657363,
  gTRC = 0x67545243,
  gXYZ = 0x6758595A,
  rTRC = 0x72545243,
  rXYZ = 0x7258595A,
  wtpt = 0x77747074,
};

/// Tag type signatures (ICC.1:2010 10) that decide a tag's class.
enum icTagTypeSignature : unsigned int {
  mft2 = 0x6D667432,  ///< lut16Type
  mAB = 0x6D414220,   ///< lutAToBType, 'mAB '
  mBA = 0x6D424120,   ///< lutBToAType, 'mBA '
  text = 0x74657874,  ///< textType
};

/// The first two words of every tag type (ICC.1:2010 10.1), in host order.
struct KX_API icTagBase {
  icTagTypeSignature typeSignature;  ///< e.g. 0x63757276 for 'curv'
  unsigned int reserved;             ///< always 0 after `Initial`
};

/// Creation date and time (ICC.1:2010 4.2, dateTimeNumber).
struct icDateTime {
  unsigned short year, month, day, hours, minutes, seconds;
};

/// The 128-byte profile header (ICC.1:2010 7.2). Numbers are in host order, except the two byte
/// arrays, which are kept as they stand in the file.
struct icHeader {
  unsigned int size;  ///< profile size in bytes, as the file states it
  unsigned int cmmType;
  unsigned int version;      ///< e.g. 0x02400000
  unsigned int deviceClass;  ///< e.g. 'scnr'
  unsigned int colorSpace;   ///< data colour space, e.g. 'RGB '
  unsigned int pcs;          ///< profile connection space, 'Lab ' or 'XYZ '
  icDateTime date;
  unsigned int magic;  ///< 'acsp' in a valid file; never checked
  unsigned int platform;
  unsigned int flags;
  unsigned int manufacturer;  ///< device manufacturer; 0x6E6F6E65 is "none"
  unsigned int model;
  unsigned char attributes[8];  ///< file order
  unsigned int renderingIntent;
  int illuminant[3];  ///< X, Y, Z as s15Fixed16 words
  unsigned int creator;
  unsigned char idAndReserved[44];  ///< profile ID (16 bytes) and reserved bytes, file order
};

}  // namespace ICC4_HEADER
}  // namespace ICC40

#endif
