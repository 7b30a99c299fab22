// A file conversion never holds a whole image where it can do without; it writes and prints what
// the classes that do hold it make of the same file.

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/FileConversion.h"
#include "engine/Stopwatch.h"
#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"
#include "tests/tiff/TiffBytes.h"
#include "tiff/CTiff.h"

namespace {

using namespace ICC40::ICCFILE;
using namespace tiff_test;
using ICC40::ICC_ENG_S4::CIccEngineS;
using ICC40::ICC_ENG_S4::ConvertInPieces;
using ICC40::ICC_ENG_S4::ConvertWholeImage;
using KX_Tiff_STL3::CTiff;

// ---- Engines

struct Codes {
  int in, out;
  bool isFilled;  // by the manufacturer "none"
};
constexpr Codes kNarrow = {RGB, sRGB, false};
constexpr Codes kWide = {RGB_16, sRGB_16, false};
constexpr Codes kWidening = {RGB, sRGB_16, false};
constexpr Codes kFilled = {RGB, sRGB, true};
constexpr Codes kFilledWide = {RGB_16, sRGB_16, true};
constexpr Codes kUnset = {-1, -1, false};

std::unique_ptr<CIccEngineS> EngineWith(const Codes& codes) {
  auto engine = std::make_unique<CIccEngineS>();
  if (codes.in < 0) return engine;
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(9, 256, 256)));
  engine->SetProfile(profile.Path(), Percepture, static_cast<ColorSpaceSignature>(codes.in),
                     static_cast<ColorSpaceSignature>(codes.out), 0, 0, 0);
  if (codes.isFilled) engine->iccFile.header.manufacturer = 0x6E6F6E65;
  return engine;
}

// ---- The definition

void PrintStopwatchLines() {
  std::cout << "Start Conversion(Start) : New ID\n"
               "Start Conversion(Pause) : End Conversion(count : 0)\n"
               "Start Conversion(Stop) :  End Conversion(count : 0)"
            << std::endl;
}

// Read the image, convert its buffer, save it. An image that is not fit for it has `isRefused`.
int ConvertByTheClasses(CIccEngineS& engine, char const* inPath, char const* outPath,
                        bool isRefused) {
  CTiff source;
  if (source.ReadFile(inPath) < 0 || isRefused) return -1;
  const auto width = static_cast<int>(source.GetTagValue(KX_Tiff_STL3::ImageWidth));
  const auto length = static_cast<int>(source.GetTagValue(KX_Tiff_STL3::ImageLength));
  if (source.GetTagValue(KX_Tiff_STL3::BitsPerSample) == 8) {
    engine.Conversion(source.GetImageBuf(), source.GetImageBuf(), width * length);
    PrintStopwatchLines();
    source.RemoveIcc();
    source.SaveFile(outPath);
  } else {
    CTiff image;
    image.CreateNew(width, length, 300, 3, 16, 1);
    engine.Conversion(source.GetImageBuf(), image.GetImageBuf(), width * length);
    PrintStopwatchLines();
    image.SaveFile(outPath);
  }
  return 0;
}

// ---- What is compared

struct Outcome {
  int result;
  std::string printed;  // whole seconds, which are the machine's affair, left out
  Bytes input, output;
  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& to, const Outcome& outcome) {
  return to << "result " << outcome.result << ", " << outcome.output.size() << " bytes, printed:\n"
            << outcome.printed;
}

std::string WithoutSeconds(std::string printed) {
  const std::string before = "count : ";
  for (std::size_t at = 0; (at = printed.find(before, at)) != std::string::npos;) {
    at += before.size();
    printed.erase(at, printed.find(')', at) - at);
  }
  return printed;
}

template <typename Convert>
Outcome OutcomeOf(const TemporaryFile& in, const TemporaryFile& out, Convert convert) {
  Outcome outcome;
  outcome.printed = PrintedBy([&] { outcome.result = convert(); });
  outcome.printed = WithoutSeconds(outcome.printed);
  outcome.input = in.Read();
  outcome.output = out.Read();
  return outcome;
}

// ---- Images

constexpr unsigned kWidth = 40, kLength = 31;
constexpr unsigned kPixels = kWidth * kLength;

Bytes Pixels(unsigned bytes) {
  return Ramp(bytes, 11, 101);
}

TiffBytes Entries(unsigned samples, unsigned bits, unsigned rowsPerStrip, unsigned planar = 1) {
  return ImageEntries(kWidth, kLength, samples, bits, rowsPerStrip, planar);
}

