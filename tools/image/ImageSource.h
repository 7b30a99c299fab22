#ifndef KXCMS_TOOLS_IMAGE_IMAGESOURCE_H
#define KXCMS_TOOLS_IMAGE_IMAGESOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/image/Metadata.h"

namespace kxcms::image {

enum class Format { kTiff, kJpeg, kPng };

/// The format that the suffix of a file's name stands for, if any.
std::optional<Format> FormatOfSuffix(const std::string& path);

/// "TIFF" and so on.
const char* NameOf(Format format);

/// The format of a file that begins with these bytes; none if it is no image, or if they are fewer
/// than the eight that tell.
std::optional<Format> FormatOf(std::span<const unsigned char> start);

/// What a sample behind R, G, B is; the numbers of TIFF's ExtraSamples.
enum class Extra { kUnspecified = 0, kAssociatedAlpha = 1, kAlpha = 2 };

/// How the pixels of a page lie in their file.
struct Layout {
  std::uint16_t compression = 1;  ///< as TIFF numbers it; 1: none
  std::uint16_t predictor = 1;
  bool separatePlanes = false;
  std::uint32_t rowsPerStrip = 0;  ///< 0: tiles, or a format without strips
  std::uint32_t tileWidth = 0;
  std::uint32_t tileLength = 0;
};

/// One image of a file.
struct Page {
  static constexpr std::uint32_t kReduced = 1;  ///< bits of `subfileType`
  static constexpr std::uint32_t kMask = 4;

  /// Why the page is not taken, in one sentence without the file's name; empty if it is. Of such a
  /// page nothing else is sure to be there but `parent` and `subfileType`.
  std::string refusal;
  std::optional<std::size_t> parent;  ///< the page whose SubIFDs tag points at this one
  std::uint32_t subfileType = 0;      ///< NewSubfileType
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  unsigned bits = 8;  ///< of a sample: 8 or 16
  std::vector<Extra> extras;
  Layout layout;
  std::optional<std::vector<unsigned char>> profile;
  bool isSrgb = false;  ///< says so by another mark than a profile
  Metadata metadata;    ///< without what says how the pixels lie
  /// What the reading could not take over, by name; complete when the last row is read.
  std::vector<std::string> dropped;
  std::uint64_t memoryBytes = 0;  ///< that reading it takes, roughly

  unsigned Samples() const { return 3 + static_cast<unsigned>(extras.size()); }
  std::size_t PixelBytes() const { return std::size_t{Samples()} * (bits / 8); }
  std::size_t RowBytes() const { return width * PixelBytes(); }
};

/// The images of a file: RGB at 8 or 16 bits with any extra samples, in TIFF, JPEG or PNG.
///
/// Strict: damage throws an `ImageError`, never are pixels made up for what is missing. Rows come
/// in order and in bounded memory: 64 MiB and a row of tiles or a strip (three for separate
/// planes), or the whole image where its format cannot be read in rows. What a file declares is
/// believed in proportion to its size only. Nothing is printed. Not for two threads at once.
class ImageSource {
 public:
  virtual ~ImageSource() = default;

  /// @param fd         an open regular file, which the caller keeps open
  /// @param sizeBytes  its size
  static std::unique_ptr<ImageSource> Open(int fd, std::uint64_t sizeBytes);

  virtual Format format() const = 0;
  /// In the order of the file, SubIFDs behind the page that they belong to. At least one.
  const std::vector<Page>& pages() const { return pages_; }

  /// Goes to the first row of a page; throws for one that is not taken.
  virtual void Select(std::size_t page) = 0;
  /// Reads the next rows of that page: interleaved samples of the machine's byte order, R, G, B and
  /// the extra ones. At the last row what stands behind the pixels is looked at too.
  virtual void ReadRows(unsigned char* to, std::uint32_t rows) = 0;

 protected:
  std::vector<Page> pages_;
};

/// What any file may take without being large itself.
constexpr std::uint64_t kFreeMemory = 64u << 20;

/// Throws unless a file of this size can be believed to need so much memory at once, or to hold so
/// many bytes of pixels.
void CheckProportion(std::uint64_t memoryBytes, std::uint64_t pixelBytes, std::uint64_t fileBytes);

}  // namespace kxcms::image

#endif
