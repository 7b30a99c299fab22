#ifndef KXCMS_COLORMATH_RGBMATRICES_H
#define KXCMS_COLORMATH_RGBMATRICES_H

#include "../base/KxApi.h"

/// @file
/// RGB to XYZ matrices of the working spaces, adapted to D50, and their inverses: 9 constants row
/// by row, rounded to four decimals. The first row gives X (or R) from linear R, G, B (or X, Y, Z).

///@{
/// RGB to XYZ; the `inv_` form leads back. The sRGB primaries are those of IEC 61966-2-1.
extern KX_API const double sRGB_D50[9];
extern KX_API const double inv_sRGB_D50[9];
extern KX_API const double AdobeRGB_D50[9];
extern KX_API const double inv_AdobeRGB_D50[9];
extern KX_API const double AppleRGB_D50[9];
extern KX_API const double inv_AppleRGB_D50[9];
extern KX_API const double ColorMatchRGB_D50[9];
extern KX_API const double inv_ColorMatchRGB_D50[9];
///@}

#endif
