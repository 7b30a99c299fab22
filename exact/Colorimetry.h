#ifndef KXCMS_EXACT_COLORIMETRY_H
#define KXCMS_EXACT_COLORIMETRY_H

#include "exact/Elements.h"
#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

/// @file
/// What happens between the elements of a profile and the values of a destination: encodings of the
/// profile connection space, CIE Lab, rendering intents, black point compensation and transfer
/// functions, in double precision.

namespace kxcms::exact {

// ---- CIE Lab ------------------------------------------------------------------------------------

/// CIE 15:2004, 8.2.1, for the white of the profile connection space. Both hold for all numbers:
/// below the toe the formulas are linear.
Triple LabFromXyz(const Xyz& xyz);
Xyz XyzFromLab(const Triple& lab);

// ---- Encodings of the profile connection space --------------------------------------------------

/// Lab of an encoded value of the two Lab encodings.
Triple DecodeLab(PcsEncoding encoding, const Triple& encoded);
Triple EncodeLab(PcsEncoding encoding, const Triple& lab);
/// XYZ of an encoded value of any encoding.
Xyz DecodeXyz(PcsEncoding encoding, const Triple& encoded);
/// Not clipped.
Triple EncodeXyz(PcsEncoding encoding, const Xyz& xyz);

// ---- Intents and black points -------------------------------------------------------------------

/// Media-relative to absolute colorimetry and on to another medium: ICC.1:2010 6.3.2.2 and D.6,
/// where XYZ relative to D50 are scaled by the ratio of the media white and D50.
Xyz ToOtherMedium(const Xyz& xyz, const Xyz& sourceWhite, const Xyz& destinationWhite);

/// ISO 18619: in XYZ, along straight lines, such that the source's black point becomes the
/// destination's and white stays.
Xyz CompensateBlackPoint(const Xyz& xyz, const Xyz& sourceBlack, const Xyz& destinationBlack);

// ---- Transfer functions -------------------------------------------------------------------------

/// From linear to encoded. Beyond 1 the formula goes on; below 0 the function is odd.
double EncodeTransfer(Transfer transfer, double linear);
/// From encoded to linear, with the same continuation.
double DecodeTransfer(Transfer transfer, double encoded);

}  // namespace kxcms::exact

#endif
