#ifndef KXCMS_COLORMATH_COLORFORMULAS_H
#define KXCMS_COLORMATH_COLORFORMULAS_H

#include "../base/KxApi.h"

/// @file
/// Colour formulas on plain numbers. They keep nothing and are safe from any thread.

/// sRGB transfer curve to linear (IEC 61966-2-1; threshold 0.03928).
/// @param v  encoded value, 0..1; not limited.
/// @return linear value, 0..1.
KX_API double sRGB_Gamma_Decode(double v);
/// Linear to the sRGB transfer curve. Threshold 0.00304 and exponent 0.4167 are rounded and do not
/// mirror the decoding exactly.
/// @param v  linear value, 0..1; not limited.
/// @return encoded value, 0..1.
KX_API double sRGB_Gamma_Encode(double v);
/// `sRGB_Gamma_Decode` of c / 255. @return level 0..255, rounded by +0.5 and truncation.
KX_API int sRGB_Gamma_Decode255(unsigned char c);
/// `sRGB_Gamma_Encode` of c / 255. @return level 0..255, rounded by +0.5 and truncation.
KX_API int sRGB_Gamma_Encode255(unsigned char c);

/// Optical density of a reflectance or transmittance.
/// @return -log10(v); +infinity for 0, NaN below.
KX_API double RGB2Density(double v);
/// Optical density of c / 255. @return 0 for 255, +infinity for 0.
KX_API double RGB2Density255(unsigned char c);
/// Reflectance or transmittance of an optical density. @return 10^-d.
KX_API double Density2RGB(double d);
/// The same on the scale 0..255. @return 255 * 10^-d rounded by +0.5 and truncation, limited to the
/// range of int; 0 for NaN.
KX_API int Density2RGB255(double d);

/// Correlated colour temperature by Robertson's method (JOSA 58, 1528, 1968).
/// @param xyz          CIE X, Y, Z, any scale (borrowed, only read).
/// @param temperature  receives kelvin on success; untouched otherwise (borrowed).
/// @return 0, or -1 when a pointer is null, all three values are below 1e-20, or the colour lies
///         between no two neighbouring isotemperature lines (0 to 600 mired).
KX_API int XYZtoCorColorTemp(double* xyz, double* temperature);

/// Hue, saturation and brightness in truncating integer arithmetic. Other inputs than 0..255 give
/// some defined result.
/// @param r  red, 0..255.
/// @param g  green, 0..255.
/// @param b  blue, 0..255.
/// @param h  receives the hue in degrees, 0 for greys.
/// @param s  receives the saturation in percent.
/// @param v  receives the brightness in percent.
KX_API void RGB2HSB(int r, int g, int b, int& h, int& s, int& v);

#endif
