#include "tools/image/ExifBlock.h"

#include <tiff.h>

#include <algorithm>
#include <array>
#include <utility>

#include "tools/image/InputBytes.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/TiffDirectories.h"

namespace kxcms::image {

namespace {

constexpr std::array kStructure = {tag::kNewSubfileType,
                                   tag::kSubfileType,
                                   tag::kImageWidth,
                                   tag::kImageLength,
                                   tag::kBitsPerSample,
                                   tag::kCompression,
                                   tag::kPhotometric,
                                   tag::kFillOrder,
                                   tag::kStripOffsets,
                                   tag::kSamplesPerPixel,
                                   tag::kRowsPerStrip,
                                   tag::kStripByteCounts,
                                   std::uint16_t{TIFFTAG_MINSAMPLEVALUE},
                                   std::uint16_t{TIFFTAG_MAXSAMPLEVALUE},
                                   tag::kPlanarConfiguration,
                                   std::uint16_t{TIFFTAG_FREEOFFSETS},
                                   std::uint16_t{TIFFTAG_FREEBYTECOUNTS},
                                   tag::kPredictor,
                                   tag::kTileWidth,
                                   tag::kTileLength,
                                   tag::kTileOffsets,
                                   tag::kTileByteCounts,
                                   tag::kSubIfds,
                                   tag::kExtraSamples,
                                   tag::kSampleFormat,
                                   std::uint16_t{TIFFTAG_SMINSAMPLEVALUE},
                                   std::uint16_t{TIFFTAG_SMAXSAMPLEVALUE},
                                   tag::kJpegTables,
                                   std::uint16_t{TIFFTAG_YCBCRCOEFFICIENTS},
                                   std::uint16_t{TIFFTAG_YCBCRSUBSAMPLING},
                                   std::uint16_t{TIFFTAG_YCBCRPOSITIONING},
                                   std::uint16_t{TIFFTAG_REFERENCEBLACKWHITE},
                                   std::uint16_t{TIFFTAG_LERC_PARAMETERS},
                                   tag::kIccProfile};

}  // namespace

bool IsStructure(std::uint16_t number) {
  return std::find(kStructure.begin(), kStructure.end(), number) != kStructure.end();
}

void ReadExif(std::span<const unsigned char> block, Metadata& metadata,
              std::vector<std::string>& dropped) {
  const MemoryBytes bytes(block);
  TiffDirectories directories(bytes);
  TiffDirectories::Raw raw = directories.Read(directories.first());
  if (raw.next != 0) dropped.emplace_back("thumbnail");
  std::erase_if(raw.tags, [](const Tag& tag) { return IsStructure(tag.number); });
  metadata.order = directories.order();
  metadata.directory = directories.WithSubDirectories(std::move(raw), dropped);
}

void AddResolution(Metadata& metadata, std::uint32_t x, std::uint32_t y, std::uint32_t divisor,
                   std::uint16_t unit) {
  Directory& directory = metadata.directory;
  if (directory.Find(tag::kXResolution) != nullptr) return;
  for (const auto& [number, value] : {std::pair(tag::kXResolution, x), {tag::kYResolution, y}}) {
    Tag resolution{number, kRational, 1, {}};
    AppendNumber(resolution.bytes, value, 4, metadata.order);
    AppendNumber(resolution.bytes, divisor, 4, metadata.order);
    directory.Set(std::move(resolution));
  }
  directory.Set(NumbersTag(tag::kResolutionUnit, kShort, {unit}, metadata.order));
}

}  // namespace kxcms::image
