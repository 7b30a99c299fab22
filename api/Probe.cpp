#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "api/Failure.h"
#include "api/Objects.h"
#include "pipeline/precise/Trace.h"

using namespace kxcms;

namespace {

// Larger than any version's struct will be: more is memory that nobody has set.
constexpr std::size_t kMostStageBytes = 1024;

std::vector<TracedStage> TraceOf(const kxp_pipeline& pipeline,
                                 const std::array<double, 3>& device) {
  if (pipeline.precise == nullptr) return TraceEnds(*pipeline.converter, device);
  return Trace(*pipeline.precise, *pipeline.source, pipeline.destination, pipeline.options, device);
}

}  // namespace

kxp_status kxp_probe(const kxp_pipeline* pipeline, const double device[3], kxp_stage* stages,
                     size_t capacity, size_t* count, kxp_error* error) {
  return Guarded(error, [&] {
    Require(pipeline != nullptr, "The pipeline is null.");
    Require(device != nullptr, "The pointer to the colour is null.");
    Require(stages != nullptr || capacity == 0, "The pointer to the stages is null.");
    const std::size_t size = capacity == 0 ? 0 : stages->size;
    Require(capacity == 0 || (size >= sizeof(kxp_stage) && size <= kMostStageBytes),
            "The size in the first kxp_stage is wrong.");
    Require(count != nullptr, "The pointer that is to receive the number of stages is null.");
    const auto traced = TraceOf(*pipeline, {device[0], device[1], device[2]});
    *count = traced.size();
    auto* place = reinterpret_cast<unsigned char*>(stages);
    for (std::size_t n = 0; n < std::min(capacity, traced.size()); ++n, place += size) {
      kxp_stage stage = {};
      stage.size = size;
      CopyText(traced[n].name, std::strlen(traced[n].name), stage.name, sizeof stage.name);
      std::copy(traced[n].values.begin(), traced[n].values.end(), stage.values);
      std::copy(traced[n].clipped.begin(), traced[n].clipped.end(), stage.clipped);
      // A program of a later version has members behind those that are known here: they are 0.
      std::memset(place, 0, size);
      std::memcpy(place, &stage, sizeof stage);
    }
  });
}
