#ifndef KXCMS_TOOLS_IMAGE_TIFFDIRECTORIES_H
#define KXCMS_TOOLS_IMAGE_TIFFDIRECTORIES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/image/InputBytes.h"
#include "tools/image/Metadata.h"

namespace kxcms::image {

/// Reads the directories of a TIFF or BigTIFF file, or of a block of Exif, tag for tag and byte for
/// byte: libtiff gives only the tags that it knows, and not as they stand in the file.
///
/// Throws an `ImageError` for whatever lies outside the bytes, and for directories in a circle. All
/// values together take no more memory than `kMostShared` and twice the size of the file.
class TiffDirectories {
 public:
  /// A directory as it stands in the file.
  struct Raw {
    std::uint64_t next = 0;  ///< position of the following one of the chain; 0: the last
    std::vector<Tag> tags;   ///< of known types
    std::vector<std::uint16_t> unknownTypes;  ///< tags that nobody can copy
  };

  /// Looks at the header. `bytes` is borrowed.
  explicit TiffDirectories(const InputBytes& bytes);

  ByteOrder order() const { return order_; }
  bool isBig() const { return isBig_; }
  std::uint64_t first() const { return first_; }

  Raw Read(std::uint64_t position);

  /// The tags of a page or of Exif with the directories that they point at, those of Exif, GPS and
  /// interoperability, and those of type IFD. Offsets of pixels and of other pages stay tags.
  /// @param dropped  receives a name for each tag that nobody can copy
  Directory WithSubDirectories(Raw raw, std::vector<std::string>& dropped, unsigned depth = 0);

 private:
  static constexpr std::uint64_t kMostShared = 16u << 20;  // small values may be shared by pages

  std::uint64_t Number(std::uint64_t at, unsigned size) const;
  void Spend(std::uint64_t bytes);

  const InputBytes& bytes_;
  ByteOrder order_ = ByteOrder::kLittle;
  bool isBig_ = false;
  std::uint64_t first_ = 0;
  std::uint64_t budget_;
  std::set<std::uint64_t> seen_;
};

}  // namespace kxcms::image

#endif