TiffBytes OneStrip(unsigned samples, unsigned bits) {
  return Entries(samples, bits, kLength).AddStrips({Pixels(kPixels * samples * bits / 8)});
}

// Strips of 16 and 15 rows.
TiffBytes TwoStrips(unsigned samples, unsigned bits) {
  const unsigned rowBytes = kWidth * samples * bits / 8;
  return Entries(samples, bits, 16).AddStrips({Pixels(16 * rowBytes), Ramp(15 * rowBytes, 3, 7)});
}

std::vector<Bytes> Planes(unsigned planes, unsigned bits) {
  std::vector<Bytes> strips;
  for (unsigned i = 0; i < planes; ++i) strips.push_back(Ramp(kPixels * bits / 8, 5 * i, 7 + i));
  return strips;
}

// Tags that are written back, inline and out of line, with data of odd sizes.
TiffBytes WithTags(TiffBytes tiff) {
  return tiff.AddData(270, kAscii, 5, {'s', 'c', 'a', 'n', 0})
      .AddData(282, kRational, 1, Longs({600, 1}))
      .AddData(34675, kUndefined, 41, Ramp(41))
      .Add(50000, kSshort, 1, 7)
      .AddData(50001, kLong, 3, Longs({7, 8, 9}))
      .AddData(34675, kUndefined, 9, Ramp(9, 100));
}

// Two strips the other way round: the array begins with the offset of the one behind.
Bytes BackToFront(Bytes file, unsigned arrayAt) {
  std::swap_ranges(file.begin() + arrayAt, file.begin() + arrayAt + 4, file.begin() + arrayAt + 4);
  return file;
}

// Where the array of strip offsets stands.
unsigned OffsetsOf(const Bytes& file) {
  for (std::size_t entry = 10; entry < file.size(); entry += 12) {
    if ((LongAt(file, entry) & 0xFFFF) == 273) return LongAt(file, entry + 8);
  }
  return 0;
}

Bytes CutOff(Bytes file, std::size_t bytes) {
  file.resize(file.size() - bytes);
  return file;
}

struct Form {
  const char* what;
  Bytes file;
  Codes codes;
  bool isInPieces;
  bool isRefused = false;  // although it can be read
};

