#ifndef KXCMS_PROFILE_MODELS_H
#define KXCMS_PROFILE_MODELS_H

#include "profile/DeviceProfile.h"

/// @file
/// Which part of a profile serves a rendering intent.

namespace kxcms {

/// Which of a direction's three tags an intent asks for: 0 perceptual, 1 relative and absolute,
/// 2 saturation.
std::size_t TagIndex(RenderingIntent intent);

/// The model from device to PCS: the tag of the intent (perceptual A2B0, relative and absolute
/// A2B1, saturation A2B2), else A2B0, else matrix and curves, else A2B1, else A2B2. The matrix and
/// curves of a profile without A2B tags serve every intent and are no fallback for any.
/// @return pointers into `profile`; both null if it has no model in this direction.
Model ModelFor(const DeviceProfile& profile, RenderingIntent intent);

/// The model from PCS to device: the same with B2A0, B2A1, B2A2 and the inverse of matrix and
/// curves.
Model DestinationModelFor(const DeviceProfile& profile, RenderingIntent intent);

}  // namespace kxcms

#endif
