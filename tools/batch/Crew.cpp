#include "tools/batch/Crew.h"

#include <sys/statvfs.h>

#include <new>
#include <system_error>

#include "tools/Refusal.h"

namespace kxcms::batch {

Crew::Crew(const BatchContext& context, const Limits& limits, BatchProgress& progress, int jobs)
    : context_(context),
      limits_(limits),
      progress_(progress),
      queue_(static_cast<std::size_t>(jobs) * kWaitingForEach) {
  try {
    for (int i = 0; i < jobs; ++i) threads_.emplace_back([this] { Work(); });
  } catch (const std::system_error& error) {
    // Those that there are do the work.
    if (threads_.empty()) throw Refusal(Exit::StoppedEarly, error.code().message());
  }
}

void Crew::Work() {
  const auto isStopped = [this] { return IsStopped(); };
  ListedFile file;
  while (queue_.Pop(file, isStopped)) {
    if (IsDiskLow()) {
      hasGivenUp_ = true;
      return;
    }
    try {
      const FileResult result = ConvertListed(context_, file);
      if (result.kind == FileResult::Kind::kDiskFull) {
        hasGivenUp_ = true;
        Stop(result.line);
        return;
      }
      progress_.Count(result);
      if (result.kind == FileResult::Kind::kUndone) hasGivenUp_ = true;
      if (limits_.maxFailures && progress_.failed() >= *limits_.maxFailures) {
        Stop("as many files have failed as may");
      }
    } catch (const JournalFailure& failure) {
      hasJournalFailed_ = true;
      hasGivenUp_ = true;
      Stop(failure.what());
    } catch (const std::bad_alloc&) {
      hasGivenUp_ = true;
      Stop("not enough memory");
    }
  }
}

bool Crew::IsDiskLow() {
  if (!limits_.minFreeBytes || context_.isDryRun) return false;
  struct statvfs disk;
  if (statvfs(context_.outputFolder.c_str(), &disk) != 0) return false;
  const std::uint64_t free = std::uint64_t{disk.f_bavail} * disk.f_frsize;
  if (free >= *limits_.minFreeBytes) return false;
  Stop("only " + std::to_string(free) + " bytes are free");
  return true;
}

void Crew::Stop(const std::string& reason) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (reason_.empty()) reason_ = reason;
  isStopped_ = true;
}

}  // namespace kxcms::batch
