#ifndef KXCMS_ICCFILE_ICCHEADER_H
#define KXCMS_ICCFILE_ICCHEADER_H

#include "../base/KxApi.h"

/// The classes of ICC profiles and of the conversion made of them.
namespace ICC40 {
/// Profile header, signatures and the first words of a tag, in host order.
namespace ICC4_HEADER {

/// Tag signatures (ICC.1:2010 9.2): four ASCII characters, the first in the most significant byte.
/// Any other 32-bit value is a legal signature too.
enum icTagSignature : unsigned int {
  A2B0 = 0x41324230,  ///< device to PCS, perceptual
  A2B1 = 0x41324231,  ///< device to PCS, colorimetric
  A2B2 = 0x41324232,  ///< device to PCS, saturation
  B2A0 = 0x42324130,  ///< PCS to device, perceptual
  B2A1 = 0x42324131,  ///< PCS to device, colorimetric
  B2A2 = 0x42324132,  ///< PCS to device, saturation
  bXYZ = 0x6258595A,  ///< blue matrix column
  bkpt = 0x626B7074,  ///< media black point
  bTRC = 0x62545243,  ///< blue tone curve
  chad = 0x63686164,  ///< chromatic adaptation matrix
  cprt = 0x63707274,  ///< copyright
  desc = 0x64657363,  ///< profile description
  gTRC = 0x67545243,  ///< green tone curve
  gXYZ = 0x6758595A,  ///< green matrix column
  rTRC = 0x72545243,  ///< red tone curve
  rXYZ = 0x7258595A,  ///< red matrix column
  wtpt = 0x77747074,  ///< media white point
};

/// Tag type signatures (ICC.1:2010 clause 10) that decide a tag's class.
enum icTagTypeSignature : unsigned int {
  mft2 = 0x6D667432,  ///< lut16Type
  mAB = 0x6D414220,   ///< lutAToBType, 'mAB '
  mBA = 0x6D424120,   ///< lutBToAType, 'mBA '
  text = 0x74657874,  ///< textType
};

/// The first two words of every tag type (ICC.1:2010 clause 10), in host order.
struct KX_API icTagBase {
  icTagTypeSignature typeSignature;  ///< e.g. 0x63757276 for 'curv'
  unsigned int reserved;             ///< always 0 after `Initial`
};

/// Creation date and time (ICC.1:2010 dateTimeNumber); kept as read, never checked.
struct icDateTime {
  ///@{
  /// Full year, month 1..12, day 1..31, hours, minutes, seconds in UTC.
  unsigned short year, month, day, hours, minutes, seconds;
  ///@}
};

/// The 128-byte profile header (ICC.1:2010 7.2). Numbers are in host order, except the two byte
/// arrays, which are kept as they stand in the file. Signatures are four ASCII characters, the
/// first in the most significant byte.
struct icHeader {
  unsigned int size;                ///< profile size in bytes, as the file states it
  unsigned int cmmType;             ///< preferred CMM, a signature or 0
  unsigned int version;             ///< e.g. 0x02400000
  unsigned int deviceClass;         ///< e.g. 'scnr'
  unsigned int colorSpace;          ///< data colour space, e.g. 'RGB '
  unsigned int pcs;                 ///< profile connection space, 'Lab ' or 'XYZ '
  icDateTime date;                  ///< when the profile was made
  unsigned int magic;               ///< 'acsp' in a valid file; never checked
  unsigned int platform;            ///< primary platform, e.g. 'MSFT', or 0
  unsigned int flags;               ///< bit 0: embedded, bit 1: not to be used apart from its image
  unsigned int manufacturer;        ///< device manufacturer; 0x6E6F6E65 is "none"
  unsigned int model;               ///< device model, a signature or 0
  unsigned char attributes[8];      ///< device attributes, file order
  unsigned int renderingIntent;     ///< an `Intent` number
  int illuminant[3];                ///< of the PCS: X, Y, Z as s15Fixed16 words
  unsigned int creator;             ///< a signature or 0
  unsigned char idAndReserved[44];  ///< profile ID (16 bytes) and reserved bytes, file order
};

}  // namespace ICC4_HEADER
}  // namespace ICC40

#endif
