#ifndef KXCMS_COLORMATH_RGBMATRICES_H
#define KXCMS_COLORMATH_RGBMATRICES_H

#include "../base/KxApi.h"

/// @file
/// RGB to XYZ matrices of the working spaces, adapted to D50, and their inverses: 9 constants row
/// by row, rounded to four decimals. The first row gives X (or R) from linear R, G, B (or X, Y, Z).
///
/// They follow from the chromaticities x, y of primaries and white by the Bradford transform; D65
/// is (0.3127, 0.3290), D50 (0.3457, 0.3585):
///
/// | space | R | G | B | white |
/// |---|---|---|---|---|
/// | sRGB (IEC 61966-2-1) | 0.64, 0.33 | 0.30, 0.60 | 0.15, 0.06 | D65 |
/// | Adobe RGB (1998) | 0.64, 0.33 | 0.21, 0.71 | 0.15, 0.06 | D65 |
/// | Apple RGB | 0.625, 0.34 | 0.28, 0.595 | 0.155, 0.07 | D65 |
/// | ColorMatch RGB | 0.63, 0.34 | 0.295, 0.605 | 0.15, 0.075 | D50 |
///
/// `sRGB_D50[1]` alone is cut off, not rounded: 0.385152 stands as 0.3851.

///@{
/// RGB to XYZ; the `inv_` form leads back.
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
