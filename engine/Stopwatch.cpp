#include "engine/Stopwatch.h"

#include "interface/Diagnostics.h"

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
  // Two blanks after this colon, on purpose: programs parse the lines.
  PrintLine({kLabel, "(Stop) :  End Conversion(count : ", seconds, ")"});
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
