// Every operation with every one of its allocations and file calls failing in turn. This program
// replaces the allocator and the C streams, and sees the library as an application does.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "interface/EngineSlots.h"
#include "interface/kxcms.h"
#include "tests/TemporaryFile.h"
#include "tests/faults/FaultInjection.h"
#include "tests/reference/RandomProfile.h"
#include "tests/tiff/TiffBytes.h"
#include "tiff/CTiff.h"

namespace {

using faults::Call;
using faults::Injection;
using faults::Reach;
using ICC40::ICC_ENG_S4::CIccEngineS;
using KX_Tiff_STL3::CTiff;
using tiff_test::Bytes;

constexpr const char* kNoFile = "/nonexistent/folder/scan.icc";
constexpr Reach kReaches[] = {Reach::kOnce, Reach::kFromThenOn};

// What an allocation that fails may lead to besides "bad_alloc caught: ..." on standard error.
struct Report {
  bool unknownError;  // the image reader's own line on standard output
  bool throws;        // std::bad_alloc leaves the call
  bool recovers;      // nothing, where the outcome is that of an undisturbed run
};
constexpr Report kLine = {false, false, false};
constexpr Report kReader = {true, false, false};
constexpr Report kThrows = {false, true, false};
constexpr Report kConversion = {true, true, true};

struct Operation {
  const char* what;
  std::function<void()> prepare;   // brings everything to where the operation starts
  std::function<int()> run;        // the operation
  std::set<int> results;           // what it may return when a call fails
  Report report;                   // how it tells that memory is short
  std::function<Bytes()> outcome;  // what it led to
  std::vector<Bytes> whole;        // outcomes that a fault may leave; empty: any
  std::function<void()> redo;      // the next operation, which must go well
};

// The lines that a call under faults printed.
struct Printed {
  std::string out, err;
};

bool IsBadAllocLines(const std::string& text) {
  const std::string line = "bad_alloc caught: std::bad_alloc\n";
  std::string expected;
  while (expected.size() < text.size()) expected += line;
  return !text.empty() && text == expected;
}

bool IsReported(Report report, const Printed& printed, bool threw) {
  if (threw) return report.throws;
  const std::string line = "*** CTiff::ReadFile() --> unknown Error. ***\n";
  const bool isReaders = report.unknownError && printed.out == line;
  return (isReaders && printed.err.empty()) || IsBadAllocLines(printed.err);
}

// Lets one call after the other fail until the operation is undisturbed.
// @return how many calls there are.
long Sweep(const Operation& operation, Call call, Reach reach) {
  SCOPED_TRACE(operation.what);
  operation.prepare();
  operation.run();
  const Bytes expected = operation.outcome();
  for (long nth = 1;; ++nth) {
    operation.prepare();
    int result = 0;
    bool struck = false, threw = false;
    Printed printed;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
      const Injection injection(call, nth, reach);
      try {
        result = operation.run();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      struck = injection.Struck();
    }
    printed.err = testing::internal::GetCapturedStderr();
    printed.out = testing::internal::GetCapturedStdout();
    if (!struck) {
      EXPECT_FALSE(threw);
      EXPECT_EQ(operation.outcome(), expected);
      return nth - 1;
    }
    SCOPED_TRACE(faults::NameOf(call) + std::string(" ") + std::to_string(nth) +
                 (reach == Reach::kOnce ? "" : " and later ones") + ", printed: " + printed.out +
                 printed.err);
    EXPECT_TRUE(threw || operation.results.contains(result)) << "result " << result;
    if (call != Call::kAllocation) {
      EXPECT_EQ(printed.err, "");
      EXPECT_FALSE(threw);
    }
    const Bytes left = operation.outcome();
    if (call == Call::kAllocation) {
      const bool isRecovered = operation.report.recovers && printed.err.empty() && left == expected;
      EXPECT_TRUE(isRecovered || IsReported(operation.report, printed, threw));
    }
    if (call == Call::kAllocation && !operation.whole.empty()) {
      EXPECT_TRUE(left == expected || std::find(operation.whole.begin(), operation.whole.end(),
                                                left) != operation.whole.end())
          << "neither what was there before nor what was asked for";
    }
    operation.redo();
    EXPECT_TRUE(operation.outcome() == expected) << "the next operation differs";
  }
}

// ---- What is converted

// Perceptual: a lut16Type tag. Relative and absolute: a lutAToBType tag.
Bytes TwoTagProfile() {
  reference::ProfileSpec spec = reference::PlainSpec(5, 256, 256);
  spec.tags.push_back(spec.tags[0]);
  spec.tags[0].inCurve = reference::CurveShape::kGamma;
  spec.tags[1].signature = 0x41324231;  // A2B1
  spec.tags[1].form = reference::TagForm::kMab;
  spec.wtpt = {0xF6D6, 0x10000, 0xD32D};
  return reference::WriteProfile(spec);
}

// One profile and one image of each depth for all tests.
struct Files {
  TemporaryFile profile{TwoTagProfile()};
  // Strips, planes, an Exif directory, an unknown tag and a profile: everything a reader knows.
  TemporaryFile image8{tiff_test::ImageEntries(16, 9, 3, 8, 4, 1)
                           .AddData(282, tiff_test::kRational, 1, tiff_test::Longs({300, 1}))
                           .AddData(50000, tiff_test::kLong, 3, tiff_test::Longs({7, 8, 9}))
                           .Add(34665, tiff_test::kLong, 1, 8)
                           .AddData(34675, tiff_test::kUndefined, 40, tiff_test::Ramp(40))
                           .AddStrips({tiff_test::Ramp(192), tiff_test::Ramp(192, 77, 3),
                                       tiff_test::Ramp(48, 5, 29)})
                           .Build()};
  // Plain strips, which a file conversion passes in pieces.
  TemporaryFile strips8{tiff_test::ImageEntries(40, 30, 3, 8, 15, 1)
                            .AddData(34675, tiff_test::kUndefined, 40, tiff_test::Ramp(40))
                            .Add(34665, tiff_test::kLong, 1, 8)
                            .AddStrips({tiff_test::Ramp(1800, 9, 7), tiff_test::Ramp(1800, 7, 3)})
                            .Build()};
  TemporaryFile strips16{tiff_test::ImageEntries(200, 180, 3, 16, 180, 1)
                             .AddStrips({tiff_test::Ramp(216000, 9, 7)})
                             .Build()};
  TemporaryFile image16{tiff_test::ImageEntries(16, 9, 3, 16, 9, 2)
                            .AddStrips({tiff_test::Ramp(288, 9, 7), tiff_test::Ramp(288, 77, 3),
                                        tiff_test::Ramp(288, 5, 29)})
                            .Build()};
  TemporaryFile saved;
};

Files& TheFiles() {
  static Files files;
  return files;
}

// 960 bytes: 320 pixels of 8 bits a sample, 160 of 16.
Bytes Probe() {
  return tiff_test::Ramp(960, 3, 37);
}

// The probe as the slot converts it now; as it was if the slot refuses.
Bytes Converted(CIccEngineS& engine) {
  Bytes bytes = Probe();
  if (engine.outputColor != 65535) {
    const int bytesPerPixel = engine.inputColor == 0 ? 3 : 6;
    engine.Conversion(bytes.data(), bytes.data(), static_cast<int>(bytes.size()) / bytesPerPixel);
  }
  return bytes;
}

unsigned char curve[4] = {0, 100, 180, 255};

int Select(int (*select)(const char*, const char*, int, int, int), int intent, int input,
           int output) {
  return select(TheFiles().profile.Path(), nullptr, intent, input, output);
}

// The line of a selection is not what these tests look at.
void SelectQuietly(const char* path, int intent, int input, int output) {
  testing::internal::CaptureStdout();
  KX_Icc_SetProfile(path, nullptr, intent, input, output);
  testing::internal::GetCapturedStdout();
}

// ---- Operations of the slots

// Codes: 12, 13 sRGB with 8, 16 bits; 22 Adobe.
const Bytes kUntouched = Probe();

Bytes SelectedAndConverted(int intent, int input, int output) {
  SelectQuietly(kNoFile, 0, 0, 12);
  SelectQuietly(TheFiles().profile.Path(), intent, input, output);
  return Converted(IccEngine);
}

std::vector<Operation> SelectionOperations() {
  const auto forget = [] { SelectQuietly(kNoFile, 0, 0, 12); };
  const auto first = [] { return Converted(IccEngine); };
  const auto again = [](auto run) {
    return [run] {
      testing::internal::CaptureStdout();
      run();
      testing::internal::GetCapturedStdout();
    };
  };
  const auto lut16 = [] { return Select(KX_Icc_SetProfile, 0, 0, 12); };
  const auto mab = [] { return Select(KX_Icc_SetProfileF, 3, 1, 13); };
  const auto second = [] { return Select(KX_Icc_SetProfile_2nd, 1, 0, 22); };
  const auto adjusted = [] {
    IccEngine.SetProfile(TheFiles().profile.Path(), ICC40::ICCFILE::Relative, ICC40::ICCFILE::RGB,
                         ICC40::ICCFILE::sRGB, 5, 3, 10);
    return IccEngine.outputColor;
  };
  return {
      {"select a lut16Type tag",
       forget,
       lut16,
       {12, 65535},
       kLine,
       first,
       {kUntouched},
       again(lut16)},
      {"select a lutAToBType tag, 16 bits",
       forget,
       mab,
       {13, 65535},
       kLine,
       first,
       {kUntouched},
       again(mab)},
      {"select for the second slot",
       [] { KX_Icc_SetProfile_2nd(kNoFile, nullptr, 0, 0, 12); },
       second,
       {22, 65535},
       kLine,
       [] { return Converted(IccEngine_2nd); },
       {kUntouched},
       again(second)},
      {"select with offsets, through the class",
       forget,
       adjusted,
       {12, 65535},
       kLine,
       first,
       {kUntouched},
       again(adjusted)},
  };
}

std::vector<Operation> ChangeOperations() {
  const auto selected = [] { SelectedAndConverted(0, 0, 12); };
  const auto selectedMab = [] { SelectedAndConverted(1, 0, 12); };
  const auto outcome = [] { return Converted(IccEngine); };
  const auto intent = [] { return KX_Icc_SetIntent(1, 0, 22); };
  const auto wide = [] { return KX_Icc_SetIntent(0, 1, 13); };
  const auto offsets = [] { return IccEngine.Adjust_Lch(7, -4, 15); };
  const auto curves = [] { return IccEngine.Adjust_Output(curve, curve, curve, 4); };
  const auto both = [] { return KX_Icc_Adjust(curve, curve, curve, 4, 7, -4, 15); };
  const Bytes lut16 = SelectedAndConverted(0, 0, 12);
  const Bytes mab = SelectedAndConverted(1, 0, 12);
  offsets();
  const Bytes mabOffset = Converted(IccEngine);
  selectedMab();
  curves();
  const Bytes mabCurves = Converted(IccEngine);
  return {
      {"change the intent to a lutAToBType tag",
       selected,
       intent,
       {22, 65535},
       kLine,
       outcome,
       {kUntouched, lut16},
       intent},
      {"change the intent and the depth",
       selectedMab,
       wide,
       {13, 65535},
       kLine,
       outcome,
       {kUntouched, mab},
       wide},
      {"adjust the colours", selectedMab, offsets, {12, 65535}, kLine, outcome, {mab}, offsets},
      {"adjust the curves", selectedMab, curves, {12, 65535}, kLine, outcome, {mab}, curves},
      {"adjust both", selectedMab, both, {12}, kLine, outcome, {mab, mabOffset, mabCurves}, both},
  };
}

// ---- Operations on images and profiles

CTiff& TheImage() {
  static CTiff image;
  return image;
}

Bytes SavedImage() {
  std::remove(TheFiles().saved.Path());
  testing::internal::CaptureStdout();
  TheImage().SaveFile(TheFiles().saved.Path());
  testing::internal::GetCapturedStdout();
  return TheFiles().saved.Read();
}

Bytes SavedFile() {
  return TheFiles().saved.Read();
}

std::vector<Operation> ReadingOperations() {
  const auto empty = [] { TheImage().Reset(); };
  const auto strips = [] { return TheImage().ReadFile(TheFiles().image8.Path()); };
  const auto planes = [] { return TheImage().ReadFile(TheFiles().image16.Path()); };
  const auto attach = [] {
    TemporaryFile& profile = TheFiles().profile;
    try {
      return TheImage().SetIccProfile(profile.MutablePath());
    } catch (const char*) {
      return -1;
    }
  };
  // 0, cannot be opened or recognised, no image, a directory at a wrong place, compressed for want
  // of the tag that says otherwise, no memory.
  const std::set<int> results = {0, -1, -3, -7, -9999};
  return {
      {"read strips", empty, strips, results, kReader, SavedImage, {}, strips},
      {"read planes", empty, planes, results, kReader, SavedImage, {}, planes},
      {"attach a profile", strips, attach, {0, -1}, kThrows, SavedImage, {}, attach},
  };
}

std::vector<Operation> CreatingOperations() {
  const auto create = [] { return TheImage().CreateNew(20, 10, 300, 3, 16, 1); };
  return {{"create", [] { TheImage().Reset(); }, create, {0}, kThrows, SavedImage, {}, create}};
}

// Profile bytes by the four steps of writing.
int WriteProfile(ICC40::ICCFILE::IccFile4& profile, const char* path) {
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return -1;
  profile.WriteHeader(file, 0);
  try {
    profile.WriteTagListHeader(file);
  } catch (const std::bad_alloc&) {
    std::fclose(file);
    throw;
  }
  profile.WriteTagListData(file);
  std::fclose(file);
  return 0;
}

std::vector<Operation> WritingOperations() {
  const auto loaded = [] {
    std::remove(TheFiles().saved.Path());
    TheImage().ReadFile(TheFiles().image8.Path());
  };
  const auto save = [] { return TheImage().SaveFile(TheFiles().saved.Path()); };
  const auto saveRaw = [] { return TheImage().SaveRaw(TheFiles().saved.Path()); };
  const auto saveProfile = [] { return TheImage().SaveIccProfile(TheFiles().saved.MutablePath()); };
  const auto writeProfile = [] { return WriteProfile(IccEngine.iccFile, TheFiles().saved.Path()); };
  const auto quietly = [](auto run) {
    return [run] {
      testing::internal::CaptureStdout();
      run();
      testing::internal::GetCapturedStdout();
    };
  };
  const std::set<int> results = {0, -1};
  return {
      {"save", loaded, save, results, kThrows, SavedFile, {}, save},
      {"save the pixels", loaded, saveRaw, results, kThrows, SavedFile, {}, quietly(saveRaw)},
      {"save the profile", loaded, saveProfile, results, kThrows, SavedFile, {}, saveProfile},
      {"write a profile",
       [] {
         std::remove(TheFiles().saved.Path());
         SelectedAndConverted(0, 0, 12);
       },
       writeProfile,
       results,
       kThrows,
       SavedFile,
       {},
       writeProfile},
  };
}

std::vector<Operation> FileConversions() {
  const auto narrow = [] {
    std::remove(TheFiles().saved.Path());
    SelectedAndConverted(0, 0, 12);
  };
  const auto wide = [] {
    std::remove(TheFiles().saved.Path());
    SelectedAndConverted(0, 1, 13);
  };
  const auto convert8 = [] {
    return KX_Icc_ConvertFile(TheFiles().image8.Path(), TheFiles().saved.Path());
  };
  const auto convert16 = [] {
    return KX_Icc_ConvertFile(TheFiles().image16.Path(), TheFiles().saved.Path());
  };
  const auto convertStrips8 = [] {
    return KX_Icc_ConvertFile(TheFiles().strips8.Path(), TheFiles().saved.Path());
  };
  const auto convertStrips16 = [] {
    return KX_Icc_ConvertFile(TheFiles().strips16.Path(), TheFiles().saved.Path());
  };
  const auto quietly = [](auto run) {
    return [run] {
      testing::internal::CaptureStdout();
      run();
      testing::internal::GetCapturedStdout();
    };
  };
  return {
      {"convert a file of 8 bits",
       narrow,
       convert8,
       {12},
       kConversion,
       SavedFile,
       {},
       quietly(convert8)},
      {"convert a file of 16 bits",
       wide,
       convert16,
       {13},
       kConversion,
       SavedFile,
       {},
       quietly(convert16)},
      {"convert a file of strips, 8 bits",
       narrow,
       convertStrips8,
       {12},
       kConversion,
       SavedFile,
       {},
       quietly(convertStrips8)},
      {"convert a file of strips, 16 bits, by several threads",
       wide,
       convertStrips16,
       {13},
       kConversion,
       SavedFile,
       {},
       quietly(convertStrips16)},
  };
}

// ---- Allocations

struct AllocationSweep : testing::Test {
  AllocationSweep() { TheFiles(); }
  static void SweepAll(const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
      for (const Reach reach : kReaches) {
        EXPECT_GT(Sweep(operation, Call::kAllocation, reach), 0) << operation.what;
      }
    }
  }
};

