#ifndef KXCMS_TOOLS_BATCH_CREW_H
#define KXCMS_TOOLS_BATCH_CREW_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tools/batch/BatchProgress.h"
#include "tools/batch/FileJob.h"
#include "tools/batch/FileList.h"
#include "tools/batch/StopSignals.h"

namespace kxcms::batch {

/// Files that wait for a thread, few of them, so that memory does not grow with their number.
class Queue {
 public:
  explicit Queue(std::size_t most) : most_(most) {}

  /// Waits for room. @return false if the batch is stopped; the file is left out then.
  bool Push(ListedFile file, const std::function<bool()>& isStopped) {
    std::unique_lock<std::mutex> lock(lock_);
    while (files_.size() >= most_ && !isStopped()) room_.wait_for(lock, kPatience);
    if (isStopped()) return false;
    files_.push_back(std::move(file));
    some_.notify_one();
    return true;
  }
  /// Waits for a file. @return false if there will be none, or if the batch is stopped.
  bool Pop(ListedFile& file, const std::function<bool()>& isStopped) {
    std::unique_lock<std::mutex> lock(lock_);
    while (files_.empty() && !isClosed_ && !isStopped()) some_.wait_for(lock, kPatience);
    if (files_.empty() || isStopped()) return false;
    file = std::move(files_.front());
    files_.pop_front();
    room_.notify_one();
    return true;
  }
  void Close() {
    const std::lock_guard<std::mutex> guard(lock_);
    isClosed_ = true;
    some_.notify_all();
  }
  bool IsEmpty() const {
    const std::lock_guard<std::mutex> guard(lock_);
    return files_.empty();
  }

 private:
  // How late a stop may be noticed.
  static constexpr std::chrono::milliseconds kPatience{100};
  const std::size_t most_;
  mutable std::mutex lock_;
  std::condition_variable some_, room_;
  std::deque<ListedFile> files_;
  bool isClosed_ = false;
};

struct Limits {
  std::optional<std::uint64_t> minFreeBytes;
  std::optional<std::uint64_t> maxFailures;
};

/// The threads that convert the files of a queue, until they are all done or something stops them.
class Crew {
 public:
  Crew(const BatchContext& context, const Limits& limits, BatchProgress& progress, int jobs);
  ~Crew() { Join(); }

  bool Take(ListedFile file) {
    return queue_.Push(std::move(file), [this] { return IsStopped(); });
  }
  void Join() {
    queue_.Close();
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }
  bool IsStopped() const { return isStopped_ || StopSignals::Count() > 0; }
  /// After `Join`: whether a file was begun and given up, or waits.
  bool HasLeftFiles() const { return hasGivenUp_ || !queue_.IsEmpty(); }
  /// Why the crew stopped; empty if a signal or nothing did.
  const std::string& reason() const { return reason_; }
  bool hasJournalFailed() const { return hasJournalFailed_; }

 private:
  static constexpr std::size_t kWaitingForEach = 4;

  void Work();
  bool IsDiskLow();
  void Stop(const std::string& reason);

  const BatchContext& context_;
  const Limits limits_;
  BatchProgress& progress_;
  Queue queue_;
  std::mutex lock_;
  std::string reason_;
  std::atomic<bool> isStopped_ = false;
  std::atomic<bool> hasGivenUp_ = false;
  std::atomic<bool> hasJournalFailed_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace kxcms::batch

#endif
