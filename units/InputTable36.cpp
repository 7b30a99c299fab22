#include "units/InputTable36.h"

#include "units/InputConversion.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr int kSamplesPerPixel = 6;
// Output classes of six-channel conversion types: 5 (8-bit) and 6 (16-bit).
constexpr int kOutputClass = 5;

}  // namespace

InputTable36::InputTable36() : extra(0) {
  name = "InputTable36";
}

InputTable36::~InputTable36() = default;

int InputTable36::Conversion(unsigned char*, int) {
  return 0;
}

int InputTable36::Conversion(Info* info) {
  return FillWorkingBuffer(lookup, info, kSamplesPerPixel, kOutputClass);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
