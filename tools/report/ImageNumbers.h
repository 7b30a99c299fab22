#ifndef KXCMS_TOOLS_REPORT_IMAGENUMBERS_H
#define KXCMS_TOOLS_REPORT_IMAGENUMBERS_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "tools/report/ProfileNumbers.h"
#include "tools/report/Thumbnail.h"

/// @file
/// What a conversion does to an image: its pixels are taken for device values of the profile that
/// is reported on.

namespace kxcms::report {

/// One channel, before and after.
struct ChannelNumbers {
  std::array<std::uint64_t, 256> before{}, after{};  ///< pixels by the upper 8 bits
  std::uint64_t levelsBefore = 0, levelsAfter = 0;   ///< values that occur
  /// Pixels whose result would have to be below 0 or above 1 in this channel. Where the destination
  /// is a profile: that are 0 or full scale, and whose colour the destination does not have.
  std::uint64_t clippedLow = 0, clippedHigh = 0;
};

/// A pixel, of 8 or 16 bits as the image.
struct SwatchNumbers {
  std::uint32_t x = 0, y = 0;
  std::array<std::uint16_t, 3> before{}, after{};
  std::array<std::uint8_t, 3> shownBefore{}, shownAfter{};  ///< on a screen of sRGB
};

struct ImageNumbers {
  std::string name;
  std::size_t pages = 1;  ///< of the file; what follows is of the first
  std::uint32_t width = 0, height = 0;
  unsigned bits = 8;
  std::array<ChannelNumbers, 3> channels;
  std::uint64_t outOfGamut = 0;         ///< pixels whose colour the destination does not have
  std::vector<SwatchNumbers> swatches;  ///< 6 by 4, row by row, at equal distances
  Thumbnail before, after, gamutMap;
};

/// Takes the rows of an image, from the first to the last.
class ImageMeter {
 public:
  /// @param profile   of the device, as bytes of its file
  /// @param question  its target is borrowed
  /// @throw as `Measure` does
  ImageMeter(std::string name, std::span<const unsigned char> profile, const Question& question,
             std::uint32_t width, std::uint32_t height, unsigned bits);
  ~ImageMeter();

  /// The next rows: R, G, B of the depth that was told.
  void Add(const ConstImage& rows);
  /// After the last of them.
  ImageNumbers Numbers() const;

 private:
  class Work;
  std::unique_ptr<Work> work_;
};

}  // namespace kxcms::report

#endif
