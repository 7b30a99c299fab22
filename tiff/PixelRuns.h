#ifndef KXCMS_TIFF_PIXELRUNS_H
#define KXCMS_TIFF_PIXELRUNS_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "Tiff.h"

// Images whose pixels stay in the file, for those who need only a part of them at a time.

namespace KX_Tiff_STL3 {

/// Where the bytes of a pixel buffer stand in a file: one run after another, zeros after the last.
class PixelRuns {
 public:
  /// Runs that follow one another in the file become one.
  void Append(std::uint64_t offset, std::uint64_t sizeBytes);

  /// Fills `to` with the bytes of the buffer from `at` on; those that the file (borrowed) does not
  /// hold are 0. Several threads may read at once.
  void Read(FILE* file, std::uint64_t at, unsigned char* to, std::uint64_t sizeBytes) const;

 private:
  struct Run {
    std::uint64_t offset;  // in the file
    std::uint64_t begin;   // in the buffer
    std::uint64_t sizeBytes;
  };
  std::vector<Run> runs_;
};

/// As `Tiff::ReadTiff` on an image without tags, but for the pixels: StripOffsets holds none.
/// @return where they stand. Nothing for images that `ReadTiff` refuses, and for those that only it
///         can read: separate planes, very many strips, a StripByteCounts whose value does not
///         outlast saving. Throws as `ReadTiff` does.
std::optional<PixelRuns> ReadWithoutPixels(Tiff& image, FILE* file);

}  // namespace KX_Tiff_STL3

#endif
