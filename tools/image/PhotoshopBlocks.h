#ifndef KXCMS_TOOLS_IMAGE_PHOTOSHOPBLOCKS_H
#define KXCMS_TOOLS_IMAGE_PHOTOSHOPBLOCKS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace kxcms::image {

/// The image resource blocks that TIFF keeps in tag 34377 and JPEG in APP13: a signature of four
/// bytes, a number, a name and data each, big-endian.
class PhotoshopBlocks {
 public:
  static constexpr std::uint16_t kIptc = 1028;
  static constexpr std::uint16_t kThumbnail4 = 1033;  ///< of version 4: blue first
  static constexpr std::uint16_t kThumbnail = 1036;
  static constexpr std::uint16_t kProfile = 1039;
  static constexpr std::uint16_t kUntagged = 1041;
  static constexpr std::uint16_t kExif = 1058;
  static constexpr std::uint16_t kXmp = 1060;

  /// @return none if the bytes are not a sequence of blocks.
  static std::optional<PhotoshopBlocks> Parse(std::span<const unsigned char> bytes);

  bool Has(std::uint16_t number) const;
  /// @return what the block holds besides number and name; empty if there is none.
  std::vector<unsigned char> Data(std::uint16_t number) const;
  /// Makes other bytes of the data of a block; none if it has to go.
  using Change =
      std::function<std::optional<std::vector<unsigned char>>(std::span<const unsigned char>)>;
  /// Changes each block of that number where it stands, or takes it out.
  /// @return how many were taken out
  std::size_t ChangeAll(std::uint16_t number, const Change& change);
  /// @return whether there was such a block.
  bool Remove(std::uint16_t number);
  /// Adds a block without a name.
  void Add(std::uint16_t number, std::span<const unsigned char> data);
  std::vector<unsigned char> Bytes() const;

 private:
  struct Block {
    std::uint16_t number;
    std::size_t dataAt;
    std::size_t dataBytes;
    std::vector<unsigned char> bytes;  ///< all of it
  };
  std::vector<Block> blocks_;
};

}  // namespace kxcms::image

#endif
