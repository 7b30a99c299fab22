#ifndef KXCMS_UNITS_STATICPARTITION_H
#define KXCMS_UNITS_STATICPARTITION_H

#include <omp.h>

#include <cstdint>

namespace ICC40 {
namespace ICC_UNIT {

/// Items [begin, end) of one thread's share.
struct Block {
  std::int64_t begin, end;
};

/// The share of one thread: contiguous blocks in thread order, the first `items` mod `threads` of
/// them one item longer. `items` >= 0, 0 <= `thread` < `threads`.
constexpr Block BlockOf(std::int64_t items, int threads, int thread) {
  const std::int64_t size = items / threads;
  const std::int64_t longer = items % threads;
  if (thread < longer) return {thread * (size + 1), (thread + 1) * (size + 1)};
  const std::int64_t begin = longer + thread * size;
  return {begin, begin + size};
}

/// Calls work(begin, end) once per non-empty block, in one parallel region of the default team.
/// Returns when all blocks are done. `work` must not throw.
template <typename Work>
void ForEachBlock(std::int64_t items, const Work& work) {
  if (items < 1) return;
#pragma omp parallel
  {
    const Block block = BlockOf(items, omp_get_num_threads(), omp_get_thread_num());
    if (block.begin < block.end) work(block.begin, block.end);
  }
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
