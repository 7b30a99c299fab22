#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>

#include "TiffBytes.h"
#include "base/FileStream.h"
#include "base/Limits.h"
#include "tests/TemporaryFile.h"
#include "tiff/CTiff.h"
#include "tiff/ImageBytes.h"

// Files that claim what is not there. Run under the address sanitizer these tests also prove that
// nothing outside a buffer is touched.

#if defined(__SANITIZE_ADDRESS__)
#define KXCMS_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KXCMS_SANITIZED
#endif
#endif

#ifndef KXCMS_SANITIZED
namespace {
std::size_t liveBytes = 0;
std::size_t peakBytes = 0;
/// Allocations that go well before one fails; a negative number lets all go well.
int allocationsBeforeFailure = -1;
}  // namespace

// Counts what is held, and fails when told; the sanitizers keep their own functions.
static void* Allocate(std::size_t size) {
  if (allocationsBeforeFailure >= 0 && allocationsBeforeFailure-- == 0) throw std::bad_alloc();
  void* block = std::malloc(size ? size : 1);
  if (!block) throw std::bad_alloc();
  liveBytes += malloc_usable_size(block);
  peakBytes = std::max(peakBytes, liveBytes);
  return block;
}
static void Free(void* block) {
  if (block) liveBytes -= malloc_usable_size(block);
  std::free(block);
}
void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  Free(block);
}
void operator delete[](void* block) noexcept {
  Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  Free(block);
}
#endif

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

/// The bytes that saving gives.
Bytes SavedBytes(CTiff& image) {
  char* buffer = nullptr;
  std::size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  image.SaveTiff(stream);
  std::fclose(stream);
  const Bytes saved(buffer, buffer + size);
  std::free(buffer);
  return saved;
}

/// `ReadTiff` from bytes; reading thousands of damaged files goes faster without any file.
int ReadBytes(CTiff& image, Bytes file) {
  if (file.empty()) return image.ReadTiff(nullptr);
  FILE* stream = fmemopen(file.data(), file.size(), "rb");
  const int result = image.ReadTiff(stream);
  std::fclose(stream);
  return result;
}

/// Everything that may be done with an image, whether or not it was read.
void UseImage(CTiff& image) {
  const std::uint64_t imageBytes = ImageBytes(image);
  unsigned sum = 0;
  for (std::uint64_t i = 0; i < imageBytes; ++i) sum += image.GetImageBuf()[i];
  EXPECT_GE(sum, 0u);
  if (image.RowBytes > 0 && image.RowBytes < (1 << 20)) {
    Bytes row(std::size_t(image.RowBytes) + 64);
    for (int y : {-1, 0, 1, image.Length}) {
      image.GetRow(row.data(), y, 0);
      image.PutRow(row.data(), y, 0);
    }
    image.GetRowColumn(row.data(), 1, 1, 1, 1);
    image.SetRowColumn(row.data(), 0x7FFFFFFF, 0x7FFFFFFF, 2, 2);
  }
  image.GetXY(0x7FFFFFFF, 0x7FFFFFFF);
  image.GetXY_M(-1, 0x7FFFFFFF);
  EXPECT_LE(SavedBytes(image).size(), 48u << 20);
  image.RemoveIcc();
  CTiff again;
  ReadBytes(again, SavedBytes(image));
}

/// Reads and uses; returns the result.
int Try(const Bytes& file) {
  CTiff image;
  const int result = ReadBytes(image, file);
  EXPECT_EQ(image.GetImageBuf() != nullptr, result == 0);
  UseImage(image);
  return result;
}

/// A small image of every kind of tag.
TiffBytes Small(std::vector<Bytes> strips, unsigned rowsPerStrip, unsigned planar,
                unsigned stripType) {
  return ImageEntries(3, 2, 3, 8, rowsPerStrip, planar)
      .AddStrips(std::move(strips), stripType, stripType)
      .AddData(282, kRational, 1, Longs({300, 1}))
      .AddData(34675, kUndefined, 20, Ramp(20))
      .Add(34665, kLong, 1, 100);
}

