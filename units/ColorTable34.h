#ifndef KXCMS_UNITS_COLORTABLE34_H
#define KXCMS_UNITS_COLORTABLE34_H

#include "ColorTable33.h"

namespace ICC40 {
namespace ICC_UNIT {

/// `ColorTable33` with four output channels, written to c0..c2 and o0, in the 16-bit and the
/// reference conversion alike.
class KX_API ColorTable34 : public ColorTable33 {
 public:
  /// As `ColorTable33`, with its own name.
  ColorTable34();
  ~ColorTable34() override;

  using ColorTable33::Conversion;
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short& o0,
                 unsigned short& o1, unsigned short& o2, unsigned short& o3) override;
  /// 4 samples a pixel, the inputs in the first three. @return 0.
  int Conversion(Info* info) override;
  int Conversion(int& c0, int& c1, int& c2, int& o0, int& o1, int& o2, int& o3) override;
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
