#ifndef KXCMS_API_WORKERS_H
#define KXCMS_API_WORKERS_H

#include <cstdint>

namespace kxcms {

/// Calls work(context, 0) on this thread and, at the same time, with 1 to threads - 1 on threads
/// that are started for it and joined before it returns. One that cannot be started is done
/// without: its work is not called, so that work must share what there is to do among those that
/// come. `work` must not throw. With one thread nothing is allocated.
///
/// The threads take no signal that is meant for the process: its handlers run where they did.
void RunOnThreads(std::uint32_t threads, void (*work)(const void* context, std::uint32_t thread),
                  const void* context);

/// The same for a callable, which is borrowed.
template <typename Work>
void RunOnThreads(std::uint32_t threads, const Work& work) {
  RunOnThreads(
      threads,
      [](const void* context, std::uint32_t thread) {
        (*static_cast<const Work*>(context))(thread);
      },
      &work);
}

}  // namespace kxcms

#endif
