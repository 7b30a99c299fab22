#include "api/Workers.h"

#include <csignal>

#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace kxcms {

namespace {

// Blocks signals for this thread and those that it starts, but for those that a thread raises by
// what it does.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
      sigdelset(&blocked, own);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

void RunOnThreads(std::uint32_t threads, void (*work)(const void* context, std::uint32_t thread),
                  const void* context) {
  std::vector<std::thread> started;
  if (threads > 1) {
    const BlockedSignals blocked;
    try {
      started.reserve(threads - 1);
      for (std::uint32_t n = 1; n < threads; ++n) started.emplace_back(work, context, n);
    } catch (const std::system_error&) {
      // No more threads: those that run will do.
    } catch (const std::bad_alloc&) {
    }
  }
  work(context, 0);
  for (std::thread& thread : started) thread.join();
}

}  // namespace kxcms
