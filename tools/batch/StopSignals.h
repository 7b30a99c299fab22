#ifndef KXCMS_TOOLS_BATCH_STOPSIGNALS_H
#define KXCMS_TOOLS_BATCH_STOPSIGNALS_H

#include <signal.h>

#include <array>

namespace kxcms::batch {

/// While it lives, SIGINT and SIGTERM are counted instead of killing, on the thread that made it.
/// What the caller ignores stays ignored. One object at a time.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// How often the process was asked to stop. After once it finishes the files at hand, after twice
  /// it gives them up.
  static int Count();

  /// Keeps the signals from threads that are started until `Unblock`.
  void Block() const { pthread_sigmask(SIG_BLOCK, &set_, nullptr); }
  void Unblock() const { pthread_sigmask(SIG_UNBLOCK, &set_, nullptr); }

 private:
  static constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};
  sigset_t set_;
  std::array<struct sigaction, kSignals.size()> before_;
};

}  // namespace kxcms::batch

#endif
