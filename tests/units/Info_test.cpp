#include "units/Info.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <string>
#include <utility>

#include "units/WorkingBufferSizes.h"

namespace {

using ICC40::ICC_UNIT::Info;
using ICC40::ICC_UNIT::WorkingBufferSamples;

TEST(Info, InitialValues) {
  const Info info;
  EXPECT_EQ(info.profileState, 65535);
  EXPECT_EQ(info.reserved, 65535);
  EXPECT_EQ(info.inputColor, 65535);
  EXPECT_EQ(info.outputColor, 65535);
  EXPECT_EQ(info.engineStatus, 65535);
  EXPECT_EQ(info.workingBuf, nullptr);
  EXPECT_EQ(info.srcBuf, nullptr);
  EXPECT_EQ(info.dstBuf, nullptr);
  EXPECT_EQ(info.workingCount, 0);
  EXPECT_EQ(info.workingSize, 0);
  EXPECT_EQ(info.adjustL, 0);
  EXPECT_EQ(info.adjustC, 0);
  EXPECT_EQ(info.adjustH, 0);
  EXPECT_EQ(info.conversionType, 65534);
  EXPECT_EQ(info.currentProfile, "");
  EXPECT_EQ(info.currentProfile2, "");
}

TEST(Info, ResetKeepsStatusIntentAndNames) {
  Info info;
  unsigned char src[1], dst[1];
  info.profileState = 0;
  info.reserved = 1;
  info.inputColor = 0;
  info.outputColor = 12;
  info.engineStatus = 12;
  info.intent = 3;
  info.conversionType = 257;
  info.CheckWorkingBuf(src, dst, 5);
  info.CheckLch(1, 2, 3);
  info.CheckCurrentProfile("a.icc", "b.icc");
  ASSERT_NE(info.workingBuf, nullptr);

  EXPECT_EQ(info.Reset(), 0);
  EXPECT_EQ(info.profileState, 65535);
  EXPECT_EQ(info.reserved, 65535);
  EXPECT_EQ(info.inputColor, 65535);
  EXPECT_EQ(info.outputColor, 65535);
  EXPECT_EQ(info.conversionType, 65534);
  EXPECT_EQ(info.workingBuf, nullptr);
  EXPECT_EQ(info.srcBuf, nullptr);
  EXPECT_EQ(info.dstBuf, nullptr);
  EXPECT_EQ(info.workingCount, 0);
  EXPECT_EQ(info.workingSize, 0);
  EXPECT_EQ(info.adjustL, 0);
  EXPECT_EQ(info.adjustC, 0);
  EXPECT_EQ(info.adjustH, 0);
  EXPECT_EQ(info.engineStatus, 12) << "not reset";
  EXPECT_EQ(info.intent, 3);
  EXPECT_EQ(info.currentProfile, "a.icc");
  EXPECT_EQ(info.currentProfile2, "b.icc");
}

TEST(InfoNames, Sequence) {
  const struct {
    const char* what;
    const char *name1, *name2;
    int changed;
    const char *remembered1, *remembered2;
  } kRows[] = {
      {"nothing remembered, nothing given", nullptr, nullptr, 0, "", ""},
      {"first name is new", "a", nullptr, 1, "a", ""},
      {"same again", "a", nullptr, 0, "a", ""},
      {"null forgets it", nullptr, nullptr, 1, "", ""},
      {"forgotten already", nullptr, nullptr, 0, "", ""},
      {"both are new", "a", "b", 1, "a", "b"},
      {"both the same", "a", "b", 0, "a", "b"},
      {"only the first differs", "c", "b", 1, "c", "b"},
      {"only the second differs", "c", "d", 1, "c", "d"},
      {"null forgets the second", "c", nullptr, 1, "c", ""},
      {"null forgets the first, the second is new", nullptr, "d", 1, "", "d"},
      {"only a second name, the same", nullptr, "d", 0, "", "d"},
      {"case matters", "PROFILE", "d", 1, "PROFILE", "d"},
      {"case matters", "profile", "d", 1, "profile", "d"},
      {"paths are not normalised", "./profile", "d", 1, "./profile", "d"},
      {"bytes are compared",
       "./pr\xc3\xb6"
       "file",
       "d", 1,
       "./pr\xc3\xb6"
       "file",
       "d"},
      {"an empty name replaces a remembered one", "", "d", 1, "", "d"},
      {"kept: an empty name is a change every time", "", "d", 1, "", "d"},
      {"kept: an empty name is a change every time", "", "d", 1, "", "d"},
      {"null after an empty name is none", nullptr, "d", 0, "", "d"},
      {"the same for the second name", nullptr, "", 1, "", ""},
      {"the same for the second name", nullptr, "", 1, "", ""},
  };
  Info info;
  for (const auto& row : kRows) {
    EXPECT_EQ(info.CheckCurrentProfile(row.name1, row.name2), row.changed) << row.what;
    EXPECT_EQ(info.currentProfile, row.remembered1) << row.what;
    EXPECT_EQ(info.currentProfile2, row.remembered2) << row.what;
  }
}

TEST(InfoNames, RememberedNameMayBePassedBack) {
  Info info;
  info.CheckCurrentProfile("folder/scan.icc", nullptr);
  EXPECT_EQ(info.CheckCurrentProfile(info.currentProfile.c_str(), nullptr), 0);
  EXPECT_EQ(info.CheckCurrentProfile(info.currentProfile.c_str() + 7, nullptr), 1);
  EXPECT_EQ(info.currentProfile, "scan.icc");
}

TEST(InfoLch, Sequence) {
  const struct {
    const char* what;
    int L, c, h, changed;
  } kRows[] = {
      {"zero on a fresh object", 0, 0, 0, 0},
      {"L", 5, 0, 0, 1},
      {"same", 5, 0, 0, 0},
      {"c", 5, -3, 0, 1},
      {"h", 5, -3, 350, 1},
      {"all three", 1, 2, 3, 1},
      {"same", 1, 2, 3, 0},
      {"limits", INT_MIN, INT_MAX, 0, 1},
  };
  Info info;
  for (const auto& row : kRows) {
    EXPECT_EQ(info.CheckLch(row.L, row.c, row.h), row.changed) << row.what;
    EXPECT_EQ(info.adjustL, row.L) << row.what;
    EXPECT_EQ(info.adjustC, row.c) << row.what;
    EXPECT_EQ(info.adjustH, row.h) << row.what;
  }
}

TEST(InfoConversionType, OutputClassOfEveryCode) {
  const struct {
    int code, outputClass;
  } kRows[] = {
      {0, 1},  {1, 2},  {2, 1},  {3, 2},  {4, 3},  {5, 4},     {6, 0},       {7, 0},  {8, 1},
      {9, 2},  {10, 1}, {11, 2}, {12, 1}, {13, 2}, {14, 0},    {15, 0},      {16, 5}, {17, 6},
      {18, 7}, {19, 8}, {20, 1}, {21, 2}, {22, 1}, {23, 2},    {24, 1},      {25, 2}, {26, 1},
      {27, 2}, {28, 1}, {29, 2}, {30, 1}, {31, 2}, {32, 0},    {33, 0},      {34, 1}, {35, 2},
      {36, 1}, {37, 2}, {38, 1}, {39, 2}, {40, 0}, {65535, 0}, {INT_MAX, 0}, {-1, 0}, {INT_MIN, 0},
  };
  for (const auto& row : kRows) {
    Info info;
    info.outputColor = row.code;
    info.inputColor = 0;
    info.CheckConversionType();
    EXPECT_EQ(info.conversionType, 256 + row.outputClass) << "8-bit input, output " << row.code;
    info.inputColor = 1;
    info.CheckConversionType();
    EXPECT_EQ(info.conversionType, 512 + row.outputClass) << "16-bit input, output " << row.code;
  }
}

TEST(InfoConversionType, InputClassOfEveryCode) {
  for (int code = -2; code < 45; ++code) {
    Info info;
    info.inputColor = code;
    info.outputColor = 12;
    info.CheckConversionType();
    // Lab codes have a class although profile selection refuses them.
    const int inputClass = code == 0 || code == 2 ? 1 : code == 1 || code == 3 ? 2 : 0;
    EXPECT_EQ(info.conversionType, inputClass * 256 + 1) << code;
  }
  Info info;
  info.CheckConversionType();
  EXPECT_EQ(info.conversionType, 0) << "65535 on both sides";
}

TEST(InfoWorkingBuf, SizeByConversionType) {
  const struct {
    int type, result, size;
  } kRows[] = {
      {257, 0, 30},      {258, 0, 30},      {259, 0, 40},    {260, 0, 40},
      {261, 0, 60},      {262, 0, 60},      {263, 0, 70},    {264, 0, 70},
      {513, 0, 30},      {514, 0, 30},      {515, 0, 40},    {516, 0, 40},
      {517, 0, 60},      {518, 0, 60},      {519, 0, 70},    {520, 0, 70},
      {65534, 65534, 0}, {0, 65534, 0},     {1, 65534, 0},   {8, 65534, 0},
      {256, 65534, 0},   {265, 65534, 0},   {512, 65534, 0}, {521, 65534, 0},
      {769, 65534, 0},   {65793, 65534, 0}, {-1, 65534, 0},  {INT_MIN + 257, 65534, 0},
  };
  for (const auto& row : kRows) {
    Info info;
    info.conversionType = row.type;
    EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 10), row.result) << row.type;
    EXPECT_EQ(info.workingCount, 10) << row.type;
    EXPECT_EQ(info.workingSize, row.size) << row.type;
    EXPECT_EQ(info.workingBuf != nullptr, row.size != 0) << row.type;
    for (int i = 0; i < row.size; ++i) info.workingBuf[i] = 1;
  }
}

