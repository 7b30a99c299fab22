// Linked against the shared library, as an application is. This program defines the three hooks
// that the library calls, and one method of the engine: exported names are looked up in the program
// first, so the library must end up here.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "interface/EngineSlots.h"
#include "interface/kxcms.h"
#include "tests/TemporaryFile.h"
#include "tests/interface/TestProfile.h"

namespace {

using Lines = std::vector<std::string>;

Lines recordedCalls;    // what the hooks were asked, one line per call
const int* nextAnswer;  // of ConfigGetInt in turn; null: the defaults
int answersLeft;
enum class Thrown { kNothing, kText, kPointer } thrownByConversion;

std::string Quoted(const char* text) {
  return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

std::string Call(const char* hook, const char* section, const char* key, const std::string& value) {
  return std::string(hook) + ' ' + section + ' ' + key + ' ' + value;
}

}  // namespace

int ConfigGetInt(const char* section, const char* key, int defaultValue) {
  recordedCalls.push_back(Call("GetInt", section, key, std::to_string(defaultValue)));
  if (answersLeft == 0) return defaultValue;
  --answersLeft;
  return *nextAnswer++;
}

int ConfigSetInt(const char* section, const char* key, int value) {
  recordedCalls.push_back(Call("SetInt", section, key, std::to_string(value)));
  return 0;
}

int ConfigSetString(const char* section, const char* key, const char* value) {
  recordedCalls.push_back(Call("SetString", section, key, Quoted(value)));
  return 0;
}

// No file conversion of the library throws a text; here one does.
int ICC40::ICC_ENG_S4::CIccEngineS::Conversion(char const*, char const*) {
  if (thrownByConversion == Thrown::kText) throw std::string("thrown text");
  if (thrownByConversion == Thrown::kPointer) throw "thrown pointer";
  return -1;
}

namespace {

constexpr const char* kNoFile = "/nonexistent/folder/scan.icc";

class HooksReplaced : public testing::Test {
 protected:
  HooksReplaced() {
    recordedCalls.clear();
    answersLeft = 0;
    thrownByConversion = Thrown::kNothing;
    for (auto* engine : {&IccEngine, &IccEngine_2nd, &IccEngine_3rd}) {
      engine->Reset();
      engine->iccFile.Reset();
      engine->CheckCurrentProfile(nullptr, nullptr);
    }
  }

  void Answer(const std::vector<int>& answers) {
    answers_ = answers;
    nextAnswer = answers_.data();
    answersLeft = static_cast<int>(answers_.size());
  }

