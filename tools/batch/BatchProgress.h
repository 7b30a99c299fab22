#ifndef KXCMS_TOOLS_BATCH_BATCHPROGRESS_H
#define KXCMS_TOOLS_BATCH_BATCHPROGRESS_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "tools/batch/FileJob.h"

namespace kxcms::batch {

/// Counts what became of the files of a batch, and tells it while it runs. Any number of threads
/// may use it at once.
class BatchProgress {
 public:
  enum class Form {
    kNone,
    kTerminal,  ///< one line on standard error that changes
    kPlain,     ///< a line on standard error now and then, and one at the end
    kJson,      ///< the same as JSON objects on standard output
  };

  BatchProgress(Form form, std::optional<std::uint64_t> total);

  /// Counts a file, and tells the line that its result has.
  void Count(const FileResult& result);
  /// Tells a line of its own on standard error.
  void Tell(const std::string& line);
  /// Tells the last numbers.
  void Finish();

  std::uint64_t failed() const;

 private:
  using Clock = std::chrono::steady_clock;
  void Show();
  std::string Line() const;
  std::string Document() const;
  std::uint64_t Handled() const { return done_ + skipped_ + failed_; }
  double Seconds() const;
  /// Files in a second, without those that were done before; 0 while that cannot be told.
  double Rate() const;
  std::optional<double> SecondsLeft() const;
  void TellLocked(const std::string& line);

  const Form form_;
  const std::optional<std::uint64_t> total_;
  const Clock::time_point start_ = Clock::now();
  mutable std::mutex lock_;  ///< of what follows
  std::uint64_t done_ = 0;
  std::uint64_t doneBefore_ = 0;
  std::uint64_t skipped_ = 0;
  std::uint64_t failed_ = 0;
  bool isShown_ = false;  ///< a line that changes stands on the terminal
  Clock::time_point next_;
};

}  // namespace kxcms::batch

#endif
