#ifndef KXCMS_ENGINE_STOPWATCH_H
#define KXCMS_ENGINE_STOPWATCH_H

#include <ctime>

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Times one file conversion in whole seconds and prints its three lines on standard output.
class Stopwatch {
 public:
  /// Prints the start line.
  Stopwatch();
  /// Prints the pause and the stop line; with one conversion their counts are equal.
  /// @param uncounted  whole seconds of the time since the start that something else took.
  void Stop(std::time_t uncounted = 0);

 private:
  std::time_t start_;
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
