#ifndef KXCMS_PROFILE_SPACEPROFILE_H
#define KXCMS_PROFILE_SPACEPROFILE_H

#include "profile/RgbSpaces.h"

namespace kxcms {

/// A built-in space as a profile: class mntr, PCS XYZ, its matrix in full precision, and its
/// decoding as curves that ICC.1:2010 10.16 knows. It has no file: size, version and tags are 0.
DeviceProfile SpaceProfile(const RgbSpace& space);

}  // namespace kxcms

#endif
