#ifndef KXCMS_UNITS_INPUTTABLE34_H
#define KXCMS_UNITS_INPUTTABLE34_H

#include "InputTable33.h"

namespace ICC40 {
namespace ICC_UNIT {

/// `InputTable33` for a working buffer of 4 samples a pixel.
class KX_API InputTable34 : public InputTable33 {
 public:
  /// As `InputTable33`, with its own name.
  InputTable34();
  ~InputTable34() override;

  using InputTable33::Conversion;
  int Conversion(unsigned char* buffer, int count) override;
  /// As `InputTable33`, for conversion types 259, 260 (8-bit) and 515, 516 (16-bit): three
  /// looked-up values, then zeros up to 4. @return 0, or 65535 for any other type.
  int Conversion(Info* info) override;

  unsigned int extra;  ///< 0; no other use
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
