#ifndef KXCMS_TESTS_UNITS_UNITFIXTURES_H
#define KXCMS_TESTS_UNITS_UNITFIXTURES_H

#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "iccfile/CLut16Type.h"
#include "units/Info.h"

namespace units_test {

using ICC40::ICC_UNIT::Info;
using ICC40::ICCFILE::CLut16Type;

inline unsigned short* NewArray(const std::vector<unsigned short>& values) {
  auto* array = new unsigned short[values.size()];
  std::copy(values.begin(), values.end(), array);
  return array;
}

/// A lookup tag with nothing but counts.
inline std::unique_ptr<CLut16Type> EmptyLut(int inputs, int outputs, int gridPoints) {
  auto lut = std::make_unique<CLut16Type>();
  lut->inputChannels = static_cast<unsigned char>(inputs);
  lut->outputChannels = static_cast<unsigned char>(outputs);
  lut->gridPoints = static_cast<unsigned char>(gridPoints);
  lut->inputEntries = 0;
  lut->outputEntries = 0;
  return lut;
}

/// A lookup tag with input tables, `values` holding channel after channel.
inline std::unique_ptr<CLut16Type> InputLut(int channels,
                                            const std::vector<unsigned short>& values) {
  auto lut = EmptyLut(channels, 3, 2);
  lut->inputEntries = static_cast<unsigned short>(values.size() / channels);
  lut->inputTables = NewArray(values);
  return lut;
}

/// A lookup tag with output tables, `values` holding channel after channel.
inline std::unique_ptr<CLut16Type> OutputLut(int channels,
                                             const std::vector<unsigned short>& values) {
  auto lut = EmptyLut(3, channels, 2);
  lut->outputEntries = static_cast<unsigned short>(values.size() / channels);
  lut->outputTables = NewArray(values);
  return lut;
}

/// A lookup tag with a colour table.
inline std::unique_ptr<CLut16Type> GridLut(int outputs, int gridPoints,
                                           const std::vector<unsigned short>& values) {
  auto lut = EmptyLut(3, outputs, gridPoints);
  lut->colorTable = NewArray(values);
  return lut;
}

/// `channels` times the curve 0 .. 65535 in equal steps (255 must be a multiple of entries - 1, or
/// it is rounded down).
inline std::vector<unsigned short> LinearCurves(int channels, int entries) {
  std::vector<unsigned short> values;
  for (int c = 0; c < channels; ++c) {
    for (int i = 0; i < entries; ++i) {
      values.push_back(static_cast<unsigned short>(65535LL * i / (entries - 1)));
    }
  }
  return values;
}

/// A small generator with a fixed sequence on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint32_t Next() {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>(state_ >> 32);
  }
  int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint32_t>(limit)); }
  unsigned short Word() { return static_cast<unsigned short>(Next()); }
  std::vector<unsigned short> Words(std::size_t count) {
    std::vector<unsigned short> words(count);
    for (unsigned short& word : words) word = Word();
    return words;
  }

 private:
  std::uint64_t state_;
};

/// Runs something with a fixed number of threads.
template <typename Work>
void WithThreads(int threads, const Work& work) {
  const int oldThreads = omp_get_max_threads();
  const int oldDynamic = omp_get_dynamic();
  omp_set_dynamic(0);
  omp_set_num_threads(threads);
  work();
  omp_set_num_threads(oldThreads);
  omp_set_dynamic(oldDynamic);
}

constexpr int kThreadCounts[] = {1, 2, 3, 8, 16};

}  // namespace units_test

#endif
