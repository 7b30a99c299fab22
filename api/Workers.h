#ifndef KXCMS_API_WORKERS_H
#define KXCMS_API_WORKERS_H

#include <cstdint>
#include <functional>

namespace kxcms {

/// Calls work(0) on this thread and, at the same time, work(1) to work(threads - 1) on threads that
/// are started for it and joined before it returns. One that cannot be started is done without: its
/// work is not called, so that work must share what there is to do among those that come.
/// `work` must not throw.
void RunOnThreads(std::uint32_t threads, const std::function<void(std::uint32_t)>& work);

}  // namespace kxcms

#endif
