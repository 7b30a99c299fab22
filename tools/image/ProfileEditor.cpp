#include "tools/image/ProfileEditor.h"

#include <algorithm>

#include "tools/image/ImageError.h"
#include "tools/image/JpegProfile.h"
#include "tools/image/PhotoshopBlocks.h"
#include "tools/image/PngProfile.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/TiffProfile.h"

namespace kxcms::image {

std::unique_ptr<ProfileEditor> ProfileEditor::Open(const InputBytes& bytes) {
  unsigned char start[8] = {};
  bytes.Read(0, start,
             static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), sizeof start)));
  const auto startsWith = [&start](std::initializer_list<unsigned char> mark) {
    return std::equal(mark.begin(), mark.end(), std::begin(start));
  };
  if (startsWith({'I', 'I', 42, 0}) || startsWith({'M', 'M', 0, 42}) ||
      startsWith({'I', 'I', 43, 0}) || startsWith({'M', 'M', 0, 43})) {
    return std::make_unique<TiffProfile>(bytes);
  }
  if (startsWith({0xFF, 0xD8, 0xFF})) return std::make_unique<JpegProfile>(bytes);
  if (startsWith({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) {
    return std::make_unique<PngProfile>(bytes);
  }
  throw ImageError(ImageError::Kind::kUnreadable, "not a TIFF, JPEG or PNG file");
}

bool ProfileEditor::Carrier::FitsProfile(const std::vector<unsigned char>& other) const {
  constexpr std::ptrdiff_t kSpaceAt = 16;  // ICC.1:2010 7.2
  return !space.empty() && std::equal(space.begin(), space.end(), other.begin() + kSpaceAt);
}

std::size_t ProfileEditor::MainPage() const {
  const auto found =
      std::find_if(pages_.begin(), pages_.end(), [](const Carrier& page) { return !page.isCopy; });
  return found == pages_.end() ? 0 : static_cast<std::size_t>(found - pages_.begin());
}

void CopyBytes(const InputBytes& from, std::uint64_t at, std::uint64_t count, OutputBytes& to,
               std::uint64_t target) {
  constexpr std::uint64_t kMostAtOnce = 1u << 20;
  std::vector<unsigned char> piece(static_cast<std::size_t>(std::min(count, kMostAtOnce)));
  while (count > 0) {
    const auto now = static_cast<std::size_t>(std::min<std::uint64_t>(count, piece.size()));
    from.Read(at, piece.data(), now);
    to.Write(target, piece.data(), now);
    to.Check();
    at += now;
    target += now;
    count -= now;
  }
}

std::optional<std::vector<unsigned char>> CorrectedXmp(const std::vector<unsigned char>& packet,
                                                       NamedColors colors, EditNotes& notes) {
  Metadata metadata;
  metadata.directory.Set(BytesTag(tag::kXmp, kByte, packet));
  MakeTrue(metadata, colors, nullptr, notes.removed);
  std::vector<unsigned char>& after = metadata.directory.Find(tag::kXmp)->bytes;
  if (after == packet) return std::nullopt;
  return std::move(after);
}

std::optional<std::vector<unsigned char>> CorrectedPhotoshop(
    const std::vector<unsigned char>& blocks, bool isTagged, EditNotes& notes) {
  std::optional<PhotoshopBlocks> parts = PhotoshopBlocks::Parse(blocks);
  if (!parts) {
    notes.kept.emplace_back("Photoshop's blocks (damaged)");
    return std::nullopt;
  }
  const bool hadProfile = parts->Remove(PhotoshopBlocks::kProfile);
  const bool hadMark = isTagged && parts->Remove(PhotoshopBlocks::kUntagged);
  if (hadProfile) notes.removed.emplace_back("Photoshop's profile");
  if (hadMark) notes.removed.emplace_back("Photoshop's mark of missing profiles");
  if (!hadProfile && !hadMark) return std::nullopt;
  return parts->Bytes();
}

}  // namespace kxcms::image
