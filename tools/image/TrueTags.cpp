#include "tools/image/TrueTags.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>
#include <utility>

#include "tools/image/PhotoshopBlocks.h"
#include "tools/image/TagNumbers.h"

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

/// The prefix that a packet gives a name space, or nothing.
std::string PrefixOf(std::string_view packet, std::string_view space) {
  for (std::size_t at = packet.find(space); at != std::string_view::npos;
       at = packet.find(space, at + 1)) {
    // xmlns:prefix="space"
    constexpr std::string_view kDeclaration = "xmlns:";
    const char quote = at > 0 ? packet[at - 1] : ' ';
    const std::size_t end = at + space.size();
    if ((quote != '"' && quote != '\'') || end >= packet.size() || packet[end] != quote) continue;
    const std::string_view before = packet.substr(0, at - 1);
    const std::size_t start = before.rfind(kDeclaration);
    const std::size_t equals = before.find_last_of('=');
    if (start == std::string_view::npos || equals == std::string_view::npos || equals < start) {
      continue;
    }
    std::string_view prefix =
        before.substr(start + kDeclaration.size(), equals - start - kDeclaration.size());
    while (!prefix.empty() && std::isspace(static_cast<unsigned char>(prefix.back())) != 0) {
      prefix.remove_suffix(1);
    }
    return std::string(prefix);
  }
  return {};
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Takes a simple property out of a packet, written as attribute or element. @return whether it was
/// there.
bool RemoveProperty(std::string& packet, const std::string& name) {
  bool isFound = false;
  for (std::size_t at = packet.find(name); at != std::string::npos; at = packet.find(name, at)) {
    const std::size_t behind = at + name.size();
    if (at > 0 && packet[at - 1] == '<') {
      const std::string endTag = "</" + name;
      const std::size_t open = packet.find('>', behind);
      const bool isEmpty = open != std::string::npos && packet[open - 1] == '/';
      const std::size_t close = isEmpty ? open : packet.find(endTag, behind);
      const std::size_t end =
          close == std::string::npos ? std::string::npos : packet.find('>', close);
      if (end != std::string::npos) {
        packet.erase(at - 1, end + 1 - (at - 1));
        isFound = true;
        continue;
      }
    } else if (at > 0 && IsSpace(packet[at - 1])) {
      std::size_t value = behind;
      while (value < packet.size() && (IsSpace(packet[value]) || packet[value] == '=')) ++value;
      if (value > behind && value < packet.size() &&
          (packet[value] == '"' || packet[value] == '\'')) {
        const std::size_t end = packet.find(packet[value], value + 1);
        if (end != std::string::npos) {
          packet.erase(at, end + 1 - at);
          isFound = true;
          continue;
        }
      }
    }
    at = behind;
  }
  return isFound;
}

void CorrectXmp(Directory& directory, Names& dropped) {
  Tag* const xmp = directory.Find(tag::kXmp);
  if (xmp == nullptr || TypeBytes(xmp->type) != 1) return;
  std::string packet(xmp->bytes.begin(), xmp->bytes.end());
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
  };
  bool isChanged = false;
  for (const auto& [space, property, name] : kOld) {
    const std::string prefix = PrefixOf(packet, space);
    if (prefix.empty() || !RemoveProperty(packet, prefix + ":" + property)) continue;
    dropped.emplace_back(name);
    isChanged = true;
  }
  if (isChanged) {
    directory.Set(BytesTag(tag::kXmp, xmp->type, {packet.begin(), packet.end()}));
  }
}

void CorrectPhotoshop(Directory& directory, Names& dropped) {
  const Tag* const blocks = directory.Find(tag::kPhotoshopBlocks);
  if (blocks == nullptr) return;
  const std::pair<std::uint16_t, const char*> kOld[] = {
      {PhotoshopBlocks::kThumbnail4, "Photoshop's thumbnail"},
      {PhotoshopBlocks::kThumbnail, "Photoshop's thumbnail"},
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
  bool isChanged = false;
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

void MakeTrue(Metadata& metadata, NamedColors colors, Names& dropped) {
  Directory& directory = metadata.directory;
  RemoveOldColors(directory, dropped);
  if (SubDirectory* const exif = FindSub(directory, tag::kExifIfd)) {
    CorrectExif(exif->directory, colors, metadata.order, dropped);
  }
  CorrectXmp(directory, dropped);
  CorrectPhotoshop(directory, dropped);
}

}  // namespace kxcms::image
