/** @file
 * KXCMS: colour management for RGB image data. The plain C interface.
 *
 * Three independent engine slots each hold one ICC device profile and the pipeline made of it. Set
 * a slot up with KX_Icc_SetProfile, convert buffers or TIFF files with it as often as you like:
 *
 *     if (KX_Icc_SetProfile("scan.icc", NULL, KX_INTENT_PERCEPTUAL, KX_COLOR_RGB, KX_COLOR_SRGB)
 *         != KX_RESULT_NOT_SET) {
 *       KX_Icc_Convert2(pixels, pixels, pixelCount);
 *     }
 *
 * The functions without suffix drive the first slot, _2nd and _3rd the others. (KX_Icc_SetProfileF,
 * KX_Icc_Convert, KX_Icc_Initial and KX_Icc_DeleteWorkingBuf exist for the first slot only.)
 *
 * Results. Unless a function says otherwise it returns the slot's output code: the KX_COLOR_...
 * value of the pixels that the slot now produces, or KX_RESULT_NOT_SET (65535) when the slot is
 * unusable. So test for KX_RESULT_NOT_SET, not for 0.
 *
 * Pixels. Three interleaved samples a pixel, without padding. Samples have 8 bits or, with the
 * _16 codes, 16 bits in the byte order of the machine; a 16-bit buffer is passed as bytes and must
 * be aligned for unsigned short.
 *
 * Ownership. All pointers are borrowed for the time of the call; nothing that is returned needs
 * to be freed. Paths are the bytes that fopen takes.
 *
 * Threads. No function takes a lock. One slot must be used by one thread at a time; different slots
 * may be used at once. Conversions of 32,768 pixels or more, and KX_Icc_Adjust with curves, open an
 * OpenMP parallel region, with as many threads as OpenMP is set to use for the calling thread.
 * Loading the library sets this to 8, or fewer by dynamic adjustment, for the loading thread only;
 * other threads keep their own settings, at first those of OMP_NUM_THREADS and OMP_DYNAMIC.
 *
 * Processes. In a child of fork, whatever opens a parallel region hangs in GNU's OpenMP runtime if
 * the forking thread had opened one with several threads. Work in a new thread of the child does
 * not, nor does work after omp_set_num_threads(1).
 */
#ifndef KXCMS_INTERFACE_KXCMS_H
#define KXCMS_INTERFACE_KXCMS_H

#include "codes/CodeLists.h"

/** Marks what the library exports. */
#if defined(__GNUC__)
#define KX_C_API __attribute__((visibility("default")))
#else
#define KX_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Colour codes: what the caller's samples mean. As input only RGB and RGB_16 are accepted; as
 *  output the RGB encodings 8 to 13, 20 to 31 and 34 to 39. A _16 code is the code before it with
 *  16-bit samples. The list, KX_COLOR_CODES, stands in codes/CodeLists.h, as the two below do. */
enum KX_ColorCode {
  KX_COLOR_NONE = 65535, /**< no colour code; as input code of some functions: the default, RGB */
#define KX_ROW(value, name8, name16, c8, c16, doc, ...) \
  c8 = value, doc c16 = value + 1, /**< with 16 bits a sample */
  KX_COLOR_CODES(KX_ROW)
#undef KX_ROW
};

/** Rendering intents (ICC.1:2010 6.2) and the lookup tag that each tries first; all fall back to
 *  A2B0. */
enum KX_Intent {
#define KX_ROW(value, name, c, doc) c = value, doc
  KX_INTENTS(KX_ROW)
#undef KX_ROW
};

/** Results that are no colour codes. */
enum KX_Result {
#define KX_ROW(value, name, c, doc) c = value, doc
  KX_RESULTS(KX_ROW)
#undef KX_ROW
};

/* ---- Profile selection ---------------------------------------------------------------------- */

/** Reads a profile and builds the slot's pipeline; at once when path, intent and codes are those in
 *  force: a file that has changed under the same path is then not read again. Offsets of an earlier
 *  KX_Icc_Adjust are dropped with a rebuild.
 *
 *  The slot becomes unusable when the file cannot be opened, the input code is neither RGB nor
 *  RGB_16, or the output code is none that is accepted as output. A profile without a usable lookup
 *  tag is not told apart from success: conversions then do nothing. The profile's connection space
 *  is taken for Lab, whatever it is: one of XYZ gives wrong colours.
 *
 *  Writes one line to standard output, "SetProfile : <path>, intent : <n>, Input : <n>, Output :
 *  <n>".
 *  @param path    ICC device profile; a null path counts as unreadable.
 *  @param second  ignored.
 *  @param intent  a KX_Intent.
 *  @param input   KX_COLOR_RGB or KX_COLOR_RGB_16; KX_COLOR_NONE stands for KX_COLOR_RGB.
 *  @param output  a KX_ColorCode.
 *  @return the output code. */
KX_C_API int KX_Icc_SetProfile(const char* path, const char* second, int intent, int input,
                               int output);

/**@{*/
/** As KX_Icc_SetProfile for the other slots, with two differences: KX_COLOR_NONE is not replaced
 *  but refused, and instead of the line on standard output the request and its result go to the
 *  configuration hooks, sections "Current2" and "Current3".
 *  @return the output code. */
KX_C_API int KX_Icc_SetProfile_2nd(const char* path, const char* second, int intent, int input,
                                   int output);
KX_C_API int KX_Icc_SetProfile_3rd(const char* path, const char* second, int intent, int input,
                                   int output);
/**@}*/