std::vector<Form> Forms() {
  const Bytes twoStrips = TwoStrips(3, 8).Build();
  const unsigned stripBytes8 = 3 * kPixels;
  Bytes tooManyTags = {'I', 'I', 42, 0, 8, 0, 0, 0, 40, 0};
  return {
      {"one strip", OneStrip(3, 8).Build(), kNarrow, true},
      {"no RowsPerStrip", OneStrip(3, 8).Drop(278).Build(), kNarrow, true},
      {"no PlanarConfiguration", OneStrip(3, 8).Drop(284).Build(), kNarrow, true},
      {"RowsPerStrip beyond the length", OneStrip(3, 8).Change(278, kLong, 1, ~0u).Build(), kNarrow,
       true},
      {"a single BitsPerSample", OneStrip(3, 8).Change(258, kShort, 1, 8).Build(), kNarrow, true},
      {"SHORT offset and byte count",
       Entries(3, 8, kLength).AddStrips({Pixels(stripBytes8)}, kShort, kShort).Build(), kNarrow,
       true},
      {"a wrong byte count", OneStrip(3, 8).Change(279, kLong, 1, 7).Build(), kNarrow, true},
      {"a byte count of type SSHORT", OneStrip(3, 8).Change(279, kSshort, 1, stripBytes8).Build(),
       kNarrow, false},
      {"no byte count", OneStrip(3, 8).Drop(279).Build(), kNarrow, false},
      {"two strips", twoStrips, kNarrow, true},
      {"two strips from back to front", BackToFront(twoStrips, OffsetsOf(twoStrips)), kNarrow,
       true},
      {"two strips with SHORT arrays",
       Entries(3, 8, 16).AddStrips({Pixels(1920), Ramp(1800)}, kShort, kShort).Build(), kNarrow,
       true},
      {"strips that hold more than the image",
       Entries(3, 8, 16).AddStrips({Pixels(2000), Ramp(3000, 9)}).Build(), kNarrow, true},
      {"strips that hold less", Entries(3, 8, 16).AddStrips({Pixels(2000), Ramp(1000, 9)}).Build(),
       kNarrow, false, true},
      {"a strip for each row",
       Entries(3, 8, 1).AddStrips(std::vector<Bytes>(kLength, Ramp(3 * kWidth))).Build(), kNarrow,
       false},
      {"planes", Entries(3, 8, kLength, 2).AddStrips(Planes(3, 8)).Build(), kNarrow, false},
      {"planes in a strip each, RowsPerStrip other than the length",
       Entries(3, 8, 7, 2).AddStrips(Planes(3, 8)).Build(), kNarrow, true},
      {"a planar configuration that does not exist",
       OneStrip(3, 8).Change(284, kShort, 1, 3).Build(), kNarrow, false},
      {"four samples, the last quarter not pixels", OneStrip(4, 8).Build(), kNarrow, true},
      {"four samples in strips", TwoStrips(4, 8).Build(), kNarrow, true},
      {"tags and a profile before the strips",
       WithTags(Entries(3, 8, kLength)).AddStrips({Pixels(stripBytes8)}).Build(), kNarrow, true},
      {"tags and a profile behind the strips", WithTags(TwoStrips(3, 8)).Build(), kNarrow, true},
      {"an Exif directory", OneStrip(3, 8).Add(34665, kLong, 1, 8).Build(), kNarrow, true},
      {"an Exif directory at the file's end",
       OneStrip(3, 8).Add(34665, kLong, 1, stripBytes8).Build(), kNarrow, true},
      {"an Exif directory among strips and tags",
       WithTags(TwoStrips(3, 8)).Add(34665, kLong, 1, 40).Build(), kNarrow, true},
      {"an empty profile", OneStrip(3, 8).Add(34675, kUndefined, 0, 0).Build(), kNarrow, true},
      {"two tags of one number",
       OneStrip(3, 8).Add(273, kLong, 1, 100).Add(279, kLong, 1, 9).Add(256, kLong, 1, 3).Build(),
       kNarrow, true},
      {"cut off in the pixels", CutOff(OneStrip(3, 8).Build(), 1000), kNarrow, true},
      {"cut off in the second strip", CutOff(TwoStrips(3, 8).Build(), 1001), kNarrow, true},
      {"cut off before the pixels", CutOff(OneStrip(3, 8).Build(), stripBytes8), kNarrow, true},
      {"cut off in the tags' data", CutOff(twoStrips, stripBytes8 + 5), kNarrow, false, true},
      {"cut off in the directory", CutOff(twoStrips, twoStrips.size() - 50), kNarrow, false},
      {"an empty file", {}, kNarrow, false},
      {"a compressed image", OneStrip(3, 8).Change(259, kShort, 1, 5).Build(), kNarrow, false},
      {"forty tags", tooManyTags, kNarrow, false},
      {"big-endian", {'M', 'M', 0, 42, 0, 0, 0, 8}, kNarrow, false},
      {"16 bits", OneStrip(3, 16).Build(), kWide, true},
      {"16 bits in strips", TwoStrips(3, 16).Build(), kWide, true},
      {"16 bits, tags, a profile and an Exif directory",
       WithTags(TwoStrips(3, 16)).Add(34665, kLong, 1, 8).Build(), kWide, true},
      {"16 bits, cut off", CutOff(OneStrip(3, 16).Build(), 1001), kWide, true},
      {"16 bits, planes", Entries(3, 16, kLength, 2).AddStrips(Planes(3, 16)).Build(), kWide,
       false},
      {"16 bits, four samples", OneStrip(4, 16).Build(), kWide, true},
      {"16 bits, four planes", Entries(4, 16, kLength, 2).AddStrips(Planes(4, 16)).Build(), kWide,
       false},
      {"16-bit grey", OneStrip(1, 16).Build(), kWide, false, true},
      {"32 bits", OneStrip(3, 32).Build(), kWide, true},
      {"12 bits, four samples", Entries(4, 12, kLength).AddStrips({Pixels(kPixels * 6)}).Build(),
       kWide, true},
      {"8 bits through a 16-bit pipeline, six samples", OneStrip(6, 8).Build(), kWide, true},
      {"8 bits through a 16-bit pipeline", OneStrip(3, 8).Build(), kWide, false, true},
      {"8 bits through one that widens", OneStrip(6, 8).Build(), kWidening, false},
      {"16 bits through an 8-bit pipeline", OneStrip(3, 16).Build(), kNarrow, false},
      {"16 bits through one that widens", OneStrip(3, 16).Build(), kWidening, false},
      {"the manufacturer none", OneStrip(3, 8).Build(), kFilled, false},
      {"the manufacturer none, 16 bits", OneStrip(3, 16).Build(), kFilledWide, false},
      {"an engine that converts nothing", WithTags(OneStrip(3, 8)).Build(), kUnset, false},
      {"an engine that converts nothing, 16 bits", OneStrip(3, 16).Build(), kUnset, false},
  };
}

}  // namespace

