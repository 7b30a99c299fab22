#ifndef KXCMS_TOOLS_IMAGE_TIFFPATCH_H
#define KXCMS_TOOLS_IMAGE_TIFFPATCH_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "tools/image/InputBytes.h"
#include "tools/image/Metadata.h"

namespace kxcms::image {

/// Bytes of a file that something stands in.
struct Region {
  std::uint64_t begin, end;
};

/// Changes tags of a TIFF file, or of a block of Exif, and leaves every other byte where it is:
/// offsets that nobody knows of, those in a maker's note perhaps, stay good, and tags of unknown
/// types stay as they are.
///
/// What is no longer used becomes zeros, new values stand there or at the end. Directories and
/// values get even positions. Only what nothing else shares is reused.
class TiffPatch {
 public:
  /// A tag of a directory, as it stands in the file.
  struct Entry {
    std::uint16_t number, type;
    std::uint64_t count;
    std::vector<unsigned char> word;  ///< the value, or its position
  };
  /// To take a tag out, without a value.
  using Changes = std::map<std::uint16_t, std::optional<Tag>>;
  using Write = std::function<void(std::uint64_t at, std::span<const unsigned char> bytes)>;
  /// A number in the result that says where a directory stands.
  struct Pointer {
    std::uint64_t at;
    unsigned size;
  };
  /// Where things of a directory stand in the result.
  struct Placed {
    std::uint64_t nextAt;  ///< the number that the directories are chained by
    std::map<std::uint16_t, std::uint64_t> valueAt;
  };

  /// @param bytes  the file as it was; borrowed
  /// @param taken  everything that stands in it
  /// @param write  is called for each change of the result, which is a copy of `bytes` at first
  TiffPatch(const InputBytes& bytes, ByteOrder order, bool isBig, std::vector<Region> taken,
            Write write);

  /// Of a directory that `TiffDirectories` has read without finding fault.
  static std::vector<Entry> ReadEntries(const InputBytes& bytes, ByteOrder order, bool isBig,
                                        std::uint64_t position);
  /// What a directory takes: its own place and that of each value outside it.
  static std::vector<Region> Places(const std::vector<Entry>& entries, ByteOrder order, bool isBig,
                                    std::uint64_t position);

  /// Changes the directory that the pointer points at.
  Placed Change(std::uint64_t position, const Pointer& pointer, const Changes& changes);

  /// Where the result ends. Throws an `ImageError` for one that TIFF cannot address.
  std::uint64_t End() const;

 private:
  unsigned WordBytes() const { return isBig_ ? 8 : 4; }
  unsigned CountBytes() const { return isBig_ ? 8 : 2; }
  std::uint64_t DirectoryBytes(std::size_t entries) const;
  std::optional<Region> ValueOf(const Entry& entry) const;
  bool IsAlone(const Region& region) const;
  void Release(const Region& region);
  std::uint64_t Allocate(std::uint64_t size);
  Placed PlacedAt(std::uint64_t position, const std::vector<Entry>& entries) const;

  const InputBytes& bytes_;
  ByteOrder order_;
  bool isBig_;
  Write write_;
  std::vector<std::uint64_t> begins_;  ///< of what is taken, sorted
  /// The two largest ends of the regions up to each of these.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> ends_;
  std::map<std::uint64_t, std::uint64_t> holes_;  ///< begin and end
  std::uint64_t end_;
};

}  // namespace kxcms::image

#endif
