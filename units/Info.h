#ifndef KXCMS_UNITS_INFO_H
#define KXCMS_UNITS_INFO_H

#include <string>

#include "../base/KxApi.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Selection and run state of one conversion: colour codes, intent, adjustment, conversion type,
/// remembered profile names, and a working buffer of 16-bit samples.
///
/// The engine derives from it; the tables take it in `Conversion(Info*)`. Owns `workingBuf`,
/// borrows `srcBuf` and `dstBuf`. One thread at a time. The field order is interface.
class KX_API Info {
 public:
  /// All codes 65535, conversion type 65534, no buffers, no names, `intent` 0.
  Info();
  Info(const Info&) = delete;
  Info& operator=(const Info&) = delete;
  ~Info();

  /// Forgets the selection and releases the working buffer. Keeps `engineStatus`, `intent` and
  /// the remembered names. @return 0.
  int Reset();

  /// Releases the working buffer. @return 0.
  int DeleteWorkingBuf();

  /// Remembers two profile names (byte-wise comparison, null empties).
  /// @return 1 if either differs from the remembered one, else 0.
  int CheckCurrentProfile(char const* name1, char const* name2);

  /// Stores the adjustment, in whole units of L*, C* and degrees. @return 1 if any value differed.
  int CheckLch(int L, int c, int h);

  /// Sets `conversionType` = (input class << 8) + output class from the two colour codes. Input
  /// classes: 1 for 8-bit RGB or Lab, 2 for 16-bit. Output classes: 1, 2 for three channels of 8,
  /// 16 bits, 3, 4 for four, 5, 6 for six, 7, 8 for seven. 0 stands for any other code.
  void CheckConversionType();

  /// Remembers both buffers (borrowed) and sizes `workingBuf` for `count` pixels of the conversion
  /// type's channel count. Nothing is allocated when `count` equals the count of the last call.
  /// A failed allocation prints "bad_alloc caught: ..." on standard error and leaves
  /// `workingBuf` null.
  /// @return 0, or 65534 if the conversion type is none of the sixteen known ones
  ///         (`workingCount` is stored, `workingSize` 0, the old buffer kept: conversions then take
  ///         as many pixels as it has room for).
  int CheckWorkingBuf(unsigned char* src, unsigned char* dst, int count);

  int profileState;             ///< 65535 = no profile selected, else 0
  int reserved;                 ///< set to 65535 with the others; not used
  int inputColor;               ///< ColorSpaceSignature, 65535 = none
  int outputColor;              ///< ColorSpaceSignature, 65535 = engine unusable
  int engineStatus;             ///< result of the last pipeline build
  int intent;                   ///< Intent
  unsigned short* workingBuf;   ///< owned, new[]: workingSize samples
  unsigned char* srcBuf;        ///< borrowed
  unsigned char* dstBuf;        ///< borrowed
  int workingCount;             ///< pixels
  int workingSize;              ///< 16-bit samples asked for; workingBuf is null if that failed
  int adjustL;                  ///< L* offset, whole units
  int adjustC;                  ///< C* offset, whole units
  int adjustH;                  ///< hue offset, whole degrees
  int conversionType;           ///< (input class << 8) + output class; 65534 = none
  std::string currentProfile;   ///< remembered path
  std::string currentProfile2;  ///< remembered second path
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
