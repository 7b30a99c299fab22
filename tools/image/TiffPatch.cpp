#include "tools/image/TiffPatch.h"

#include <algorithm>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

namespace {

constexpr std::uint64_t kMostInLong = 0xFFFF'FFFF;

unsigned EntryBytes(bool isBig) {
  return isBig ? 20 : 12;
}

std::uint64_t Even(std::uint64_t at) {
  return at + at % 2;
}

}  // namespace

TiffPatch::TiffPatch(const InputBytes& bytes, ByteOrder order, bool isBig,
                     std::vector<Region> taken, Write write)
    : bytes_(bytes), order_(order), isBig_(isBig), write_(std::move(write)), end_(bytes.size()) {
  std::sort(taken.begin(), taken.end(),
            [](const Region& one, const Region& other) { return one.begin < other.begin; });
  std::pair<std::uint64_t, std::uint64_t> largest = {0, 0};
  for (const Region& region : taken) {
    begins_.push_back(region.begin);
    if (region.end > largest.first) {
      largest = {region.end, largest.first};
    } else {
      largest.second = std::max(largest.second, region.end);
    }
    ends_.push_back(largest);
  }
}

std::vector<TiffPatch::Entry> TiffPatch::ReadEntries(const InputBytes& bytes, ByteOrder order,
                                                     bool isBig, std::uint64_t position) {
  const unsigned countBytes = isBig ? 8 : 2;
  const unsigned wordBytes = isBig ? 8 : 4;
  unsigned char number[8];
  bytes.Read(position, number, countBytes);
  const std::uint64_t count = NumberAt(number, countBytes, order);
  std::vector<unsigned char> raw(count * EntryBytes(isBig));
  bytes.Read(position + countBytes, raw.data(), raw.size());
  std::vector<Entry> entries;
  for (std::size_t at = 0; at < raw.size(); at += EntryBytes(isBig)) {
    const unsigned char* const entry = raw.data() + at;
    const unsigned char* const word = entry + 4 + wordBytes;
    entries.push_back({static_cast<std::uint16_t>(NumberAt(entry, 2, order)),
                       static_cast<std::uint16_t>(NumberAt(entry + 2, 2, order)),
                       NumberAt(entry + 4, wordBytes, order),
                       {word, word + wordBytes}});
  }
  return entries;
}

std::vector<Region> TiffPatch::Places(const std::vector<Entry>& entries, ByteOrder order,
                                      bool isBig, std::uint64_t position) {
  const std::uint64_t wordBytes = isBig ? 8 : 4;
  std::vector<Region> places = {
      {position, position + (isBig ? 8 : 2) + entries.size() * EntryBytes(isBig) + wordBytes}};
  for (const Entry& entry : entries) {
    const std::uint64_t size = entry.count * TypeBytes(entry.type);
    if (size <= wordBytes) continue;
    const std::uint64_t at = NumberAt(entry.word.data(), static_cast<unsigned>(wordBytes), order);
    places.push_back({at, at + size});
  }
  return places;
}

std::uint64_t TiffPatch::DirectoryBytes(std::size_t entries) const {
  return CountBytes() + entries * EntryBytes(isBig_) + WordBytes();
}

std::optional<Region> TiffPatch::ValueOf(const Entry& entry) const {
  const std::uint64_t size = entry.count * TypeBytes(entry.type);
  if (size <= WordBytes()) return std::nullopt;
  const std::uint64_t at = NumberAt(entry.word.data(), WordBytes(), order_);
  return Region{at, at + size};
}

bool TiffPatch::IsAlone(const Region& region) const {
  // Of the regions that begin before its end, itself among them, one alone may end behind its
  // beginning.
  const auto behind = std::lower_bound(begins_.begin(), begins_.end(), region.end);
  if (behind == begins_.begin()) return true;
  return ends_[static_cast<std::size_t>(behind - begins_.begin()) - 1].second <= region.begin;
}

void TiffPatch::Release(const Region& region) {
  if (!IsAlone(region)) return;
  if (region.end == end_) {
    end_ = region.begin;
    return;
  }
  const std::vector<unsigned char> zeros(static_cast<std::size_t>(region.end - region.begin));
  write_(region.begin, zeros);
  holes_[region.begin] = region.end;
  // Each page looks through all of them; files have very many pages.
  constexpr std::size_t kMostHoles = 64;
  if (holes_.size() > kMostHoles) holes_.erase(holes_.begin());
}

