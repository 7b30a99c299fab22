#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "engine/CIccEngineS.h"
#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"
#include "tests/tiff/TiffBytes.h"
#include "tiff/CTiff.h"

using namespace ICC40::ICCFILE;
using ICC40::ICC_ENG_S4::CIccEngineS;
using KX_Tiff_STL3::CTiff;

namespace {

constexpr int kWidth = 7;
constexpr int kLength = 5;

// An image of `samples` x `bits` whose bytes count up, with an embedded profile of four bytes.
void WriteImage(const char* path, int samples, int bits) {
  CTiff image;
  image.CreateNew(kWidth, kLength, 72, samples, bits, 1);
  for (int i = 0; i < image.RowBytes * kLength; ++i) {
    image.GetImageBuf()[i] = static_cast<unsigned char>(37 * i);
  }
  const auto icc = image.GetTag(KX_Tiff_STL3::IccProfile);
  icc->count = 5;
  icc->data = new unsigned char[5]{1, 2, 3, 4, 5};
  ASSERT_EQ(image.SaveFile(path), 0);
}

std::unique_ptr<CIccEngineS> EngineWith(int in, int out) {
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(9, 256, 256)));
  auto engine = std::make_unique<CIccEngineS>();
  engine->SetProfile(profile.Path(), Percepture, static_cast<ColorSpaceSignature>(in),
                     static_cast<ColorSpaceSignature>(out), 0, 0, 0);
  return engine;
}

// The three lines with the count of seconds that both end with, which a loaded machine may raise.
void ExpectStopwatchLines(const std::string& printed) {
  const std::size_t at = printed.find("count : ") + 8;
  const std::string seconds = printed.substr(at, printed.find(')', at) - at);
  EXPECT_EQ(printed,
            "Start Conversion(Start) : New ID\n"
            "Start Conversion(Pause) : End Conversion(count : " +
                seconds +
                ")\n"
                "Start Conversion(Stop) :  End Conversion(count : " +
                seconds + ")\n");
}

}  // namespace

TEST(FileConversion, EightBitImagesAreConvertedInPlaceAndLoseTheirProfile) {
  const TemporaryFile in, out;
  WriteImage(in.Path(), 3, 8);
  const auto engine = EngineWith(RGB, sRGB);
  testing::internal::CaptureStdout();
  EXPECT_EQ(engine->Conversion(in.Path(), out.Path()), 0);
  ExpectStopwatchLines(testing::internal::GetCapturedStdout());

  CTiff source(in.Path()), converted(out.Path());
  std::vector<unsigned char> expected(3 * kWidth * kLength);
  engine->Conversion(source.GetImageBuf(), expected.data(), kWidth * kLength);
  ASSERT_NE(converted.GetImageBuf(), nullptr);
  EXPECT_EQ(std::memcmp(converted.GetImageBuf(), expected.data(), expected.size()), 0);
  EXPECT_NE(source.GetTag(KX_Tiff_STL3::IccProfile), nullptr);
  EXPECT_EQ(converted.GetTag(KX_Tiff_STL3::IccProfile), nullptr);
  EXPECT_EQ(converted.tags.size(), source.tags.size() - 1);
  EXPECT_EQ(converted.Resolution, 72) << "the source's own tags are kept";
}

TEST(FileConversion, SixteenBitImagesBecomeNewOnes) {
  const TemporaryFile in, out;
  WriteImage(in.Path(), 3, 16);
  const auto engine = EngineWith(RGB_16, sRGB_16);
  testing::internal::CaptureStdout();
  EXPECT_EQ(engine->Conversion(in.Path(), out.Path()), 0);
  ExpectStopwatchLines(testing::internal::GetCapturedStdout());

  CTiff source(in.Path()), converted(out.Path());
  std::vector<unsigned char> expected(6 * kWidth * kLength);
  engine->Conversion(source.GetImageBuf(), expected.data(), kWidth * kLength);
  ASSERT_NE(converted.GetImageBuf(), nullptr);
  EXPECT_EQ(std::memcmp(converted.GetImageBuf(), expected.data(), expected.size()), 0);
  EXPECT_EQ(converted.Width, kWidth);
  EXPECT_EQ(converted.Length, kLength);
  EXPECT_EQ(converted.Samples, 3);
  EXPECT_EQ(converted.Bits, 16);
  EXPECT_EQ(converted.Resolution, 300);
  EXPECT_EQ(converted.tags.size(), 15u);
  EXPECT_EQ(converted.GetTag(KX_Tiff_STL3::IccProfile)->count, 0u) << "an empty placeholder";
}

// Its StripByteCounts is an SLONG, which saving replaces by an offset: as many of the converted
// bytes are written, deliberately.
TEST(FileConversion, AByteCountThatBecomesAnOffset) {
  using namespace tiff_test;
  const Bytes pixels = Ramp(std::size_t{3} * 20 * 10, 3, 7);
  const TemporaryFile in(
      ImageEntries(20, 10, 3, 8, 10, 1).AddStrips({pixels}).Change(279, kSlong, 1, 600).Build());
  const TemporaryFile out;
  const auto engine = EngineWith(RGB, sRGB);
  testing::internal::CaptureStdout();
  EXPECT_EQ(engine->Conversion(in.Path(), out.Path()), 0);
  testing::internal::GetCapturedStdout();
  Bytes expected = pixels;
  engine->Conversion(expected.data(), expected.data(), 200);
  // 9 entries end at 122, then 6 bytes of BitsPerSample: the offset is 128.
  const Bytes written = out.Read();
  EXPECT_EQ(written.size(), 128u + 128u);
  EXPECT_EQ(Slice(written, 128, 128), Slice(expected, 0, 128));
}

