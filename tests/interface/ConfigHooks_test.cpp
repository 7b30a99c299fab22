#include <gtest/gtest.h>

#include "interface/kxcms.h"

namespace {

TEST(ConfigHooks, StubsReturnZeroWhateverTheDefault) {
  EXPECT_EQ(ConfigFile("settings.ini"), 0);
  EXPECT_EQ(ConfigFile2("settings.ini"), 0);
  EXPECT_EQ(ConfigGetInt("Icc", "OutputColor", 12), 0);
  EXPECT_EQ(ConfigGetInt2("Icc", "OutputColor", 12), 0);
  EXPECT_EQ(ConfigGetString("Icc", "key", "default"), nullptr);
  EXPECT_EQ(ConfigGetString2("Icc", "key", "default"), nullptr);
  EXPECT_EQ(ConfigSetInt("Icc", "key", 7), 0);
  EXPECT_EQ(ConfigSetInt2("Icc", "key", 7), 0);
  EXPECT_EQ(ConfigSetString("Icc", "key", "value"), 0);
  EXPECT_EQ(ConfigSetString2("Icc", "key", "value"), 0);
}

TEST(ConfigHooks, StubsTakeNulls) {
  EXPECT_EQ(ConfigFile(nullptr), 0);
  EXPECT_EQ(ConfigGetInt(nullptr, nullptr, 1), 0);
  EXPECT_EQ(ConfigGetString(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(ConfigSetInt(nullptr, nullptr, 1), 0);
  EXPECT_EQ(ConfigSetString(nullptr, nullptr, nullptr), 0);
}

}  // namespace
