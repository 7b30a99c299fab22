#ifndef KXCMS_PROFILE_PROFILEWRITER_H
#define KXCMS_PROFILE_PROFILEWRITER_H

#include <vector>

#include "profile/RgbSpaces.h"

/// @file
/// Writes the ICC profiles of built-in spaces: values in, bytes out. The same values give the same
/// bytes always: the date in the header is a fixed one, and nothing is asked of the system.

namespace kxcms {

/// The format's version. 2 is 2.4.0 (ICC.1:2001-04), the first that knows the chad tag; 4 is 4.3.0
/// (ICC.1:2010), whose parametric curves state the published formulas themselves.
enum class ProfileVersion { k2, k4 };

/// Entries of a tone curve of version 2 that no gamma of u8Fixed8 states. With so many, what is
/// read back is within kCurveError of the formula: interpolation adds next to nothing to the
/// rounding to 16 bits, and the break of ROMM RGB at 1/32 is an entry.
constexpr int kCurveEntries = 2049;
constexpr double kCurveError = 0.501 / 65535;

/// A display profile with matrix and tone curves. Colorants are adapted to D50 by the Bradford
/// transform, which chad states, and add up to D50 as s15Fixed16 has it. wtpt is D50 in version 4;
/// in version 2 it is the white of the space, as profiles of that version have it, so that the
/// absolute intent gives colours relative to that white there.
std::vector<unsigned char> WriteProfile(const RgbSpace& space, ProfileVersion version);

/// A profile of version 4 for pixels that are Lab or XYZ, in the encoding of its PCS: a colour
/// space profile (class spac), which may be embedded in images, as abstract profiles may not. Both
/// its tables, A2B0 and B2A0, change nothing.
std::vector<unsigned char> WritePcsProfile(PcsSpace space);

}  // namespace kxcms

#endif
