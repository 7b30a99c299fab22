#ifndef KXCMS_PIPELINE_PRECISE_BLACKPOINTS_H
#define KXCMS_PIPELINE_PRECISE_BLACKPOINTS_H

#include "pipeline/precise/PcsStages.h"
#include "profile/DeviceProfile.h"

namespace kxcms {

/// Black point compensation (ISO 18619): XYZ along straight lines, such that the source's black
/// point becomes the destination's and white stays. A built-in space's black point is 0.
/// @throw PipelineError  a profile does not lead to the PCS with the relative intent, or the
///   destination does not lead back. bad_alloc.
Adaptation BlackPointCompensation(const DeviceProfile& source, const DeviceProfile* destination);

/// The black point of a source: device (0, 0, 0) through the relative model, as grey, at most
/// L* 50.
Xyz SourceBlackPoint(const DeviceProfile& profile);
/// The black point of a destination. Of a matrix-based model the same; of lookup tags the estimate
/// of ISO 18619 from greys that go to the device and back.
Xyz DestinationBlackPoint(const DeviceProfile& profile);

}  // namespace kxcms

#endif
