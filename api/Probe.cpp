#include <algorithm>
#include <cstring>

#include "api/Failure.h"
#include "api/Objects.h"
#include "pipeline/precise/Trace.h"

using namespace kxcms;

kxp_status kxp_probe(const kxp_pipeline* pipeline, const double device[3], kxp_stage* stages,
                     size_t capacity, size_t* count, kxp_error* error) {
  return Guarded(error, [&] {
    Require(pipeline != nullptr, "The pipeline is null.");
    Require(device != nullptr, "The pointer to the colour is null.");
    Require(stages != nullptr || capacity == 0, "The pointer to the stages is null.");
    Require(count != nullptr, "The pointer that is to receive the number of stages is null.");
    const auto traced = Trace(pipeline->precise, *pipeline->source, pipeline->destination,
                              pipeline->options, {device[0], device[1], device[2]});
    *count = traced.size();
    for (std::size_t n = 0; n < std::min(capacity, traced.size()); ++n) {
      kxp_stage stage = {};
      CopyText(traced[n].name, std::strlen(traced[n].name), stage.name, sizeof stage.name);
      std::copy(traced[n].values.begin(), traced[n].values.end(), stage.values);
      std::copy(traced[n].clipped.begin(), traced[n].clipped.end(), stage.clipped);
      stages[n] = stage;
    }
  });
}
