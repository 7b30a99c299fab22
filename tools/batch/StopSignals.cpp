#include "tools/batch/StopSignals.h"

#include <atomic>
#include <cstddef>

namespace kxcms::batch {

namespace {

std::atomic<int> gCount = 0;
static_assert(std::atomic<int>::is_always_lock_free);  // so that a handler may count

void CountSignal(int) {
  ++gCount;
}

}  // namespace

StopSignals::StopSignals() {
  struct sigaction action = {};
  action.sa_handler = CountSignal;
  sigemptyset(&set_);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaddset(&set_, kSignals[i]);
    sigaction(kSignals[i], nullptr, &before_[i]);
    if (before_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

StopSignals::~StopSignals() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before_[i], nullptr);
}

int StopSignals::Count() {
  return gCount;
}

}  // namespace kxcms::batch
