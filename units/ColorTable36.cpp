#include "units/ColorTable36.h"

#include "units/TetrahedralInterpolation.h"

namespace ICC40 {
namespace ICC_UNIT {

ColorTable36::ColorTable36() {
  name = "ColorTable36";
}

ColorTable36::~ColorTable36() = default;

int ColorTable36::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short& o0, unsigned short& o1, unsigned short& o2,
                             unsigned short&) {
  Interpolate(*this, std::array{&c0, &c1, &c2, &o0, &o1, &o2});
  return 0;
}

int ColorTable36::Conversion(int& c0, int& c1, int& c2, int& o0, int& o1, int& o2, int&) {
  InterpolateReference(*this, std::array{&c0, &c1, &c2, &o0, &o1, &o2});
  return 0;
}

int ColorTable36::Conversion(Info* info) {
  ConvertWorkingBuffer<6>(*this, info);
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