TEST(FilePieces, EveryFormAsByTheClasses) {
  for (const Form& form : Forms()) {
    SCOPED_TRACE(form.what);
    const auto engine = EngineWith(form.codes);
    const TemporaryFile in(form.file);
    const auto outcome = [&](auto convert) {
      const TemporaryFile out;
      return OutcomeOf(in, out, [&] { return convert(in.Path(), out.Path()); });
    };
    const Outcome expected = outcome(
        [&](auto from, auto to) { return ConvertByTheClasses(*engine, from, to, form.isRefused); });
    EXPECT_EQ(outcome([&](auto from, auto to) { return engine->Conversion(from, to); }), expected);
    EXPECT_EQ(outcome([&](auto from, auto to) { return ConvertWholeImage(*engine, from, to); }),
              expected);
    const Outcome untouched = {-1, "", form.file, {}};
    for (const int piecePixels : {1, 7, 100, 32767}) {
      EXPECT_EQ(outcome([&](auto from, auto to) {
                  return ConvertInPieces(*engine, from, to, piecePixels) ? 0 : -1;
                }),
                form.isInPieces ? expected : untouched)
          << piecePixels << " pixels at a time";
    }
  }
}

TEST(FilePieces, CutOffAnywhere) {
  const auto engine = EngineWith(kNarrow);
  const Bytes whole = WithTags(TwoStrips(3, 8)).Add(34665, kLong, 1, 3500).Build();
  for (std::size_t size = 0; size < whole.size(); size += 37) {
    SCOPED_TRACE(size);
    const TemporaryFile in(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size)));
    const TemporaryFile out, inPieces;
    const Outcome expected =
        OutcomeOf(in, out, [&] { return ConvertWholeImage(*engine, in.Path(), out.Path()); });
    const Outcome actual =
        OutcomeOf(in, inPieces, [&] { return engine->Conversion(in.Path(), inPieces.Path()); });
    EXPECT_EQ(actual, expected);
  }
}

// From 32,768 pixels on by several threads.
TEST(FilePieces, LargeImagesAsByTheClasses) {
  const struct {
    const char* what;
    unsigned samples, bits;
    Codes codes;
  } kRows[] = {{"8 bits", 3, 8, kNarrow},
               {"8 bits, four samples", 4, 8, kNarrow},
               {"16 bits", 3, 16, kWide}};
  for (const auto& row : kRows) {
    const unsigned rowBytes = 400 * row.samples * row.bits / 8;
    const TemporaryFile in(
        WithTags(ImageEntries(400, 250, row.samples, row.bits, 130, 1))
            .AddStrips({Ramp(130 * rowBytes, 11, 101), Ramp(120 * rowBytes, 3, 7)})
            .Add(34665, kLong, 1, 8)
            .Build());
    const auto engine = EngineWith(row.codes);
    omp_set_dynamic(0);
    const TemporaryFile whole;
    const Outcome expected = OutcomeOf(
        in, whole, [&] { return ConvertByTheClasses(*engine, in.Path(), whole.Path(), false); });
    for (const int threads : {1, 2, 3, 11}) {
      omp_set_num_threads(threads);
      for (const int piecePixels : {50, 1000, 32767}) {
        const TemporaryFile out;
        const Outcome actual = OutcomeOf(in, out, [&] {
          return ConvertInPieces(*engine, in.Path(), out.Path(), piecePixels) ? 0 : -1;
        });
        EXPECT_EQ(actual, expected)
            << row.what << ", " << threads << " threads, " << piecePixels << " pixels at a time";
      }
    }
  }
}

// ---- Where the output is

namespace {

// Two files and the path that is converted to.
struct Place {
  explicit Place(const Bytes& image) : in(image) {}
  TemporaryFile in, out;
};

void WriteWithTimeOf(const TemporaryFile& to, const TemporaryFile& from, std::size_t bytes) {
  to.Write(Bytes(bytes, 9));
  std::filesystem::last_write_time(to.Path(), std::filesystem::last_write_time(from.Path()));
}

}  // namespace

