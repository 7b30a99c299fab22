#include "tiff/TiffLayout.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tiff/CTiff.h"

namespace KX_Tiff_STL3 {
namespace {

using Tags = std::vector<std::shared_ptr<TiffTag>>;

// 2 bytes of count, 12 an entry, 4 of the next directory's offset.
TEST(TiffLayout, DirectoryBytes) {
  EXPECT_EQ(DirectoryBytes(0), 6u);
  EXPECT_EQ(DirectoryBytes(15), 186u);
  EXPECT_EQ(DirectoryBytes(kMaxEntries), 474u);
}

// TIFF 6.0, section 2.
TEST(TiffLayout, StandardItemBytes) {
  const unsigned kBytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0};
  for (unsigned type = 0; type < 16; ++type) EXPECT_EQ(StandardItemBytes(type), kBytes[type]);
  EXPECT_EQ(StandardItemBytes(65535), 0u);
}

TEST(TiffLayout, WhereSavingPutsWhat) {
  constexpr std::uint64_t kNowhere = 0;
  const struct {
    const char* what;
    FieldType type;
    unsigned count;
    std::uint64_t offset;  // of the tag's data; behind the header and a directory of two: 38
    std::uint64_t pixels;
  } kRows[] = {
      {"a number in the entry", TIFF_LONG, 1, kNowhere, 38},
      {"four bytes in the entry", TIFF_BYTE, 4, kNowhere, 38},
      {"five bytes", TIFF_BYTE, 5, 38, 43},
      {"a rational", TIFF_RATIONAL, 1, 38, 46},
      {"no items, but an offset", TIFF_UNDEFINED, 0, 38, 38},
      {"room that is never written", TIFF_SSHORT, 1, 38, 40},
      {"more zeros than are written for absent data", TIFF_UNDEFINED, 65537, 38, 38},
  };
  for (const auto& row : kRows) {
    const Tags tags = {
        std::make_shared<TiffTag>(ImageWidth, TIFF_LONG, 1, 10, nullptr),
        std::make_shared<TiffTag>(Software, row.type, row.count, 0, nullptr),
    };
    std::uint64_t offset = kNowhere;
    EXPECT_EQ(LayOutTagData(tags, [&](const TiffTag&, std::uint64_t at) { offset = at; }),
              row.pixels)
        << row.what;
    EXPECT_EQ(offset, row.offset) << row.what;
    EXPECT_EQ(PixelOffset(tags), row.pixels) << row.what;
  }
}

TEST(TiffLayout, NewImage) {
  CTiff image(100, 50, kNewImageResolution, 3, 16, 1);
  EXPECT_EQ(image.tags.size(), kNewImageTags);
  std::vector<std::uint64_t> offsets;
  const std::uint64_t pixels =
      LayOutTagData(image.tags, [&](const TiffTag&, std::uint64_t at) { offsets.push_back(at); });
  // Three samples of bits, two resolutions, and the empty place for a profile.
  EXPECT_EQ(offsets, (std::vector<std::uint64_t>{194, 200, 208, 216}));
  EXPECT_EQ(pixels, 216u);
}

}  // namespace
}  // namespace KX_Tiff_STL3
