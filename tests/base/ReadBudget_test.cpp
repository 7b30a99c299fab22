#include "base/ReadBudget.h"

#include <gtest/gtest.h>

#include <limits>

namespace ICC40::ICCFILE {
namespace {

TEST(ReadBudget, GivesWhatIsLeftAndNoMore) {
  ReadBudget budget(10);
  EXPECT_TRUE(budget.Take(4));
  EXPECT_FALSE(budget.Take(7));
  EXPECT_TRUE(budget.Take(6));
  EXPECT_TRUE(budget.Take(0));
  EXPECT_FALSE(budget.Take(1));
}

TEST(ReadBudget, TableBeyondTheBudgetIsAbsent) {
  ReadBudget budget(10);
  EXPECT_EQ(NewTable<std::uint16_t>(6, budget), nullptr);
  EXPECT_EQ(NewTable<std::uint16_t>(std::numeric_limits<std::uint64_t>::max(), budget), nullptr);
  EXPECT_EQ(budget.left(), 10u);
  const auto table = NewTable<std::uint16_t>(5, budget);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[4], 0);
  EXPECT_EQ(budget.left(), 0u);
  EXPECT_NE(NewTable<std::uint16_t>(0, budget), nullptr) << "an empty table is not an absent one";
}

}  // namespace
}  // namespace ICC40::ICCFILE
