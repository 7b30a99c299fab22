#include "tools/image/TiffProfile.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

namespace {

constexpr std::uint16_t kInkSet = 332;  // TIFF 6.0, section 16

const Tag* Find(const TiffDirectories::Raw& raw, std::uint16_t number) {
  const auto found = std::find_if(raw.tags.begin(), raw.tags.end(),
                                  [number](const Tag& tag) { return tag.number == number; });
  return found == raw.tags.end() ? nullptr : &*found;
}

std::vector<std::uint64_t> Numbers(const TiffDirectories::Raw& raw, std::uint16_t number,
                                   ByteOrder order) {
  std::vector<std::uint64_t> values;
  const Tag* const tag = Find(raw, number);
  if (tag == nullptr) return values;
  for (std::uint64_t i = 0; i < tag->count; ++i) {
    const std::optional<std::uint64_t> value = UnsignedItem(*tag, i, order);
    if (!value) RefuseDamaged("tag " + std::to_string(number) + " is not a number");
    values.push_back(*value);
  }
  return values;
}

std::uint64_t Number(const TiffDirectories::Raw& raw, std::uint16_t number, ByteOrder order,
                     std::uint64_t absent) {
  const std::vector<std::uint64_t> values = Numbers(raw, number, order);
  return values.empty() ? absent : values[0];
}

/// The colours of a page (TIFF 6.0, PhotometricInterpretation), and the data colour space of the
/// profiles that describe them (ICC.1:2010 B.4).
void SetColors(std::uint64_t photometric, std::uint64_t inkSet, ProfileEditor::Carrier& page) {
  constexpr std::uint64_t kCmyk = 1;
  const auto set = [&page](const char* kind, const char* space) {
    page.kind = kind;
    page.space = space;
  };
  switch (photometric) {
    case 0:  // white is 0
    case 1:  // black is 0
      return set("grey", "GRAY");
    case 2:
      return set("RGB", "RGB ");
    case 3:
      return set("palette colours", "RGB ");
    case 4:
      return set("a transparency mask", "");
    case 5:
      return inkSet == kCmyk ? set("CMYK", "CMYK") : set("inks other than CMYK", "");
    case 6:  // RGB in another coat
      return set("YCbCr", "RGB ");
    case 8:
    case 9:
    case 10:
      return set("Lab", "Lab ");
    default:
      page.kind = "colours of kind " + std::to_string(photometric);
  }
}

/// Adds what the directory at a position takes.
void AppendPlaces(const InputBytes& bytes, const TiffDirectories& directories,
                  std::uint64_t position, std::vector<Region>& taken) {
  const ByteOrder order = directories.order();
  const bool isBig = directories.isBig();
  const std::vector<Region> places = TiffPatch::Places(
      TiffPatch::ReadEntries(bytes, order, isBig, position), order, isBig, position);
  taken.insert(taken.end(), places.begin(), places.end());
}

/// What has to change for one to become the other; the directories below aside.
void AppendDifference(const Directory& before, const Directory& after,
                      TiffPatch::Changes& changes) {
  for (const Tag& tag : before.tags) {
    const Tag* const now = after.Find(tag.number);
    if (now == nullptr || now->bytes.empty()) {
      changes[tag.number] = std::nullopt;
    } else if (now->bytes != tag.bytes || now->type != tag.type) {
      changes[tag.number] = *now;
    }
  }
}

const Directory* FindBelow(const Directory& directory, std::uint16_t pointer) {
  for (const SubDirectory& sub : directory.subDirectories) {
    if (sub.pointer == pointer) return &sub.directory;
  }
  return nullptr;
}

void TakeClaims(const TiffDirectories::Raw& raw, std::initializer_list<std::uint16_t> numbers,
                Directory& to) {
  for (const std::uint16_t number : numbers) {
    if (const Tag* const tag = Find(raw, number)) to.tags.push_back(*tag);
  }
}

}  // namespace

