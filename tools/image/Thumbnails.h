#ifndef KXCMS_TOOLS_IMAGE_THUMBNAILS_H
#define KXCMS_TOOLS_IMAGE_THUMBNAILS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/InputBytes.h"
#include "tools/image/Metadata.h"
#include "tools/image/TiffDirectories.h"

namespace kxcms::image {

/// What is believed of thumbnails: Exif's are 160 x 120 pixels as a rule, Photoshop's at most 256 x
/// 256, and telephones make larger ones. Decoded, one takes less than 1 MiB.
constexpr std::uint32_t kMostThumbnailSide = 512;
constexpr std::size_t kMostThumbnailBytes = 1u << 20;
/// With which a converted one is encoded, its colours at the resolution that they had.
constexpr int kThumbnailQuality = 90;

/// Changes the colours of pixels in place: R, G and B of 8 bits each, row by row. Throws an
/// `ImageError` if that cannot be.
using ColorChange =
    std::function<void(unsigned char* pixels, std::uint32_t width, std::uint32_t height)>;

/// Reads the directory of a thumbnail.
/// @param dropped  receives the names of what is not taken over of it
/// @return none if it is no JPEG stream and no uncompressed RGB of 8 bits, or larger than what is
///         believed. Throws an `ImageError` if it is damaged.
std::optional<Thumbnail> ReadThumbnail(TiffDirectories& directories, const InputBytes& bytes,
                                       std::uint64_t position, std::vector<std::string>& dropped);

/// Appends the directory of a thumbnail and its pixels. @return the position of the directory
std::uint64_t AppendThumbnail(const Thumbnail& thumbnail, ByteOrder order, DirectoryBlock& block,
                              std::vector<std::string>& dropped);

/// @return whether the pixels could be read and have been converted; otherwise nothing has changed.
bool Convert(Thumbnail& thumbnail, const ColorChange& change);

/// The same for the data of Photoshop's thumbnails: a header, and a JPEG stream.
/// @param isBlueFirst  whether that calls B, G and R what are R, G and B elsewhere, as version 4
/// did
/// @return none if that cannot be.
std::optional<std::vector<unsigned char>> ConvertedPhotoshopThumbnail(
    std::span<const unsigned char> data, bool isBlueFirst, const ColorChange& change);

}  // namespace kxcms::image

#endif
