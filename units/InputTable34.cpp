#include "units/InputTable34.h"

#include "units/InputConversion.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr int kSamplesPerPixel = 4;
// Output classes of four-channel conversion types: 3 (8-bit) and 4 (16-bit).
constexpr int kOutputClass = 3;

}  // namespace

InputTable34::InputTable34() : extra(0) {
  name = "InputTable34";
}

InputTable34::~InputTable34() = default;

int InputTable34::Conversion(unsigned char*, int) {
  return 0;
}

int InputTable34::Conversion(Info* info) {
  return FillWorkingBuffer(lookup, info, kSamplesPerPixel, kOutputClass);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
