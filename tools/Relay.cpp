#include "tools/Relay.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <limits>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

namespace {

class Relay {
 public:
  /// Until there are no pieces.
  void Run(const RelaySteps& steps) {
    std::uint64_t piece = 0;
    try {
      while (Take(steps, piece)) {
        steps.work();
        if (!Hand(steps, piece)) return;
      }
    } catch (...) {
      const std::lock_guard guard(order_);
      isEnding_ = true;
      if (piece < failedPiece_) {
        failedPiece_ = piece;
        failure_ = std::current_exception();
      }
      turn_.notify_all();
    }
  }

  void ThrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  bool Take(const RelaySteps& steps, std::uint64_t& piece) {
    const std::lock_guard guard(taking_);
    if (isEnding_) return false;
    piece = taken_;
    try {
      if (steps.take()) {
        ++taken_;
        return true;
      }
    } catch (...) {
      isEnding_ = true;  // before another thread takes what comes behind the failure
      throw;
    }
    isEnding_ = true;
    return false;
  }

  bool Hand(const RelaySteps& steps, std::uint64_t piece) {
    std::unique_lock guard(order_);
    turn_.wait(guard, [&] { return handed_ == piece || failedPiece_ < piece; });
    if (failedPiece_ < piece) return false;
    // The lock stays: all that others want of it is to wait for their turn.
    steps.hand();
    ++handed_;
    turn_.notify_all();
    return true;
  }

  std::mutex taking_;
  std::uint64_t taken_ = 0;
  std::atomic<bool> isEnding_ = false;
  std::mutex order_;
  std::condition_variable turn_;
  std::uint64_t handed_ = 0;
  std::uint64_t failedPiece_ = std::numeric_limits<std::uint64_t>::max();
  std::exception_ptr failure_;
};

}  // namespace

void RunRelay(const std::vector<RelaySteps>& runners) {
  Relay relay;
  std::vector<std::thread> threads;
  threads.reserve(runners.size());
  try {
    for (std::size_t i = 1; i < runners.size(); ++i) {
      threads.emplace_back([&relay, &steps = runners[i]] { relay.Run(steps); });
    }
  } catch (const std::system_error&) {
    // Those that there are do the work.
  } catch (const std::bad_alloc&) {
  }
  relay.Run(runners.front());
  for (std::thread& thread : threads) thread.join();
  relay.ThrowFailure();
}
