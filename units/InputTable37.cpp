#include "units/InputTable37.h"

#include "units/InputConversion.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr int kSamplesPerPixel = 7;
// Output classes of seven-channel conversion types: 7 (8-bit) and 8 (16-bit).
constexpr int kOutputClass = 7;

}  // namespace

InputTable37::InputTable37() : extra(0) {
  name = "InputTable37";
}

InputTable37::~InputTable37() = default;

int InputTable37::Conversion(unsigned char*, int) {
  return 0;
}

int InputTable37::Conversion(Info* info) {
  return FillWorkingBuffer(lookup, info, kSamplesPerPixel, kOutputClass);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
