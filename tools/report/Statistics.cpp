#include "tools/report/Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kxcms::report {

Distribution Summarize(const std::vector<double>& differences) {
  std::vector<double> sorted = differences;
  for (double& value : sorted) {
    if (std::isnan(value)) value = std::numeric_limits<double>::infinity();
  }
  Distribution result;
  result.largestAt =
      static_cast<std::size_t>(std::max_element(sorted.begin(), sorted.end()) - sorted.begin());
  for (const double value : sorted) result.mean += value;
  result.mean /= static_cast<double>(sorted.size());
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t percent = 0; percent <= 100; ++percent) {
    const std::size_t rank = (percent * sorted.size() + 99) / 100;
    result.shares[percent] = sorted[rank == 0 ? 0 : rank - 1];
  }
  result.share90 = result.shares[90];
  result.share95 = result.shares[95];
  result.share99 = result.shares[99];
  result.largest = sorted.back();
  return result;
}

}  // namespace kxcms::report
