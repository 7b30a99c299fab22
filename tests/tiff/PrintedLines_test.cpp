#include <gtest/gtest.h>

#include <string>

#include "TiffBytes.h"
#include "tests/OddStreamState.h"
#include "tests/TemporaryFile.h"
#include "tiff/CTiff.h"

// What the image classes print, whatever the application has done to std::cout.

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

class Failing : public CTiff {
 public:
  explicit Failing(int code) : code_(code) {}
  int ReadTiff(FILE*) override { throw ErrCode{code_}; }

 private:
  int code_;
};

class FailingInside : public CTiff {
 public:
  std::shared_ptr<TiffTag> CreateTag(unsigned, unsigned, unsigned, FILE*) override {
    throw ErrCode{-123456};
  }
};

TEST(PrintedLines, AreDecimalWhateverTheApplicationDidToTheStream) {
  const TemporaryFile image(ImageEntries(2, 2, 3, 8, 2, 1).AddStrips({Ramp(12)}).Build());
  const TemporaryFile compressed(
      ImageEntries(2, 2, 3, 8, 2, 1).Change(259, kShort, 1, 5).AddStrips({Ramp(12)}).Build());
  const TemporaryFile big({'M', 'M', 0, 42, 0, 0, 0, 8});
  const TemporaryFile out;
  const struct {
    const char* what;
    void (*call)(const char* path, const char* out);
    const char* path;
    std::string printed;
  } kRows[] = {
      {"raw pixels", [](const char*, const char* to) { CTiff(1234, 2, 72, 3, 16, 1).SaveRaw(to); },
       nullptr, "\nWidth:1234 Length:2 Samples:3 Bits:16\n"},
      {"raw pixels, largest numbers",
       [](const char*, const char* to) {
         CTiff tiff(1, 1, 72, 1, 8, 1);
         tiff.SetTagValue(ImageWidth, 4294967295u);
         tiff.SetTagValue(ImageLength, 2147483648u);
         tiff.SaveRaw(to);
       },
       nullptr, "\nWidth:4294967295 Length:2147483648 Samples:1 Bits:8\n"},
      {"a compressed image", [](const char* path, const char*) { CTiff().ReadFile(path); },
       compressed.Path(), "Tiff Read Filer Error:-7\n"},
      {"a code within reading",
       [](const char* path, const char*) { FailingInside().ReadFile(path); }, image.Path(),
       "Tiff Read Filer Error:-123456\n"},
      {"a code of a derived class",
       [](const char* path, const char*) { Failing(-2147483647).ReadFile(path); }, image.Path(),
       "Tiff Open fail, Error Code:-2147483647\n"},
      {"another byte order", [](const char* path, const char*) { CTiff().ReadFile(path); },
       big.Path(), "***  *** Tiff is not PC version. ***  Open Error. ***\n"},
      {"no file", [](const char* path, const char*) { CTiff().ReadFile(path); },
       "/nonexistent/scan.tif", "/nonexistent/scan.tif Open fail.\n"},
      {"no raw file",
       [](const char* path, const char*) { CTiff().CreateNew(1, 1, 72, 3, 8, path); },
       "/nonexistent/scan.raw", "*** CTiff::CreateNew() --> Create File Fail *** \n"},
      {"no tags", [](const char*, const char* to) { CTiff().SaveFile(to); }, nullptr,
       "*** Tiff::SaveFile() --> TiffTag EntryCounts is 0. ***\n"},
      {"no folder",
       [](const char*, const char*) { CTiff(1, 1, 72, 3, 8, 1).SaveFile("/nonexistent/out.tif"); },
       nullptr, "*** File(Save) Open Error. ***\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(PrintedOddly([&] { row.call(row.path, out.Path()); }), row.printed) << row.what;
    EXPECT_EQ(PrintedBy([&] { row.call(row.path, out.Path()); }), row.printed) << row.what;
  }
}

}  // namespace
