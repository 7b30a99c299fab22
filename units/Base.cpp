#include "units/Base.h"

namespace ICC40 {
namespace ICC_UNIT {

Base::Base() : name("Base") {}

Base::~Base() = default;

int Base::Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                     unsigned short&, unsigned short&, unsigned short&) {
  return 0;
}

int Base::Conversion(unsigned char*, int) {
  return 0;
}

int Base::Conversion(Info*) {
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
