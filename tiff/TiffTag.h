#ifndef KXCMS_TIFF_TIFFTAG_H
#define KXCMS_TIFF_TIFFTAG_H

#include <cstdio>

#include "../base/KxApi.h"
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
  /// Everything 0, no data.
  TiffTag();
  /// This tag number, everything else 0.
  explicit TiffTag(TiffTagSignature tag);
  /// Takes ownership of `data` (new[], may be null).
  TiffTag(TiffTagSignature tag, FieldType type, unsigned count, unsigned value,
          unsigned char* data);
  /// From the three words of a directory entry. Out-of-line data are read from `file` (may be
  /// null); bytes that the file does not hold read as 0. Data that claim more than 16 MiB plus
  /// twice the file's size are held as null.
  TiffTag(unsigned tagAndType, unsigned count, unsigned valueOrOffset, FILE* file);
  /// Copies tag, type, count and out-of-line data, not `value`.
  TiffTag(const TiffTag& other);
  /// The same; `value` keeps what it held. @return this object.
  TiffTag& operator=(const TiffTag& other);
  /// Takes all four numbers and the data.
  TiffTag(TiffTag&& other);
  /// Takes tag, type, count and data, not `value`. @return this object.
  TiffTag& operator=(TiffTag&& other);
  virtual ~TiffTag();

  /// @return the inline value, or the first 16-bit unit of the out-of-line data (0 when they are
  ///         null), whatever the type.
  virtual unsigned GetValue() const;
  /// Writes the out-of-line data, if any, at the stream's position; absent data (null) as zeros.
  /// Nothing is written of absent data larger than 64 KiB, nor of an Exif tag (34665) that claims
  /// more. @return items written.
  virtual int SaveFile(FILE* file);
  /// @return the out-of-line data (borrowed), or null.
  virtual unsigned char* GetData() const;

  /// @return whether DataType[type] * count, as a signed 32-bit number, exceeds 4: false from 2 GiB
  ///         on.
  bool ValueIsOffset() const;

  unsigned tag;         ///< TiffTagSignature
  unsigned type;        ///< FieldType, 0..15
  unsigned count;       ///< items
  unsigned value;       ///< the item, or the byte offset of the data in the file
  unsigned char* data;  ///< owned, new[], file byte order; or null
};

}  // namespace KX_Tiff_STL3

#endif
