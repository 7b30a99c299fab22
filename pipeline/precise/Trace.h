#ifndef KXCMS_PIPELINE_PRECISE_TRACE_H
#define KXCMS_PIPELINE_PRECISE_TRACE_H

#include <array>
#include <vector>

#include "pipeline/precise/PrecisePipeline.h"

namespace kxcms {

/// What a colour is behind a stage of a conversion.
struct TracedStage {
  const char* name;
  std::array<double, 3> values;
  std::array<double, 3> clipped;  ///< what came in, less what the stage used of it
};

/// Takes one colour through the stages of a conversion, by its kernels:
///
///     device                                         clipped into [0, 1]; 0 for what is no number
///     input curves, grid, output curves              of lut8Type and lut16Type
///     A curves, grid, M curves, matrix, B curves     of lutAToBType, those that are there
///     tone curves                                    of the matrix-based model
///     PCS Lab, PCS XYZ                               what the profile says
///     adapted XYZ                                    behind intent and black point compensation
///     linear                                         of destinations with primaries, not clipped
///     PCS encoded, and elements as above             of lookup tags that lead to the device
///     encoded                                        what a float image gets
///
/// Conversions that have several of these in one stage are taken apart for it, so that the last
/// bits of what stands between can differ from what passes through them; `encoded` is theirs.
/// @param pipeline  made of the others.
/// @throw PipelineError, bad_alloc.
std::vector<TracedStage> Trace(const PrecisePipeline& pipeline, const DeviceProfile& source,
                               const PreciseDestination& destination, const PreciseOptions& options,
                               const std::array<double, 3>& device);

/// The ends alone, `device` and `encoded`, of a conversion of 16-bit samples: the device colour is
/// rounded to them.
std::vector<TracedStage> TraceEnds(const RunConverter& converter,
                                   const std::array<double, 3>& device);

}  // namespace kxcms

#endif
