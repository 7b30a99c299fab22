#include "tools/image/Metadata.h"

#include <algorithm>
#include <utility>

namespace kxcms::image {

namespace {

template <typename Tags>
auto FindIn(Tags& tags, std::uint16_t number) {
  const auto found = std::find_if(tags.begin(), tags.end(),
                                  [number](const Tag& tag) { return tag.number == number; });
  return found == tags.end() ? nullptr : &*found;
}

}  // namespace

const Tag* Directory::Find(std::uint16_t number) const {
  return FindIn(tags, number);
}

Tag* Directory::Find(std::uint16_t number) {
  return FindIn(tags, number);
}

bool Directory::Remove(std::uint16_t number) {
  return std::erase_if(tags, [number](const Tag& tag) { return tag.number == number; }) +
             std::erase_if(subDirectories,
                           [number](const SubDirectory& sub) { return sub.pointer == number; }) >
         0;
}

void Directory::Set(Tag tag) {
  Remove(tag.number);
  tags.push_back(std::move(tag));
}

unsigned TypeBytes(std::uint16_t type) {
  switch (type) {
    case kByte:
    case kAscii:
    case kSByte:
    case kUndefined:
      return 1;
    case kShort:
    case kSShort:
      return 2;
    case kLong:
    case kSLong:
    case kFloat:
    case kIfd:
      return 4;
    case kRational:
    case kSRational:
    case kDouble:
    case kLong8:
    case kSLong8:
    case kIfd8:
      return 8;
    default:
      return 0;
  }
}

std::uint64_t NumberAt(const unsigned char* bytes, unsigned size, ByteOrder order) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < size; ++i) {
    value = value << 8 | bytes[order == ByteOrder::kBig ? i : size - 1 - i];
  }
  return value;
}

void AppendNumber(std::vector<unsigned char>& bytes, std::uint64_t value, unsigned size,
                  ByteOrder order) {
  for (unsigned i = 0; i < size; ++i) {
    const unsigned shift = 8 * (order == ByteOrder::kBig ? size - 1 - i : i);
    bytes.push_back(static_cast<unsigned char>(value >> shift));
  }
}

std::optional<std::uint64_t> UnsignedItem(const Tag& tag, std::uint64_t index, ByteOrder order) {
  switch (tag.type) {
    case kByte:
    case kShort:
    case kLong:
    case kIfd:
    case kLong8:
    case kIfd8:
      break;
    default:
      return std::nullopt;
  }
  const unsigned size = TypeBytes(tag.type);
  if (index >= tag.count || index >= tag.bytes.size() / size) return std::nullopt;
  return NumberAt(tag.bytes.data() + index * size, size, order);
}

Tag NumbersTag(std::uint16_t number, std::uint16_t type, const std::vector<std::uint64_t>& values,
               ByteOrder order) {
  Tag tag{number, type, values.size(), {}};
  tag.bytes.reserve(values.size() * TypeBytes(type));
  for (const std::uint64_t value : values) {
    AppendNumber(tag.bytes, value, TypeBytes(type), order);
  }
  return tag;
}

Tag BytesTag(std::uint16_t number, std::uint16_t type, std::vector<unsigned char> bytes) {
  const std::uint64_t count = bytes.size();
  return {number, type, count, std::move(bytes)};
}

}  // namespace kxcms::image
