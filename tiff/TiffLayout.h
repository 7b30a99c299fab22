#ifndef KXCMS_TIFF_TIFFLAYOUT_H
#define KXCMS_TIFF_TIFFLAYOUT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "TiffTag.h"

// The numbers of a TIFF file (TIFF 6.0, section 2), those that readers and writers here share, and
// where everything stands in a file that is saved. Of this library's own code nothing is linked:
// programs that see only the shared library may include it.

namespace KX_Tiff_STL3 {

// ---- The file -----------------------------------------------------------------------------------

/// "II", then 42: a little-endian file.
constexpr std::uint32_t kLittleEndianMark = 0x002A4949;
/// The mark, then the offset of the first directory.
constexpr unsigned kHeaderBytes = 8;
constexpr unsigned kFirstDirectoryAt = 4;

// ---- A directory: the number of entries, these, the offset of the next directory ----------------

constexpr unsigned kEntryCountBytes = 2;
constexpr unsigned kNextDirectoryBytes = 4;
/// Tag and type of two bytes each, number of items, value or offset.
constexpr unsigned kEntryBytes = 12;
constexpr unsigned kEntryTypeAt = 2;
constexpr unsigned kEntryItemsAt = 4;
constexpr unsigned kEntryValueAt = 8;
/// A directory of more entries is not read.
constexpr unsigned kMaxEntries = 39;

constexpr std::uint64_t DirectoryBytes(std::uint64_t entries) {
  return kEntryCountBytes + kEntryBytes * entries + kNextDirectoryBytes;
}

// ---- The data of an entry -----------------------------------------------------------------------

/// Data up to this size stand in the entry itself.
constexpr std::uint64_t kInlineBytes = 4;
/// Numerator and denominator.
constexpr std::uint64_t kRationalBytes = 8;
/// What is carried of an Exif directory.
constexpr std::uint64_t kExifBlockBytes = 256;
/// The largest size that a tag's type and count are trusted with: beyond it, absent data are not
/// saved (as zeros), a new rational gets no data, and an Exif tag holds its block only.
constexpr std::uint64_t kStandInTagBytes = 64 << 10;

/// Bytes per item as the standard has them; 0 for other types. The library's own sizes, which
/// differ, are `DataType`.
constexpr unsigned StandardItemBytes(unsigned type) {
  constexpr std::array<std::uint8_t, 14> kBytes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < kBytes.size() ? kBytes[type] : 0;
}

/// Size of `count` items by the library's sizes; only the low four bits of `type` count.
inline std::uint64_t ItemBytes(unsigned type, unsigned count) {
  return std::uint64_t{DataType[type & 15]} * count;
}
/// Size of a tag's data by its type and count.
inline std::uint64_t TagDataBytes(const TiffTag& tag) {
  return ItemBytes(tag.type, tag.count);
}
inline bool IsOutOfLine(const TiffTag& tag) {
  return TagDataBytes(tag) > kInlineBytes;
}
/// Bytes of out-of-line data that a tag holds when its `data` are not null: its size, but of 34665
/// with a size out of all proportion only the Exif block.
inline std::uint64_t HeldDataBytes(const TiffTag& tag) {
  const std::uint64_t sizeBytes = TagDataBytes(tag);
  const bool blockOnly = tag.tag == ExifIfd && sizeBytes > kStandInTagBytes;
  return blockOnly ? kExifBlockBytes : sizeBytes;
}

// ---- A saved file: header, directory, data of the tags in their order, pixels, Exif block -------

/// Types whose value saving always replaces by an offset, even for data that fit the entry.
constexpr bool AlwaysGetsOffset(unsigned type) {
  return type >= TIFF_SBYTE && type <= TIFF_SLONG;
}
/// Bytes that a tag takes in the data area: its size, but nothing when more is missing than is
/// written as zeros.
inline std::uint64_t ReservedBytes(const TiffTag& tag) {
  const std::uint64_t sizeBytes = TagDataBytes(tag);
  const std::uint64_t heldBytes = tag.data ? HeldDataBytes(tag) : 0;
  return sizeBytes > std::max(heldBytes, kStandInTagBytes) ? 0 : sizeBytes;
}

/// Calls place(tag, offset) for every tag that has a place in the data area.
/// @param tags  pointers to tags, in the order of the directory
/// @return the offset of the pixels
template <typename Tags, typename Place>
std::uint64_t LayOutTagData(const Tags& tags, const Place& place) {
  std::uint64_t next = kHeaderBytes + DirectoryBytes(tags.size());
  for (const auto& tag : tags) {
    // Types 6..9 reserve room for inline data too, which is never written; the data after them are
    // shifted. Kept so that files stay identical byte for byte.
    if (!AlwaysGetsOffset(tag->type) && !IsOutOfLine(*tag)) continue;
    place(*tag, next);
    next += ReservedBytes(*tag);
  }
  return next;
}
template <typename Tags>
std::uint64_t PixelOffset(const Tags& tags) {
  return LayOutTagData(tags, [](const TiffTag&, std::uint64_t) {});
}

// ---- Values of tags -----------------------------------------------------------------------------

constexpr unsigned kUncompressed = 1;
enum Planar : unsigned { kPlanarMissing = 0, kChunky = 1, kSeparatePlanes = 2 };
constexpr unsigned kPhotometricRgb = 2;
constexpr unsigned kMostInShort = 65535;

// ---- New images ---------------------------------------------------------------------------------

/// Tags of a new image.
constexpr std::size_t kNewImageTags = 15;
/// Dots per inch of the images that conversions make.
constexpr int kNewImageResolution = 300;
/// Resolutions are written as hundredths.
constexpr unsigned kResolutionDenominator = 100;

}  // namespace KX_Tiff_STL3

#endif
