#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "interface/EngineSlots.h"
#include "interface/kxcms.h"
#include "tests/OddStreamState.h"
#include "tests/TemporaryFile.h"
#include "tests/interface/TestProfile.h"
#include "tests/reference/RandomProfile.h"

namespace {

using ICC40::ICC_ENG_S4::CIccEngineS;

constexpr const char* kNoFile = "/nonexistent/folder/scan.icc";

struct Slot {
  const char* what;
  CIccEngineS& engine;
  int (*setProfile)(const char*, const char*, int, int, int);
  int (*setIntent)(int, int, int);
  int (*adjust)(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
  int (*convert2)(unsigned char*, unsigned char*, int);
  int (*convertFile)(const char*, const char*);
};

const Slot kSlots[] = {
    {"first", IccEngine, KX_Icc_SetProfile, KX_Icc_SetIntent, KX_Icc_Adjust, KX_Icc_Convert2,
     KX_Icc_ConvertFile},
    {"second", IccEngine_2nd, KX_Icc_SetProfile_2nd, KX_Icc_SetIntent_2nd, KX_Icc_Adjust_2nd,
     KX_Icc_Convert2_2nd, KX_Icc_ConvertFile_2nd},
    {"third", IccEngine_3rd, KX_Icc_SetProfile_3rd, KX_Icc_SetIntent_3rd, KX_Icc_Adjust_3rd,
     KX_Icc_Convert2_3rd, KX_Icc_ConvertFile_3rd},
};

// Each test starts and ends with three engines that were never set up.
class Interface : public testing::Test {
 protected:
  Interface() { Clear(); }
  ~Interface() override { Clear(); }

