#ifndef KXCMS_TOOLS_REPORT_DIFFERENCEHISTOGRAM_H
#define KXCMS_TOOLS_REPORT_DIFFERENCEHISTOGRAM_H

#include <cstdint>
#include <vector>

namespace kxcms::report {

/// Differences of so many colours that they are not kept: how many there are in each of 40962
/// intervals, every one of which ends 0.1 % above its beginning.
class DifferenceHistogram {
 public:
  DifferenceHistogram();

  /// What is not a number counts as infinite.
  /// @param place  of the difference, as the caller counts
  void Add(double difference, std::uint64_t place);
  /// Adds those of another one. The mean depends in its last bits on the order in which this is
  /// done, nothing else does.
  void Add(const DifferenceHistogram& other);

  std::uint64_t count() const { return count_; }
  double mean() const { return count_ == 0 ? 0 : sum_ / static_cast<double>(count_); }
  double largest() const { return largest_; }
  /// The first place of the largest.
  std::uint64_t largestAt() const { return largestAt_; }
  /// What at least so many percent do not exceed: at most 0.1 % above the smallest such difference.
  double Share(double percent) const;

 private:
  std::vector<std::uint64_t> counts_;
  std::uint64_t count_ = 0, largestAt_ = 0;
  double sum_ = 0, largest_ = 0;
};

}  // namespace kxcms::report

#endif
