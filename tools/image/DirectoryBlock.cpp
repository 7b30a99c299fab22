#include "tools/image/DirectoryBlock.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/Thumbnails.h"

namespace kxcms::image {

namespace {

constexpr std::uint64_t kMostInLong = 0xFFFF'FFFF;

/// A tag of 64-bit numbers as one of 32 bits, which TIFF 6.0 knows; none if they are too large.
std::optional<Tag> Narrowed(const Tag& tag, ByteOrder order) {
  const bool isSigned = tag.type == kSLong8;
  Tag narrow{tag.number, static_cast<std::uint16_t>(isSigned ? kSLong : kLong), tag.count, {}};
  if (tag.type == kIfd8) narrow.type = kIfd;
  for (std::size_t at = 0; at + 8 <= tag.bytes.size(); at += 8) {
    const std::uint64_t value = NumberAt(tag.bytes.data() + at, 8, order);
    const auto number = static_cast<std::int64_t>(value);
    const bool fits = isSigned ? number >= std::numeric_limits<std::int32_t>::min() &&
                                     number <= std::numeric_limits<std::int32_t>::max()
                               : value <= kMostInLong;
    if (!fits) return std::nullopt;
    AppendNumber(narrow.bytes, value, 4, order);
  }
  return narrow;
}

}  // namespace

void DirectoryBlock::Align() {
  if (bytes_.size() % 2 != 0) bytes_.push_back(0);
}

std::uint64_t DirectoryBlock::Append(Directory directory, std::vector<std::string>& dropped) {
  for (SubDirectory& sub : directory.subDirectories) {
    const std::uint64_t position = Append(std::move(sub.directory), dropped);
    if (position == 0) continue;
    // A pointer keeps its type where that can hold the position.
    const bool isWide = position > kMostInLong || sub.type == kLong8 || sub.type == kIfd8;
    const bool isIfd = sub.type == kIfd || sub.type == kIfd8;
    const auto type = isBig_ && isWide ? (isIfd ? kIfd8 : kLong8) : (isIfd ? kIfd : kLong);
    directory.tags.push_back(NumbersTag(sub.pointer, type, {position}, order_));
  }
  std::vector<Tag> tags;
  for (Tag& tag : directory.tags) {
    if (tag.bytes.empty()) {
      // TIFF 6.0 knows no tags without a value.
      dropped.push_back("tag " + std::to_string(tag.number) + " (empty)");
    } else if (isBig_ || tag.type < kLong8) {
      tags.push_back(std::move(tag));
    } else if (std::optional<Tag> narrow = Narrowed(tag, order_)) {
      tags.push_back(std::move(*narrow));
    } else {
      dropped.push_back("tag " + std::to_string(tag.number) + " (of 64 bits)");
    }
  }
  if (tags.empty()) return 0;
  std::sort(tags.begin(), tags.end(),
            [](const Tag& one, const Tag& other) { return one.number < other.number; });

  std::vector<unsigned char> entries;
  AppendNumber(entries, tags.size(), isBig_ ? 8 : 2, order_);
  for (const Tag& tag : tags) {
    AppendNumber(entries, tag.number, 2, order_);
    AppendNumber(entries, tag.type, 2, order_);
    AppendNumber(entries, tag.count, WordBytes(), order_);
    if (tag.bytes.size() <= WordBytes()) {
      entries.insert(entries.end(), tag.bytes.begin(), tag.bytes.end());
      entries.insert(entries.end(), WordBytes() - tag.bytes.size(), 0);
      continue;
    }
    Align();
    AppendNumber(entries, end(), WordBytes(), order_);
    bytes_.insert(bytes_.end(), tag.bytes.begin(), tag.bytes.end());
  }
  AppendNumber(entries, 0, WordBytes(), order_);
  Align();
  const std::uint64_t position = end();
  bytes_.insert(bytes_.end(), entries.begin(), entries.end());
  if (!isBig_ && end() > kMostInLong) {
    throw ImageError(ImageError::Kind::kUnwritable, std::string(kTooLargeForTiff));
  }
  return position;
}

std::uint64_t DirectoryBlock::AppendData(std::span<const unsigned char> data) {
  Align();
  const std::uint64_t position = end();
  bytes_.insert(bytes_.end(), data.begin(), data.end());
  return position;
}

void DirectoryBlock::Link(std::uint64_t before, std::uint64_t position) {
  const std::size_t at = before - base_;
  const std::uint64_t count = NumberAt(bytes_.data() + at, isBig_ ? 8 : 2, order_);
  const std::size_t next = at + (isBig_ ? 8 + 20 * count : 2 + 12 * count);
  std::vector<unsigned char> number;
  AppendNumber(number, position, WordBytes(), order_);
  std::copy(number.begin(), number.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(next));
}

std::vector<unsigned char> TiffHeader(ByteOrder order, bool isBig, std::uint64_t firstDirectory) {
  const unsigned char mark = order == ByteOrder::kBig ? 'M' : 'I';
  std::vector<unsigned char> header = {mark, mark};
  AppendNumber(header, isBig ? 43 : 42, 2, order);
  if (isBig) {
    AppendNumber(header, 8, 2, order);
    AppendNumber(header, 0, 2, order);
  }
  AppendNumber(header, firstDirectory, isBig ? 8 : 4, order);
  return header;
}

std::vector<unsigned char> WriteExif(const Metadata& metadata, std::vector<std::string>& dropped) {
  constexpr std::uint64_t kHeaderBytes = 8;
  const ByteOrder order = metadata.order;
  DirectoryBlock block(order, false, kHeaderBytes);
  const std::uint64_t first = block.Append(metadata.directory, dropped);
  if (first == 0) {
    if (metadata.thumbnail) dropped.emplace_back("thumbnail");
    return {};
  }
  if (metadata.thumbnail) {
    block.Link(first, AppendThumbnail(*metadata.thumbnail, order, block, dropped));
  }
  std::vector<unsigned char> bytes = TiffHeader(order, false, first);
  bytes.insert(bytes.end(), block.bytes().begin(), block.bytes().end());
  return bytes;
}

}  // namespace kxcms::image
