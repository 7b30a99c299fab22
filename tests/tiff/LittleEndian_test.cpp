#include "tiff/LittleEndian.h"

#include "gtest/gtest.h"

namespace {

using KX_Tiff_STL3::LittleEndianReader;

TEST(LittleEndian, ReadsInOrder) {
  const unsigned char bytes[] = {0x49, 0x49, 0x2A, 0x00, 0xFE, 0xFF, 0x01, 0x02, 0x03, 0xF4};
  LittleEndianReader reader(bytes, sizeof bytes);
  EXPECT_EQ(reader.U32(), 0x002A4949u);
  EXPECT_EQ(reader.U16(), 0xFFFEu);
  EXPECT_EQ(reader.U32(), 0xF4030201u);
}

TEST(LittleEndian, AReadPastTheEndIsZero) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5};
  LittleEndianReader reader(bytes, sizeof bytes);
  EXPECT_EQ(reader.U16(), 0x0201u);
  EXPECT_EQ(reader.U32(), 0u);
  EXPECT_EQ(reader.U16(), 0u) << "nothing is left after a failed read";
}

TEST(LittleEndian, Stores) {
  unsigned char bytes[7] = {9, 9, 9, 9, 9, 9, 9};
  KX_Tiff_STL3::StoreU16(bytes, 0x12345);
  KX_Tiff_STL3::StoreU32(bytes + 2, 0xA1B2C3D4);
  const unsigned char expected[] = {0x45, 0x23, 0xD4, 0xC3, 0xB2, 0xA1, 9};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(bytes[i], expected[i]) << i;
}

}  // namespace
