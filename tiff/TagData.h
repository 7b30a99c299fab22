#ifndef KXCMS_TIFF_TAGDATA_H
#define KXCMS_TIFF_TAGDATA_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "TiffTag.h"

// How large a tag's out-of-line data are, how much of them may be held, and who reserves room for
// them in a file.

namespace KX_Tiff_STL3 {

/// Data up to this size stand in the directory entry itself (TIFF 6.0, section 2).
constexpr std::uint64_t kInlineBytes = 4;
/// Numerator and denominator.
constexpr std::uint64_t kRationalBytes = 8;
/// What is carried of an Exif directory.
constexpr std::uint64_t kExifBlockBytes = 256;
/// The largest size that a tag's type and count are trusted with: beyond it, absent data are not
/// saved (as zeros), a new rational gets no data, and an Exif tag holds its block only.
constexpr std::uint64_t kStandInTagBytes = 64 << 10;

/// Size of `count` items; only the low four bits of `type` count.
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
std::uint64_t HeldDataBytes(const TiffTag& tag);

/// Zeroed bytes for a tag's data, at least as many as its class reads at fixed places: a rational,
/// or for 34665 the Exif block.
std::unique_ptr<unsigned char[]> NewTagData(unsigned tag, std::uint64_t sizeBytes);

/// What the data of all tags together may take for a file: half of what its reader may hold. The
/// other half is for the pixels.
std::uint64_t TagLimit(FILE* file);

/// Bytes held by tags, as their types and counts tell. A pixel buffer is not counted.
std::uint64_t HeldBytes(const std::vector<std::shared_ptr<TiffTag>>& tags);

/// Types 6..9: saving always replaces their value by an offset, even for data that fit the entry.
bool AlwaysGetsOffset(unsigned type);
/// Bytes that a tag takes in the data area of a saved file: its size, but nothing when more is
/// missing than is written as zeros.
std::uint64_t ReservedBytes(const TiffTag& tag);

}  // namespace KX_Tiff_STL3

#endif