 private:
  std::vector<int> answers_;
};

// The report of one selection, in its order.
Lines Report(const std::string& section, const std::string& input, const std::string& output,
             const std::string& intent, const std::string& path, const std::string& result) {
  return {
      "SetString " + section + " InputColor \"" + input + '"',
      "SetString " + section + " OutputColor \"" + output + '"',
      "SetString " + section + " intent \"" + intent + '"',
      "SetInt " + section + " Adjust_L 0",
      "SetInt " + section + " Adjust_c 0",
      "SetInt " + section + " Adjust_h 0",
      "SetString " + section + " InputProfile " + path,
      "SetString " + section + " Result \"" + result + '"',
  };
}

const struct {
  const char* section;
  int (*setProfile)(const char*, const char*, int, int, int);
} kReported[] = {{"Current2", KX_Icc_SetProfile_2nd}, {"Current3", KX_Icc_SetProfile_3rd}};

TEST_F(HooksReplaced, SuccessIsReportedAsUnKnownColorSpace) {
  const TemporaryFile profile(GreyScannerProfile());
  for (const auto& form : kReported) {
    recordedCalls.clear();
    EXPECT_EQ(form.setProfile(profile.Path(), "second", 1, 0, 12), 12) << form.section;
    EXPECT_EQ(recordedCalls, Report(form.section, "RGB", "sRGB", "Relative", Quoted(profile.Path()),
                                    "UnKnownColorSpace"));
  }
}

// An output code without a curve makes the slot unusable, but the selection itself went well.
TEST_F(HooksReplaced, UnusableOutputIsReportedLikeSuccess) {
  const TemporaryFile profile(GreyScannerProfile());
  for (const auto& form : kReported) {
    recordedCalls.clear();
    EXPECT_EQ(form.setProfile(profile.Path(), nullptr, 0, 1, 4), 65535) << form.section;
    EXPECT_EQ(recordedCalls, Report(form.section, "RGB_16", "CMYK", "Percepture",
                                    Quoted(profile.Path()), "UnKnownColorSpace"));
  }
}

TEST_F(HooksReplaced, UnchangedSelectionIsReportedAgain) {
  const TemporaryFile profile(GreyScannerProfile());
  for (const auto& form : kReported) {
    form.setProfile(profile.Path(), nullptr, 3, 0, 13);
    recordedCalls.clear();
    EXPECT_EQ(form.setProfile(profile.Path(), nullptr, 3, 0, 13), 13) << form.section;
    EXPECT_EQ(recordedCalls, Report(form.section, "RGB", "sRGB_16", "Absolute",
                                    Quoted(profile.Path()), "UnKnownColorSpace"));
  }
}

TEST_F(HooksReplaced, FailuresHaveAnEmptyResult) {
  const TemporaryFile profile(GreyScannerProfile());
  const struct {
    const char* what;
    const char* path;
    int intent, input, output;
    const char *inputName, *outputName, *intentName;
  } kRows[] = {
      {"file cannot be opened", kNoFile, 2, 0, 39, "RGB", "sRGB_KodakText_16", "Saturation"},
      {"no path is reported as null", nullptr, 0, 0, 12, "RGB", "sRGB", "Percepture"},
      {"input code 2", profile.Path(), 0, 2, 12, "Lab", "sRGB", "Percepture"},
      {"kept: 65535 is not replaced but refused", profile.Path(), 0, 65535, 12, "", "sRGB",
       "Percepture"},
      {"codes outside the tables", kNoFile, 4, 40, 65535, "", "", ""},
      {"negative codes", kNoFile, -1, -1, -2147483647, "", "", ""},
  };
  for (const auto& form : kReported) {
    for (const auto& row : kRows) {
      recordedCalls.clear();
      EXPECT_EQ(form.setProfile(row.path, nullptr, row.intent, row.input, row.output), 65535)
          << form.section << ": " << row.what;
      EXPECT_EQ(recordedCalls, Report(form.section, row.inputName, row.outputName, row.intentName,
                                      Quoted(row.path), ""))
          << form.section << ": " << row.what;
    }
  }
}

TEST_F(HooksReplaced, SetProfileReportsNothing) {
  const TemporaryFile profile(GreyScannerProfile());
  testing::internal::CaptureStdout();
  EXPECT_EQ(KX_Icc_SetProfile(profile.Path(), nullptr, 0, 0, 12), 12);
  EXPECT_EQ(KX_Icc_SetProfile(kNoFile, nullptr, 0, 0, 12), 65535);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(recordedCalls, Lines{});
}

TEST_F(HooksReplaced, SetProfileFReportsOnlyFailuresUnderTheThirdSection) {
  const TemporaryFile profile(GreyScannerProfile());
  EXPECT_EQ(KX_Icc_SetProfileF(profile.Path(), nullptr, 0, 0, 12), 12);
  EXPECT_EQ(recordedCalls, Lines{});
  EXPECT_EQ(KX_Icc_SetProfileF(kNoFile, nullptr, 0, 0, 12), 65535);
  EXPECT_EQ(recordedCalls, Lines{"SetString Current3 Result \"\""});
  recordedCalls.clear();
  EXPECT_EQ(KX_Icc_SetProfileF(profile.Path(), nullptr, 0, 65535, 12), 65535);
  EXPECT_EQ(recordedCalls, Lines{"SetString Current3 Result \"\""}) << "65535 is not replaced";
}

TEST_F(HooksReplaced, AdjustAsksForControlOnly) {
  for (int answer : {0, 2, -1}) {
    recordedCalls.clear();
    Answer({answer});
    EXPECT_EQ(KX_Icc_Adjust(nullptr, nullptr, nullptr, 0, 1.5, 2.5, 3.5), 65535);
    EXPECT_EQ(recordedCalls, Lines{"GetInt Icc Control 0"}) << answer;
    EXPECT_EQ(IccEngine.adjustL, 1) << answer;
    EXPECT_EQ(IccEngine.adjustC, 2) << answer;
    EXPECT_EQ(IccEngine.adjustH, 3) << answer;
    EXPECT_EQ(IccEngine.outputColor, 65535) << answer;
  }
}

TEST_F(HooksReplaced, ControlReplacesIntentCodesAndOffsets) {
  const TemporaryFile profile(GreyScannerProfile());
  testing::internal::CaptureStdout();
  ASSERT_EQ(KX_Icc_SetProfile(profile.Path(), nullptr, 0, 0, 12), 12);
  testing::internal::GetCapturedStdout();
  Answer({1, 2, 1, 13, 10, -20, 30});
  EXPECT_EQ(KX_Icc_Adjust(nullptr, nullptr, nullptr, 0, 1.5, 2.5, 3.5), 13);
  EXPECT_EQ(recordedCalls,
            (Lines{"GetInt Icc Control 0", "GetInt Icc Intent 0", "GetInt Icc InputColor 0",
                   "GetInt Icc OutputColor 12", "GetInt Icc Adjust_L 0", "GetInt Icc Adjust_c 0",
                   "GetInt Icc Adjust_h 0"}));
  EXPECT_EQ(IccEngine.intent, 2);
  EXPECT_EQ(IccEngine.inputColor, 1);
  EXPECT_EQ(IccEngine.outputColor, 13);
  EXPECT_EQ(IccEngine.adjustL, 10);
  EXPECT_EQ(IccEngine.adjustC, -20);
  EXPECT_EQ(IccEngine.adjustH, 30);
  EXPECT_EQ(IccEngine_2nd.outputColor, 65535);
}

// L* + 10 makes mid grey lighter: the offsets of the hook reach the pixels.
TEST_F(HooksReplaced, ControlChangesThePixels) {
  const TemporaryFile profile(GreyScannerProfile());
  testing::internal::CaptureStdout();
  ASSERT_EQ(KX_Icc_SetProfile(profile.Path(), nullptr, 0, 0, 12), 12);
  testing::internal::GetCapturedStdout();
  unsigned char before[3] = {128, 128, 128};
  EXPECT_EQ(KX_Icc_Convert2(before, before, 1), 0);
  Answer({1, 0, 0, 12, 10, 0, 0});
  EXPECT_EQ(KX_Icc_Adjust(nullptr, nullptr, nullptr, 0, 0, 0, 0), 12);
  unsigned char after[3] = {128, 128, 128};
  EXPECT_EQ(KX_Icc_Convert2(after, after, 1), 0);
  // sRGB of L* 50.2 is 119, of L* 60.2 is 145.
  EXPECT_NEAR(before[0], 119, 2);
  EXPECT_NEAR(after[0], 145, 2);
}

TEST_F(HooksReplaced, ControlDoesNotReplaceTheMissingInputCode) {
  Answer({1, 0, 65535, 12, 0, 0, 0});
  EXPECT_EQ(KX_Icc_Adjust(nullptr, nullptr, nullptr, 0, 0, 0, 0), 12);
  EXPECT_EQ(IccEngine.inputColor, 65535);
}

TEST_F(HooksReplaced, OnlyTheFirstSlotAsks) {
  Answer({1, 2, 1, 13, 10, -20, 30});
  EXPECT_EQ(KX_Icc_Adjust_2nd(nullptr, nullptr, nullptr, 0, 4, 5, 6), 65535);
  EXPECT_EQ(KX_Icc_Adjust_3rd(nullptr, nullptr, nullptr, 0, 4, 5, 6), 65535);
  EXPECT_EQ(recordedCalls, Lines{});
  EXPECT_EQ(IccEngine_2nd.adjustL, 4);
  EXPECT_EQ(IccEngine_3rd.adjustH, 6);
}

TEST_F(HooksReplaced, ConversionsAndSetIntentAskNothing) {
  unsigned char pixel[3] = {};
  KX_Icc_SetIntent(0, 0, 12);
  KX_Icc_SetIntent_2nd(0, 0, 12);
  KX_Icc_Convert2(pixel, pixel, 1);
  KX_Icc_Convert2_3rd(pixel, pixel, 1);
  KX_Icc_Initial(0);
  KX_Icc_DeleteWorkingBuf();
  EXPECT_EQ(recordedCalls, Lines{});
}

TEST_F(HooksReplaced, ThrownTextIsPrintedByTheFirstSlot) {
  IccEngine.outputColor = 12;
  thrownByConversion = Thrown::kText;
  testing::internal::CaptureStdout();
  int result = 0;
  EXPECT_NO_THROW(result = KX_Icc_ConvertFile("in.tif", "out.tif"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "thrown text\n");
  EXPECT_EQ(result, 12);
}

TEST_F(HooksReplaced, ThrownTextLeavesTheOtherSlots) {
  IccEngine_2nd.outputColor = 12;
  IccEngine_3rd.outputColor = 12;
  thrownByConversion = Thrown::kText;
  EXPECT_THROW(KX_Icc_ConvertFile_2nd("in.tif", "out.tif"), std::string);
  EXPECT_THROW(KX_Icc_ConvertFile_3rd("in.tif", "out.tif"), std::string);
}

TEST_F(HooksReplaced, OtherExceptionsLeaveEverySlot) {
  for (auto* engine : {&IccEngine, &IccEngine_2nd, &IccEngine_3rd}) engine->outputColor = 12;
  thrownByConversion = Thrown::kPointer;
  EXPECT_THROW(KX_Icc_ConvertFile("in.tif", "out.tif"), const char*);
  EXPECT_THROW(KX_Icc_ConvertFile_2nd("in.tif", "out.tif"), const char*);
  EXPECT_THROW(KX_Icc_ConvertFile_3rd("in.tif", "out.tif"), const char*);
}

TEST_F(HooksReplaced, FailedConversionStillReturnsTheOutputCode) {
  for (auto* engine : {&IccEngine, &IccEngine_2nd, &IccEngine_3rd}) engine->outputColor = 12;
  EXPECT_EQ(KX_Icc_ConvertFile("in.tif", "out.tif"), 12);
  EXPECT_EQ(KX_Icc_ConvertFile_2nd("in.tif", "out.tif"), 12);
  EXPECT_EQ(KX_Icc_ConvertFile_3rd("in.tif", "out.tif"), 12);
}

}  // namespace
