#ifndef KXCMS_TOOLS_REPORT_CONVERSIONS_H
#define KXCMS_TOOLS_REPORT_CONVERSIONS_H

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "exact/Elements.h"

/// @file
/// What the two pipelines make of colours, and what these results look like.

namespace kxcms::report {

using Device8 = std::array<std::uint8_t, 3>;

/// Device values of a colour of 8 bits.
exact::Triple DeviceOf(const Device8& levels);

/// All combinations of `levels` values of each channel at equal distances, rounded to 8 bits; the
/// last channel runs fastest.
std::vector<Device8> DeviceGrid(std::size_t levels);

/// Results in [0, 1] that were rounded to 8 or 16 bits.
std::vector<exact::Triple> Convert8(const Pipeline& pipeline, std::span<const Device8> colors);
std::vector<exact::Triple> Convert16(const Pipeline& pipeline, std::span<const Device8> colors);

}  // namespace kxcms::report

#endif
