#include "tools/image/JpegProfile.h"

#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/JpegMarkers.h"
#include "tools/image/TiffProfile.h"

namespace kxcms::image {

namespace {

using Bytes = std::vector<unsigned char>;

// ITU-T T.81, table B.1.
constexpr unsigned kStartOfScan = 0xDA, kEndOfImage = 0xD9, kApplication0 = 0xE0;
// CIPA DC-007: where further pictures stand behind the first one.
constexpr std::string_view kPicturesMark("MPF\0", 4);

// Far above all real files.
constexpr std::size_t kMostSegments = 1u << 16;

bool IsStartOfFrame(unsigned marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

void AppendSegment(Bytes& to, unsigned marker, std::string_view mark,
                   std::span<const unsigned char> content) {
  constexpr std::size_t kCountBytes = 2;
  if (mark.size() + content.size() > kMostInMarker) {
    throw ImageError(ImageError::Kind::kUnwritable, "what a JPEG marker shall hold is too large");
  }
  AppendNumber(to, 0xFF00 | marker, 2, ByteOrder::kBig);
  AppendNumber(to, kCountBytes + mark.size() + content.size(), kCountBytes, ByteOrder::kBig);
  to.insert(to.end(), mark.begin(), mark.end());
  to.insert(to.end(), content.begin(), content.end());
}

/// The segments of a profile (ICC.1:2010 B.4): each says which of how many it is.
Bytes ProfileSegments(const Bytes& profile) {
  constexpr std::size_t kMostParts = 255;
  const std::size_t most = kMostInMarker - kIccMark.size() - 2;
  const std::size_t parts = (profile.size() + most - 1) / most;
  if (parts > kMostParts) {
    throw ImageError(ImageError::Kind::kUnwritable, "the profile is larger than JPEG can hold");
  }
  Bytes segments;
  for (std::size_t part = 0; part < parts; ++part) {
    Bytes content = {static_cast<unsigned char>(part + 1), static_cast<unsigned char>(parts)};
    const auto begin = profile.begin() + static_cast<std::ptrdiff_t>(part * most);
    content.insert(
        content.end(), begin,
        begin + static_cast<std::ptrdiff_t>(std::min(most, profile.size() - part * most)));
    AppendSegment(segments, kApplication0 + 2, kIccMark, content);
  }
  return segments;
}

/// Corrects the list of pictures in a file (CIPA DC-007, MP Entry): a size and a position of 32
/// bits each, which counts from the beginning of the block; 0 for the first picture.
/// @param growth  bytes that the first picture has become longer by
/// @param behind  those of them that stand behind the block
void MovePictures(Bytes& block, std::int64_t growth, std::int64_t behind) {
  constexpr std::uint16_t kEntries = 0xB002;
  constexpr std::size_t kEntryBytes = 16, kSizeAt = 4, kPositionAt = 8;
  const Bytes old = block;
  const MemoryBytes bytes(old);
  TiffDirectories directories(bytes);
  if (directories.isBig()) RefuseDamaged("its list of pictures");
  const ByteOrder order = directories.order();
  directories.Read(directories.first());  // finds no fault, or throws
  const auto add = [&](std::size_t at, std::int64_t more) {
    constexpr std::int64_t kMost = 0xFFFF'FFFF;
    const std::int64_t value =
        static_cast<std::int64_t>(NumberAt(old.data() + at, 4, order)) + more;
    if (value < 0 || value > kMost) RefuseDamaged("its list of pictures");
    Bytes number;
    AppendNumber(number, static_cast<std::uint64_t>(value), 4, order);
    std::copy(number.begin(), number.end(), block.begin() + static_cast<std::ptrdiff_t>(at));
  };
  for (const TiffPatch::Entry& entry :
       TiffPatch::ReadEntries(bytes, order, false, directories.first())) {
    if (entry.number != kEntries || entry.count < kEntryBytes || TypeBytes(entry.type) != 1) {
      continue;
    }
    const std::size_t list = NumberAt(entry.word.data(), 4, order);
    for (std::size_t at = list; at + kEntryBytes <= list + entry.count; at += kEntryBytes) {
      const bool isFirst = NumberAt(old.data() + at + kPositionAt, 4, order) == 0;
      if (isFirst) {
        add(at + kSizeAt, growth);
      } else {
        add(at + kPositionAt, behind);
      }
    }
  }
}

}  // namespace

JpegProfile::JpegProfile(const InputBytes& bytes) : bytes_(bytes) {
  Carrier page;
  Bytes window;
  std::uint64_t windowAt = 0;
  const auto byteAt = [&](std::uint64_t at) {
    if (!bytes.Holds(at, 1)) RefuseDamaged("cut off");
    if (at < windowAt || at - windowAt >= window.size()) {
      constexpr std::uint64_t kWindowBytes = 65536;
      window.resize(static_cast<std::size_t>(std::min(kWindowBytes, bytes.size() - at)));
      bytes.Read(at, window.data(), window.size());
      windowAt = at;
    }
    return unsigned{window[static_cast<std::size_t>(at - windowAt)]};
  };
  std::uint64_t at = 2;
  for (;;) {
    Segment segment{0, at, 0, 0};
    if (byteAt(at) != 0xFF) RefuseDamaged("no marker where one must be");
    while (byteAt(at) == 0xFF) ++at;
    segment.marker = byteAt(at++);
    if (segment.marker == kStartOfScan) {
      rest_ = segment.begin;
      break;
    }
    if (segment.marker < 0xC0 || (segment.marker >= 0xD0 && segment.marker <= kEndOfImage)) {
      RefuseDamaged("no pixels");
    }
    const std::uint64_t size = byteAt(at) << 8 | byteAt(at + 1);
    if (size < 2 || !bytes.Holds(at, size)) RefuseDamaged("cut off");
    segment.content = at + 2;
    segment.end = at += size;
    if (IsStartOfFrame(segment.marker)) {
      // depth 1, height 2, width 2, components 1
      constexpr std::uint64_t kComponentsAt = 5;
      if (segment.end - segment.content <= kComponentsAt) RefuseDamaged("cut off");
      const unsigned components = byteAt(segment.content + kComponentsAt);
      page.kind = std::to_string(components) + " components";
      if (components == 1) page = {{}, false, "GRAY", "grey", {}};
      if (components == 3) page = {{}, false, "RGB ", "RGB", {}};
      if (components == 4) page = {{}, false, "CMYK", "CMYK", {}};
    }
    segments_.push_back(segment);
    if (segments_.size() > kMostSegments) RefuseDamaged("too many markers");
  }
  if (page.kind.empty()) RefuseDamaged("no pixels");
  pages_.push_back(std::move(page));
  ReadProfile();
}

Bytes JpegProfile::Content(const Segment& segment) const {
  Bytes content(static_cast<std::size_t>(segment.end - segment.content));
  bytes_.Read(segment.content, content.data(), content.size());
  return content;
}

bool JpegProfile::Is(const Segment& segment, unsigned application, std::string_view mark) const {
  if (segment.marker != kApplication0 + application) return false;
  if (segment.end - segment.content < mark.size()) return false;
  std::string start(mark.size(), '\0');
  bytes_.Read(segment.content, reinterpret_cast<unsigned char*>(start.data()), start.size());
  return start == mark;
}

void JpegProfile::ReadProfile() {
  std::map<unsigned, Bytes> parts;
  unsigned count = 0;
  for (const Segment& segment : segments_) {
    if (!Is(segment, 2, kIccMark)) continue;
    Bytes content = Content(segment);
    const std::size_t head = kIccMark.size() + 2;
    if (content.size() < head) RefuseDamaged("a part of the profile is cut off");
    const unsigned number = content[head - 2];
    if (count != 0 && count != content[head - 1]) {
      RefuseDamaged("parts of the profile contradict each other");
    }
    count = content[head - 1];
    content.erase(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(head));
    if (number == 0 || number > count || !parts.emplace(number, std::move(content)).second) {
      RefuseDamaged("parts of the profile contradict each other");
    }
  }
  if (parts.empty()) return;
  if (parts.size() != count) RefuseDamaged("a part of the profile is missing");
  Bytes& profile = pages_[0].profile.emplace();
  for (const auto& [number, part] : parts) profile.insert(profile.end(), part.begin(), part.end());
}

std::uint64_t JpegProfile::Write(const Bytes* profile, NamedColors colors, OutputBytes& to,
                                 EditNotes& notes) const {
  const bool isTagged = profile != nullptr;
  if (isTagged && !pages_[0].FitsProfile(*profile)) {
    CopyBytes(bytes_, 0, bytes_.size(), to, 0);
    return bytes_.size();
  }
  // Where the profile has to be: where it was, or behind JFIF and Exif, which come first.
  std::size_t place = segments_.size();
  std::map<std::size_t, Bytes> replaced;  // segments by other bytes
  std::vector<std::size_t> photoshop;
  Bytes blocks;
  for (std::size_t i = 0; i < segments_.size(); ++i) {
    const Segment& segment = segments_[i];
    if (Is(segment, 2, kIccMark)) {
      place = std::min(place, i);
      replaced[i];
    } else if (Is(segment, 13, kPhotoshopMark)) {
      const Bytes content = Content(segment);
      blocks.insert(blocks.end(),
                    content.begin() + static_cast<std::ptrdiff_t>(kPhotoshopMark.size()),
                    content.end());
      photoshop.push_back(i);
    }
    if (!isTagged) continue;
    const auto behind = [&](std::string_view mark) {
      const Bytes content = Content(segment);
      return Bytes(content.begin() + static_cast<std::ptrdiff_t>(mark.size()), content.end());
    };
    if (Is(segment, 1, kExifMark)) {
      if (const auto exif = CorrectedExif(behind(kExifMark), colors, notes)) {
        AppendSegment(replaced[i], segment.marker, kExifMark, *exif);
      }
    } else if (Is(segment, 1, kXmpMark)) {
      if (const auto xmp = CorrectedXmp(behind(kXmpMark), colors, notes)) {
        AppendSegment(replaced[i], segment.marker, kXmpMark, *xmp);
      }
    }
  }
  if (!photoshop.empty()) {
    if (const auto corrected = CorrectedPhotoshop(blocks, isTagged, notes)) {
      for (const std::size_t i : photoshop) replaced[i];
      std::span<const unsigned char> left = *corrected;
      while (!left.empty()) {
        const std::size_t most = std::min(left.size(), kMostInMarker - kPhotoshopMark.size());
        AppendSegment(replaced[photoshop[0]], kApplication0 + 13, kPhotoshopMark, left.first(most));
        left = left.subspan(most);
      }
    }
  }
  if (place == segments_.size()) {
    const auto isFirst = [](const Segment& segment) {
      return segment.marker == kApplication0 || segment.marker == kApplication0 + 1;
    };
    place = static_cast<std::size_t>(std::find_if_not(segments_.begin(), segments_.end(), isFirst) -
                                     segments_.begin());
  }

  const Bytes parts = isTagged ? ProfileSegments(*profile) : Bytes();
  for (std::size_t i = 0; i < segments_.size(); ++i) {
    if (!Is(segments_[i], 2, kPicturesMark)) continue;
    Bytes pictures = Content(segments_[i]);
    pictures.erase(pictures.begin(), pictures.begin() + kPicturesMark.size());
    replaced[i].clear();
    AppendSegment(replaced[i], segments_[i].marker, kPicturesMark, pictures);
    auto all = static_cast<std::int64_t>(parts.size());
    std::int64_t behind = place > i ? all : 0;
    for (const auto& [index, by] : replaced) {
      const std::uint64_t old = segments_[index].end - segments_[index].begin;
      const std::int64_t growth =
          static_cast<std::int64_t>(by.size()) - static_cast<std::int64_t>(old);
      all += growth;
      if (index > i) behind += growth;
    }
    MovePictures(pictures, all, behind);
    replaced[i].clear();
    AppendSegment(replaced[i], segments_[i].marker, kPicturesMark, pictures);
  }

  std::uint64_t end = 0;
  const auto copy = [&](std::uint64_t begin, std::uint64_t behind) {
    CopyBytes(bytes_, begin, behind - begin, to, end);
    end += behind - begin;
  };
  const auto put = [&](const Bytes& bytes) {
    to.Write(end, bytes.data(), bytes.size());
    to.Check();
    end += bytes.size();
  };
  copy(0, segments_.empty() ? rest_ : segments_[0].begin);
  for (std::size_t i = 0; i < segments_.size(); ++i) {
    if (i == place) put(parts);
    const auto found = replaced.find(i);
    if (found == replaced.end()) {
      copy(segments_[i].begin, segments_[i].end);
    } else {
      put(found->second);
    }
  }
  if (place == segments_.size()) put(parts);
  copy(rest_, bytes_.size());
  return end;
}

}  // namespace kxcms::image
