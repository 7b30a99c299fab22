#include "engine/Stopwatch.h"

#include <algorithm>
#include <iostream>

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {
constexpr char kLabel[] = "Start Conversion";
}

Stopwatch::Stopwatch() : start_(std::time(nullptr)) {
  std::cout << kLabel << "(Start) : New ID" << std::endl;
}

void Stopwatch::Stop(std::time_t uncounted) {
  const std::time_t elapsed = std::time(nullptr) - start_;
  uncounted = std::min(uncounted, std::max<std::time_t>(elapsed, 0));
  const auto seconds = static_cast<unsigned int>(elapsed - uncounted);
  std::cout << kLabel << "(Pause) : End Conversion(count : " << seconds << ')' << std::endl;
  // Two blanks after this colon: kept so that the lines stay identical.
  std::cout << kLabel << "(Stop) :  End Conversion(count : " << seconds << ')' << std::endl;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
