#ifndef KXCMS_TOOLS_REPORT_CHART_H
#define KXCMS_TOOLS_REPORT_CHART_H

#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "api/pipeline.hpp"
#include "tools/report/ProfileNumbers.h"
#include "tools/report/Statistics.h"

/// @file
/// A measured chart: what the device made of patches whose colours are known.

namespace kxcms::report {

struct ChartPatch {
  std::string name;
  Triple device;  ///< in [0, 1]
  Triple lab;     ///< as measured, relative to a perfect reflector in D50
};

/// Why a file is no chart that can be used, in a sentence without its name.
class ChartError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The patches of a CGATS.17 file, of which .ti3 is one: its first table with RGB_R, RGB_G, RGB_B
/// and LAB_L, LAB_A, LAB_B or XYZ_X, XYZ_Y, XYZ_Z (of 100). RGB goes up to 100, or to 255 if one
/// of the values is above 100.
/// @throw ChartError
std::vector<ChartPatch> ReadChart(std::string_view text);

struct PatchNumbers {
  ChartPatch patch;
  Triple lab;  ///< as the profile says
  double difference;
};

struct ChartNumbers {
  std::string name;
  std::vector<PatchNumbers> patches;  ///< the largest difference first
  Distribution color;
  std::size_t greys = 0;       ///< patches with a measured C* below 3
  std::optional<double> tone;  ///< the largest difference of L* among them
  int colorStars = 0;          ///< FADGI, 0 to 4
  std::optional<int> toneStars;
  int stars = 0;  ///< the fewer
  /// The two pipelines beside the exact evaluation, of 16 bits; the fixed one where it converts.
  Distribution precise;
  std::optional<Distribution> fixed;
};

/// With the absolute intent, which is what was measured, but for the pipelines, whose intent is
/// that of the question.
/// @throw as `Measure` does
ChartNumbers MeasureChart(const std::string& name, std::vector<ChartPatch> patches,
                          std::span<const unsigned char> profile, const Question& question);

}  // namespace kxcms::report

#endif
