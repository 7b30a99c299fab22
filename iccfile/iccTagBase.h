#ifndef KXCMS_ICCFILE_ICCTAGBASE_H
#define KXCMS_ICCFILE_ICCTAGBASE_H

#include <cstdio>

#include "../base/KxApi.h"
#include "IccHeader.h"

namespace ICC40 {
namespace ICCFILE {

/// Root of the tag classes: one profile tag, with a private copy of the bytes it was read from.
///
/// Objects are held through shared pointers by `IccFile4`. One thread at a time. Field and slot
/// order are interface; copying is not supported.
class KX_API iccTagBase : public ICC4_HEADER::icTagBase {
 public:
  /// No signatures, size 0, no data.
  iccTagBase();
  iccTagBase(const iccTagBase&) = delete;
  iccTagBase& operator=(const iccTagBase&) = delete;
  virtual ~iccTagBase();

  /// Parses the tag from `size` bytes (copied) that begin with the type signature; what an earlier
  /// call left is freed. Bytes that a field needs beyond `size` read as 0. Without `data`, or with
  /// a negative size, nothing is read and every field becomes 0. Tables whose counts go beyond what
  /// `size` bytes may make the library hold (32 MiB plus four times `size`) become null, with the
  /// counts as read.
  /// May throw bad_alloc. @return `size`.
  virtual int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size);

  /// Makes an empty tag: both signatures set, size 0, nothing allocated. @return 0.
  virtual int Initial(ICC4_HEADER::icTagSignature signature, ICC4_HEADER::icTagTypeSignature type);

  /// Does nothing, in every class. @return 0.
  virtual int Read(FILE* stream);

  /// Writes the tag at the stream's position; this class writes nothing. Write errors are left to
  /// the stream's own error state, and a null stream gets nothing. @return 0.
  virtual int Save(FILE* stream);

  ICC4_HEADER::icTagSignature tagSignature;  ///< as in the tag table, host order
  int size;  ///< bytes given to `Initial` (padded to 4 when read from a file), or to write
  unsigned char* data;  ///< owned, new[]: copy of the `size` bytes; null if empty or absent
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