TEST(FileConversion, AnUnreadableInputLeavesTheOutputUntouched) {
  const TemporaryFile out({1, 2, 3}), big({'M', 'M', 0, 42, 0, 0, 0, 8});
  const auto engine = EngineWith(RGB, sRGB);
  const struct {
    const char* what;
    const char* path;
    std::string printed;  // by the reader; the stopwatch does not start
  } kRows[] = {
      {"missing", "/nonexistent/a.tif", "/nonexistent/a.tif Open fail.\n"},
      {"big-endian", big.Path(), "***  *** Tiff is not PC version. ***  Open Error. ***\n"},
  };
  for (const auto& row : kRows) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(engine->Conversion(row.path, out.Path()), -1) << row.what;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed);
    EXPECT_EQ(std::filesystem::file_size(out.Path()), 3u);
  }
  EXPECT_EQ(engine->Conversion(nullptr, out.Path()), -1);
}

TEST(FileConversion, ABufferTooSmallForThePixelsCountsAsUnreadable) {
  const struct {
    const char* what;
    int samples, bits, in, out, result;
  } kRows[] = {
      {"8-bit RGB", 3, 8, RGB, sRGB, 0},
      {"8-bit grey", 1, 8, RGB, sRGB, -1},
      {"two samples", 2, 8, RGB, sRGB, -1},
      {"8-bit CMYK holds three samples and more", 4, 8, RGB, sRGB, 0},
      {"8 bits into a 16-bit pipeline", 3, 8, RGB, sRGB_16, -1},
      {"8 bits through a 16-bit input", 3, 8, RGB_16, sRGB_16, -1},
      {"seven 8-bit samples hold three of 16 bits", 7, 8, RGB_16, sRGB_16, 0},
      {"16-bit RGB", 3, 16, RGB_16, sRGB_16, 0},
      {"16-bit grey", 1, 16, RGB_16, sRGB_16, -1},
      {"16 bits through an 8-bit input", 3, 16, RGB, sRGB_16, 0},
      {"1-bit RGB", 3, 1, RGB, sRGB, -1},
  };
  for (const auto& row : kRows) {
    const TemporaryFile in, out;
    WriteImage(in.Path(), row.samples, row.bits);
    const auto engine = EngineWith(row.in, row.out);
    testing::internal::CaptureStdout();
    EXPECT_EQ(engine->Conversion(in.Path(), out.Path()), row.result) << row.what;
    const bool ran = !testing::internal::GetCapturedStdout().empty();
    EXPECT_EQ(ran, row.result == 0) << row.what;
    EXPECT_EQ(out.Exists(), row.result == 0) << row.what;
  }
}

// Samples of no bits take no room in the file; an engine that converts nothing asks for none.
TEST(FileConversion, ANewImageOutOfProportionToTheFileIsNotMade) {
  const struct {
    int width, length, result;
  } kRows[] = {{1000, 1000, 0}, {1 << 25, 2, -1}, {46000, 46000, -1}};
  for (const auto& row : kRows) {
    const TemporaryFile in, out;
    CTiff(row.width, row.length, 300, 3, 0, 1).SaveFile(in.Path());
    testing::internal::CaptureStdout();
    EXPECT_EQ(CIccEngineS().Conversion(in.Path(), out.Path()), row.result) << row.width;
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.Exists(), row.result == 0) << row.width;
  }
}

TEST(FileConversion, AnEngineThatConvertsNothingWritesTheImageAsItIs) {
  const struct {
    const char* what;
    int firstIn, firstOut;  // codes of the selection, then 8-bit sRGB by intent alone
  } kRows[] = {
      {"the type of a 16-bit selection", RGB_16, sRGB_16},
      {"no selection at all", -1, -1},
  };
  for (const auto& row : kRows) {
    const TemporaryFile in, out;
    WriteImage(in.Path(), 3, 8);
    const auto engine =
        row.firstIn < 0 ? std::make_unique<CIccEngineS>() : EngineWith(row.firstIn, row.firstOut);
    engine->SetIntent(Percepture, RGB, sRGB, 0, 0, 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(engine->Conversion(in.Path(), out.Path()), 0) << row.what;
    ExpectStopwatchLines(testing::internal::GetCapturedStdout());
    CTiff source(in.Path()), written(out.Path());
    ASSERT_NE(written.GetImageBuf(), nullptr);
    EXPECT_EQ(std::memcmp(source.GetImageBuf(), written.GetImageBuf(), 3 * kWidth * kLength), 0);
    EXPECT_EQ(written.GetTag(KX_Tiff_STL3::IccProfile), nullptr);
  }
}

TEST(FileConversion, AnOutputThatCannotBeWrittenIsNotAResult) {
  const TemporaryFile in;
  WriteImage(in.Path(), 3, 8);
  const auto engine = EngineWith(RGB, sRGB);
  testing::internal::CaptureStdout();
  EXPECT_EQ(engine->Conversion(in.Path(), "/nonexistent/out.tif"), 0);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("*** File(Save) Open Error. ***\n"), std::string::npos);
}
