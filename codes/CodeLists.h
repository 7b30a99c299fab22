/** @file
 * Every code of the interfaces, once: the enumerations and constants of C and C++, the name tables
 * and all that the library, its command and its benchmark know of a code are made from these lists.
 *
 * A list calls ROW with the columns of each of its rows. C99 and C++.
 */
#ifndef KXCMS_CODES_CODELISTS_H
#define KXCMS_CODES_CODELISTS_H

/* clang-format off */

/** Colour codes. A row is an encoding with its two codes: the even one has 8 bits a sample, the
 *  next one 16.
 *
 *  - value of the 8-bit code; the 16-bit one is one more
 *  - names in C++, of 8 and 16 bits, which are the texts of `strColor` too
 *  - names in C
 *  - what the documentation says
 *  - input and output class of the 8-bit code, as Info::CheckConversionType combines them; those of
 *    the 16-bit one are one higher, and 0 stands for none in both
 *  - primaries and curve (kxcms::Primaries, kxcms::EncodingCurve): a code without a curve is not
 *    accepted as output
 *  - name and description in the command; none where the code is no output
 */
#define KX_COLOR_CODES(ROW)                                                                        \
  ROW(0, RGB, RGB_16, KX_COLOR_RGB, KX_COLOR_RGB_16,                                               \
      /**< device RGB, the only input */,                                                          \
      1, 1, kNone, kNone, "", "")                                                                  \
  ROW(2, Lab, Lab_16, KX_COLOR_LAB, KX_COLOR_LAB_16,                                               \
      /**< CIE Lab; not accepted */,                                                               \
      1, 1, kNone, kNone, "", "")                                                                  \
  ROW(4, CMYK, CMYK_16, KX_COLOR_CMYK, KX_COLOR_CMYK_16,                                           \
      /**< not accepted */,                                                                        \
      0, 3, kNone, kNone, "", "")                                                                  \
  ROW(6, XYZ, XYZ_16, KX_COLOR_XYZ, KX_COLOR_XYZ_16,                                               \
      /**< CIE XYZ; not accepted */,                                                               \
      0, 0, kNone, kNone, "", "")                                                                  \
  ROW(8, sRGB220, sRGB220_16, KX_COLOR_SRGB220, KX_COLOR_SRGB220_16,                               \
      /**< sRGB primaries and encoding, the same as sRGB */,                                       \
      0, 1, kSRgb, kSRgb, "srgb-220", "sRGB primaries, the curve of srgb")                         \
  ROW(10, sRGB100, sRGB100_16, KX_COLOR_SRGB100, KX_COLOR_SRGB100_16,                              \
      /**< sRGB primaries, linear */,                                                              \
      0, 1, kSRgb, kLinear, "srgb-linear", "sRGB primaries, linear")                               \
  ROW(12, sRGB, sRGB_16, KX_COLOR_SRGB, KX_COLOR_SRGB_16,                                          \
      /**< sRGB, the usual output */,                                                              \
      0, 1, kSRgb, kSRgb, "srgb", "sRGB")                                                          \
  ROW(14, CMY, CMY_16, KX_COLOR_CMY, KX_COLOR_CMY_16,                                              \
      /**< not accepted */,                                                                        \
      0, 0, kNone, kNone, "", "")                                                                  \
  ROW(16, CLR6, CLR6_16, KX_COLOR_CLR6, KX_COLOR_CLR6_16,                                          \
      /**< six colours; not accepted */,                                                           \
      0, 5, kNone, kNone, "", "")                                                                  \
  ROW(18, CLR7, CLR7_16, KX_COLOR_CLR7, KX_COLOR_CLR7_16,                                          \
      /**< seven colours; not accepted */,                                                         \
      0, 7, kNone, kNone, "", "")                                                                  \
  ROW(20, Adobe100, Adobe100_16, KX_COLOR_ADOBE100, KX_COLOR_ADOBE100_16,                          \
      /**< Adobe RGB primaries, linear */,                                                         \
      0, 1, kAdobeRgb, kLinear, "adobe-rgb-linear", "Adobe RGB primaries, linear")                     \
  ROW(22, Adobe, Adobe_16, KX_COLOR_ADOBE, KX_COLOR_ADOBE_16,                                      \
      /**< Adobe RGB primaries, gamma 1.8 */,                                                      \
      0, 1, kAdobeRgb, kGamma180, "adobe-18", "Adobe RGB primaries, gamma 1.8")                       \
  ROW(24, Apple100, Apple100_16, KX_COLOR_APPLE100, KX_COLOR_APPLE100_16,                          \
      /**< Apple RGB primaries, linear */,                                                         \
      0, 1, kAppleRgb, kLinear, "apple-linear", "Apple RGB primaries, linear")                     \
  ROW(26, Apple, Apple_16, KX_COLOR_APPLE, KX_COLOR_APPLE_16,                                      \
      /**< Apple RGB primaries, gamma 1.8 */,                                                      \
      0, 1, kAppleRgb, kGamma180, "apple", "Apple RGB primaries, gamma 1.8")                       \
  ROW(28, ColorMatch100, ColorMatch100_16, KX_COLOR_COLORMATCH100, KX_COLOR_COLORMATCH100_16,      \
      /**< ColorMatch RGB primaries, linear */,                                                    \
      0, 1, kColorMatchRgb, kLinear, "colormatch-linear", "ColorMatch RGB primaries, linear")      \
  ROW(30, ColorMatch, ColorMatch_16, KX_COLOR_COLORMATCH, KX_COLOR_COLORMATCH_16,                  \
      /**< ColorMatch RGB primaries, gamma 1.8 */,                                                 \
      0, 1, kColorMatchRgb, kGamma180, "colormatch", "ColorMatch RGB primaries, gamma 1.8")        \
  ROW(32, Ycc, Ycc_16, KX_COLOR_YCC, KX_COLOR_YCC_16,                                              \
      /**< not accepted */,                                                                        \
      0, 0, kNone, kNone, "", "")                                                                  \
  ROW(34, sRGB_KodakPhoto, sRGB_KodakPhoto_16,                                                     \
      KX_COLOR_SRGB_KODAKPHOTO, KX_COLOR_SRGB_KODAKPHOTO_16,                                       \
      /**< sRGB primaries with the Kodak tone curve for photographs */,                            \
      0, 1, kSRgb, kKodakPhoto, "srgb-kodak-photo",                                                \
      "sRGB primaries, Kodak tone curve for photographs")                                          \
  ROW(36, sRGB_KodakMix, sRGB_KodakMix_16,                                                         \
      KX_COLOR_SRGB_KODAKMIX, KX_COLOR_SRGB_KODAKMIX_16,                                           \
      /**< sRGB primaries with the Kodak tone curve for mixed pages */,                            \
      0, 1, kSRgb, kKodakMix, "srgb-kodak-mix",                                                    \
      "sRGB primaries, Kodak tone curve for mixed originals")                                      \
  ROW(38, sRGB_KodakText, sRGB_KodakText_16,                                                       \
      KX_COLOR_SRGB_KODAKTEXT, KX_COLOR_SRGB_KODAKTEXT_16,                                         \
      /**< sRGB primaries with the Kodak tone curve for text */,                                   \
      0, 1, kSRgb, kKodakText, "srgb-kodak-text",                                                  \
      "sRGB primaries, Kodak tone curve for text")

