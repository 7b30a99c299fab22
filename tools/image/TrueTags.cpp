#include "tools/image/TrueTags.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/PhotoshopBlocks.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/XmpPacket.h"

namespace kxcms::image {

namespace {

using Names = std::vector<std::string>;

SubDirectory* FindSub(Directory& directory, std::uint16_t pointer) {
  for (SubDirectory& sub : directory.subDirectories) {
    if (sub.pointer == pointer) return &sub;
  }
  return nullptr;
}

void RemoveOldColors(Directory& directory, Names& dropped) {
  const std::pair<std::uint16_t, const char*> kOld[] = {
      {tag::kTransferFunction, "TransferFunction"},
      {tag::kWhitePoint, "WhitePoint"},
      {tag::kPrimaryChromaticities, "PrimaryChromaticities"},
      {tag::kTransferRange, "TransferRange"},
      {tag::kGlobalParametersIfd, "GlobalParameters"},
      {tag::kPhotoshopLayers, "Photoshop's layers"},
  };
  for (const auto& [number, name] : kOld) {
    if (directory.Remove(number)) dropped.emplace_back(name);
  }
  const bool hadThumbnail = directory.Remove(tag::kThumbnailOffset);
  if (directory.Remove(tag::kThumbnailBytes) || hadThumbnail) dropped.emplace_back("thumbnail");
}

void CorrectExif(Directory& exif, NamedColors colors, ByteOrder order, Names& dropped) {
  // Exif 2.3: 1 is sRGB, everything else is uncalibrated; of that, DCF calls Adobe RGB "R03".
  constexpr std::uint64_t kSrgb = 1, kUncalibrated = 0xFFFF;
  if (exif.Find(tag::kExifColorSpace) != nullptr) {
    const std::uint64_t space = colors == NamedColors::kSrgb ? kSrgb : kUncalibrated;
    exif.Set(NumbersTag(tag::kExifColorSpace, kShort, {space}, order));
  }
  if (exif.Remove(tag::kExifGamma)) dropped.emplace_back("Exif's Gamma");
  SubDirectory* const interoperability = FindSub(exif, tag::kInteroperabilityIfd);
  if (interoperability == nullptr) return;
  if (colors == NamedColors::kOther) {
    exif.Remove(tag::kInteroperabilityIfd);
    dropped.emplace_back("Exif's interoperability");
  } else if (interoperability->directory.Find(tag::kInteroperabilityIndex) != nullptr) {
    const std::string_view index = colors == NamedColors::kSrgb ? "R98" : "R03";
    std::vector<unsigned char> text(index.begin(), index.end());
    text.push_back(0);
    interoperability->directory.Set(BytesTag(tag::kInteroperabilityIndex, kAscii, std::move(text)));
  }
}

/// @return whether the packet had to be changed.
bool CorrectPacket(std::vector<unsigned char>& bytes, Names& dropped) {
  std::string packet(bytes.begin(), bytes.end());
  const struct {
    const char* space;
    const char* property;
    const char* name;
  } kOld[] = {
      {"http://ns.adobe.com/photoshop/1.0/", "ICCProfile", "XMP's name of the profile"},
      {"http://ns.adobe.com/exif/1.0/", "ColorSpace", "XMP's ColorSpace"},
      {"http://cipa.jp/exif/1.0/", "Gamma", "XMP's Gamma"},
      {"http://ns.adobe.com/tiff/1.0/", "WhitePoint", "XMP's WhitePoint"},
      {"http://ns.adobe.com/tiff/1.0/", "PrimaryChromaticities", "XMP's PrimaryChromaticities"},
      {"http://ns.adobe.com/tiff/1.0/", "TransferFunction", "XMP's TransferFunction"},
      {"http://ns.adobe.com/xap/1.0/", "Thumbnails", "XMP's thumbnails"},
  };
  bool isChanged = false;
  for (const auto& [space, property, name] : kOld) {
    if (!RemoveXmpProperty(packet, space, property)) continue;
    dropped.emplace_back(name);
    isChanged = true;
  }
  if (isChanged) bytes.assign(packet.begin(), packet.end());
  return isChanged;
}

void CorrectXmp(Directory& directory, Names& dropped) {
  Tag* const xmp = directory.Find(tag::kXmp);
  if (xmp == nullptr || TypeBytes(xmp->type) != 1) return;
  if (CorrectPacket(xmp->bytes, dropped)) xmp->count = xmp->bytes.size();
}

/// Of the directory of Exif, and of the thumbnail's.
void CorrectDirectory(Directory& directory, NamedColors colors, ByteOrder order, Names& dropped) {
  RemoveOldColors(directory, dropped);
  if (SubDirectory* const exif = FindSub(directory, tag::kExifIfd)) {
    CorrectExif(exif->directory, colors, order, dropped);
  }
}

void CorrectThumbnail(Metadata& metadata, NamedColors colors, const ColorChange& change,
                      Names& dropped) {
  if (!metadata.thumbnail) return;
  if (change && Convert(*metadata.thumbnail, change)) {
    CorrectDirectory(metadata.thumbnail->directory, colors, metadata.order, dropped);
  } else {
    metadata.thumbnail.reset();
    dropped.emplace_back("thumbnail");
  }
}

/// Corrects the second Exif block and the second XMP packet that Photoshop keeps among its blocks.
/// @return whether they had to be changed.
bool CorrectCopies(PhotoshopBlocks& blocks, NamedColors colors, const ColorChange& thumbnails,
                   Names& dropped) {
  bool isChanged = false;
  if (std::vector<unsigned char> packet = blocks.Data(PhotoshopBlocks::kXmp);
      CorrectPacket(packet, dropped)) {
    blocks.Remove(PhotoshopBlocks::kXmp);
    blocks.Add(PhotoshopBlocks::kXmp, packet);
    isChanged = true;
  }
  if (!blocks.Has(PhotoshopBlocks::kExif)) return isChanged;
  try {
    Metadata copy;
    ReadExif(blocks.Data(PhotoshopBlocks::kExif), copy, dropped);
    CorrectDirectory(copy.directory, colors, copy.order, dropped);
    CorrectThumbnail(copy, colors, thumbnails, dropped);
    blocks.Remove(PhotoshopBlocks::kExif);
    const std::vector<unsigned char> corrected = WriteExif(copy, dropped);
    if (!corrected.empty()) blocks.Add(PhotoshopBlocks::kExif, corrected);
  } catch (const ImageError&) {
    blocks.Remove(PhotoshopBlocks::kExif);
    dropped.emplace_back("Photoshop's copy of Exif (damaged)");
  }
  return true;
}

/// Of one number of block. @return whether there was a thumbnail.
bool CorrectThumbnails(PhotoshopBlocks& blocks, std::uint16_t number, const ColorChange& change,
                       Names& dropped) {
  if (!blocks.Has(number)) return false;
  const bool isBlueFirst = number == PhotoshopBlocks::kThumbnail4;
  bool isFirst = true;  // and the only one, where nobody wants to take time and room
  const std::size_t removed = blocks.ChangeAll(
      number,
      [&](std::span<const unsigned char> data) -> std::optional<std::vector<unsigned char>> {
        if (!change || !std::exchange(isFirst, false)) return std::nullopt;
        return ConvertedPhotoshopThumbnail(data, isBlueFirst, change);
      });
  if (removed > 0) dropped.emplace_back("Photoshop's thumbnail");
  return true;
}

void CorrectPhotoshop(Directory& directory, NamedColors colors, const ColorChange& thumbnails,
                      Names& dropped) {
  const Tag* const blocks = directory.Find(tag::kPhotoshopBlocks);
  if (blocks == nullptr) return;
  const std::pair<std::uint16_t, const char*> kOld[] = {
      {PhotoshopBlocks::kProfile, "Photoshop's profile"},
      {PhotoshopBlocks::kUntagged, "Photoshop's mark of missing profiles"},
  };
  std::optional<PhotoshopBlocks> parts = PhotoshopBlocks::Parse(blocks->bytes);
  if (!parts) {
    // Nobody can tell whether an old profile is among them.
    directory.Remove(tag::kPhotoshopBlocks);
    dropped.emplace_back("Photoshop's blocks (damaged)");
    return;
  }
  bool isChanged = CorrectCopies(*parts, colors, thumbnails, dropped);
  for (const std::uint16_t number : {PhotoshopBlocks::kThumbnail4, PhotoshopBlocks::kThumbnail}) {
    isChanged = CorrectThumbnails(*parts, number, thumbnails, dropped) || isChanged;
  }
  for (const auto& [number, name] : kOld) {
    if (!parts->Remove(number)) continue;
    dropped.emplace_back(name);
    isChanged = true;
  }
  if (!isChanged) return;
  const std::uint16_t type = blocks->type;
  std::vector<unsigned char> bytes = parts->Bytes();
  directory.Remove(tag::kPhotoshopBlocks);
  if (!bytes.empty()) directory.Set(BytesTag(tag::kPhotoshopBlocks, type, std::move(bytes)));
}

}  // namespace

void MakeTrue(Metadata& metadata, NamedColors colors, const ColorChange& thumbnails,
              Names& dropped) {
  Directory& directory = metadata.directory;
  CorrectDirectory(directory, colors, metadata.order, dropped);
  CorrectThumbnail(metadata, colors, thumbnails, dropped);
  // Exif, profiles and the like in the coding of another program.
  std::erase_if(metadata.comments, [&dropped](const Comment& comment) {
    if (!comment.keyword.starts_with("Raw profile type ")) return false;
    if (comment.keyword.ends_with(" iptc")) return false;
    dropped.push_back("text " + comment.keyword);
    return true;
  });
  CorrectXmp(directory, dropped);
  CorrectPhotoshop(directory, colors, thumbnails, dropped);
}

}  // namespace kxcms::image
