#ifndef KXCMS_TOOLS_REPORT_STATISTICS_H
#define KXCMS_TOOLS_REPORT_STATISTICS_H

#include <array>
#include <cstddef>
#include <vector>

namespace kxcms::report {

/// What is told of many differences.
struct Distribution {
  double mean = 0, share90 = 0, share95 = 0, share99 = 0, largest = 0;
  std::size_t largestAt = 0;  ///< index of the first that is the largest
  /// Difference that 0, 1, ... 100 % of all do not exceed; the cumulative share, turned round.
  std::array<double, 101> shares{};
};

/// Of one difference or more. That of p % is the nearest rank: the smallest of them that at least
/// p % do not exceed. What is not a number counts as infinite.
Distribution Summarize(const std::vector<double>& differences);

}  // namespace kxcms::report

#endif
