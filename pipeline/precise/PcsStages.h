#ifndef KXCMS_PIPELINE_PRECISE_PCSSTAGES_H
#define KXCMS_PIPELINE_PRECISE_PCSSTAGES_H

#include "pipeline/precise/StageBuilder.h"
#include "profile/DeviceProfile.h"

/// @file
/// From a model to the profile connection space, and on from there. CIE Lab is handled as
/// (L* + 16) / 116, a* / 500, b* / 200: "Lab parts".

namespace kxcms {

/// L*, a*, b* of Lab parts.
AffineMap LabOfParts();
/// An encoded value of Lab parts or of XYZ, in [0, 1] where the encoding holds it.
AffineMap EncodingOf(PcsEncoding encoding);

/// What a model's stages give: Lab parts or XYZ, behind a map.
struct PcsValues {
  bool isLab;
  AffineMap map;
};
PcsValues AddDeviceToPcs(const Model& model, StageBuilder& builder);

/// Between the two models: XYZ to XYZ, component by component.
struct Adaptation {
  Xyz scale = {1, 1, 1};
  Xyz offset = {0, 0, 0};
};

/// Adds what leads to a map of XYZ.
void AddPcsToXyz(const PcsValues& pcs, const Adaptation& adaptation, const AffineMap& then,
                 bool clips, StageBuilder& builder);
/// Adds what leads to a map of Lab parts that does not mix them.
void AddPcsToLab(const PcsValues& pcs, const Adaptation& adaptation, const AffineMap& then,
                 bool clips, StageBuilder& builder);

}  // namespace kxcms

#endif
