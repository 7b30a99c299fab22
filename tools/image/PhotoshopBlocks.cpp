#include "tools/image/PhotoshopBlocks.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/Bytes.h"
#include "tools/image/Metadata.h"

namespace kxcms::image {

namespace {

constexpr std::string_view kSignature = "8BIM";

/// Behind number and name: the size, the data, and a byte where they are odd.
void AppendData(std::vector<unsigned char>& bytes, std::span<const unsigned char> data) {
  AppendNumber(bytes, data.size(), 4, ByteOrder::kBig);
  bytes.insert(bytes.end(), data.begin(), data.end());
  if (data.size() % 2 != 0) bytes.push_back(0);
}

}  // namespace

std::optional<PhotoshopBlocks> PhotoshopBlocks::Parse(std::span<const unsigned char> bytes) {
  PhotoshopBlocks parsed;
  const BigEndianView view(bytes);
  std::uint64_t at = 0;
  // Writers fill the end up with zeros.
  const auto isZero = [](unsigned char byte) { return byte == 0; };
  while (!std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(), isZero)) {
    // signature 4, number 2, name with its length in the first byte, size 4, data; both padded
    constexpr std::uint64_t kNameAt = 6;
    if (!view.Holds(at, kNameAt + 2 + 4)) return std::nullopt;
    const bool isLetters = std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                                       [](unsigned char c) { return c >= '0' && c <= 'z'; });
    const std::uint64_t name = (view.U8(at + kNameAt) + std::uint64_t{2}) / 2 * 2;
    const std::uint64_t sizeAt = at + kNameAt + name;
    if (!isLetters || !view.Holds(sizeAt, 4)) return std::nullopt;
    const std::uint64_t size = view.U32(sizeAt);
    if (!view.Holds(sizeAt + 4, size)) return std::nullopt;
    const std::uint64_t end = std::min<std::uint64_t>(sizeAt + 4 + size + size % 2, bytes.size());
    const auto block = bytes.subspan(at, end - at);
    parsed.blocks_.push_back({view.U16(at + 4),
                              static_cast<std::size_t>(sizeAt + 4 - at),
                              static_cast<std::size_t>(size),
                              {block.begin(), block.end()}});
    if (block.size() % 2 != 0) parsed.blocks_.back().bytes.push_back(0);
    at = end;
  }
  return parsed;
}

bool PhotoshopBlocks::Has(std::uint16_t number) const {
  return std::any_of(blocks_.begin(), blocks_.end(),
                     [number](const Block& block) { return block.number == number; });
}

std::vector<unsigned char> PhotoshopBlocks::Data(std::uint16_t number) const {
  for (const Block& block : blocks_) {
    if (block.number != number) continue;
    const auto begin = block.bytes.begin() + static_cast<std::ptrdiff_t>(block.dataAt);
    return {begin, begin + static_cast<std::ptrdiff_t>(block.dataBytes)};
  }
  return {};
}

std::size_t PhotoshopBlocks::ChangeAll(std::uint16_t number, const Change& change) {
  return std::erase_if(blocks_, [&](Block& block) {
    if (block.number != number) return false;
    const std::span<const unsigned char> all(block.bytes);
    const std::optional<std::vector<unsigned char>> data =
        change(all.subspan(block.dataAt, block.dataBytes));
    if (!data) return true;
    constexpr std::size_t kSizeBytes = 4;
    block.bytes.resize(block.dataAt - kSizeBytes);
    AppendData(block.bytes, *data);
    block.dataBytes = data->size();
    return false;
  });
}

bool PhotoshopBlocks::Remove(std::uint16_t number) {
  return std::erase_if(blocks_, [number](const Block& block) { return block.number == number; }) >
         0;
}

void PhotoshopBlocks::Add(std::uint16_t number, std::span<const unsigned char> data) {
  constexpr std::size_t kDataAt = 12;  // without a name
  Block block{number, kDataAt, data.size(), {kSignature.begin(), kSignature.end()}};
  AppendNumber(block.bytes, number, 2, ByteOrder::kBig);
  AppendNumber(block.bytes, 0, 2, ByteOrder::kBig);
  AppendData(block.bytes, data);
  blocks_.push_back(std::move(block));
}

std::vector<unsigned char> PhotoshopBlocks::Bytes() const {
  std::vector<unsigned char> bytes;
  for (const Block& block : blocks_) {
    bytes.insert(bytes.end(), block.bytes.begin(), block.bytes.end());
  }
  return bytes;
}

}  // namespace kxcms::image
