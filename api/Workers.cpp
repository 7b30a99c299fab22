#include "api/Workers.h"

#include <functional>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace kxcms {

void RunOnThreads(std::uint32_t threads, const std::function<void(std::uint32_t)>& work) {
  std::vector<std::thread> started;
  try {
    started.reserve(threads - 1);
    for (std::uint32_t n = 1; n < threads; ++n) started.emplace_back(std::cref(work), n);
  } catch (const std::system_error&) {
    // No more threads: those that run will do.
  } catch (const std::bad_alloc&) {
  }
  work(0);
  for (std::thread& thread : started) thread.join();
}

}  // namespace kxcms