TEST(InfoWorkingBuf, UnusableOutputHasNoWorkingBuffer) {
  for (int input : {0, 1}) {
    Info info;
    info.inputColor = input;
    info.outputColor = 65535;
    info.CheckConversionType();
    EXPECT_EQ(info.conversionType, 256 * (input + 1));
    EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 1), 65534);
  }
}

TEST(InfoWorkingBuf, BuffersAreAlwaysRemembered) {
  Info info;
  unsigned char a[1], b[1];
  EXPECT_EQ(info.CheckWorkingBuf(a, b, 0), 0);
  EXPECT_EQ(info.srcBuf, a);
  EXPECT_EQ(info.dstBuf, b);
  EXPECT_EQ(info.workingBuf, nullptr) << "count 0 matches a fresh object: nothing is allocated";
  EXPECT_EQ(info.CheckWorkingBuf(b, nullptr, 4), 65534);
  EXPECT_EQ(info.srcBuf, b);
  EXPECT_EQ(info.dstBuf, nullptr);
}

TEST(InfoWorkingBuf, SameCountKeepsTheBuffer) {
  Info info;
  info.conversionType = 257;
  info.CheckWorkingBuf(nullptr, nullptr, 10);
  info.workingBuf[29] = 4711;
  unsigned short* const kept = info.workingBuf;
  info.conversionType = 263;
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 10), 0);
  EXPECT_EQ(info.workingBuf, kept) << "kept: only the count is compared, not the type";
  EXPECT_EQ(info.workingBuf[29], 4711);
  EXPECT_EQ(info.workingSize, 30);
}

