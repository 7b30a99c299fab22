#ifndef KXCMS_PROFILE_RGBSPACES_H
#define KXCMS_PROFILE_RGBSPACES_H

#include <span>
#include <string_view>

#include "profile/DeviceProfile.h"

/// @file
/// The built-in RGB spaces: their published numbers, and what follows from these.

namespace kxcms {

/// Transfer functions, between an encoded value and a linear one, both in [0, 1]. What each
/// computes is written where it is computed: `exact/` in double precision, `pipeline/` in tables.
enum class Transfer {
  kLinear,
  kSRgb,      ///< IEC 61966-2-1:1999, 5.2: toe slope 12.92 below 0.0031308, power 1/2.4 above
  kAdobeRgb,  ///< Adobe RGB (1998) 4.3.1.2: gamma 2.19921875 = 2 + 51/256
  kRomm,      ///< ROMM RGB, ISO 22028-2: gamma 1.8, slope 16 below 1/512
  kLStar,     ///< eciRGB v2: encoded = L* / 100, CIE 15 with 903.3 = 24389/27 and 216/24389
  kGamma18,   ///< Apple RGB and ColorMatch RGB: gamma 1.8
  kRec2020,   ///< ITU-R BT.2020-2 table 4, alpha 1.09929682680944, beta 0.018053968510807
};

/// CIE x, y.
struct Chromaticity {
  double x, y;
};

struct RgbSpace {
  const char* name;         ///< as programs and people name it: "srgb"
  const char* description;  ///< one line
  std::array<Chromaticity, 3> primaries;
  Chromaticity white;
  Transfer transfer;
};

/// All built-in spaces, in the order in which they are listed.
std::span<const RgbSpace> RgbSpaces();
/// @return null for a name that is none of them.
const RgbSpace* FindRgbSpace(std::string_view name);

/// Linear RGB to PCS XYZ: columns are the primaries scaled to the white (SMPTE RP 177), adapted
/// from the white to D50 by the linear Bradford transform (ICC.1:2010 Annex E).
Matrix3 RgbToPcs(const RgbSpace& space);
/// Of Y = 1. D50 is that of the PCS, exactly: four decimals of the one and of the other stand for
/// the same light, and nothing is adapted between them.
Xyz WhiteOf(const RgbSpace& space);
/// The Bradford adaptation from a white to D50, as a profile's chad tag states it.
Matrix3 AdaptationToPcs(const Xyz& white);

Matrix3 Inverse(const Matrix3& matrix);  ///< of a regular one
Matrix3 Product(const Matrix3& a, const Matrix3& b);
inline Xyz Product(const Matrix3& matrix, const Xyz& vector) {
  return {matrix[0] * vector[0] + matrix[1] * vector[1] + matrix[2] * vector[2],
          matrix[3] * vector[0] + matrix[4] * vector[1] + matrix[5] * vector[2],
          matrix[6] * vector[0] + matrix[7] * vector[1] + matrix[8] * vector[2]};
}

}  // namespace kxcms

#endif