  static void Clear() {
    for (const Slot& slot : kSlots) {
      slot.engine.Reset();
      slot.engine.iccFile.Reset();
      slot.engine.CheckCurrentProfile(nullptr, nullptr);
      slot.engine.engineStatus = 65535;
      slot.engine.intent = 0;
      std::memset(slot.engine.cells, 0, sizeof slot.engine.cells);
      std::memset(slot.engine.outLut, 0, sizeof slot.engine.outLut);
    }
  }
};

// Standard output of one call, down to the file descriptor.
template <typename Call>
std::string Printed(Call call) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

TEST(EngineSlots, NameIsTheSectionOfTheHooks) {
  EXPECT_STREQ(Name(), "Icc");
}

TEST(EngineSlots, ConstructionSetTheThreads) {
  EXPECT_NE(omp_get_dynamic(), 0);
  for (const Slot& slot : kSlots) EXPECT_EQ(slot.engine.fractionBits, 12) << slot.what;
}

TEST_F(Interface, NeverSetUp) {
  for (const Slot& slot : kSlots) {
    ASSERT_EQ(slot.engine.outputColor, 65535) << slot.what;
    unsigned char src[6] = {1, 2, 3, 4, 5, 6};
    unsigned char dst[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(static_cast<unsigned>(slot.convert2(src, dst, 2)), 0xFFFFFFFFu) << slot.what;
    for (unsigned char value : dst) EXPECT_EQ(value, 9) << slot.what;
    EXPECT_EQ(slot.convert2(nullptr, nullptr, 2), -1) << slot.what;
    EXPECT_EQ(slot.adjust(src, src, src, 6, 1, 2, 3), 65535) << slot.what;
  }
  EXPECT_EQ(KX_Icc_Convert(nullptr, nullptr, 1), -1);
  EXPECT_EQ(KX_Icc_Initial(0), 65535);
  EXPECT_EQ(KX_Icc_DeleteWorkingBuf(), 65535);
}

// The least lookup tag that there can be: 100 bytes. The inputs that it lacks make no difference.
TEST_F(Interface, ATagOfOneInput) {
  reference::ProfileSpec spec = reference::PlainSpec(2, 0, 0);
  spec.tags[0].in = 1;
  const TemporaryFile profile(reference::WriteProfile(spec));
  for (const Slot& slot : kSlots) {
    Printed([&] {
      EXPECT_EQ(slot.setProfile(profile.Path(), nullptr, 0, 0, 4), 65535) << slot.what;
      EXPECT_EQ(slot.setProfile(profile.Path(), nullptr, 0, 0, 12), 12) << slot.what;
    });
    unsigned char src[9] = {200, 0, 0, 200, 255, 77, 0, 255, 77};
    unsigned char dst[9];
    std::memset(dst, 33, sizeof dst);
    EXPECT_EQ(slot.convert2(src, dst, 3), 0) << slot.what;
    EXPECT_EQ(std::memcmp(dst, dst + 3, 3), 0) << slot.what;
    EXPECT_NE(std::memcmp(dst, dst + 6, 3), 0) << slot.what;
  }
}

TEST_F(Interface, FileConversionOfAnUnusableSlotTouchesNoPath) {
  for (const Slot& slot : kSlots) {
    const TemporaryFile out({1, 2, 3});
    EXPECT_EQ(Printed([&] { EXPECT_EQ(slot.convertFile(out.Path(), out.Path()), 65535); }), "")
        << slot.what;
    EXPECT_EQ(slot.convertFile(nullptr, nullptr), 65535) << slot.what;
    FILE* file = std::fopen(out.Path(), "rb");
    ASSERT_NE(file, nullptr);
    unsigned char bytes[4];
    EXPECT_EQ(std::fread(bytes, 1, 4, file), 3u) << slot.what;
    std::fclose(file);
  }
}

TEST_F(Interface, UnreadableTiffStillReturnsTheOutputCode) {
  for (const Slot& slot : kSlots) {
    slot.engine.outputColor = 12;
    testing::internal::CaptureStdout();
    EXPECT_EQ(slot.convertFile("/nonexistent/in.tif", "/nonexistent/out.tif"), 12) << slot.what;
    testing::internal::GetCapturedStdout();
  }
}

TEST_F(Interface, SetProfilePrintsOneLine) {
  const struct {
    const char* what;
    const char* path;
    int intent, input, output;
    const char* line;
  } kRows[] = {
      {"example", "scan.icc", 1, 0, 12,
       "SetProfile : scan.icc, intent : 1, Input : 0, Output : 12\n"},
      {"default input is printed as 0", kNoFile, 0, 65535, 13,
       "SetProfile : /nonexistent/folder/scan.icc, intent : 0, Input : 0, Output : 13\n"},
      {"null path prints nothing for it", nullptr, 3, 1, 65535,
       "SetProfile : , intent : 3, Input : 1, Output : 65535\n"},
      {"empty path", "", 3, 1, 9, "SetProfile : , intent : 3, Input : 1, Output : 9\n"},
      {"any code", kNoFile, -1, 70000, INT_MIN,
       "SetProfile : /nonexistent/folder/scan.icc, intent : -1, Input : 70000, Output : "
       "-2147483648\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Printed([&] {
                EXPECT_EQ(KX_Icc_SetProfile(row.path, "ignored", row.intent, row.input, row.output),
                          65535)
                    << row.what;
              }),
              row.line)
        << row.what;
    EXPECT_TRUE(std::cout.good()) << row.what;
  }
}

TEST_F(Interface, TheLineIsDecimalWhateverTheApplicationDidToTheStream) {
  EXPECT_EQ(PrintedOddly([] { KX_Icc_SetProfile(kNoFile, nullptr, 3, 70000, INT_MIN); }),
            "SetProfile : /nonexistent/folder/scan.icc, intent : 3, Input : 70000, Output : "
            "-2147483648\n");
}

TEST_F(Interface, OnlySetProfilePrintsTheLine) {
  EXPECT_EQ(Printed([] {
              KX_Icc_SetProfile_2nd(kNoFile, nullptr, 0, 0, 12);
              KX_Icc_SetProfile_3rd(kNoFile, nullptr, 0, 0, 12);
              KX_Icc_SetProfileF(kNoFile, nullptr, 0, 0, 12);
            }),
            "");
}

// Which form takes 65535 for the default: it shows in the code stored, and in whether the profile
// is accepted.
TEST_F(Interface, OnlySetProfileReplacesTheMissingInputCode) {
  const TemporaryFile profile(GreyScannerProfile());
  const struct {
    const char* what;
    int (*setProfile)(const char*, const char*, int, int, int);
    CIccEngineS& engine;
    int result, storedInput;
  } kRows[] = {
      {"first", KX_Icc_SetProfile, IccEngine, 12, 0},
      {"second", KX_Icc_SetProfile_2nd, IccEngine_2nd, 65535, 65535},
      {"third", KX_Icc_SetProfile_3rd, IccEngine_3rd, 65535, 65535},
      {"F", KX_Icc_SetProfileF, IccEngine, 65535, 65535},
  };
  for (const auto& row : kRows) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(row.setProfile(profile.Path(), nullptr, 0, 65535, 12), row.result) << row.what;
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(row.engine.inputColor, row.storedInput) << row.what;
  }
}

TEST_F(Interface, SetIntentReplacesTheMissingInputCodeInEverySlot) {
  for (const Slot& slot : kSlots) {
    slot.setIntent(2, 65535, 13);
    EXPECT_EQ(slot.engine.inputColor, 0) << slot.what;
    EXPECT_EQ(slot.engine.intent, 2) << slot.what;
  }
}