TEST(InfoWorkingBuf, UnknownTypeKeepsTheOldBuffer) {
  Info info;
  info.conversionType = 257;
  info.CheckWorkingBuf(nullptr, nullptr, 10);
  unsigned short* const kept = info.workingBuf;
  info.conversionType = 256;
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 20), 65534);
  EXPECT_EQ(info.workingBuf, kept);
  EXPECT_EQ(info.workingCount, 20);
  EXPECT_EQ(info.workingSize, 0);
  info.conversionType = 257;
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 20), 0) << "the count matches";
  EXPECT_EQ(info.workingBuf, kept);
  EXPECT_EQ(info.workingSize, 0);
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 30), 0);
  EXPECT_EQ(info.workingSize, 90);
}

TEST(InfoWorkingBuf, ReservedIsNotTouched) {
  Info info;
  info.reserved = 4711;
  for (const int type : {257, 256, 65534, 264, 257}) {
    info.conversionType = type;
    for (const int count : {0, 10, 20, 20, 5}) info.CheckWorkingBuf(nullptr, nullptr, count);
    EXPECT_EQ(info.reserved, 4711) << type;
  }
  info.DeleteWorkingBuf();
  EXPECT_EQ(info.reserved, 4711);
  info.Reset();
  EXPECT_EQ(info.reserved, 65535);
}

