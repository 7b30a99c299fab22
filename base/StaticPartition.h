#ifndef KXCMS_BASE_STATICPARTITION_H
#define KXCMS_BASE_STATICPARTITION_H

#include <cstdint>

namespace kxcms {

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

}  // namespace kxcms

#endif
