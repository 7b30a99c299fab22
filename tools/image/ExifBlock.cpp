#include "tools/image/ExifBlock.h"

#include <tiff.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/InputBytes.h"
#include "tools/image/PhotoshopBlocks.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/Thumbnails.h"
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
  const std::uint64_t next = raw.next;
  std::erase_if(raw.tags, [](const Tag& tag) { return IsStructure(tag.number); });
  metadata.order = directories.order();
  metadata.directory = directories.WithSubDirectories(std::move(raw), dropped);
  if (next == 0) return;
  // At the end: whatever is wrong with it, nothing else is lost.
  try {
    metadata.thumbnail = ReadThumbnail(directories, bytes, next, dropped);
  } catch (const ImageError&) {
    metadata.thumbnail.reset();
  }
  if (!metadata.thumbnail) dropped.emplace_back("thumbnail");
}

void TextsToTags(Metadata& metadata) {
  constexpr std::pair<std::string_view, std::uint16_t> kPlaces[] = {
      {"Description", TIFFTAG_IMAGEDESCRIPTION},
      {"", TIFFTAG_IMAGEDESCRIPTION},
      {"Author", TIFFTAG_ARTIST},
      {"Copyright", TIFFTAG_COPYRIGHT},
      {"Software", TIFFTAG_SOFTWARE},
  };
  for (const auto& [keyword, number] : kPlaces) {
    const auto found = std::find_if(
        metadata.comments.begin(), metadata.comments.end(),
        [keyword = keyword](const Comment& comment) { return comment.keyword == keyword; });
    if (found == metadata.comments.end() || metadata.directory.Find(number) != nullptr) continue;
    std::vector<unsigned char> text;
    for (const char c : found->text) {
      const auto byte = static_cast<unsigned char>(c);
      constexpr unsigned char kFirstBeyondAscii = 0x80;
      if (keyword.empty() || found->isInternational || byte < kFirstBeyondAscii) {
        text.push_back(byte);
      } else {  // Latin-1 as UTF-8, which readers take texts of Exif for
        text.push_back(static_cast<unsigned char>(0xC0 | byte >> 6));
        text.push_back(static_cast<unsigned char>(0x80 | (byte & 0x3F)));
      }
    }
    // What counts its bytes may hold zeros, of which TIFF wants one, at the end.
    while (!text.empty() && text.back() == 0) text.pop_back();
    if (text.empty() || std::find(text.begin(), text.end(), 0) != text.end()) continue;
    text.push_back(0);
    metadata.directory.Set(BytesTag(number, kAscii, std::move(text)));
    metadata.comments.erase(found);
  }
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

std::optional<Resolution> ResolutionOf(const Metadata& metadata) {
  double values[2];
  for (const auto& [number, value] :
       {std::pair(tag::kXResolution, &values[0]), {tag::kYResolution, &values[1]}}) {
    const Tag* const found = metadata.directory.Find(number);
    if (found == nullptr || found->type != kRational || found->bytes.size() < 8) {
      return std::nullopt;
    }
    const auto top = NumberAt(found->bytes.data(), 4, metadata.order);
    const auto bottom = NumberAt(found->bytes.data() + 4, 4, metadata.order);
    if (top == 0 || bottom == 0) return std::nullopt;
    *value = static_cast<double>(top) / static_cast<double>(bottom);
  }
  constexpr std::uint64_t kInch = 2;  // what TIFF 6.0 takes where nothing is said
  const Tag* const unit = metadata.directory.Find(tag::kResolutionUnit);
  const std::uint64_t number =
      unit == nullptr ? kInch : UnsignedItem(*unit, 0, metadata.order).value_or(0);
  if (number < 1 || number > 3) return std::nullopt;
  return Resolution{values[0], values[1], static_cast<std::uint16_t>(number)};
}

namespace {

/// Puts the IPTC of TIFF's own tag where other formats have it.
/// @return whether another one had to go
bool PutIptc(PhotoshopBlocks& blocks, const std::vector<unsigned char>& iptc) {
  if (!blocks.Has(PhotoshopBlocks::kIptc)) {
    blocks.Add(PhotoshopBlocks::kIptc, iptc);
    return false;
  }
  // The tag is filled up with zeros where it counts in fours.
  const auto isSame = [&iptc](std::span<const unsigned char> there) {
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    const auto [one, other] = std::mismatch(there.begin(), there.end(), iptc.begin(), iptc.end());
    return std::all_of(one, there.end(), isZero) && std::all_of(other, iptc.end(), isZero);
  };
  if (isSame(blocks.Data(PhotoshopBlocks::kIptc))) return false;
  blocks.Remove(PhotoshopBlocks::kIptc);
  blocks.Add(PhotoshopBlocks::kIptc, iptc);
  return true;
}

}  // namespace

Places PlacesOf(Metadata metadata, std::size_t mostExif, std::vector<std::string>& dropped) {
  Places places;
  Directory& directory = metadata.directory;
  const auto take = [&directory](std::uint16_t number) {
    std::vector<unsigned char> bytes;
    if (Tag* const found = directory.Find(number)) bytes = std::move(found->bytes);
    directory.Remove(number);
    return bytes;
  };
  places.xmp = take(tag::kXmp);
  places.photoshop = take(tag::kPhotoshopBlocks);
  const std::vector<unsigned char> iptc = take(tag::kIptc);
  std::optional<PhotoshopBlocks> blocks = PhotoshopBlocks::Parse(places.photoshop);
  if (!iptc.empty() && blocks) {
    if (PutIptc(*blocks, iptc)) dropped.emplace_back("the second IPTC of Photoshop's blocks");
    places.photoshop = blocks->Bytes();
  }

  if (directory.tags.empty() && directory.subDirectories.empty()) {
    if (metadata.thumbnail) dropped.emplace_back("thumbnail");
    return places;
  }

  // The directories below count as a whole; the thumbnail gives way first, then the largest tags.
  std::vector<std::string> ignored;
  Metadata below;
  below.order = metadata.order;
  below.directory.subDirectories = directory.subDirectories;
  constexpr std::size_t kFrameBytes = 8 + 2 + 4;  // header, number of tags, end of the chain
  std::size_t size = std::max(WriteExif(below, ignored).size(), kFrameBytes);
  const auto sizeOf = [](const Tag& tag) {
    constexpr std::size_t kEntryBytes = 12, kInEntry = 4;
    return kEntryBytes + (tag.bytes.size() > kInEntry ? tag.bytes.size() + 1 : 0);
  };
  for (const Tag& tag : directory.tags) size += sizeOf(tag);
  if (metadata.thumbnail) {
    DirectoryBlock block(metadata.order, false, 0);
    AppendThumbnail(*metadata.thumbnail, metadata.order, block, ignored);
    if (size + block.bytes().size() > mostExif) {
      dropped.emplace_back("thumbnail (too large)");
      metadata.thumbnail.reset();
    } else {
      size += block.bytes().size();
    }
  }
  std::stable_sort(directory.tags.begin(), directory.tags.end(),
                   [&](const Tag& one, const Tag& other) { return sizeOf(one) < sizeOf(other); });
  while (size > mostExif && !directory.tags.empty()) {
    size -= sizeOf(directory.tags.back());
    dropped.push_back("tag " + std::to_string(directory.tags.back().number) + " (too large)");
    directory.tags.pop_back();
  }
  if (size > mostExif) {
    dropped.emplace_back("Exif (too large)");
  } else {
    places.exif = WriteExif(metadata, dropped);
  }
  return places;
}

}  // namespace kxcms::image
