#include "base/CpuLevel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

using namespace ICC40;

namespace {

TEST(CpuLevel, Names) {
  EXPECT_STREQ(NameOf(CpuLevel::kScalar), "scalar");
  EXPECT_STREQ(NameOf(CpuLevel::kPortable), "portable");
  EXPECT_STREQ(NameOf(CpuLevel::kAvx2), "avx2");
  EXPECT_STREQ(NameOf(CpuLevel::kAvx512), "avx512");
}

// The kernel lists an instruction set when the processor has it and its registers are saved.
TEST(CpuLevel, SupportedIsWhatTheKernelLists) {
  std::ifstream info("/proc/cpuinfo");
  std::set<std::string> flags;
  for (std::string line; flags.empty() && std::getline(info, line);) {
    if (!line.starts_with("flags")) continue;
    std::istringstream words(line);
    for (std::string word; words >> word;) flags.insert(word);
  }
  if (flags.empty()) GTEST_SKIP() << "/proc/cpuinfo lists no flags";
  const auto has = [&flags](std::initializer_list<const char*> names) {
    return std::all_of(names.begin(), names.end(),
                       [&flags](const char* name) { return flags.contains(name); });
  };
  CpuLevel expected = CpuLevel::kPortable;
  if (has({"avx2"})) expected = CpuLevel::kAvx2;
  if (has({"avx512f", "avx512bw", "avx512vl", "avx512dq", "avx512vbmi", "avx512_vnni"})) {
    expected = CpuLevel::kAvx512;
  }
  EXPECT_EQ(SupportedCpuLevel(), expected);
}

// A process chooses once: each row is a process of its own.
TEST(CpuLevel, TheEnvironmentMayAskForALowerOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const CpuLevel supported = SupportedCpuLevel();
  const struct {
    const char* asked;  // null: nothing
    CpuLevel level;     // if it is supported
  } kRows[] = {
      {"scalar", CpuLevel::kScalar}, {"portable", CpuLevel::kPortable},
      {"avx2", CpuLevel::kAvx2},     {"avx512", CpuLevel::kAvx512},
      {nullptr, supported},          {"", supported},
      {"AVX2", supported},           {"avx2 ", supported},
      {"avx1024", supported},
  };
  for (const auto& row : kRows) {
    if (row.asked != nullptr) {
      setenv("KXCMS_LEVEL", row.asked, 1);
    } else {
      unsetenv("KXCMS_LEVEL");
    }
    const int expected = static_cast<int>(std::min(row.level, supported));
    EXPECT_EXIT(std::_Exit(static_cast<int>(ChosenCpuLevel())), testing::ExitedWithCode(expected),
                "")
        << (row.asked != nullptr ? row.asked : "nothing");
  }
}

}  // namespace