TEST(WorkingBufferSizes, AreThoseOfTheBufferThatIsThere) {
  Info info, other;
  const auto refuse = [](Info& state, int count) {
    state.conversionType = 256;
    EXPECT_EQ(state.CheckWorkingBuf(nullptr, nullptr, count), 65534);
    state.conversionType = 257;
  };
  EXPECT_EQ(WorkingBufferSamples(info), std::nullopt) << "no buffer";
  info.conversionType = 257;
  info.CheckWorkingBuf(nullptr, nullptr, 10);
  EXPECT_EQ(WorkingBufferSamples(info), 30);
  refuse(info, 20);
  EXPECT_EQ(WorkingBufferSamples(info), 30) << "the old buffer is kept";
  refuse(info, 5);
  EXPECT_EQ(WorkingBufferSamples(info), 30);
  info.conversionType = 263;
  info.CheckWorkingBuf(nullptr, nullptr, 2);
  EXPECT_EQ(WorkingBufferSamples(info), 14);
  info.CheckWorkingBuf(nullptr, nullptr, 0);
  EXPECT_EQ(WorkingBufferSamples(info), 0);
  other.conversionType = 257;
  other.CheckWorkingBuf(nullptr, nullptr, 7);
  EXPECT_EQ(WorkingBufferSamples(other), 21);

  unsigned short own[6];
  unsigned short* const kept = std::exchange(other.workingBuf, own);
  EXPECT_EQ(WorkingBufferSamples(other), std::nullopt) << "set by hand";
  other.workingBuf = kept;
  EXPECT_EQ(WorkingBufferSamples(other), 21);
  other.Reset();
  EXPECT_EQ(WorkingBufferSamples(other), std::nullopt);
  info.DeleteWorkingBuf();
  EXPECT_EQ(WorkingBufferSamples(info), std::nullopt);
}

TEST(InfoWorkingBuf, DeleteLeavesTheCount) {
  Info info;
  info.conversionType = 257;
  info.CheckWorkingBuf(nullptr, nullptr, 10);
  EXPECT_EQ(info.DeleteWorkingBuf(), 0);
  EXPECT_EQ(info.workingBuf, nullptr);
  EXPECT_EQ(info.workingCount, 10);
  EXPECT_EQ(info.DeleteWorkingBuf(), 0);
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 10), 0) << "the count still matches";
  EXPECT_EQ(info.workingBuf, nullptr);
  EXPECT_EQ(info.CheckWorkingBuf(nullptr, nullptr, 0), 0);
  EXPECT_NE(info.workingBuf, nullptr) << "an array without elements";
  EXPECT_EQ(info.workingSize, 0);
}

// Lengths that no array has.
TEST(InfoWorkingBuf, FailedAllocationIsReported) {
  const struct {
    const char* what;
    int type, count, size;
  } kRows[] = {
      {"negative count", 257, -1, -3},
      {"smallest negative product", 263, -306783378, -2147483646},
      {"product below int", 263, INT_MIN, 0},
      {"product just beyond int", 257, 715827883, 0},
      {"product beyond int", 263, INT_MAX, 0},
  };
  for (const auto& row : kRows) {
    Info info;
    info.conversionType = row.type;
    info.CheckWorkingBuf(nullptr, nullptr, 10);
    ASSERT_NE(info.workingBuf, nullptr);
    testing::internal::CaptureStderr();
    const int result = info.CheckWorkingBuf(nullptr, nullptr, row.count);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "bad_alloc caught: std::bad_array_new_length\n")
        << row.what;
    EXPECT_EQ(result, 0) << row.what;
    EXPECT_EQ(info.workingBuf, nullptr) << row.what;
    EXPECT_EQ(info.workingCount, row.count) << row.what;
    EXPECT_EQ(info.workingSize, row.size) << row.what;
  }
}

}  // namespace
