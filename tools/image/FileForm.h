#ifndef KXCMS_TOOLS_IMAGE_FILEFORM_H
#define KXCMS_TOOLS_IMAGE_FILEFORM_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/image/ExifBlock.h"
#include "tools/image/ImageSource.h"

namespace kxcms::image {

/// What a file says of one of its images, for people to read: also of one that an `ImageSource`
/// does not take. What it does not say is 0 or empty.
struct PageForm {
  std::optional<std::size_t> parent;  ///< the page whose SubIFDs tag points at this one
  std::uint32_t subfileType = 0;      ///< NewSubfileType
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::uint64_t samples = 0;
  std::vector<std::uint64_t> bits;  ///< of the samples: one number for all, or one each
  std::string sampleFormat;         ///< "unsigned", "signed", "float" and so on
  std::string colors;               ///< "RGB", "grey" and so on
  std::vector<std::string> extras;  ///< samples that are no colour
  std::string compression;
  std::uint64_t predictor = 1;  ///< as TIFF numbers it
  bool areBitsReversed = false;
  bool areTagsSorted = true;
  bool hasSeparatePlanes = false;
  std::uint64_t pieces = 0;        ///< strips or tiles, of all planes; 0: a format without
  bool arePiecesInside = true;     ///< the file, so far as their places are said
  std::uint64_t rowsPerStrip = 0;  ///< 0: tiles, or a format without strips
  std::uint64_t tileWidth = 0;
  std::uint64_t tileLength = 0;
  /// Why no row can be had before the whole image is read; empty if rows come one by one.
  std::string wholeBecause;
  std::uint64_t orientation = 1;  ///< as TIFF and Exif number it
  std::optional<Resolution> resolution;
  bool hasProfile = false;
  std::vector<unsigned char> profile;  ///< as it stands there; empty for PNG, which compresses it
};

struct FileForm {
  Format format = Format::kTiff;
  ByteOrder order = ByteOrder::kLittle;  ///< of TIFF
  bool isBigTiff = false;
  std::vector<PageForm> pages;  ///< in the order of `ImageSource::pages`
};

/// Reads the form of a TIFF, JPEG or PNG file. Throws an `ImageError` for another file, and where
/// an `ImageSource` would for damage to what is looked at here; never where it does not.
/// @param fd         an open regular file, which the caller keeps open
/// @param sizeBytes  its size
FileForm ReadForm(int fd, std::uint64_t sizeBytes);

}  // namespace kxcms::image

#endif