// Without a profile the codes are stored all the same, so the slot passes for usable; conversions
// have no tables and touch nothing.
TEST_F(Interface, SetIntentWithoutProfileReturnsTheNewOutputCode) {
  for (const Slot& slot : kSlots) {
    EXPECT_EQ(slot.setIntent(1, 0, 13), 13) << slot.what;
    unsigned char src[3] = {1, 2, 3};
    unsigned char dst[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(slot.convert2(src, dst, 1), 0) << slot.what;
    for (unsigned char value : dst) EXPECT_EQ(value, 9) << slot.what;
    EXPECT_EQ(slot.adjust(nullptr, nullptr, nullptr, 0, 5, 6, 7), 13) << slot.what;
  }
  EXPECT_EQ(KX_Icc_Initial(4711), 65533);
  EXPECT_EQ(KX_Icc_DeleteWorkingBuf(), 65535);
}

TEST_F(Interface, AdjustPassesTheOffsets) {
  for (const Slot& slot : kSlots) {
    slot.adjust(nullptr, nullptr, nullptr, 0, 5.9, -6.9, 7.0);
    EXPECT_EQ(slot.engine.adjustL, 5) << slot.what;
    EXPECT_EQ(slot.engine.adjustC, -6) << slot.what;
    EXPECT_EQ(slot.engine.adjustH, 7) << slot.what;
  }
}

TEST_F(Interface, SetProfileFailures) {
  const TemporaryFile profile(GreyScannerProfile());
  const struct {
    const char* what;
    const char* path;
    int input, output;
  } kRows[] = {
      {"file cannot be opened", kNoFile, 0, 12},
      {"no path", nullptr, 0, 12},
      {"input code 2", profile.Path(), 2, 12},
      {"negative input code", profile.Path(), -1, 12},
      {"CMYK output has a conversion class but no output curve", profile.Path(), 0, 4},
      {"RGB output", profile.Path(), 0, 0},
      {"output code past the table", profile.Path(), 0, 40},
      {"negative output code", profile.Path(), 0, -1},
  };
  for (const Slot& slot : kSlots) {
    for (const auto& row : kRows) {
      testing::internal::CaptureStdout();
      EXPECT_EQ(slot.setProfile(row.path, nullptr, 0, row.input, row.output), 65535)
          << slot.what << ": " << row.what;
      testing::internal::GetCapturedStdout();
      unsigned char pixel[3] = {1, 2, 3};
      EXPECT_EQ(slot.convert2(pixel, pixel, 1), -1) << slot.what << ": " << row.what;
    }
  }
}

// A grey scanner profile: black gives black, white gives white, and what lies between is grey. The
// matrix of four decimals leaves white within one level.
TEST_F(Interface, SlotsConvertSideBySide) {
  const TemporaryFile profile(GreyScannerProfile());
  const int kOutputs[] = {KX_COLOR_SRGB, KX_COLOR_SRGB100, KX_COLOR_ADOBE};
  for (int i = 0; i < 3; ++i) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(kSlots[i].setProfile(profile.Path(), nullptr, 0, 0, kOutputs[i]), kOutputs[i]);
    testing::internal::GetCapturedStdout();
  }
  unsigned char mid[3];
  for (int i = 0; i < 3; ++i) {
    unsigned char pixels[9] = {0, 0, 0, 128, 128, 128, 255, 255, 255};
    EXPECT_EQ(kSlots[i].convert2(pixels, pixels, 3), 0) << kSlots[i].what;
    for (int k = 0; k < 3; ++k) {
      EXPECT_EQ(pixels[k], 0) << kSlots[i].what << " black " << k;
      EXPECT_NEAR(pixels[3 + k], pixels[3], 1) << kSlots[i].what << " grey " << k;
      EXPECT_NEAR(pixels[6 + k], 255, 1) << kSlots[i].what << " white " << k;
    }
    mid[i] = pixels[3];
  }
  // L* 50.2 is Y = 0.1858: 119 in sRGB, 47 linear, 100 with gamma 1.8. Two levels for the grid of
  // 17 and for L* between its nodes.
  EXPECT_NEAR(mid[0], 119, 2);
  EXPECT_NEAR(mid[1], 47, 2);
  EXPECT_NEAR(mid[2], 100, 2);
}

TEST_F(Interface, ConvertIsConvert2OfTheFirstSlot) {
  const TemporaryFile profile(GreyScannerProfile());
  testing::internal::CaptureStdout();
  ASSERT_EQ(KX_Icc_SetProfile(profile.Path(), nullptr, 0, 1, 13), 13);
  testing::internal::GetCapturedStdout();
  std::vector<unsigned short> src, a(300), b(300);
  for (int i = 0; i < 300; ++i) src.push_back(static_cast<unsigned short>(i * 218));
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(src.data());
  EXPECT_EQ(KX_Icc_Convert(bytes, reinterpret_cast<unsigned char*>(a.data()), 100), 0);
  EXPECT_EQ(KX_Icc_Convert2(bytes, reinterpret_cast<unsigned char*>(b.data()), 100), 0);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, std::vector<unsigned short>(300));
}