/** As KX_Icc_SetProfile (first slot), without replacement of KX_COLOR_NONE and without the line. A
 *  failure goes to the configuration hooks, under section "Current3".
 *  @return the output code. */
KX_C_API int KX_Icc_SetProfileF(const char* path, const char* second, int intent, int input,
                                int output);

/* ---- Intent and adjustment ------------------------------------------------------------------ */

/**@{*/
/** Rebuilds the pipeline of the profile in the slot for another intent or other codes, with the
 *  offsets in force. The codes are stored without a check of the input code, even where no profile
 *  is held; the older tables then stay in use. The sample width of the output buffer stays that of
 *  the last KX_Icc_SetProfile.
 *  @param intent  a KX_Intent.
 *  @param input   KX_COLOR_NONE stands for KX_COLOR_RGB.
 *  @param output  a KX_ColorCode.
 *  @return the output code. */
KX_C_API int KX_Icc_SetIntent(int intent, int input, int output);
KX_C_API int KX_Icc_SetIntent_2nd(int intent, int input, int output);
KX_C_API int KX_Icc_SetIntent_3rd(int intent, int input, int output);
/**@}*/

/**@{*/
/** Shifts all colours and replaces the output curves.
 *
 *  With KX_Icc_Adjust, an application that answers 1 to the configuration hook's question ("Icc",
 *  "Control") overrides intent, codes and offsets through the other keys of that section; the _2nd
 *  and _3rd forms ask nothing.
 *
 *  The curves hold `count` output levels of 8 bits each and are only read; a null curve or a count
 *  of 0 leaves the output curves as they are. L and c are offsets in L* and C* (the results are
 *  limited to 0..100), h in degrees of hue; they take effect when their whole parts change.
 *  @return the output code. */
KX_C_API int KX_Icc_Adjust(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
                           int count, double L, double c, double h);
KX_C_API int KX_Icc_Adjust_2nd(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
                               int count, double L, double c, double h);
KX_C_API int KX_Icc_Adjust_3rd(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
                               int count, double L, double c, double h);
/**@}*/

/* ---- Conversion ----------------------------------------------------------------------------- */

/**@{*/
/** Converts a pixel buffer. A profile whose device manufacturer is "none" yields the output tables'
 *  own contents where both sample widths are the same; src may be null then.
 *  @param src     pixelCount pixels, 8-bit for input KX_COLOR_RGB, else 16-bit; only read.
 *  @param dst     pixelCount pixels of the output's sample width (16-bit whenever the input is);
 *                 may be src when both have the same sample width, must not overlap it otherwise.
 *  @param pixelCount  pixels, not bytes; nothing happens below 1 or with a null buffer.
 *  @return KX_RESULT_OK, or KX_RESULT_FAIL (nothing touched) when the slot is unusable. */
KX_C_API int KX_Icc_Convert2(unsigned char* src, unsigned char* dst, int pixelCount);
KX_C_API int KX_Icc_Convert2_2nd(unsigned char* src, unsigned char* dst, int pixelCount);
KX_C_API int KX_Icc_Convert2_3rd(unsigned char* src, unsigned char* dst, int pixelCount);
/**@}*/

/** The same as KX_Icc_Convert2. @return as there. */
KX_C_API int KX_Icc_Convert(unsigned char* src, unsigned char* dst, int pixelCount);

/**@{*/
/** Converts a TIFF file (baseline, uncompressed, little-endian, three samples of 8 or 16 bits, like
 *  the slot's codes) and writes a new one; three stopwatch lines go to standard output. An unusable
 *  slot opens no file.
 *  @return the output code. It does not tell whether the input could be read or the output be
 *          written. */
KX_C_API int KX_Icc_ConvertFile(const char* inPath, const char* outPath);
KX_C_API int KX_Icc_ConvertFile_2nd(const char* inPath, const char* outPath);
KX_C_API int KX_Icc_ConvertFile_3rd(const char* inPath, const char* outPath);
/**@}*/

/* ---- Kept for compatibility ----------------------------------------------------------------- */

/** Does nothing. @return KX_RESULT_NOT_SET when the first slot is unusable, else KX_RESULT_UNUSED.
 */
KX_C_API int KX_Icc_Initial(int value);

/** Does nothing. @return KX_RESULT_NOT_SET. */
KX_C_API int KX_Icc_DeleteWorkingBuf(void);

/* ---- Configuration hooks -------------------------------------------------------------------- */

/**@{*/
/** A hook. The library's own version does nothing. An application that defines a function of this
 *  name gets the calls instead. The library calls only ConfigGetInt, ConfigSetInt and
 *  ConfigSetString, on the caller's thread. Strings are borrowed and valid only during the call.
 *  The value of "InputProfile" is null where the path was.
 *  @return the library's own version: 0, null for the string getters. */
KX_C_API int ConfigFile(const char* path);
KX_C_API int ConfigGetInt(const char* section, const char* key, int defaultValue);
KX_C_API const char* ConfigGetString(const char* section, const char* key,
                                     const char* defaultValue);
KX_C_API int ConfigSetInt(const char* section, const char* key, int value);
KX_C_API int ConfigSetString(const char* section, const char* key, const char* value);
KX_C_API int ConfigFile2(const char* path);
KX_C_API int ConfigGetInt2(const char* section, const char* key, int defaultValue);
KX_C_API const char* ConfigGetString2(const char* section, const char* key,
                                      const char* defaultValue);
KX_C_API int ConfigSetInt2(const char* section, const char* key, int value);
KX_C_API int ConfigSetString2(const char* section, const char* key, const char* value);
/**@}*/

#ifdef __cplusplus
}
#endif

#endif