TEST(FilePieces, EveryTargetAsByTheClasses) {
  const Bytes image = WithTags(TwoStrips(3, 8)).Build();
  const struct {
    const char* what;
    std::string (*pathOf)(const Place&);
    bool isInPieces;
  } kRows[] = {
      {"a new file", [](const Place& place) { return std::string(place.out.Path()); }, true},
      {"a longer file",
       [](const Place& place) {
         place.out.Write(Bytes(9999, 9));
         return std::string(place.out.Path());
       },
       true},
      {"a link to nowhere",
       [](const Place& place) {
         const std::string link = std::string(place.in.Path()) + "_link";
         std::filesystem::remove(link);
         std::filesystem::create_symlink(place.out.Path(), link);
         return link;
       },
       true},
      {"the input", [](const Place& place) { return std::string(place.in.Path()); }, false},
      {"a hard link to the input",
       [](const Place& place) {
         std::filesystem::create_hard_link(place.in.Path(), place.out.Path());
         return std::string(place.out.Path());
       },
       false},
      {"a symbolic link to the input",
       [](const Place& place) {
         std::filesystem::create_symlink(place.in.Path(), place.out.Path());
         return std::string(place.out.Path());
       },
       false},
      {"a file of the input's size and time, which may be the input by another name",
       [](const Place& place) {
         WriteWithTimeOf(place.out, place.in, place.in.Read().size());
         return std::string(place.out.Path());
       },
       false},
      {"a file of the input's time",
       [](const Place& place) {
         WriteWithTimeOf(place.out, place.in, 77);
         return std::string(place.out.Path());
       },
       true},
      {"a file in no folder", [](const Place&) { return std::string("/nonexistent/a.tif"); },
       false},
      {"a folder", [](const Place&) { return std::string("/"); }, false},
      {"a device", [](const Place&) { return std::string("/dev/null"); }, false},
      {"the file that the lines go to", [](const Place&) { return std::string("/proc/self/fd/1"); },
       false},
  };
  const auto engine = EngineWith(kNarrow);
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const auto outcome = [&](auto convert) {
      const Place place(image);
      const std::string path = row.pathOf(place);
      const Outcome left =
          OutcomeOf(place.in, place.out, [&] { return convert(place.in.Path(), path.c_str()); });
      std::filesystem::remove(std::string(place.in.Path()) + "_link");
      return left;
    };
    const Outcome expected =
        outcome([&](auto from, auto to) { return ConvertByTheClasses(*engine, from, to, false); });
    EXPECT_EQ(outcome([&](auto from, auto to) { return engine->Conversion(from, to); }), expected);
    bool isInPieces = false;
    outcome([&](auto from, auto to) {
      isInPieces = ConvertInPieces(*engine, from, to, 100);
      return 0;
    });
    EXPECT_EQ(isInPieces, row.isInPieces);
  }
  EXPECT_FALSE(ConvertInPieces(*engine, nullptr, "/dev/null", 100));
  const TemporaryFile in(image);
  EXPECT_FALSE(ConvertInPieces(*engine, in.Path(), nullptr, 100));
}

// A pipe would be emptied by the first who opens it.
TEST(FilePieces, AnInputThatIsNoFileIsNotOpened) {
  const TemporaryFile pipe, out;
  ASSERT_EQ(mkfifo(pipe.Path(), 0600), 0);
  EXPECT_FALSE(ConvertInPieces(*EngineWith(kNarrow), pipe.Path(), out.Path(), 100));
  EXPECT_FALSE(out.Exists());
}

// ---- The system's calls in the hands of a test

