#ifndef KXCMS_PIPELINE_PRECISE_CONNECTION_H
#define KXCMS_PIPELINE_PRECISE_CONNECTION_H

#include "pipeline/precise/PcsStages.h"
#include "pipeline/precise/PrecisePipeline.h"

/// @file
/// What stands between two profiles, for conversions and for looking into them.

namespace kxcms {

/// What intent and black point compensation do to XYZ.
/// @param destination  null for a built-in space or colorimetry.
/// @throw PipelineError, bad_alloc.
Adaptation AdaptationOf(const DeviceProfile& source, const DeviceProfile* destination,
                        const PreciseOptions& options);

/// From XYZ to the linear values of a matrix-based model.
/// @throw PipelineError  the colorants lie in a plane.
AffineMap InverseColorants(const Matrix3& colorants);

}  // namespace kxcms

#endif
