#include "units/Base.h"

#include <gtest/gtest.h>

#include "units/Info.h"

using namespace ICC40::ICC_UNIT;

TEST(Base, ConvertsNothing) {
  Base base;
  EXPECT_STREQ(base.name, "Base");
  unsigned short c[7] = {1, 2, 3, 4, 5, 6, 7};
  EXPECT_EQ(base.Conversion(c[0], c[1], c[2], c[3], c[4], c[5], c[6]), 0);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(c[i], i + 1);
  unsigned char byte = 9;
  EXPECT_EQ(base.Conversion(&byte, 1), 0);
  EXPECT_EQ(byte, 9);
  EXPECT_EQ(base.Conversion(static_cast<Info*>(nullptr)), 0);
}
