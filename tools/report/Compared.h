#ifndef KXCMS_TOOLS_REPORT_COMPARED_H
#define KXCMS_TOOLS_REPORT_COMPARED_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tools/report/ProfileNumbers.h"
#include "tools/report/Statistics.h"

namespace kxcms::report {

/// A profile beside another one: what both make in Lab of a grid of 24 x 24 x 24 device values.
struct ComparedNumbers {
  std::string name;  ///< of the other one
  std::size_t colors;
  Distribution color;
  std::array<std::uint8_t, 3> worst;
  Triple first, second;  ///< what the two make of `worst`
};

/// @throw as `Measure` does
ComparedNumbers CompareProfiles(std::span<const unsigned char> profile,
                                std::span<const unsigned char> other, const std::string& otherName,
                                RenderingIntent intent);

}  // namespace kxcms::report

#endif