TEST_F(AllocationSweep, Selecting) {
  SweepAll(SelectionOperations());
}

TEST_F(AllocationSweep, Changing) {
  SweepAll(ChangeOperations());
}

TEST_F(AllocationSweep, ReadingImages) {
  // Attaching a profile without memory throws or keeps the old one.
  SweepAll(ReadingOperations());
}

TEST_F(AllocationSweep, CreatingImages) {
  SweepAll(CreatingOperations());
}

TEST_F(AllocationSweep, Writing) {
  SweepAll({WritingOperations()[0], WritingOperations()[3]});
}

TEST_F(AllocationSweep, ConvertingFiles) {
  SweepAll(FileConversions());
}

TEST_F(AllocationSweep, ConvertingABufferAllocatesNothing) {
  SelectedAndConverted(0, 0, 12);
  Bytes small = Probe();
  Bytes large = tiff_test::Ramp(300000, 1, 11);
  const Injection injection(Call::kAllocation, 1, Reach::kFromThenOn);
  EXPECT_EQ(KX_Icc_Convert2(small.data(), small.data(), 320), 0);
  EXPECT_EQ(KX_Icc_Convert2(large.data(), large.data(), 100000), 0);
  EXPECT_EQ(injection.Calls(), 0);
}

// The fast workers' tables are made by the first conversion; without memory for them another worker
// gives the same.
TEST_F(AllocationSweep, ConvertingABufferNeedsNoMemory) {
  const struct { int input, output; } kRoutes[] = {{0, 12}, {1, 13}};
  for (const auto& route : kRoutes) {
    const Bytes expected = SelectedAndConverted(0, route.input, route.output);
    SelectQuietly(kNoFile, 0, 0, 12);
    SelectQuietly(TheFiles().profile.Path(), 0, route.input, route.output);
    Bytes bytes = Probe();
    testing::internal::CaptureStderr();
    {
      const Injection injection(Call::kAllocation, 1, Reach::kFromThenOn);
      const int pixels = static_cast<int>(bytes.size()) / (route.input == 0 ? 3 : 6);
      EXPECT_EQ(KX_Icc_Convert2(bytes.data(), bytes.data(), pixels), 0);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(Converted(IccEngine), expected) << "and with memory again";
  }
}

TEST_F(AllocationSweep, WorkingBuffer) {
  unsigned char pixel[3] = {};
  bool struck = true;
  for (long nth = 1; struck; ++nth) {
    ICC40::ICC_UNIT::Info info;
    info.conversionType = 257;
    testing::internal::CaptureStderr();
    {
      const Injection injection(Call::kAllocation, nth, Reach::kOnce);
      EXPECT_EQ(info.CheckWorkingBuf(pixel, pixel, 10), 0);
      struck = injection.Struck();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              struck ? "bad_alloc caught: std::bad_alloc\n" : "");
    EXPECT_EQ(info.workingBuf == nullptr, struck);
    EXPECT_EQ(info.CheckWorkingBuf(pixel, pixel, 11), 0);
    ASSERT_NE(info.workingBuf, nullptr);
    info.workingBuf[32] = 1;
  }
}

// What could not be read for want of memory must not serve as a profile: the intent that is missing
// would be replaced by another one.
TEST_F(AllocationSweep, AHalfReadProfileIsNoProfile) {
  for (long nth = 1;; ++nth) {
    SelectQuietly(kNoFile, 0, 0, 12);
    testing::internal::CaptureStderr();
    bool struck = false;
    int code = 0;
    {
      const Injection injection(Call::kAllocation, nth, Reach::kOnce);
      code = Select(KX_Icc_SetProfileF, 1, 0, 12);
      struck = injection.Struck();
    }
    testing::internal::GetCapturedStderr();
    if (!struck) break;
    if (code != 65535) continue;
    const bool wasRead = IccEngine.iccFile.tags.size() == 3;
    KX_Icc_SetIntent(1, 0, 22);
    EXPECT_TRUE(wasRead || Converted(IccEngine) == kUntouched) << "allocation " << nth;
  }
}

// ---- Files

// A damaged or absent file has a defined meaning (bytes that are not there are 0), so there is
// nothing to compare after the fault itself; another selection comes first where the slot would
// take the old one for good.
struct FileSweep : testing::Test {
  FileSweep() { TheFiles(); }
  static long SweepAll(std::vector<Operation> operations, Call call) {
    long calls = 0;
    for (Operation& operation : operations) {
      for (const Reach reach : kReaches) {
        operation.redo = [&operation] {
          operation.prepare();
          testing::internal::CaptureStdout();
          operation.run();
          testing::internal::GetCapturedStdout();
        };
        calls += Sweep(operation, call, reach);
      }
    }
    return calls;
  }
};

constexpr Call kReadingCalls[] = {Call::kOpen, Call::kRead, Call::kSeek, Call::kTell, Call::kClose};

TEST_F(FileSweep, Selecting) {
  for (const Call call : kReadingCalls) {
    EXPECT_GT(SweepAll(SelectionOperations(), call), 0) << faults::NameOf(call);
  }
}

TEST_F(FileSweep, ReadingImages) {
  for (const Call call : kReadingCalls) {
    EXPECT_GT(SweepAll(ReadingOperations(), call), 0) << faults::NameOf(call);
  }
}

TEST_F(FileSweep, Writing) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kSeek, Call::kClose}) {
    EXPECT_GT(SweepAll(WritingOperations(), call), 0) << faults::NameOf(call);
  }
}