namespace {

std::time_t now = 0;          // 0: the clock's; otherwise a second more whenever it is asked
int writingMilliseconds = 0;  // what a pwrite takes
// A pwrite that begins there or later writes and fails all the same, and no file may be longer than
// the limit from then on.
off_t failingFrom = std::numeric_limits<off_t>::max();
rlim_t limitThen = 0;

void LimitFileSize(rlim_t sizeBytes) {
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  limit.rlim_cur = std::min(sizeBytes, limit.rlim_max);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace

extern "C" {

std::time_t time(std::time_t* result) noexcept {
  timespec system;
  clock_gettime(CLOCK_REALTIME, &system);
  const std::time_t seconds = now != 0 ? now++ : system.tv_sec;
  if (result != nullptr) *result = seconds;
  return seconds;
}

ssize_t pwrite(int fd, const void* from, std::size_t size, off_t offset) {
  std::this_thread::sleep_for(std::chrono::milliseconds(writingMilliseconds));
  const ssize_t written = syscall(SYS_pwrite64, fd, from, size, offset);
  if (offset < failingFrom) return written;
  LimitFileSize(limitThen);
  errno = ENOSPC;
  return -1;
}

}  // extern "C"

// ---- Disks that are full

namespace {

struct FilePiecesOnAFullDisk : testing::Test {
  FilePiecesOnAFullDisk()
      : engine(EngineWith(kNarrow)), signalsAction(std::signal(SIGXFSZ, SIG_IGN)) {
    omp_set_dynamic(0);
    omp_set_num_threads(3);
    whole = Convert();
  }
  ~FilePiecesOnAFullDisk() override {
    std::signal(SIGXFSZ, signalsAction);
    // The lines' own file was full as well.
    std::cout.clear();
  }

  Bytes Convert() const {
    const TemporaryFile out;
    PrintedBy([&] { EXPECT_TRUE(ConvertInPieces(*engine, in.Path(), out.Path(), 1000)); });
    LimitFileSize(RLIM_INFINITY);
    return out.Read();
  }
  Bytes WholeUpTo(std::size_t sizeBytes) const { return Slice(whole, 0, sizeBytes); }

  TemporaryFile in{ImageEntries(400, 250, 3, 8, 250, 1).AddStrips({Pixels(300000)}).Build()};
  std::unique_ptr<CIccEngineS> engine;
  void (*signalsAction)(int);
  Bytes whole;
};

}  // namespace

// Whichever thread meets the end of the disk: what stands before it is right, and reaches it.
TEST_F(FilePiecesOnAFullDisk, TheFileEndsThere) {
  for (std::size_t sizeBytes = 0; sizeBytes < whole.size(); sizeBytes += 4321) {
    LimitFileSize(sizeBytes);
    EXPECT_TRUE(Convert() == WholeUpTo(sizeBytes)) << sizeBytes;
  }
}

TEST_F(FilePiecesOnAFullDisk, NothingStaysOfWhatWasWrittenBehind) {
  failingFrom = 200000;
  limitThen = 120000;
  EXPECT_TRUE(Convert() == WholeUpTo(120000));
  failingFrom = std::numeric_limits<off_t>::max();
}

// ---- The seconds

namespace {

std::string LinesWith(const std::string& seconds) {
  return "Start Conversion(Start) : New ID\n"
         "Start Conversion(Pause) : End Conversion(count : " +
         seconds + ")\nStart Conversion(Stop) :  End Conversion(count : " + seconds + ")\n";
}

}  // namespace

TEST(FilePieces, SecondsSpentElsewhereAreTakenOff) {
  const struct {
    std::time_t elapsed, uncounted;
    const char* counted;
  } kRows[] = {{0, 0, "0"}, {1, 0, "1"}, {12, 0, "12"}, {12, 5, "7"}, {12, 12, "0"}, {1, 9, "0"}};
  for (const auto& row : kRows) {
    const std::string printed = PrintedBy([&row] {
      now = 1000;
      ICC40::ICC_ENG_S4::Stopwatch stopwatch;
      now = 1000 + row.elapsed;
      stopwatch.Stop(row.uncounted);
      now = 0;
    });
    EXPECT_EQ(printed, LinesWith(row.counted)) << row.elapsed << " - " << row.uncounted;
  }
}

// The clock moves on by a second whenever it is asked, and it is asked twice.
TEST(FilePieces, SecondsOfWritingAreNotThoseOfConverting) {
  const TemporaryFile in(OneStrip(3, 8).Build()), out;
  const auto engine = EngineWith(kNarrow);
  for (const auto& [milliseconds, counted] : {std::pair(0, "1"), std::pair(550, "0")}) {
    writingMilliseconds = milliseconds;
    const std::string printed = PrintedBy([&] {
      now = 1000;
      EXPECT_TRUE(ConvertInPieces(*engine, in.Path(), out.Path(), (kPixels + 1) / 2));
      now = 0;
    });
    EXPECT_EQ(printed, LinesWith(counted)) << milliseconds;
  }
  writingMilliseconds = 0;
}
