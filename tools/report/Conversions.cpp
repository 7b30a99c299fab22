#include "tools/report/Conversions.h"

#include <limits>

namespace kxcms::report {

namespace {

constexpr double kLargest8 = 255;

// A colour of 8 bits is the same one in any depth: v / 255 = 257 v / 65535.
template <typename Sample>
std::vector<exact::Triple> Convert(const Pipeline& pipeline, std::span<const Device8> colors) {
  constexpr double kLargest = std::numeric_limits<Sample>::max();
  constexpr auto kScale = static_cast<unsigned>(kLargest / kLargest8);
  std::vector<Sample> samples;
  samples.reserve(3 * colors.size());
  for (const Device8& color : colors) {
    for (const unsigned value : color) samples.push_back(static_cast<Sample>(kScale * value));
  }
  const auto image = Rgb(samples.data(), colors.size(), 1);
  pipeline.Convert(image, image);
  std::vector<exact::Triple> results(colors.size());
  for (std::size_t n = 0; n < samples.size(); ++n) results[n / 3][n % 3] = samples[n] / kLargest;
  return results;
}

}  // namespace

exact::Triple DeviceOf(const Device8& levels) {
  return {levels[0] / kLargest8, levels[1] / kLargest8, levels[2] / kLargest8};
}

std::vector<Device8> DeviceGrid(std::size_t levels) {
  const auto level = [levels](std::size_t n) {
    return static_cast<std::uint8_t>((2 * 255 * n + (levels - 1)) / (2 * (levels - 1)));
  };
  std::vector<Device8> grid;
  grid.reserve(levels * levels * levels);
  for (std::size_t r = 0; r < levels; ++r) {
    for (std::size_t g = 0; g < levels; ++g) {
      for (std::size_t b = 0; b < levels; ++b) grid.push_back({level(r), level(g), level(b)});
    }
  }
  return grid;
}

std::vector<exact::Triple> Convert8(const Pipeline& pipeline, std::span<const Device8> colors) {
  return Convert<std::uint8_t>(pipeline, colors);
}

std::vector<exact::Triple> Convert16(const Pipeline& pipeline, std::span<const Device8> colors) {
  return Convert<std::uint16_t>(pipeline, colors);
}

}  // namespace kxcms::report