TEST_F(FileSweep, ConvertingFiles) {
  for (const Call call : {Call::kOpen, Call::kRead, Call::kSeek, Call::kTell, Call::kWrite,
                          Call::kFlush, Call::kClose}) {
    EXPECT_GT(SweepAll(FileConversions(), call), 0) << faults::NameOf(call);
  }
}

// A sandbox need not heed them.
bool FileSizeLimitsHold(const rlimit& unlimited) {
  const TemporaryFile probe;
  const rlimit limit{0, unlimited.rlim_max};
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
  const auto old = std::signal(SIGXFSZ, SIG_IGN);
  probe.Write({1});
  std::signal(SIGXFSZ, old);
  setrlimit(RLIMIT_FSIZE, &unlimited);
  return probe.Read().empty();
}

// The library has no way to tell the application, but it survives and goes on. The signal
// that the limit sends is the application's business.
TEST_F(FileSweep, FullDiskIsNotReported) {
  rlimit unlimited;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  if (!FileSizeLimitsHold(unlimited)) GTEST_SKIP() << "SKIP: file size limits stop nobody";
  const struct {
    const char* what;
    const TemporaryFile& image;
    int input, output;
  } kRows[] = {{"8 bits", TheFiles().image8, 0, 12},
               {"strips, 8 bits", TheFiles().strips8, 0, 12},
               {"strips, 16 bits", TheFiles().strips16, 1, 13}};
  const auto old = std::signal(SIGXFSZ, SIG_IGN);
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    SelectedAndConverted(0, row.input, row.output);
    const auto convert = [&row] {
      EXPECT_EQ(KX_Icc_ConvertFile(row.image.Path(), TheFiles().saved.Path()), row.output);
      return SavedFile();
    };
    testing::internal::CaptureStdout();
    const Bytes complete = convert();
    for (rlim_t sizeBytes = 0; sizeBytes <= complete.size(); sizeBytes += 41 + sizeBytes / 9) {
      const rlimit limit{sizeBytes, unlimited.rlim_max};
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      const Bytes cut = convert();
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
      EXPECT_LE(cut.size(), sizeBytes);
      EXPECT_TRUE(std::equal(cut.begin(), cut.end(), complete.begin())) << sizeBytes;
    }
    EXPECT_EQ(convert(), complete);
    testing::internal::GetCapturedStdout();
  }
  std::signal(SIGXFSZ, old);
}

}  // namespace
