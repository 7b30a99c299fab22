#include "engine/Stopwatch.h"

#include <algorithm>

#include "base/Diagnostics.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {
constexpr char kLabel[] = "Start Conversion";
}

Stopwatch::Stopwatch() : start_(std::time(nullptr)) {
  PrintLine({kLabel, "(Start) : New ID"});
}

void Stopwatch::Stop(std::time_t uncounted) {
  const std::time_t elapsed = std::time(nullptr) - start_;
  uncounted = std::min(uncounted, std::max<std::time_t>(elapsed, 0));
  const Decimal seconds(static_cast<unsigned int>(elapsed - uncounted));
  PrintLine({kLabel, "(Pause) : End Conversion(count : ", seconds, ")"});
  // Two blanks after this colon: kept so that the lines stay identical.
  PrintLine({kLabel, "(Stop) :  End Conversion(count : ", seconds, ")"});
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
