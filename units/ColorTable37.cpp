#include "units/ColorTable37.h"

#include "units/TetrahedralInterpolation.h"

namespace ICC40 {
namespace ICC_UNIT {

ColorTable37::ColorTable37() {
  name = "ColorTable37";
}

ColorTable37::~ColorTable37() = default;

int ColorTable37::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short& o0, unsigned short& o1, unsigned short& o2,
                             unsigned short& o3) {
  Interpolate(*this, std::array{&c0, &c1, &c2, &o0, &o1, &o2, &o3});
  return 0;
}

int ColorTable37::Conversion(int& c0, int& c1, int& c2, int& o0, int& o1, int& o2, int& o3) {
  InterpolateReference(*this, std::array{&c0, &c1, &c2, &o0, &o1, &o2, &o3});
  return 0;
}

int ColorTable37::Conversion(Info* info) {
  ConvertWorkingBuffer<7>(*this, info);
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
