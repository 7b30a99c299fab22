#ifndef KXCMS_TOOLS_IMAGE_DIRECTORYBLOCK_H
#define KXCMS_TOOLS_IMAGE_DIRECTORYBLOCK_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/image/Metadata.h"

namespace kxcms::image {

/// What is said of a result whose offsets 32 bits do not hold.
constexpr std::string_view kTooLargeForTiff =
    "the result is larger than the 4 GiB of a TIFF file that is no BigTIFF";

/// Directories with their values, as TIFF 6.0 or BigTIFF wants them: tags sorted, values and
/// directories at even positions, nothing overlapping.
class DirectoryBlock {
 public:
  /// @param base  even position in the file that the block will stand at
  DirectoryBlock(ByteOrder order, bool isBig, std::uint64_t base)
      : order_(order), isBig_(isBig), base_(base) {}

  /// Appends a directory behind those that it points at.
  /// @param dropped  receives names of tags that this form of TIFF cannot hold
  /// @return its position in the file; 0: none of its tags has a value, which TIFF does not know
  std::uint64_t Append(Directory directory, std::vector<std::string>& dropped);
  /// Appends what a tag points at. @return its position in the file
  std::uint64_t AppendData(std::span<const unsigned char> data);
  /// Makes the directory at `position` the one that follows `before` in the chain.
  void Link(std::uint64_t before, std::uint64_t position);

  std::uint64_t end() const { return base_ + bytes_.size(); }
  const std::vector<unsigned char>& bytes() const { return bytes_; }

 private:
  unsigned WordBytes() const { return isBig_ ? 8 : 4; }
  void Align();

  ByteOrder order_;
  bool isBig_;
  std::uint64_t base_;
  std::vector<unsigned char> bytes_;
};

/// The first bytes of a TIFF file.
std::vector<unsigned char> TiffHeader(ByteOrder order, bool isBig, std::uint64_t firstDirectory);

/// A block of Exif: a TIFF header, the directory, and that of the thumbnail behind it; empty if the
/// first directory is.
std::vector<unsigned char> WriteExif(const Metadata& metadata, std::vector<std::string>& dropped);

}  // namespace kxcms::image

#endif
