#ifndef KXCMS_ICCFILE_CCURVETYPE_H
#define KXCMS_ICCFILE_CCURVETYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// A tone curve (ICC.1:2010 curveType). Counts 0 (identity) and 1 (gamma, u8Fixed8) are kept
/// as they stand; the users interpret them.
class KX_API CCurveType : public iccTagBase {
 public:
  /// No entries: count 0, null.
  CCurveType();
  ~CCurveType() override;

  using iccTagBase::Initial;
  /// Reads the entry count at byte 8 and the entries from byte 12 on. A size of 0 means that only
  /// the caller knows how far `data` goes: the entries are read as if they were all there, and no
  /// copy is kept. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  /// Parses one curve of a longer buffer, by the virtual `Initial` with size 0. The caller
  /// guarantees that the curve lies within its buffer.
  /// @return the bytes to advance to the next curve, 2 * count + 14: for even counts 2 bytes past
  ///         the padded curve, kept so that results stay identical.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data);

  /// Makes an identity curve ready to be written: size 12, count 0, and the 12 bytes of the tag in
  /// the entry array. @return 0.
  int Initial(ICC4_HEADER::icTagSignature signature);

  /// Writes `size` bytes of the entry array as they stand; bytes past the array are written as 0.
  /// @return 0.
  int Save(FILE* stream) override;

  unsigned int count;  ///< entries, as the tag states it; not limited
  /// Owned, new[]: `count` values 0..65535 in host order, or the 12 raw bytes of an identity curve;
  /// null when absent.
  unsigned short* entries;
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
