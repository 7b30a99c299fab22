#include "tools/report/Parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace kxcms::report {

void ForEach(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> next = 0;
  std::exception_ptr thrown;
  std::mutex mutex;
  const auto run = [&] {
    try {
      for (std::size_t n = next++; n < count; n = next++) work(n);
    } catch (...) {
      const std::lock_guard lock(mutex);
      if (!thrown) thrown = std::current_exception();
      next = count;
    }
  };
  const std::size_t wanted = threads == 0 ? std::thread::hardware_concurrency() : threads;
  std::vector<std::thread> others;
  others.reserve(std::min(wanted, count));
  try {
    while (others.size() + 1 < std::min(wanted, count)) others.emplace_back(run);
  } catch (const std::system_error&) {
    // The threads that there are do all of it.
  }
  run();
  for (std::thread& other : others) other.join();
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace kxcms::report
