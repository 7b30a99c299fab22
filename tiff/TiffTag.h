#ifndef KXCMS_TIFF_TIFFTAG_H
#define KXCMS_TIFF_TIFFTAG_H

#include <cstdio>

#include "../interface/KxApi.h"
#include "TiffCodes.h"

namespace KX_Tiff_STL3 {

/// One TIFF directory entry (TIFF 6.0, section 2), held through shared pointers by `Tiff`.
///
/// The data are out of line exactly when DataType[type] * count exceeds 4: then `data` holds them
/// in file byte order (little-endian). Otherwise `data` is null and the item stands in `value`.
/// The exception is StripOffsets, whose `data` holds the pixel buffer. Field and slot order are
/// interface.
class KX_API TiffTag {
 public:
  TiffTag();
  explicit TiffTag(TiffTagSignature tag);
  /// Takes ownership of `data` (new[], may be null).
  TiffTag(TiffTagSignature tag, FieldType type, unsigned count, unsigned value,
          unsigned char* data);
  /// From the three words of a directory entry. Out-of-line data are read from `file` (may be
  /// null); bytes that the file does not hold read as 0, and data out of proportion to the file
  /// are held as null.
  TiffTag(unsigned tagAndType, unsigned count, unsigned valueOrOffset, FILE* file);
  /// Copies tag, type, count and out-of-line data, deliberately not `value`.
  TiffTag(const TiffTag& other);
  TiffTag& operator=(const TiffTag& other);
  /// Takes all four numbers and the data.
  TiffTag(TiffTag&& other);
  /// Takes tag, type, count and data, deliberately not `value`.
  TiffTag& operator=(TiffTag&& other);
  virtual ~TiffTag();

  /// The inline value, or the first 16-bit unit of the out-of-line data (0 when they are null).
  virtual unsigned GetValue() const;
  /// Writes the out-of-line data, if any, at the stream's position. @return items written.
  virtual int SaveFile(FILE* file);
  /// The out-of-line data (borrowed), or null.
  virtual unsigned char* GetData() const;

  /// Whether the data are out of line.
  bool ValueIsOffset() const;

  unsigned tag;         ///< TiffTagSignature
  unsigned type;        ///< FieldType, 0..15
  unsigned count;       ///< items
  unsigned value;       ///< the item, or the file offset of the data
  unsigned char* data;  ///< owned, new[], or null
};

}  // namespace KX_Tiff_STL3

#endif