ColorClaims ColorClaims::Read(TiffDirectories& directories, const InputBytes& bytes,
                              std::uint64_t at, const TiffDirectories::Raw& raw,
                              std::vector<Region>& taken) {
  const ByteOrder order = directories.order();
  const auto readBelow = [&](const TiffDirectories::Raw& above, std::uint16_t pointer,
                             std::optional<Below>& place) {
    std::optional<TiffDirectories::Raw> below;
    const Tag* const tag = Find(above, pointer);
    if (tag == nullptr) return below;
    const std::optional<std::uint64_t> there = UnsignedItem(*tag, 0, order);
    if (!there) {
      RefuseDamaged("tag " + std::to_string(pointer) + " does not point at a directory");
    }
    place = Below{*there, TypeBytes(tag->type)};
    below = directories.Read(*there);
    AppendPlaces(bytes, directories, *there, taken);
    return below;
  };
  ColorClaims found;
  found.position = at;
  found.claims.order = order;
  Directory& top = found.claims.directory;
  TakeClaims(raw,
             {tag::kTransferFunction, tag::kWhitePoint, tag::kPrimaryChromaticities,
              tag::kTransferRange, tag::kXmp},
             top);
  std::optional<Below> gps;
  readBelow(raw, tag::kGpsIfd, gps);
  const auto exif = readBelow(raw, tag::kExifIfd, found.exif);
  if (!exif) return found;
  SubDirectory exifClaims{tag::kExifIfd, kLong, {}};
  TakeClaims(*exif, {tag::kExifColorSpace, tag::kExifGamma}, exifClaims.directory);
  const auto interoperability = readBelow(*exif, tag::kInteroperabilityIfd, found.interoperability);
  if (interoperability) {
    SubDirectory sub{tag::kInteroperabilityIfd, kLong, {}};
    TakeClaims(*interoperability, {tag::kInteroperabilityIndex}, sub.directory);
    exifClaims.directory.subDirectories.push_back(std::move(sub));
  }
  top.subDirectories.push_back(std::move(exifClaims));
  return found;
}

TiffPatch::Placed ColorClaims::Correct(TiffPatch& patch, const TiffPatch::Pointer& pointer,
                                       NamedColors colors, TiffPatch::Changes own,
                                       EditNotes& notes) const {
  Metadata after = claims;
  MakeTrue(after, colors, nullptr, notes.removed);
  AppendDifference(claims.directory, after.directory, own);
  const TiffPatch::Placed placed = patch.Change(position, pointer, own);

  const Directory* const old = FindBelow(claims.directory, tag::kExifIfd);
  if (old == nullptr) return placed;
  const Directory& now = *FindBelow(after.directory, tag::kExifIfd);
  TiffPatch::Changes changes;
  AppendDifference(*old, now, changes);
  if (changes.count(tag::kExifColorSpace) != 0) notes.corrected.emplace_back("Exif's ColorSpace");
  const Directory* const oldIndex = FindBelow(*old, tag::kInteroperabilityIfd);
  const Directory* const nowIndex = FindBelow(now, tag::kInteroperabilityIfd);
  if (oldIndex != nullptr && nowIndex == nullptr) changes[tag::kInteroperabilityIfd] = std::nullopt;
  const TiffPatch::Placed exifPlaced =
      patch.Change(exif->position, {placed.valueAt.at(tag::kExifIfd), exif->pointerBytes}, changes);
  if (nowIndex == nullptr) return placed;
  TiffPatch::Changes index;
  AppendDifference(*oldIndex, *nowIndex, index);
  if (!index.empty()) notes.corrected.emplace_back("Exif's interoperability");
  patch.Change(interoperability->position,
               {exifPlaced.valueAt.at(tag::kInteroperabilityIfd), interoperability->pointerBytes},
               index);
  return placed;
}

std::optional<std::vector<unsigned char>> CorrectedExif(std::span<const unsigned char> block,
                                                        NamedColors colors, EditNotes& notes) {
  std::vector<unsigned char> result(block.begin(), block.end());
  const MemoryBytes bytes(block);
  EditNotes found = notes;
  try {
    TiffDirectories directories(bytes);
    const std::uint64_t first = directories.first();
    const TiffDirectories::Raw raw = directories.Read(first);
    constexpr std::uint64_t kHeaderBytes = 8, kFirstAt = 4;
    std::vector<Region> taken = {{0, kHeaderBytes}};
    AppendPlaces(bytes, directories, first, taken);
    const ColorClaims claims = ColorClaims::Read(directories, bytes, first, raw, taken);
    // The directory behind it is that of the thumbnail, which has the colours of the image.
    TiffPatch patch(bytes, directories.order(), false, std::move(taken),
                    [&result](std::uint64_t at, std::span<const unsigned char> part) {
                      result.resize(std::max<std::size_t>(result.size(), at + part.size()));
                      std::copy(part.begin(), part.end(),
                                result.begin() + static_cast<std::ptrdiff_t>(at));
                    });
    claims.Correct(patch, {kFirstAt, 4}, colors, {}, found);
    result.resize(static_cast<std::size_t>(patch.End()));
  } catch (const ImageError&) {
    notes.kept.emplace_back("Exif (damaged)");
    return std::nullopt;
  }
  notes = std::move(found);
  if (std::equal(result.begin(), result.end(), block.begin(), block.end())) return std::nullopt;
  return result;
}

TiffProfile::TiffProfile(const InputBytes& bytes) : bytes_(bytes), directories_(bytes) {
  if (directories_.first() == 0) RefuseDamaged("no image");
  taken_.push_back({0, directories_.isBig() ? 16u : 8u});
  for (std::uint64_t position = directories_.first(); position != 0; position = next_) {
    ReadPage(position, std::nullopt, 0);
  }
}

