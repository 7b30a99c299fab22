#ifndef KXCMS_TESTS_PIPELINE_RUNS_H
#define KXCMS_TESTS_PIPELINE_RUNS_H

#include <cstddef>
#include <vector>

#include "pipeline/precise/PixelRun.h"

// Interleaved pixels without alpha, as runs.

template <typename Sample>
constexpr kxcms::SampleType TypeOf() {
  if constexpr (sizeof(Sample) == 1) return kxcms::SampleType::kUInt8;
  if constexpr (sizeof(Sample) == 2) return kxcms::SampleType::kUInt16;
  return kxcms::SampleType::kFloat;
}

template <typename Sample>
kxcms::SourceRun SourceOf(const std::vector<Sample>& samples) {
  const auto* first = reinterpret_cast<const unsigned char*>(samples.data());
  constexpr std::size_t kSize = sizeof(Sample);
  return {{first, first + kSize, first + 2 * kSize, nullptr}, 3 * kSize, TypeOf<Sample>(), false};
}
template <typename Sample>
kxcms::DestinationRun DestinationOf(std::vector<Sample>& samples) {
  auto* first = reinterpret_cast<unsigned char*>(samples.data());
  constexpr std::size_t kSize = sizeof(Sample);
  return {{first, first + kSize, first + 2 * kSize, nullptr}, 3 * kSize, TypeOf<Sample>(), false};
}

/// What a pipeline makes of interleaved samples.
template <typename Result, typename Pipeline, typename Sample>
std::vector<Result> Converted(const Pipeline& pipeline, const std::vector<Sample>& samples) {
  std::vector<Result> results(samples.size());
  pipeline.Convert(SourceOf(samples), DestinationOf(results), kxcms::AlphaResult::kKept,
                   static_cast<std::int64_t>(samples.size() / 3));
  return results;
}

#endif
