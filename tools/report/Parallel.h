#ifndef KXCMS_TOOLS_REPORT_PARALLEL_H
#define KXCMS_TOOLS_REPORT_PARALLEL_H

#include <cstddef>
#include <functional>

namespace kxcms::report {

/// Calls `work` once for every number below `count`, on so many threads; 0: one per processor. One
/// that cannot be started is done without. An exception of `work` leaves when all have ended.
void ForEach(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& work);

}  // namespace kxcms::report

#endif
