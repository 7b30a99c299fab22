#ifndef KXCMS_UNITS_BASE_H
#define KXCMS_UNITS_BASE_H

#include "../base/KxApi.h"

namespace ICC40 {
/// The tables that a conversion is made of, and its run state.
namespace ICC_UNIT {

class Info;

/// Root of the table classes. Field and slot order are interface. Tables are large objects for the
/// heap, used by one thread at a time except where a conversion says otherwise.
class KX_API Base {
 public:
  /// Named "Base".
  Base();
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  virtual ~Base();

  /// Converts one sample set, 16-bit values 0..65535, in place: c0, c1, c2 are the first three
  /// channels, o0 to o3 the fourth to seventh where a table has them. This class does nothing.
  /// @return 0.
  virtual int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                         unsigned short& o0, unsigned short& o1, unsigned short& o2,
                         unsigned short& o3);
  /// Does nothing, in every table. @return 0.
  virtual int Conversion(unsigned char* buffer, int count);
  /// Converts the buffers that a run state describes. This class does nothing. @return 0.
  ///
  /// In every table: a null run state, a null buffer or a pixel count below 1 touches nothing, and
  /// only whole pixels that fit into `info->workingSize` samples are converted. With a
  /// `workingSize` of 0, those that fit into the buffer that `Info::CheckWorkingBuf` kept when it
  /// refused a count; into one that the caller set by hand, `workingCount` pixels.
  virtual int Conversion(Info* info);

  char const* name;  ///< borrowed constant: the class name
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
