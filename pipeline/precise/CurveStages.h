#ifndef KXCMS_PIPELINE_PRECISE_CURVESTAGES_H
#define KXCMS_PIPELINE_PRECISE_CURVESTAGES_H

#include "pipeline/precise/Arena.h"
#include "pipeline/precise/Stages.h"
#include "profile/DeviceProfile.h"

/// @file
/// A profile's curves as stages.

namespace kxcms {

/// Whether two curves are written alike.
bool AreAlike(const Curve& a, const Curve& b);

/// A curve of values within [0, 1].
/// @param unit  what a value of 1 as it comes in means; becomes the same of what goes out.
/// @throw PipelineError, bad_alloc.
CurveStage MakeCurve(const Curve& curve, double& unit, Arena& arena);

/// What undoes a curve: from y within [0, 1] to the lowest x that reaches it, the lowest with
/// curve(x) >= y for a rising curve, with curve(x) <= y for a falling one. A y beyond the last
/// value counts as that value.
/// @param tag  of the curve, for the refusal.
/// @throw PipelineError  it is constant, or rises and falls. bad_alloc.
CurveStage MakeInverse(const Curve& curve, Signature tag, Arena& arena);

}  // namespace kxcms

#endif
