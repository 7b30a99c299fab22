#include "base/Md5.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kxcms {
namespace {

std::string Hex(const Md5Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// RFC 1321, A.5.
TEST(Md5, TestSuiteOfTheStandard) {
  const struct {
    std::string_view text;
    const char* digest;
  } kRows[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& row : kRows) {
    const std::vector<unsigned char> bytes(row.text.begin(), row.text.end());
    EXPECT_EQ(Hex(Md5(bytes)), row.digest) << row.text;
  }
}

// The same bytes by hashlib.md5 of Python: lengths on either side of where the last block is full.
TEST(Md5, AnotherImplementation) {
  const struct {
    std::uint32_t size;
    const char* digest;
  } kRows[] = {
      {1, "9d5ed678fe57bcca610140957afab571"},    {3, "3144a8ddf769ff01c657aaba572b9072"},
      {54, "67d70730d8dbe2300b95e8cc33aa2b61"},   {55, "90c238f6be6aa4cff798a1387d0f6d11"},
      {56, "5faa52101cd146ff5790d377c368ec13"},   {57, "12367651dcf2c287668fe6accb9e2f6c"},
      {63, "83daeae6a6ba4a2d9991fdf1d3712dc2"},   {64, "1fab30409bde639be3b0caf8c6b97f94"},
      {65, "d16640370fbbad7593f6519b0a5475ef"},   {119, "105f3a95b658b989850a6805189ad288"},
      {120, "0cd828bcb54a743fc4e13fc49cd35570"},  {127, "69fd6bd13a8961b90dd2a9a5a83f6db8"},
      {128, "a9db0af1077ce36c9ad86c845f15ce40"},  {129, "b64e182954e830abc660e392ce7b0bbb"},
      {1000, "712aa77c7324365deb206eb0df855f70"}, {65537, "095348301072a0885c50b0c7f91eea12"},
  };
  for (const auto& row : kRows) {
    std::uint32_t state = row.size * 2654435769u + 1;
    std::vector<unsigned char> bytes(row.size);
    for (unsigned char& byte : bytes) {
      state = state * 1664525u + 1013904223u;
      byte = static_cast<unsigned char>(state >> 24);
    }
    EXPECT_EQ(Hex(Md5(bytes)), row.digest) << row.size;
  }
}

}  // namespace
}  // namespace kxcms