void TiffProfile::ReadPage(std::uint64_t position, std::optional<std::size_t> parent,
                           std::size_t ofParent) {
  constexpr std::size_t kDeepest = 4;
  std::size_t depth = 0;
  for (auto above = parent; above; above = pages_[*above].parent) ++depth;
  if (depth > kDeepest) RefuseDamaged("directories nested too deeply");

  const ByteOrder order = directories_.order();
  const TiffDirectories::Raw raw = directories_.Read(position);
  AppendPlaces(bytes_, directories_, position, taken_);
  for (const auto& [offsetsTag, sizesTag] :
       {std::pair(tag::kStripOffsets, tag::kStripByteCounts),
        std::pair(tag::kTileOffsets, tag::kTileByteCounts),
        std::pair(tag::kThumbnailOffset, tag::kThumbnailBytes)}) {
    const std::vector<std::uint64_t> offsets = Numbers(raw, offsetsTag, order);
    const std::vector<std::uint64_t> sizes = Numbers(raw, sizesTag, order);
    for (std::size_t i = 0; i < std::min(offsets.size(), sizes.size()); ++i) {
      if (bytes_.Holds(offsets[i], sizes[i])) {
        taken_.push_back({offsets[i], offsets[i] + sizes[i]});
      }
    }
  }

  Carrier page;
  Place place;
  page.parent = parent;
  constexpr std::uint64_t kUnknown = 0xFFFF, kReducedOrMask = Page::kReduced | Page::kMask;
  page.isCopy = (Number(raw, tag::kNewSubfileType, order, 0) & kReducedOrMask) != 0;
  SetColors(Number(raw, tag::kPhotometric, order, kUnknown), Number(raw, kInkSet, order, 1), page);
  if (const Tag* const profile = Find(raw, tag::kIccProfile)) page.profile = profile->bytes;
  if (const Tag* const blocks = Find(raw, tag::kPhotoshopBlocks)) place.photoshop = *blocks;
  if (const Tag* const subs = Find(raw, tag::kSubIfds)) place.subWordBytes = TypeBytes(subs->type);
  place.ofParent = ofParent;
  place.colors = ColorClaims::Read(directories_, bytes_, position, raw, taken_);
  const std::size_t index = pages_.size();
  pages_.push_back(std::move(page));
  places_.push_back(std::move(place));
  const std::vector<std::uint64_t> subPages = Numbers(raw, tag::kSubIfds, order);
  for (std::size_t i = 0; i < subPages.size(); ++i) ReadPage(subPages[i], index, i);
  // SubIFDs form no chain of their own.
  next_ = raw.next;
}

std::uint64_t TiffProfile::Write(const std::vector<unsigned char>* profile, NamedColors colors,
                                 OutputBytes& to, EditNotes& notes) const {
  CopyBytes(bytes_, 0, bytes_.size(), to, 0);
  TiffPatch patch(bytes_, directories_.order(), directories_.isBig(), taken_,
                  [&to](std::uint64_t at, std::span<const unsigned char> bytes) {
                    to.Write(at, bytes.data(), bytes.size());
                    to.Check();
                  });
  std::vector<std::uint64_t> subPagesAt;  // for each page, where its pointers to them stand
  const unsigned wordBytes = directories_.isBig() ? 8 : 4;
  std::uint64_t chainAt = wordBytes;  // in the header, too, it is the second word
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    const Carrier& page = pages_[i];
    const Place& place = places_[i];
    TiffPatch::Pointer pointer = {chainAt, wordBytes};
    if (page.parent) {
      const unsigned size = places_[*page.parent].subWordBytes;
      pointer = {subPagesAt[*page.parent] + place.ofParent * size, size};
    }
    TiffPatch::Changes changes;
    const bool isTagged = profile != nullptr && page.FitsProfile(*profile);
    if (isTagged && page.profile != *profile) {
      changes[tag::kIccProfile] = BytesTag(tag::kIccProfile, kUndefined, *profile);
    }
    if (profile == nullptr && page.profile) changes[tag::kIccProfile] = std::nullopt;
    if (place.photoshop && (isTagged || profile == nullptr)) {
      if (auto blocks = CorrectedPhotoshop(place.photoshop->bytes, isTagged, notes)) {
        std::optional<Tag>& change = changes[tag::kPhotoshopBlocks];
        if (!blocks->empty()) {
          change = BytesTag(tag::kPhotoshopBlocks, place.photoshop->type, std::move(*blocks));
        }
      }
    }
    const TiffPatch::Placed placed =
        isTagged ? place.colors.Correct(patch, pointer, colors, std::move(changes), notes)
                 : patch.Change(place.colors.position, pointer, changes);
    const auto subPages = placed.valueAt.find(tag::kSubIfds);
    subPagesAt.push_back(subPages == placed.valueAt.end() ? 0 : subPages->second);
    if (!page.parent) chainAt = placed.nextAt;
  }
  return patch.End();
}

}  // namespace kxcms::image
