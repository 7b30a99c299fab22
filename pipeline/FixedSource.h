#ifndef KXCMS_PIPELINE_FIXEDSOURCE_H
#define KXCMS_PIPELINE_FIXEDSOURCE_H

#include <memory>
#include <optional>

#include "iccfile/CLut16Type.h"
#include "iccfile/CXYZType.h"
#include "pipeline/RunConverter.h"
#include "profile/DeviceProfile.h"

namespace kxcms {

/// What the fixed pipeline takes from a profile for an intent.
struct FixedSource {
  std::unique_ptr<ICC40::ICCFILE::CLut16Type> lut;
  /// For the absolute intent, where the profile has one.
  std::unique_ptr<ICC40::ICCFILE::CXYZType> mediaWhite;
  UsedModel model;
};

/// Takes the tag of the intent, or A2B0, as the engine of the fixed interface reads it. Refused is
/// what that engine converts, but not to what the profile says: it looks at no matrix, takes every
/// connection space for Lab, every CLUT for one of 16 bits, and curves of fewer than three entries
/// for identity.
/// @throw PipelineError (kNotFixed), bad_alloc.
FixedSource FixedSourceOf(const DeviceProfile& profile, RenderingIntent intent);

}  // namespace kxcms

#endif
