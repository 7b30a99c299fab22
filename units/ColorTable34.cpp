#include "units/ColorTable34.h"

#include "units/TetrahedralInterpolation.h"

namespace ICC40 {
namespace ICC_UNIT {

ColorTable34::ColorTable34() {
  name = "ColorTable34";
}

ColorTable34::~ColorTable34() = default;

int ColorTable34::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short& o0, unsigned short&, unsigned short&,
                             unsigned short&) {
  Interpolate(*this, std::array{&c0, &c1, &c2, &o0});
  return 0;
}

int ColorTable34::Conversion(int& c0, int& c1, int& c2, int& o0, int&, int&, int&) {
  InterpolateReference(*this, std::array{&c0, &c1, &c2, &o0});
  return 0;
}

int ColorTable34::Conversion(Info* info) {
  ConvertWorkingBuffer<4>(*this, info);
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
