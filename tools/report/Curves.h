#ifndef KXCMS_TOOLS_REPORT_CURVES_H
#define KXCMS_TOOLS_REPORT_CURVES_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "profile/DeviceProfile.h"

namespace kxcms::report {

/// What is told of a one-dimensional curve, both of whose axes go from 0 to 1.
struct CurveNumbers {
  std::string form;     ///< "table", "gamma 2.2", "parametric, function 3" or "identity"
  std::size_t entries;  ///< 0 for a formula
  double first, last;   ///< values at 0 and 1
  /// Where it first turns back, against the direction from `first` to `last`; none: monotonic.
  std::optional<double> turnsAt;
  double largestStep;    ///< between entries; of a formula between 256 equidistant places
  double largestStepAt;  ///< where that step begins
  std::array<double, 129> samples;  ///< at equal distances, for drawing
};

CurveNumbers MeasureCurve(const Curve& curve);

}  // namespace kxcms::report

#endif
