#include "engine/Stopwatch.h"

#include "base/Diagnostics.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {
constexpr char kLabel[] = "Start Conversion";
}

Stopwatch::Stopwatch() : start_(std::time(nullptr)) {
  PrintLine({kLabel, "(Start) : New ID"});
}

void Stopwatch::Stop() {
  const Decimal seconds(static_cast<unsigned int>(std::time(nullptr) - start_));
  PrintLine({kLabel, "(Pause) : End Conversion(count : ", seconds, ")"});
  // Two blanks after this colon: kept so that the lines stay identical.
  PrintLine({kLabel, "(Stop) :  End Conversion(count : ", seconds, ")"});
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