std::vector<Bytes> SmallFiles() {
  return {
      Small({Ramp(18)}, 2, 1, kLong).Build(),
      Small({Ramp(9), Ramp(9)}, 1, 1, kLong).Build(),
      Small({Ramp(9), Ramp(9)}, 1, 1, kShort).Build(),
      Small({Ramp(6), Ramp(6), Ramp(6)}, 2, 2, kLong).Build(),
      Small({Ramp(18)}, 0, 1, kLong).Build(),
      Small({Ramp(9), Ramp(9)}, 0, 1, kLong).Build(),
  };
}

/// Keeps the lines about damaged files off the test log.
class HostileTiff : public testing::Test {
 protected:
  void SetUp() override { testing::internal::CaptureStdout(); }
  void TearDown() override {
    const std::string printed = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::cout << printed;
  }
};

TEST_F(HostileTiff, TruncatedAtEveryLength) {
  for (const Bytes& file : SmallFiles()) {
    ASSERT_EQ(Try(file), 0);
    // The fourth entry is Compression; its value is the low byte of the last word.
    const std::size_t compressionEnd = 10 + 12 * 3 + 9;
    for (std::size_t size = 0; size < file.size(); ++size) {
      const int result = Try(Slice(file, 0, size));
      // Missing bytes are zeros: three bytes already read as "II" 42, and a directory offset that
      // is missing as 0, where "II" counts 18761 entries.
      const int expected = size < 3 ? -1 : size < 5 ? -3 : size < compressionEnd ? -7 : result;
      EXPECT_EQ(result, expected) << size;
      EXPECT_LE(result, 0) << size;
    }
    const std::size_t firstPixel = file.size() - 18;
    for (std::size_t size = firstPixel; size < file.size(); ++size) {
      EXPECT_EQ(Try(Slice(file, 0, size)), 0) << size << ": missing pixels are zeros";
    }
  }
}