TEST_F(Interface, SetProfileFDrivesTheFirstSlot) {
  const TemporaryFile profile(GreyScannerProfile());
  EXPECT_EQ(KX_Icc_SetProfileF(profile.Path(), nullptr, 0, 0, 12), 12);
  EXPECT_EQ(IccEngine.outputColor, 12);
  EXPECT_EQ(IccEngine_2nd.outputColor, 65535);
  EXPECT_EQ(IccEngine_3rd.outputColor, 65535);
}

TEST_F(Interface, SecondPathIsIgnored) {
  const TemporaryFile profile(GreyScannerProfile());
  for (const Slot& slot : kSlots) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(slot.setProfile(profile.Path(), kNoFile, 0, 0, 12), 12) << slot.what;
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(slot.engine.currentProfile2, "") << slot.what;
  }
}

TEST_F(Interface, AFileThatChangesUnderItsPathIsReadWithTheNextOtherSelection) {
  std::vector<unsigned char> black = GreyScannerProfile();
  for (int node = 0; node < 8; ++node) std::fill_n(&black[kTestProfileNodes + 6 * node], 2, 0);
  for (const Slot& slot : kSlots) {
    const TemporaryFile profile(GreyScannerProfile());
    const auto white = [&slot] {
      unsigned char pixel[3] = {255, 255, 255};
      EXPECT_EQ(slot.convert2(pixel, pixel, 1), 0);
      return static_cast<int>(pixel[0]);
    };
    const auto select = [&](int intent, int output) {
      testing::internal::CaptureStdout();
      EXPECT_EQ(slot.setProfile(profile.Path(), nullptr, intent, 0, output), output) << slot.what;
      testing::internal::GetCapturedStdout();
    };
    select(0, 12);
    EXPECT_EQ(white(), 255) << slot.what;
    profile.Write(black);
    select(0, 12);
    EXPECT_EQ(white(), 255) << slot.what << ", the same selection";
    slot.setIntent(0, 0, 10);
    slot.setIntent(0, 0, 12);
    EXPECT_EQ(white(), 255) << slot.what << ", other codes of the same profile";
    select(0, 10);
    EXPECT_EQ(white(), 0) << slot.what << ", another selection";
  }
}

// XYZ has another encoding (ICC.1:2010 6.3.4.2): these colours are wrong, and stay what they are.
TEST_F(Interface, XyzIsTakenForLab) {
  std::vector<unsigned char> bytes = GreyScannerProfile();
  const TemporaryFile toLab(bytes);
  std::memcpy(&bytes[20], "XYZ ", 4);
  const TemporaryFile toXyz(bytes);
  for (const Slot& slot : kSlots) {
    unsigned char ofLab[6] = {200, 100, 50, 1, 2, 3}, ofXyz[6] = {200, 100, 50, 1, 2, 3};
    testing::internal::CaptureStdout();
    EXPECT_EQ(slot.setProfile(toLab.Path(), nullptr, 0, 0, 12), 12) << slot.what;
    EXPECT_EQ(slot.convert2(ofLab, ofLab, 2), 0) << slot.what;
    EXPECT_EQ(slot.setProfile(toXyz.Path(), nullptr, 0, 0, 12), 12) << slot.what;
    EXPECT_EQ(slot.convert2(ofXyz, ofXyz, 2), 0) << slot.what;
    testing::internal::GetCapturedStdout();
    for (int i = 0; i < 6; ++i) EXPECT_EQ(ofXyz[i], ofLab[i]) << slot.what << " " << i;
  }
}

TEST_F(Interface, AdjustReplacesTheOutputCurves) {
  const TemporaryFile profile(GreyScannerProfile());
  unsigned char constant[256];
  std::memset(constant, 77, sizeof constant);
  for (const Slot& slot : kSlots) {
    testing::internal::CaptureStdout();
    ASSERT_EQ(slot.setProfile(profile.Path(), nullptr, 0, 0, 12), 12) << slot.what;
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(slot.adjust(constant, constant, constant, 256, 0, 0, 0), 12) << slot.what;
    unsigned char pixels[6] = {0, 0, 0, 200, 100, 50};
    EXPECT_EQ(slot.convert2(pixels, pixels, 2), 0) << slot.what;
    for (unsigned char value : pixels) EXPECT_EQ(value, 77) << slot.what;
  }
}

}  // namespace
