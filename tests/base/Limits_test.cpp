#include "base/Limits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "base/OwnedStream.h"
#include "tests/TemporaryFile.h"

namespace {

// 32 MiB and four times the file for a reader, twice that for an operation: the 64 MiB and eight
// times that applications are promised.
TEST(Limits, GrowWithTheFile) {
  constexpr std::uint64_t kMiB = 1024 * 1024;
  const struct {
    std::uint64_t sourceBytes, reader, operation;
  } kRows[] = {
      {0, 32 * kMiB, 64 * kMiB},
      {1, 32 * kMiB + 4, 64 * kMiB + 8},
      {kMiB, 36 * kMiB, 72 * kMiB},
      {8192 * kMiB, 32800 * kMiB, 65600 * kMiB},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(ReaderLimit(row.sourceBytes), row.reader) << row.sourceBytes;
    EXPECT_EQ(OperationLimit(row.sourceBytes), row.operation) << row.sourceBytes;
  }
}

TEST(Limits, SizesOfFiles) {
  for (const std::size_t bytes : {0u, 1u, 4096u, 100001u}) {
    const TemporaryFile file(std::vector<unsigned char>(bytes, 'x'));
    EXPECT_EQ(FileSize(file.Path()), bytes);
    const OwnedStream stream(std::fopen(file.Path(), "rb"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(StreamSize(stream.get()), bytes);
  }
  // Beyond 4 GiB, of which nothing takes place on the disk.
  const TemporaryFile sparse(std::vector<unsigned char>{});
  constexpr std::int64_t kBytes = std::int64_t{5} << 30;
  ASSERT_EQ(truncate(sparse.Path(), kBytes), 0);
  EXPECT_EQ(FileSize(sparse.Path()), static_cast<std::uint64_t>(kBytes));
  const OwnedStream stream(std::fopen(sparse.Path(), "rb"));
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(StreamSize(stream.get()), static_cast<std::uint64_t>(kBytes));
}

TEST(Limits, SizesThatCannotBeTold) {
  EXPECT_EQ(FileSize(nullptr), 0u);
  EXPECT_EQ(FileSize(""), 0u);
  EXPECT_EQ(FileSize("/nonexistent/folder/scan.icc"), 0u);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const OwnedStream reading(fdopen(ends[0], "rb")), writing(fdopen(ends[1], "wb"));
  std::fputs("bytes", writing.get());
  std::fflush(writing.get());
  EXPECT_EQ(StreamSize(reading.get()), 0u);
  EXPECT_EQ(std::fgetc(reading.get()), 'b') << "nothing was read";
}

TEST(Limits, AStreamKeepsItsPosition) {
  const TemporaryFile file({10, 11, 12, 13, 14});
  const OwnedStream stream(std::fopen(file.Path(), "rb"));
  ASSERT_NE(stream, nullptr);
  for (const int position : {0, 3, 5}) {
    ASSERT_EQ(std::fseek(stream.get(), position, SEEK_SET), 0);
    EXPECT_EQ(StreamSize(stream.get()), 5u) << position;
    EXPECT_EQ(std::ftell(stream.get()), position);
    EXPECT_EQ(std::fgetc(stream.get()), position < 5 ? 10 + position : EOF);
  }
}

}  // namespace
