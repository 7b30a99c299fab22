#include "units/OpenMpLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "tests/units/UnitFixtures.h"

using ICC40::ICC_UNIT::ForEachBlock;

TEST(OpenMpLoop, VisitsEveryItemOnce) {
  for (int threads : units_test::kThreadCounts) {
    for (int items : {1, 2, 15, 16, 17, 1000}) {
      std::vector<int> visits(items);
      std::atomic<int> calls = 0;
      units_test::WithThreads(threads, [&] {
        ForEachBlock(items, [&](std::int64_t begin, std::int64_t end) {
          ++calls;
          for (std::int64_t i = begin; i < end; ++i) ++visits[i];
        });
      });
      EXPECT_EQ(visits, std::vector<int>(items, 1)) << threads << " threads";
      EXPECT_LE(calls, std::min(threads, items));
    }
  }
}

TEST(OpenMpLoop, DoesNotCallForNoItems) {
  for (std::int64_t items : {0, -1}) {
    ForEachBlock(items, [](std::int64_t, std::int64_t) { FAIL(); });
  }
}
