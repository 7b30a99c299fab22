#include "tools/report/DifferenceHistogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

namespace kxcms::report {

namespace {

// Intervals are those of the leading bits of a double: its exponent and ten bits of its fraction.
constexpr int kFractionBits = 10;
constexpr int kDroppedBits = std::numeric_limits<double>::digits - 1 - kFractionBits;
// Below the lowest, 2^-30, a difference is nothing; above the highest nobody asks how large.
constexpr double kLowest = 1.0 / (1 << 30), kHighest = 1 << 10;
constexpr std::uint64_t kFirst = std::bit_cast<std::uint64_t>(kLowest) >> kDroppedBits;
constexpr std::uint64_t kEnd = std::bit_cast<std::uint64_t>(kHighest) >> kDroppedBits;
constexpr std::size_t kIntervals = kEnd - kFirst + 2;

std::size_t IntervalOf(double difference) {
  if (!(difference >= kLowest)) return 0;
  if (difference >= kHighest) return kIntervals - 1;
  return static_cast<std::size_t>((std::bit_cast<std::uint64_t>(difference) >> kDroppedBits) -
                                  kFirst + 1);
}

double EndOf(std::size_t interval) {
  if (interval + 1 == kIntervals) return std::numeric_limits<double>::infinity();
  return std::bit_cast<double>((kFirst + interval) << kDroppedBits);
}

}  // namespace

DifferenceHistogram::DifferenceHistogram() : counts_(kIntervals) {}

void DifferenceHistogram::Add(double difference, std::uint64_t place) {
  if (std::isnan(difference)) difference = std::numeric_limits<double>::infinity();
  ++counts_[IntervalOf(difference)];
  sum_ += difference;
  if (count_ == 0 || difference > largest_) {
    largest_ = difference;
    largestAt_ = place;
  }
  ++count_;
}

void DifferenceHistogram::Add(const DifferenceHistogram& other) {
  for (std::size_t n = 0; n < kIntervals; ++n) counts_[n] += other.counts_[n];
  sum_ += other.sum_;
  const bool isFirst = other.largest_ == largest_ && other.largestAt_ < largestAt_;
  if (other.count_ > 0 && (count_ == 0 || other.largest_ > largest_ || isFirst)) {
    largest_ = other.largest_;
    largestAt_ = other.largestAt_;
  }
  count_ += other.count_;
}

double DifferenceHistogram::Share(double percent) const {
  const double rank = std::ceil(percent / 100 * static_cast<double>(count_));
  std::uint64_t below = 0;
  for (std::size_t n = 0; n < kIntervals; ++n) {
    below += counts_[n];
    if (static_cast<double>(below) >= rank && below > 0) return std::min(EndOf(n), largest_);
  }
  return largest_;
}

}  // namespace kxcms::report
