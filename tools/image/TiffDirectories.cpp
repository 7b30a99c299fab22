#include "tools/image/TiffDirectories.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

namespace {

// Exif, its interoperability directory, and room for what makers nest.
constexpr unsigned kDeepest = 4;

bool PointsAtDirectory(const Tag& tag) {
  switch (tag.number) {
    case tag::kExifIfd:
    case tag::kGpsIfd:
    case tag::kInteroperabilityIfd:
      return true;
    case tag::kSubIfds:
      return false;  // other pages
    default:
      return tag.type == kIfd || tag.type == kIfd8;
  }
}

}  // namespace

TiffDirectories::TiffDirectories(const InputBytes& bytes)
    : bytes_(bytes), budget_(kMostShared + 2 * bytes.size()) {
  unsigned char header[4];
  if (!bytes.Holds(0, 8)) RefuseDamaged("cut off");
  bytes.Read(0, header, sizeof header);
  order_ = header[0] == 'M' ? ByteOrder::kBig : ByteOrder::kLittle;
  const std::uint64_t version = NumberAt(header + 2, 2, order_);
  if (header[0] != header[1] || (header[0] != 'I' && header[0] != 'M') ||
      (version != 42 && version != 43)) {
    RefuseDamaged("no TIFF header");
  }
  isBig_ = version == 43;
  if (isBig_ && (Number(4, 2) != 8 || Number(6, 2) != 0)) {
    RefuseDamaged("a BigTIFF header of another form");
  }
  first_ = isBig_ ? Number(8, 8) : Number(4, 4);
}

std::uint64_t TiffDirectories::Number(std::uint64_t at, unsigned size) const {
  unsigned char number[8];
  if (!bytes_.Holds(at, size)) RefuseDamaged("cut off");
  bytes_.Read(at, number, size);
  return NumberAt(number, size, order_);
}

void TiffDirectories::Spend(std::uint64_t bytes) {
  if (bytes > budget_) RefuseDamaged("its tags claim more than the file can hold");
  budget_ -= bytes;
}

TiffDirectories::Raw TiffDirectories::Read(std::uint64_t position) {
  if (!seen_.insert(position).second) RefuseDamaged("its directories go round in a circle");
  const unsigned countBytes = isBig_ ? 8 : 2;
  const unsigned wordBytes = isBig_ ? 8 : 4;  // of a count, an offset, a value in its entry
  const unsigned entryBytes = 4 + 2 * wordBytes;
  const std::uint64_t count = Number(position, countBytes);
  const std::uint64_t start = position + countBytes;
  if (count > (bytes_.size() - start) / entryBytes) RefuseDamaged("cut off");
  if (count == 0) RefuseDamaged("an image without tags");
  const std::uint64_t size = count * entryBytes;
  if (!bytes_.Holds(start, size + wordBytes)) RefuseDamaged("cut off");
  Spend(2 * size);
  std::vector<unsigned char> entries(size);
  bytes_.Read(start, entries.data(), entries.size());

  Raw raw;
  raw.next = Number(start + size, wordBytes);
  std::set<std::uint16_t> numbers;
  for (std::uint64_t i = 0; i < count; ++i) {
    const unsigned char* const entry = entries.data() + i * entryBytes;
    Tag tag{static_cast<std::uint16_t>(NumberAt(entry, 2, order_)),
            static_cast<std::uint16_t>(NumberAt(entry + 2, 2, order_)),
            NumberAt(entry + 4, wordBytes, order_),
            {}};
    if (!numbers.insert(tag.number).second) {
      RefuseDamaged("tag " + std::to_string(tag.number) + " stands twice");
    }
    const unsigned itemBytes = TypeBytes(tag.type);
    if (itemBytes == 0) {
      raw.unknownTypes.push_back(tag.number);
      continue;
    }
    const unsigned char* const value = entry + 4 + wordBytes;
    if (tag.count <= wordBytes / itemBytes) {
      tag.bytes.assign(value, value + tag.count * itemBytes);
    } else {
      const std::uint64_t at = NumberAt(value, wordBytes, order_);
      if (tag.count > bytes_.size() / itemBytes || !bytes_.Holds(at, tag.count * itemBytes)) {
        RefuseDamaged("the data of tag " + std::to_string(tag.number) + " lie outside the file");
      }
      // Layers can be most of a file, and nobody can convert them.
      if (tag.number != tag::kPhotoshopLayers) {
        Spend(tag.count * itemBytes);
        tag.bytes.resize(tag.count * itemBytes);
        bytes_.Read(at, tag.bytes.data(), tag.bytes.size());
      }
    }
    raw.tags.push_back(std::move(tag));
  }
  return raw;
}

Directory TiffDirectories::WithSubDirectories(Raw raw, std::vector<std::string>& dropped,
                                              unsigned depth) {
  Directory directory;
  for (const std::uint16_t number : raw.unknownTypes) {
    dropped.push_back("tag " + std::to_string(number) + " of an unknown type");
  }
  for (Tag& tag : raw.tags) {
    if (!PointsAtDirectory(tag)) {
      directory.tags.push_back(std::move(tag));
      continue;
    }
    const std::optional<std::uint64_t> position = UnsignedItem(tag, 0, order_);
    if (!position || tag.count != 1) {
      RefuseDamaged("tag " + std::to_string(tag.number) + " does not point at a directory");
    }
    if (depth == kDeepest) RefuseDamaged("directories nested too deeply");
    directory.subDirectories.push_back(
        {tag.number, tag.type, WithSubDirectories(Read(*position), dropped, depth + 1)});
  }
  return directory;
}

}  // namespace kxcms::image