/** Rendering intents (ICC.1:2010 6.2): value, name in C++, which is the text of `strIntent` too,
 *  name in C, and the lookup tag that is tried first; all fall back to A2B0. */
#define KX_INTENTS(ROW)                                                                            \
  ROW(0, Percepture, KX_INTENT_PERCEPTUAL, /**< perceptual: A2B0 */)                               \
  ROW(1, Relative, KX_INTENT_RELATIVE, /**< media-relative colorimetric: A2B1 */)                  \
  ROW(2, Saturation, KX_INTENT_SATURATION, /**< saturation: A2B2 */)                               \
  ROW(3, Absolute, KX_INTENT_ABSOLUTE,                                                             \
      /**< ICC-absolute colorimetric: A2B1 with the media white point */)

/** Results of the C interface that are no colour codes: value, name in C++, name in C. */
#define KX_RESULTS(ROW)                                                                            \
  ROW(0, IccResultOk, KX_RESULT_OK,                                                                \
      /**< a selection succeeded or nothing changed; a conversion ran */)                          \
  ROW(65533, IccResultUnused, KX_RESULT_UNUSED, /**< the function does nothing */)                 \
  ROW(65535, IccResultNotSet, KX_RESULT_NOT_SET,                                                   \
      /**< the slot is unusable, or the profile has no lookup tag that it can use */)              \
  ROW(-1, IccResultFail, KX_RESULT_FAIL,                                                           \
      /**< all ones: a conversion was refused, or its file could not be read */)

/** Results of the classes alone, which no function of the C interface passes on. */
#define KX_CLASS_RESULTS(ROW)                                                                      \
  ROW(65534, IccResultNoConversionType, /**< no known conversion type for a pair of codes */)      \
  ROW(65531, IccResultProfileRead, /**< the ICC file could not be opened */)                       \
  ROW(65530, IccResultInputColor, /**< the input colour code is neither RGB nor RGB_16 */)

/* clang-format on */

#endif
