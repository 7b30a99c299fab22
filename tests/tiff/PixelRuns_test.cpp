#include "tiff/PixelRuns.h"

#include <memory>
#include <string>
#include <vector>

#include "TiffBytes.h"
#include "base/FileStream.h"
#include "tests/TemporaryFile.h"
#include "tiff/CTiff.h"

namespace {

using namespace KX_Tiff_STL3;
using namespace tiff_test;

constexpr unsigned kWidth = 50, kLength = 40;

TiffBytes Image(unsigned rowsPerStrip, std::vector<Bytes> strips, unsigned planar = 1) {
  return ImageEntries(kWidth, kLength, 3, 8, rowsPerStrip, planar)
      .AddData(270, kAscii, 5, {'s', 'c', 'a', 'n', 0})
      .AddStrips(std::move(strips))
      .Add(34665, kLong, 1, 8);
}

TiffBytes OneStrip() {
  return Image(kLength, {Ramp(6000, 11, 101)});
}

TiffBytes TwoStrips() {
  return Image(25, {Ramp(3750, 11, 101), Ramp(2250, 3, 7)});
}

TEST(PixelRuns, ReadsAcrossRunsAndPastThem) {
  const TemporaryFile file(Ramp(100, 0));
  const OwnedStream stream = OpenForReading(file.Path());
  PixelRuns pixels;
  pixels.Append(10, 4);
  pixels.Append(14, 2);  // goes on there
  pixels.Append(50, 0);  // nothing
  pixels.Append(90, 3);
  pixels.Append(0, 2);
  pixels.Append(98, 4);  // two bytes beyond the file
  const Bytes expected = {10, 11, 12, 13, 14, 15, 90, 91, 92, 0, 1, 98, 99, 0, 0, 0, 0, 0};
  for (std::size_t at = 0; at <= expected.size(); ++at) {
    for (std::size_t size = 0; size <= expected.size() - at; ++size) {
      Bytes bytes(size, 0xEE);
      pixels.Read(stream.get(), at, bytes.data(), size);
      EXPECT_EQ(bytes, Slice(expected, at, size)) << at << ", " << size;
    }
  }
}

TEST(PixelRuns, WithoutRunsAllIsZero) {
  unsigned char bytes[3] = {1, 2, 3};
  PixelRuns().Read(nullptr, 7, bytes, sizeof bytes);
  EXPECT_EQ(CopyOf(bytes, 3), Bytes(3, 0));
}

// The same tags as reading leaves, and the bytes of the buffer that it makes.
TEST(PixelRuns, StandForTheBufferOfTheSameImage) {
  Bytes cutOff = TwoStrips().Build();
  cutOff.resize(cutOff.size() - 1000);
  const struct {
    const char* what;
    Bytes file;
  } kRows[] = {
      {"one strip", OneStrip().Build()},
      {"no RowsPerStrip", OneStrip().Drop(278).Build()},
      {"a wrong byte count", OneStrip().Change(279, kLong, 1, 1).Build()},
      {"two strips", TwoStrips().Build()},
      {"two strips with SHORT arrays", ImageEntries(kWidth, kLength, 3, 8, 20, 1)
                                           .AddStrips({Ramp(3000), Ramp(3000, 9)}, kShort, kShort)
                                           .Build()},
      {"strips that hold less than the image", Image(20, {Ramp(3000), Ramp(1000, 9)}).Build()},
      {"planes in more than one strip each",
       Image(20, {Ramp(2000), Ramp(2000, 9), Ramp(2000, 5)}, 2).Build()},
      {"cut off", cutOff},
      {"two tags of one number", TwoStrips().Add(273, kLong, 1, 7).Add(279, kShort, 1, 9).Build()},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const TemporaryFile file(row.file);
    CTiff held(file.Path());
    ASSERT_NE(held.GetImageBuf(), nullptr);
    Tiff image;
    const OwnedStream stream = OpenForReading(file.Path());
    const auto pixels = ReadWithoutPixels(image, stream.get());
    ASSERT_TRUE(pixels);
    ASSERT_EQ(image.tags.size(), held.tags.size());
    for (std::size_t i = 0; i < image.tags.size(); ++i) {
      SCOPED_TRACE(image.tags[i]->tag);
      EXPECT_EQ(image.tags[i]->tag, held.tags[i]->tag);
      EXPECT_EQ(image.tags[i]->type, held.tags[i]->type);
      EXPECT_EQ(image.tags[i]->count, held.tags[i]->count);
      EXPECT_EQ(image.tags[i]->value, held.tags[i]->value);
      EXPECT_EQ(image.tags[i]->GetValue(), held.tags[i]->GetValue());
    }
    EXPECT_EQ(image.GetTag(StripOffsets)->data, nullptr);
    Bytes bytes(3 * kWidth * kLength);
    pixels->Read(stream.get(), 0, bytes.data(), bytes.size());
    EXPECT_EQ(bytes, CopyOf(held.GetImageBuf(), bytes.size()));
  }
}

TEST(PixelRuns, WhatOnlyReadingCanRead) {
  const struct {
    const char* what;
    Bytes file;
  } kRows[] = {
      {"planes", Image(kLength, {Ramp(2000), Ramp(2000), Ramp(2000)}, 2).Build()},
      {"a strip to less than 512 bytes", Image(1, std::vector<Bytes>(kLength, Ramp(150))).Build()},
      {"no byte counts", OneStrip().Drop(279).Build()},
      {"a byte count that saving replaces", OneStrip().Change(279, kSshort, 1, 6000).Build()},
      {"no strips", OneStrip().Drop(273).Build()},
      {"dimensions out of proportion to the file",
       OneStrip().Change(256, kLong, 1, 1 << 20).Build()},
      {"byte counts out of proportion to the file",
       Image(25, {Ramp(9), Ramp(9)}).Change(279, kLong, 2, 8).Build()},
      {"more than 39 entries", {'I', 'I', 42, 0, 8, 0, 0, 0, 40, 0}},
  };
  for (const auto& row : kRows) {
    const TemporaryFile file(row.file);
    Tiff image;
    EXPECT_FALSE(ReadWithoutPixels(image, OpenForReading(file.Path()).get())) << row.what;
  }
}

TEST(PixelRuns, ThrowAsReadingDoes) {
  const TemporaryFile bigEndian({'M', 'M', 0, 42});
  const TemporaryFile compressed(OneStrip().Change(259, kShort, 1, 5).Build());
  Tiff image;
  EXPECT_THROW(ReadWithoutPixels(image, OpenForReading(bigEndian.Path()).get()), char const*);
  EXPECT_THROW(ReadWithoutPixels(image, OpenForReading(compressed.Path()).get()), ErrCode);
}

}  // namespace
