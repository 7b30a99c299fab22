#ifndef KXCMS_CODES_COLORCODES_H
#define KXCMS_CODES_COLORCODES_H

#include "../base/KxApi.h"

/// @file
/// Codes of colour encodings and rendering intents, and their display names.

namespace ICC40 {
namespace ICCFILE {

/// Colour encodings of the caller's pixels. The value is the index into `strColor`.
///
/// Codes come in pairs: the even code has 8 bits a sample, the odd code after it (`_16`) 16 bits
/// of the same encoding. As input only `RGB` and `RGB_16` are accepted; as output the RGB
/// encodings 8..13, 20..31 and 34..39. 65535 stands for "no colour space" wherever a code is
/// stored.
enum ColorSpaceSignature : int {
  RGB = 0,     ///< device RGB, the only 8-bit input
  RGB_16 = 1,  ///< device RGB, the only 16-bit input
  Lab = 2,     ///< CIE Lab; not accepted
  Lab_16 = 3,
  CMYK = 4,  ///< not accepted
  CMYK_16 = 5,
  XYZ = 6,  ///< CIE XYZ; not accepted
  XYZ_16 = 7,
  sRGB220 = 8,  ///< sRGB primaries and encoding, the same as `sRGB`
  sRGB220_16 = 9,
  sRGB100 = 10,  ///< sRGB primaries, linear
  sRGB100_16 = 11,
  sRGB = 12,  ///< sRGB; the interface's usual output
  sRGB_16 = 13,
  CMY = 14,  ///< not accepted
  CMY_16 = 15,
  CLR6 = 16,  ///< six colours; not accepted
  CLR6_16 = 17,
  CLR7 = 18,  ///< seven colours; not accepted
  CLR7_16 = 19,
  Adobe100 = 20,  ///< Adobe RGB primaries, linear
  Adobe100_16 = 21,
  Adobe = 22,  ///< Adobe RGB primaries, gamma 1.8 output curve
  Adobe_16 = 23,
  Apple100 = 24,  ///< Apple RGB primaries, linear
  Apple100_16 = 25,
  Apple = 26,  ///< Apple RGB primaries, gamma 1.8 output curve
  Apple_16 = 27,
  ColorMatch100 = 28,  ///< ColorMatch RGB primaries, linear
  ColorMatch100_16 = 29,
  ColorMatch = 30,  ///< ColorMatch RGB primaries, gamma 1.8 output curve
  ColorMatch_16 = 31,
  Ycc = 32,  ///< not accepted
  Ycc_16 = 33,
  sRGB_KodakPhoto = 34,  ///< sRGB primaries with the Kodak tone curve for photographs
  sRGB_KodakPhoto_16 = 35,
  sRGB_KodakMix = 36,  ///< sRGB primaries with the Kodak tone curve for mixed pages
  sRGB_KodakMix_16 = 37,
  sRGB_KodakText = 38,  ///< sRGB primaries with the Kodak tone curve for text
  sRGB_KodakText_16 = 39,
};

/// ICC rendering intents (ICC.1:2010 6.2). The value is the index into `strIntent`.
enum Intent : int {
  Percepture = 0,  ///< perceptual: tag A2B0
  Relative = 1,    ///< media-relative colorimetric: tag A2B1
  Saturation = 2,  ///< saturation: tag A2B2
  Absolute = 3,    ///< ICC-absolute colorimetric: tag A2B1 with the media white point
};

/// Number of colour-space codes.
constexpr int kColorCodeCount = 40;
/// Number of rendering intents.
constexpr int kIntentCount = 4;
/// Stored in place of a colour code when there is none.
constexpr int kNoColorCode = 65535;

}  // namespace ICCFILE
}  // namespace ICC40

/// Display name of each `ColorSpaceSignature`, 40 entries. Static storage, never null.
extern KX_API const char* const strColor[40];
/// Display name of each `Intent`, 4 entries; "Percepture" so that results stay identical.
extern KX_API const char* const strIntent[4];

#endif