std::uint64_t TiffPatch::Allocate(std::uint64_t size) {
  for (auto hole = holes_.begin(); hole != holes_.end(); ++hole) {
    const auto [begin, end] = *hole;
    const std::uint64_t at = Even(begin);
    if (at > end || size > end - at) continue;
    holes_.erase(hole);
    if (at + size < end) holes_[at + size] = end;
    return at;
  }
  if (end_ % 2 != 0) write_(end_, std::vector<unsigned char>(1));
  const std::uint64_t at = Even(end_);
  end_ = at + size;
  return at;
}

TiffPatch::Placed TiffPatch::PlacedAt(std::uint64_t position,
                                      const std::vector<Entry>& entries) const {
  Placed placed;
  std::uint64_t at = position + CountBytes();
  for (const Entry& entry : entries) {
    const std::optional<Region> value = ValueOf(entry);
    placed.valueAt[entry.number] = value ? value->begin : at + 4 + WordBytes();
    at += EntryBytes(isBig_);
  }
  placed.nextAt = at;
  return placed;
}

TiffPatch::Placed TiffPatch::Change(std::uint64_t position, const Pointer& pointer,
                                    const Changes& changes) {
  std::vector<Entry> entries = ReadEntries(bytes_, order_, isBig_, position);
  if (changes.empty()) return PlacedAt(position, entries);
  const Region old = {position, position + DirectoryBytes(entries.size())};
  unsigned char next[8];
  bytes_.Read(old.end - WordBytes(), next, WordBytes());

  for (const Entry& entry : entries) {
    const std::optional<Region> value = ValueOf(entry);
    if (value && changes.count(entry.number) != 0) Release(*value);
  }
  std::erase_if(entries, [&](const Entry& entry) {
    const auto change = changes.find(entry.number);
    return change != changes.end() && !change->second;
  });

  // The directory before its values: it often stands at the end, and so it stays there when a value
  // is taken out again.
  std::size_t count = entries.size();
  for (const auto& [number, tag] : changes) {
    const auto isIt = [number = number](const Entry& entry) { return entry.number == number; };
    if (tag && std::none_of(entries.begin(), entries.end(), isIt)) ++count;
  }
  const std::uint64_t size = DirectoryBytes(count);
  std::uint64_t place = position;
  if (!IsAlone(old) || size > old.end - old.begin) {
    Release(old);
    place = Allocate(size);
    if (pointer.size < 8 && place >> (8 * pointer.size) != 0) {
      throw ImageError(ImageError::Kind::kUnwritable,
                       "a directory would stand where its pointer does not reach");
    }
    std::vector<unsigned char> number;
    AppendNumber(number, place, pointer.size, order_);
    write_(pointer.at, number);
  } else if (size < old.end - old.begin) {
    Release({position + size, old.end});
  }

  for (const auto& [number, tag] : changes) {
    if (!tag) continue;
    Entry entry{number, tag->type, tag->count, tag->bytes};
    if (entry.word.size() > WordBytes()) {
      const std::uint64_t at = Allocate(tag->bytes.size());
      write_(at, tag->bytes);
      entry.word.clear();
      AppendNumber(entry.word, at, WordBytes(), order_);
    }
    entry.word.resize(WordBytes());
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& other) {
      return other.number >= entry.number;
    });
    if (found != entries.end() && found->number == entry.number) {
      *found = std::move(entry);
    } else {
      entries.insert(found, std::move(entry));
    }
  }

  std::vector<unsigned char> directory;
  AppendNumber(directory, entries.size(), CountBytes(), order_);
  for (const Entry& entry : entries) {
    AppendNumber(directory, entry.number, 2, order_);
    AppendNumber(directory, entry.type, 2, order_);
    AppendNumber(directory, entry.count, WordBytes(), order_);
    directory.insert(directory.end(), entry.word.begin(), entry.word.end());
  }
  directory.insert(directory.end(), next, next + WordBytes());
  write_(place, directory);
  return PlacedAt(place, entries);
}

std::uint64_t TiffPatch::End() const {
  if (!isBig_ && end_ > kMostInLong) {
    throw ImageError(ImageError::Kind::kUnwritable, std::string(kTooLargeForTiff));
  }
  return end_;
}

}  // namespace kxcms::image
