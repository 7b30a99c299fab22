#include "base/StaticPartition.h"

#include <gtest/gtest.h>

#include <climits>

using kxcms::Block;
using kxcms::BlockOf;

TEST(StaticPartition, GivesTheFirstThreadsOneItemMore) {
  const struct {
    const char* what;
    std::int64_t items;
    int threads, thread;
    std::int64_t begin, end;
  } kRows[] = {
      {"all to one thread", 10, 1, 0, 0, 10},
      {"10 over 3: first takes 4", 10, 3, 0, 0, 4},
      {"10 over 3: second", 10, 3, 1, 4, 7},
      {"10 over 3: third", 10, 3, 2, 7, 10},
      {"11 over 3: second takes 4 as well", 11, 3, 1, 4, 8},
      {"11 over 3: third", 11, 3, 2, 8, 11},
      {"5 over 3: first", 5, 3, 0, 0, 2},
      {"5 over 3: second", 5, 3, 1, 2, 4},
      {"5 over 3: third", 5, 3, 2, 4, 5},
      {"even share", 12, 3, 2, 8, 12},
      {"fewer items than threads", 2, 8, 1, 1, 2},
      {"thread without items", 2, 8, 2, 2, 2},
      {"no items", 0, 4, 3, 0, 0},
      {"one lookup over 8 threads", 65536, 8, 7, 57344, 65536},
      {"INT_MAX items over 16, last", INT_MAX, 16, 15, 2013265920, INT_MAX},
      {"beyond 32 bits", 6442450941, 2, 1, 3221225471, 6442450941},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Block block = BlockOf(row.items, row.threads, row.thread);
    EXPECT_EQ(block.begin, row.begin);
    EXPECT_EQ(block.end, row.end);
  }
}

TEST(StaticPartition, BlocksJoinWithoutGapOrOverlap) {
  for (int threads = 1; threads <= 17; ++threads) {
    for (std::int64_t items : {0, 1, 2, 7, 8, 9, 15, 16, 17, 255, 65536}) {
      std::int64_t next = 0;
      for (int t = 0; t < threads; ++t) {
        const Block block = BlockOf(items, threads, t);
        EXPECT_EQ(block.begin, next);
        EXPECT_LE(block.begin, block.end);
        next = block.end;
      }
      EXPECT_EQ(next, items);
    }
  }
}
