#include "engine/Stopwatch.h"

#include <iostream>

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {
constexpr char kLabel[] = "Start Conversion";
}

Stopwatch::Stopwatch() : start_(std::time(nullptr)) {
  std::cout << kLabel << "(Start) : New ID" << std::endl;
}

void Stopwatch::Stop() {
  const auto seconds = static_cast<unsigned int>(std::time(nullptr) - start_);
  std::cout << kLabel << "(Pause) : End Conversion(count : " << seconds << ')' << std::endl;
  // Two blanks after this colon: kept so that the lines stay identical.
  std::cout << kLabel << "(Stop) :  End Conversion(count : " << seconds << ')' << std::endl;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
