#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress(std::uint64_t total)
    : total_(total), terminal_(isatty(STDERR_FILENO) == 1), next_(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (shown_) std::fputs("\r\033[K", stderr);
}

void Progress::Report(std::uint64_t done) {
  if (!terminal_ || total_ == 0 || Clock::now() < next_) return;
  std::fprintf(stderr, "\rconverting %3d %%", static_cast<int>(done * 100 / total_));
  std::fflush(stderr);
  shown_ = true;
  next_ = Clock::now() + kInterval;
}
