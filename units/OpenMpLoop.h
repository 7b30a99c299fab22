#ifndef KXCMS_UNITS_OPENMPLOOP_H
#define KXCMS_UNITS_OPENMPLOOP_H

#include <omp.h>

#include <cstdint>

#include "base/StaticPartition.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Calls work(begin, end) once per non-empty block, in one parallel region of the default team.
/// Returns when all blocks are done. `work` must not throw.
template <typename Work>
void ForEachBlock(std::int64_t items, const Work& work) {
  if (items < 1) return;
#pragma omp parallel
  {
    const kxcms::Block block = kxcms::BlockOf(items, omp_get_num_threads(), omp_get_thread_num());
    if (block.begin < block.end) work(block.begin, block.end);
  }
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
