#ifndef KXCMS_TOOLS_IMAGE_METADATA_H
#define KXCMS_TOOLS_IMAGE_METADATA_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Bytes.h"

/// @file
/// What an image file says besides its pixels, whatever its format: tags as TIFF has them. Exif is
/// made of the same directories in all formats; what has a place of its own in JPEG or PNG (XMP,
/// Photoshop's blocks) stands here in the tag that TIFF keeps it in.

namespace kxcms::image {

/// A tag with its value as it stands in the file, in the byte order of its `Metadata`.
struct Tag {
  std::uint16_t number = 0;
  std::uint16_t type = 0;
  std::uint64_t count = 0;  ///< items
  std::vector<unsigned char> bytes;
};

struct SubDirectory;

struct Directory {
  std::vector<Tag> tags;
  std::vector<SubDirectory> subDirectories;  ///< those of Exif, GPS and the like

  const Tag* Find(std::uint16_t number) const;
  Tag* Find(std::uint16_t number);
  /// Takes a tag out, or the directory that it points at. @return whether it was there.
  bool Remove(std::uint16_t number);
  /// Replaces the tag of that number, or adds it.
  void Set(Tag tag);
};

struct SubDirectory {
  std::uint16_t pointer = 0;  ///< number of the tag that points at it
  std::uint16_t type = 0;     ///< of that tag
  Directory directory;
};

/// A comment that has a place in JPEG (COM, without a keyword) or PNG (tEXt and its kind) alone.
struct Comment {
  std::string keyword;
  std::string text;
  bool isInternational = false;  ///< PNG: UTF-8 (iTXt), otherwise Latin-1
};

/// The small copy of an image that Exif keeps in a directory of its own. It has the colours of the
/// image.
struct Thumbnail {
  Directory directory;               ///< its tags, without those that say how its pixels lie
  std::vector<unsigned char> bytes;  ///< a JPEG stream; or R, G and B of 8 bits each, row by row
  std::uint32_t width = 0;           ///< of the latter, 0 for a stream
  std::uint32_t height = 0;
};

struct Metadata {
  ByteOrder order = ByteOrder::kLittle;
  Directory directory;
  std::vector<Comment> comments;
  std::optional<Thumbnail> thumbnail = std::nullopt;
};

// Field types of TIFF 6.0 and, from 13 on, of its supplements and BigTIFF.
enum TagType : std::uint16_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSByte = 6,
  kUndefined = 7,
  kSShort = 8,
  kSLong = 9,
  kSRational = 10,
  kFloat = 11,
  kDouble = 12,
  kIfd = 13,
  kLong8 = 16,
  kSLong8 = 17,
  kIfd8 = 18,
};

/// Bytes of one item; 0 for an unknown type.
unsigned TypeBytes(std::uint16_t type);

/// The number in `size` (1, 2, 4 or 8) bytes of either order.
std::uint64_t NumberAt(const unsigned char* bytes, unsigned size, ByteOrder order);
/// Appends the low `size` bytes of a number in either order.
void AppendNumber(std::vector<unsigned char>& bytes, std::uint64_t value, unsigned size,
                  ByteOrder order);

/// Item `index` of a tag of an unsigned integer type; none for other types and past the end.
std::optional<std::uint64_t> UnsignedItem(const Tag& tag, std::uint64_t index, ByteOrder order);

/// A tag of unsigned numbers, each as wide as `type` says.
Tag NumbersTag(std::uint16_t number, std::uint16_t type, const std::vector<std::uint64_t>& values,
               ByteOrder order);
/// A tag of single bytes: BYTE, ASCII or UNDEFINED.
Tag BytesTag(std::uint16_t number, std::uint16_t type, std::vector<unsigned char> bytes);

}  // namespace kxcms::image

#endif
