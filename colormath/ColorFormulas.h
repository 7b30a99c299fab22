#ifndef KXCMS_COLORMATH_COLORFORMULAS_H
#define KXCMS_COLORMATH_COLORFORMULAS_H

#include "../interface/KxApi.h"

/// sRGB transfer curve to linear, 0..1 (IEC 61966-2-1; threshold 0.03928).
KX_API double sRGB_Gamma_Decode(double v);
/// Linear to the sRGB transfer curve, 0..1. Threshold 0.00304 and exponent 0.4167 are rounded and
/// do not mirror the decoding exactly.
KX_API double sRGB_Gamma_Encode(double v);
/// The same on 0..255, rounded by +0.5 and truncation.
KX_API int sRGB_Gamma_Decode255(unsigned char c);
KX_API int sRGB_Gamma_Encode255(unsigned char c);

/// Optical density -log10(v) of a reflectance or transmittance; +infinity for 0.
KX_API double RGB2Density(double v);
/// The same of c / 255.
KX_API double RGB2Density255(unsigned char c);
/// 10^-d.
KX_API double Density2RGB(double d);
/// 10^-d on 0..255, rounded by +0.5 and truncation.
KX_API int Density2RGB255(double d);

/// Correlated colour temperature by Robertson's method (JOSA 58, 1528, 1968).
/// @param xyz          three values, any scale (borrowed).
/// @param temperature  receives kelvin on success; untouched otherwise.
/// @return 0, or -1 when all three are below 1e-20 or no isotemperature lines enclose the colour.
KX_API int XYZtoCorColorTemp(double* xyz, double* temperature);

/// Hue (degrees), saturation and brightness (percent) of r, g, b in 0..255, in truncating integer
/// arithmetic.
KX_API void RGB2HSB(int r, int g, int b, int& h, int& s, int& v);

#endif