TEST_F(HostileTiff, EveryDirectoryWordReplaced) {
  for (const Bytes& file : SmallFiles()) {
    const std::size_t directoryEnd = 10 + 12 * std::size_t(file[8]) + 4;
    for (std::size_t at = 4; at + 4 <= directoryEnd; at += at == 4 ? 6 : 4) {
      for (unsigned word : {0u, 1u, 2u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        Bytes damaged = file;
        const Bytes bytes = Longs({word});
        std::copy(bytes.begin(), bytes.end(), damaged.begin() + std::ptrdiff_t(at));
        EXPECT_LE(Try(damaged), 0) << "word " << word << " at " << at;
      }
    }
  }
}

TEST_F(HostileTiff, EveryFieldTypeOfEveryTag) {
  for (const Bytes& file : SmallFiles()) {
    for (unsigned entry = 0; entry < file[8]; ++entry) {
      for (unsigned type = 0; type < 16; ++type) {
        for (unsigned count : {0u, 1u, 3u, 5u, 40u}) {
          Bytes damaged = file;
          const std::size_t at = 10 + 12 * std::size_t(entry);
          damaged[at + 2] = std::uint8_t(type);
          damaged[at + 4] = std::uint8_t(count);
          EXPECT_LE(Try(damaged), 0) << "entry " << entry << " type " << type << " x " << count;
        }
      }
    }
  }
}

TEST_F(HostileTiff, AbsurdDimensions) {
  const struct {
    const char* what;
    unsigned width, length, samples, bits;
    int result;
  } kRows[] = {
      {"30 GB", 100000, 100000, 3, 8, -1},
      {"2^64 bits and more", 0xFFFFFFFF, 0xFFFFFFFF, 65535, 65535, -1},
      {"2^32 bits do not wrap to nothing", 65536, 65536, 1, 1, -1},
      {"negative width", 0xFFFFFFFF, 1, 3, 8, -1},
      {"negative length", 1, 0xFFFFFFFF, 3, 8, -1},
      {"4 MB of zeros", 2000, 2000, 1, 8, 0},
      {"no width", 0, 100, 3, 8, 0},
      {"no length", 100, 0, 3, 8, 0},
      {"absurd width, no length", 0xFFFFFFFF, 0, 3, 8, 0},
      {"no samples", 10, 10, 0, 8, 0},
      {"no bits", 10, 10, 3, 0, 0},
  };
  for (const auto& row : kRows) {
    const auto with = [&row](TiffBytes tiff, unsigned samples) {
      return tiff.Change(256, kLong, 1, row.width)
          .Change(257, kLong, 1, row.length)
          .Change(258, kShort, 1, row.bits)
          .Change(277, kShort, 1, samples)
          .Change(278, kLong, 1, row.length)
          .Build();
    };
    EXPECT_EQ(Try(with(Small({Ramp(18)}, 2, 1, kLong), row.samples)), row.result)
        << row.what << ", chunky";
    EXPECT_EQ(Try(with(Small({Ramp(6), Ramp(6), Ramp(6)}, 2, 2, kLong), row.samples)), row.result)
        << row.what << ", planes";
  }
}

TEST_F(HostileTiff, AbsurdStrips) {
  const struct {
    const char* what;
    unsigned tag, type, count, value;
    int result;
  } kRows[] = {
      {"100000 offsets, which the file does not have", 273, kLong, 100000, 8, 0},
      {"2^30 offsets", 273, kLong, 0x40000000, 8, -1},
      {"2^32 offsets", 273, kLong, 0xFFFFFFFF, 8, -1},
      {"2^32 byte counts", 279, kLong, 0xFFFFFFFF, 8, -1},
      {"a byte count of 4 GiB", 279, kLong, 1, 0xFFFFFFFF, -1},
      {"a byte count of 1 MB", 279, kLong, 1, 1000000, 0},
      {"no byte count", 279, kLong, 0, 1000000, 0},
      {"no offset", 273, kLong, 0, 8, 0},
      {"offsets past the end", 273, kLong, 2, 100000, 0},
      {"16000 offsets past the end", 273, kLong, 16000, 100000, 0},
      {"SHORT offsets past the end", 273, kShort, 2, 0xFFFFFFFF, 0},
  };
  for (const auto& row : kRows) {
    const Bytes file = Small({Ramp(9), Ramp(9)}, 1, 1, kLong)
                           .Change(row.tag, row.type, row.count, row.value)
                           .Build();
    EXPECT_EQ(Try(file), row.result) << row.what;
  }
}

TEST_F(HostileTiff, StripsThatShareOneRegionAreLimitedTogether) {
  // 2000 strips of 60000 bytes each, all at the same place.
  const auto make = [](unsigned strips) {
    TiffBytes tiff = ImageEntries(100, 200, 3, 8, 1, 1);
    tiff.AddData(273, kShort, strips, Shorts(std::vector<unsigned>(strips, 8)));
    tiff.AddData(279, kShort, strips, Shorts(std::vector<unsigned>(strips, 60000)));
    return tiff.Build();
  };
  EXPECT_EQ(Try(make(2000)), -1);
  EXPECT_EQ(Try(make(100)), 0) << "6 MB are still in proportion";
}

TEST_F(HostileTiff, SavingAnAbsentTagKeepsThePixels) {
  // A profile of 2 GiB is held as absent; it takes no room in the saved file.
  const TemporaryFile scratch(
      Small({Ramp(18)}, 2, 1, kLong).Change(34675, kUndefined, 0x7FFFFFFF, 0).Build());
  CTiff image;
  ASSERT_EQ(image.ReadFile(scratch.Path()), 0);
  EXPECT_EQ(image.GetTag(IccProfile)->GetData(), nullptr);
  EXPECT_EQ(image.GetTag(IccProfile)->count, 0x7FFFFFFFu);
  const TemporaryFile saved;
  ASSERT_EQ(image.SaveFile(saved.Path()), 0);
  CTiff again;
  ASSERT_EQ(again.ReadFile(saved.Path()), 0);
  EXPECT_EQ(CopyOf(again.GetImageBuf(), 18), Ramp(18));
}

#ifndef KXCMS_SANITIZED
TEST_F(HostileTiff, MemoryStaysInProportionToTheFile) {
  constexpr unsigned kPadding = 4 << 20;
  const auto padded = [](TiffBytes tiff) {
    Bytes file = tiff.Build();
    file.resize(file.size() + kPadding, 0x55);
    return file;
  };
  const auto crowded = [&padded](unsigned tag) {
    TiffBytes tiff = ImageEntries(3, 2, 3, 8, 2, 1).AddStrips({Ramp(18)});
    for (int i = 9; i < 39; ++i) tiff.Add(tag, kByte, kPadding, 0);
    return padded(tiff);
  };
  const struct {
    const char* what;
    Bytes file;
    int result;
    unsigned buffers = 1;  // pixel buffers of the most a reader may hold, side by side for a moment
  } kRows[] = {
      {"thirty tags that each claim the whole file", crowded(700), 0},
      {"thirty depths", crowded(258), 0},
      {"thirty resolutions", crowded(282), 0},
      {"thirty Exif pointers", crowded(34665), 0},
      {"the largest image that is still held",
       padded(ImageEntries(6000, 8000, 1, 8, 8000, 1).AddStrips({Ramp(18)})), 0},
      {"and one that is not", padded(ImageEntries(6000, 8500, 1, 8, 8500, 1).AddStrips({Ramp(18)})),
       -1},
      {"planes of one sample, which quadruple",
       padded(ImageEntries(3000, 4190, 1, 8, 4190, 2).AddStrips({Ramp(18)})), 0, 2},
      {"too many of them", padded(ImageEntries(3000, 4200, 1, 8, 4200, 2).AddStrips({Ramp(18)})),
       -1},
  };
  for (const auto& row : kRows) {
    const TemporaryFile scratch(row.file);
    CTiff image;
    const std::size_t before = liveBytes;
    peakBytes = liveBytes;
    EXPECT_EQ(image.ReadFile(scratch.Path()), row.result) << row.what;
    // What the list of tags and the tag objects themselves take.
    constexpr std::size_t kObjects = 16 << 10;
    EXPECT_LE(liveBytes - before, ReaderLimit(row.file.size()) + kObjects) << row.what;
    EXPECT_LE(peakBytes - before, row.buffers * ReaderLimit(row.file.size()) + kObjects)
        << row.what;
  }
}

TEST(CreateTag, ReportsAnAllocationThatFails) {
  const TemporaryFile scratch(Ramp(400));
  const OwnedStream file = OpenForReading(scratch.Path());
  const struct {
    const char* what;
    unsigned tag, type, count;
    int allocations;  // the object with its reference count, and the data
  } kRows[] = {
      {"inline", 270, kAscii, 4, 1},         {"out of line", 270, kAscii, 5, 2},
      {"depths", 258, kShort, 3, 2},         {"a resolution", 282, kRational, 1, 2},
      {"an Exif block", 34665, kLong, 1, 2},
  };
  for (const auto& row : kRows) {
    for (int i = 0; i < row.allocations; ++i) {
      Tiff tiff;
      std::shared_ptr<TiffTag> tag;
      testing::internal::CaptureStderr();
      allocationsBeforeFailure = i;
      EXPECT_NO_THROW(tag = tiff.CreateTag(row.type << 16 | row.tag, row.count, 8, file.get()));
      const bool failed = allocationsBeforeFailure < 0;
      allocationsBeforeFailure = i;
      EXPECT_NO_THROW(tiff.AddTags(row.type << 16 | row.tag, row.count, 8, file.get()));
      allocationsBeforeFailure = -1;
      EXPECT_EQ(testing::internal::GetCapturedStderr(),
                "bad_alloc caught: std::bad_alloc\nbad_alloc caught: std::bad_alloc\n")
          << row.what << ' ' << i;
      EXPECT_TRUE(failed) << row.what << ' ' << i;
      EXPECT_FALSE(tag) << row.what << ' ' << i;
      EXPECT_TRUE(tiff.tags.empty()) << row.what << ' ' << i;
    }
    Tiff tiff;
    EXPECT_TRUE(tiff.CreateTag(row.type << 16 | row.tag, row.count, 8, file.get())) << row.what;
  }
}
#endif

}  // namespace
