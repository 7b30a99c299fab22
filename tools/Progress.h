#ifndef KXCMS_TOOLS_PROGRESS_H
#define KXCMS_TOOLS_PROGRESS_H

#include <chrono>
#include <cstdint>

/// A percentage on standard error while long work runs, only when that is a terminal. Work that
/// ends within half a second shows nothing; the line is wiped when the object dies.
class Progress {
 public:
  explicit Progress(std::uint64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Report(std::uint64_t done);

 private:
  using Clock = std::chrono::steady_clock;
  std::uint64_t total_;
  bool terminal_;
  bool shown_ = false;
  Clock::time_point next_;
};

#endif
