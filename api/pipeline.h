/** @file
 * KXCMS: precise colour conversion of RGB images by ICC profiles, through handles.
 *
 * A kxp_profile is an ICC profile or a built-in space; a kxp_pipeline converts from one to another:
 *
 *     kxp_profile *scanner, *srgb;
 *     kxp_pipeline* pipeline;
 *     kxp_image image = {.size = sizeof image, .r = pixels, .g = pixels + 1, .b = pixels + 2};
 *     if (kxp_profile_open("scanner.icc", &scanner, NULL) != KXP_OK) return -1;
 *     kxp_profile_builtin("srgb", &srgb, NULL);
 *     kxp_pipeline_create(scanner, srgb, NULL, &pipeline, NULL);
 *     kxp_convert(pipeline, &image, &image, width, height, NULL, NULL);
 *
 * (with every status looked at, as examples/convert_image.c does).
 *
 * Errors. Everything that can be refused is refused when an object is made; a conversion fails only
 * for wrong arguments or because its caller cancels it. Functions that can fail return a kxp_status
 * and take an optional record, owned by the caller, that says what is wrong in one sentence. On
 * failure nothing is stored through result pointers but null, unless a function says what.
 *
 * Objects are immutable. Every function may be called from any number of threads at once, on the
 * same objects too. They are counted: what a function makes, its caller owns one reference of and
 * gives back with ..._release; the last one frees it. A pipeline needs neither of its profiles any
 * more once it is made.
 *
 * Structs begin with their size, to be set to sizeof; 0 is the default of every other member, so
 * {.size = sizeof x} is a valid one (but for an image, which needs its addresses). A program
 * compiled against this header runs with later libraries. What is unknown (flags, numbers of
 * intents or sample types) is refused; numbers are never reused. Later libraries may return
 * statuses that this header does not name: they are failures.
 *
 * Loading the library does nothing. It prints nothing, touches neither locale nor global state,
 * starts no thread unless a conversion asks for it, and joins it before the conversion returns, so
 * that programs may load and unload the library as they like, and fork whenever none of their
 * threads is making a pipeline. Its threads take no signal that is meant for the process. A thread
 * that calls it needs 64 KiB of stack. It reads one environment variable, KXCMS_LEVEL (see
 * kxp_level).
 *
 * The numbers of profiles and their meaning are those of ICC.1:2010 (version 4.3) and its
 * predecessors; docs/pipeline.md explains every stage of a conversion with its formula.
 */
#ifndef KXCMS_API_PIPELINE_H
#define KXCMS_API_PIPELINE_H

#include <stddef.h>
#include <stdint.h>

/** The version of this header, 10000 major + 100 minor + patch; kxp_version() tells the library's.
 */
#define KXP_HEADER_VERSION 10000

/** Marks what the library exports. */
#if defined(__GNUC__)
#define KXP_API __attribute__((visibility("default")))
#else
#define KXP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status and errors ----------------------------------------------------------------------- */

/** What became of a call. */
typedef enum kxp_status {
  KXP_OK = 0,
  KXP_ERROR_ARGUMENT = 1,    /**< the call is wrong: a null pointer, an unknown number, a name that
                                  is none, images that overlap */
  KXP_ERROR_MEMORY = 2,      /**< there is not enough memory */
  KXP_ERROR_FILE = 3,        /**< a file cannot be opened or read */
  KXP_ERROR_DAMAGED = 4,     /**< the bytes are no valid profile */
  KXP_ERROR_UNSUPPORTED = 5, /**< a valid profile, but not one that can do what is asked */
  KXP_CANCELLED = 6          /**< the progress callback asked for it; the destination may be
                                  incomplete */
} kxp_status;

/** What is wrong, for people. Owned by the caller; filled only on failure, and not at all if its
 *  size is less than that of the struct. */
typedef struct kxp_error {
  size_t size;       /**< sizeof(kxp_error) */
  kxp_status status; /**< as returned */
  char tag[8];     /**< the profile's tag that is concerned, as text ("A2B0"); "" for none, and for
                        the profile's header and tag table */
  uint64_t offset; /**< of what is wrong with a damaged or unsupported profile, in bytes from its
                        start; of what should stand behind the end of a tag or the profile, that
                        end; 0 otherwise */
  char message[240]; /**< one English sentence without a line end, ASCII, whatever the locale */
} kxp_error;

/** @return a short text for a status, static storage; "unknown status" for any other number. */
KXP_API const char* kxp_status_text(kxp_status status);

/* ---- The library ----------------------------------------------------------------------------- */

/** @return the version of the library that is loaded, "1.0.0". */
KXP_API const char* kxp_version(void);

/** The instruction-set level of the conversions: "portable", "avx2" or "avx512", or "scalar" on
 *  request. It is the highest that the processor and the operating system support, unless the
 *  environment variable KXCMS_LEVEL names a lower one when the library first converts or is
 *  first asked. Results are the same bits at every level. @return static storage. */
KXP_API const char* kxp_level(void);

/* ---- Profiles -------------------------------------------------------------------------------- */

/** An ICC profile or a built-in space. */
typedef struct kxp_profile kxp_profile;

/** Reads a profile from memory. Taken are RGB profiles of the classes input, display, output and
 *  colour space, versions 2 and 4, with lookup tags (lut8Type, lut16Type, lutAToBType) or a
 *  matrix and tone curves. Whatever conversion is asked for later, refused is damage to the header,
 *  to the tag table (two tags of a name, a tag that lies outside of the profile), and to any tag
 *  that some conversion would need (A2B, B2A, the matrix and the curves, wtpt). Texts whose
 *  contents are damaged are empty.
 *  @param bytes    the profile, copied as far as needed.
 *  @param size     their number. Memory stays below 32 MiB and four times this number.
 *  @param profile  receives the object.
 *  @param error    optional.
 *  @return KXP_OK, KXP_ERROR_ARGUMENT, KXP_ERROR_MEMORY, KXP_ERROR_DAMAGED or
 *          KXP_ERROR_UNSUPPORTED. */
KXP_API kxp_status kxp_profile_from_memory(const void* bytes, size_t size, kxp_profile** profile,
                                           kxp_error* error);

/** Reads a profile from a file. Nothing is remembered by name: every call reads, as many bytes
 *  as the profile says that it has. A file that is no regular one, or larger than 1 GiB, is
 *  refused.
 *  @param path     the bytes that open() takes.
 *  @param profile  receives the object.
 *  @param error    optional.
 *  @return as kxp_profile_from_memory, or KXP_ERROR_FILE. */
KXP_API kxp_status kxp_profile_open(const char* path, kxp_profile** profile, kxp_error* error);

/** Takes a built-in space.
 *  @param name     see kxp_space_name. "adobe" is none: it could be "adobe-rgb" or "adobe-18".
 *  @param profile  receives the object.
 *  @param error    optional.
 *  @return KXP_OK, KXP_ERROR_ARGUMENT or KXP_ERROR_MEMORY. */
KXP_API kxp_status kxp_profile_builtin(const char* name, kxp_profile** profile, kxp_error* error);

/** @return the same object, with one more reference; null for null. */
KXP_API kxp_profile* kxp_profile_retain(kxp_profile* profile);
/** Gives one reference back. Null is allowed. */
KXP_API void kxp_profile_release(kxp_profile* profile);

/** @return the number of built-in spaces. */
KXP_API size_t kxp_space_count(void);
/** The names are in lower case: "srgb" (IEC 61966-2-1), "adobe-rgb" (Adobe RGB (1998), gamma
 *  2.19921875), "display-p3", "prophoto" (ROMM RGB), "ecirgb-v2", "rec2020", "apple" (Apple RGB),
 *  "colormatch" (ColorMatch RGB), each with "-linear" appended for its primaries without a curve;
 *  "adobe-18", the primaries of Adobe RGB (1998) with gamma 1.8, which is not Adobe RGB (1998);
 *  "srgb-220", the same as "srgb"; "srgb-kodak-photo", "srgb-kodak-mix" and "srgb-kodak-text", sRGB
 *  rendered by a tone curve, outputs of the fixed pipeline alone; "lab" and "xyz", destinations for
 *  measuring.
 *  @return the name of a built-in space, static storage; null from kxp_space_count() on. */
KXP_API const char* kxp_space_name(size_t index);
/** @return one line that says what it is, likewise. */
KXP_API const char* kxp_space_description(size_t index);

/** Rendering intents (ICC.1:2010 7.2.15). */
enum {
  KXP_PERCEPTUAL = 0,
  KXP_RELATIVE = 1, /**< media-relative colorimetric */
  KXP_SATURATION = 2,
  KXP_ABSOLUTE = 3 /**< ICC-absolute colorimetric */
};

/** What can be asked of a profile. Numbers have an index from 0 on, 0 where there is only one.
 *  Texts are UTF-8. A built-in space has a class of "mntr" and no file: size 0, version 0, no
 *  tags; its numbers are those of its definition. "lab" and "xyz" have
 *  a description and nothing else: any other question is unsupported. */
enum {
  KXP_SIZE = 1,           /**< number: bytes */
  KXP_VERSION = 2,        /**< text "4.3.0"; number 4.3 */
  KXP_CLASS = 3,          /**< text: "scnr", "mntr", "prtr", "spac" */
  KXP_COLOR_SPACE = 4,    /**< text: "RGB " */
  KXP_PCS = 5,            /**< text: "Lab " or "XYZ " */
  KXP_DESCRIPTION = 6,    /**< text: English where there is English; the name of a built-in space */
  KXP_COPYRIGHT = 7,      /**< text */
  KXP_MANUFACTURER = 8,   /**< text: a signature, "" for none */
  KXP_MODEL = 9,          /**< text: a signature, "" for none */
  KXP_CREATOR = 10,       /**< text: a signature, "" for none */
  KXP_HEADER_INTENT = 11, /**< number: the intent in the header */
  KXP_WHITE = 12,      /**< 3 numbers: media white, XYZ relative to Y = 1; D50 if there is none */
  KXP_BLACK = 13,      /**< 3 numbers: media black, XYZ; unsupported without a bkpt tag */
  KXP_ADAPTATION = 14, /**< 9 numbers: chad, row by row; unsupported without that tag */
  KXP_TAG = 15,        /**< text by index: signatures of all tags, in the file's order */
  KXP_TAG_COUNT = 16,  /**< number */
  KXP_INTENT_TAG = 17, /**< text by intent: what it really uses as a source, "A2B0" to "A2B2" or
                            "matrix"; "" if it cannot be one */
  KXP_INTENT_FALLBACK = 18, /**< number by intent: 1 if that is not the tag of the intent */
  KXP_GRID = 19, /**< number by 3 * intent + channel: grid points of that tag; 0 for none */
  KXP_INPUT_ENTRIES = 20,   /**< number by 3 * intent + channel: entries of the first curve that a
                                 channel goes through there; 0 for a formula */
  KXP_OUTPUT_ENTRIES = 21,  /**< the same of the last curve, on the side of the PCS; 0 for none */
  KXP_DESTINATION_TAG = 22, /**< text by intent: what it would use as a destination, "B2A0" to
                               "B2A2" or "matrix"; "" if it cannot be one */
  KXP_DESTINATION_FALLBACK = 23 /**< number by intent */
};

/** A number of a profile.
 *  @param profile  which is asked.
 *  @param key      KXP_SIZE and so on.
 *  @param index    as the key says.
 *  @param value    receives the number.
 *  @return KXP_OK; KXP_ERROR_ARGUMENT for an unknown key, a key of texts or an index that there
 *          is not; KXP_ERROR_UNSUPPORTED where this profile has no such number; KXP_ERROR_MEMORY.
 *          On failure the value is left alone. */
KXP_API kxp_status kxp_profile_number(const kxp_profile* profile, uint32_t key, uint32_t index,
                                      double* value);

/** A text of a profile, cut at a character where the room ends and always ended by a zero byte.
 *  @param profile   which is asked.
 *  @param key       KXP_SIZE and so on.
 *  @param index     as the key says.
 *  @param text      room for the text; may be null if capacity is 0.
 *  @param capacity  its size in bytes.
 *  @param length    optional: receives the length of the whole text, without the zero byte.
 *  @return as kxp_profile_number. */
KXP_API kxp_status kxp_profile_text(const kxp_profile* profile, uint32_t key, uint32_t index,
                                    char* text, size_t capacity, size_t* length);

/** Writes the ICC profile of a built-in space, to tag with what was converted to it.
 *
 *  It is a display profile with matrix and tone curves. Its colorants are adapted to D50 by the
 *  Bradford transform, as chad states, and add up to D50 exactly. The date is a fixed one, there is
 *  neither maker nor model, and the copyright claims nothing: the same version of the library
 *  writes the same bytes, whenever and wherever.
 *
 *  - Version 4 is 4.3.0 (ICC.1:2010): curves are parametric, the published formulas within 0.3 of
 *    65535; wtpt is D50; there is a profile ID.
 *  - Version 2 is 2.4.0 (ICC.1:2001-04), for readers that know no other: a curve is one gamma where
 *    that is exact ("adobe-rgb"), else 2049 entries, right within 0.501 of 65535. wtpt is the white
 *    of the space, as profiles of this version have it: the absolute intent, which equals relative
 *    with built-in spaces and version 4, shows the white of sRGB as bluish as it is beside D50. The
 *    other intents do not look at it. There is no profile ID.
 *
 *  What is left of rounding is a CIEDE2000 of at most 0.01 in version 4 and 0.05 in version 2. A
 *  picture that is converted back from this profile to its space is within one level of 8 bits; of
 *  16 bits more levels may differ where a channel is next to 0 and its curve is steep (adobe-rgb,
 *  350 of 65535).
 *
 *  What "srgb-kodak-photo", "srgb-kodak-mix" and "srgb-kodak-text" have rendered is a picture in
 *  sRGB: their profile, and that of "srgb-220", is the one of "srgb". "lab" and "xyz" have colour
 *  space profiles of version 4 that change nothing, for pixels in the 16-bit encodings of
 *  kxp_image; version 2 is refused. Profiles that were read are refused: their bytes are the
 *  caller's.
 *
 *  @param profile   a built-in space.
 *  @param version   2, 4, or 0 for the default, which is 4.
 *  @param bytes     room for the profile; may be null if capacity is 0.
 *  @param capacity  its size in bytes. 0 asks for the size alone.
 *  @param size      receives the size of the whole profile, also where there is too little room
 *                   for it; 0 on any other failure.
 *  @param error     optional.
 *  @return KXP_OK; KXP_ERROR_ARGUMENT, also for a capacity that is too small but not 0, when
 *          nothing is written; KXP_ERROR_UNSUPPORTED; KXP_ERROR_MEMORY. */
KXP_API kxp_status kxp_profile_write(const kxp_profile* profile, uint32_t version, void* bytes,
                                     size_t capacity, size_t* size, kxp_error* error);

/* ---- Pipelines ------------------------------------------------------------------------------- */

/** A conversion from one profile to another. */
typedef struct kxp_pipeline kxp_pipeline;

/** kxp_pipeline_options::flags. */
enum {
  /** Maps the source's black to the destination's (ISO 18619), scaling in XYZ. Relative intent
   *  only: with any other it is refused. */
  KXP_BLACK_POINT_COMPENSATION = 1 << 0,
  /** Half and float results of built-in spaces go on below 0 and above 1, where the destination
   *  cannot show a colour: above, the encoding's formula goes on; below, it is that of the
   *  magnitude, negated. Integer results and destinations that are profiles are clipped always. */
  KXP_UNCLIPPED = 1 << 1
};

/** The two ways to convert: kxp_pipeline_options::pipeline. */
enum {
  KXP_PRECISE = 0, /**< what the profiles say, in floating point */
  KXP_FIXED = 1    /**< the bits of the fixed interface, libKXCMS */
};

/** How to convert. */
typedef struct kxp_pipeline_options {
  size_t size;       /**< sizeof(kxp_pipeline_options) */
  uint32_t intent;   /**< KXP_PERCEPTUAL and so on */
  uint32_t flags;    /**< KXP_BLACK_POINT_COMPENSATION and so on; of KXP_PRECISE */
  uint32_t pipeline; /**< KXP_PRECISE or KXP_FIXED */
  uint32_t reserved; /**< 0 */
  double lightness;  /**< of KXP_FIXED: offset of L* in the connection space, any finite number;
                          results are limited to what it holds */
  double chroma;     /**< likewise of C* */
  double hue;        /**< likewise of the hue angle, in degrees */
} kxp_pipeline_options;

/** Makes a pipeline: of KXP_PRECISE, unless the options ask for KXP_FIXED.
 *
 *  Source. The tag of the intent (perceptual A2B0, relative and absolute A2B1, saturation A2B2),
 *  or, where a profile lacks it, A2B0, its matrix and curves, A2B1, A2B2, the first that is
 *  there; KXP_SOURCE_TAG tells which. Each element of it is evaluated for every pixel as ICC.1
 *  says, on its own grid, by tetrahedral interpolation, in 32-bit floating point; each clips to
 *  its own domain, [0, 1].
 *
 *  Destination. A built-in space, or an RGB profile with B2A tags (the tag of the intent, else
 *  B2A0 and so on), or with a matrix and tone curves that can all be inverted.
 *
 *  The absolute intent scales XYZ by the ratio of the two media whites (ICC.1:2010 6.3.2.2),
 *  each as its wtpt tag says; those of built-in spaces are D50. A chad tag takes no part: the
 *  white of a version 4 display is D50 already, so that absolute is relative there.
 *
 *  Precision. Integer results are the nearest ones, within 2 levels of 65535 of what double
 *  precision gives, 99.9 % within 1, and at 8 bits equal to it but within 0.02 of a tie; half
 *  and float results within 0.005 in CIEDE2000. For pure gamma encodings the 16-bit bound holds
 *  from a linear 0.0001 on; for destinations with tabulated curves that stay level (0, 0, 1, ... in
 *  the shadows of long tables) it holds but beside the levels, where 0.005 holds. The same bits
 *  on every processor and with every number of threads.
 *
 *  KXP_FIXED gives, byte for byte, what CIccEngineS::SetProfile of libKXCMS selects for the
 *  profile, the intent, the offsets (fractions too, which KX_Icc_Adjust leaves out where the
 *  whole parts are 0), and the output code that has the destination's name: an interpolation in
 *  a grid of 17 points of 8-bit linear values. Samples have 8 or 16 bits; from 16 to 8 the
 *  16-bit results are rounded. Destinations are "srgb" (and "srgb-220", the same),
 *  "srgb-linear", "adobe-18" (the primaries of Adobe RGB (1998) with gamma 1.8),
 *  "adobe-rgb-linear", "apple", "apple-linear", "colormatch", "colormatch-linear", and sRGB with
 *  a Kodak tone curve in place of its own: "srgb-kodak-photo", "srgb-kodak-mix",
 *  "srgb-kodak-text". Refused, with the reason, is what the fixed interface converts wrongly or
 *  not at all: profiles without the lookup tag of the intent and without A2B0 (also those with a
 *  matrix and tone curves alone), tags of type lut8Type, an XYZ connection space, and of
 *  lutAToBType a matrix or M curves that are not identity, CLUTs of 8-bit values or with
 *  different axes, and curves that it cuts off (it reads tables of one odd number of entries);
 *  of all tags curves of two entries that are not straight from 0 to 1, and grids of more than
 *  33 points; and the manufacturer "none".
 *
 *  @param source       where the pixels come from; "lab" and "xyz" are refused.
 *  @param destination  where they go.
 *  @param options      null for the defaults: perceptual, no flags.
 *  @param pipeline     receives the object.
 *  @param error        optional.
 *  @return KXP_OK, KXP_ERROR_ARGUMENT, KXP_ERROR_MEMORY or KXP_ERROR_UNSUPPORTED. */
KXP_API kxp_status kxp_pipeline_create(const kxp_profile* source, const kxp_profile* destination,
                                       const kxp_pipeline_options* options, kxp_pipeline** pipeline,
                                       kxp_error* error);

/** @return the same object, with one more reference; null for null. */
KXP_API kxp_pipeline* kxp_pipeline_retain(kxp_pipeline* pipeline);
/** Gives one reference back. Null is allowed. */
KXP_API void kxp_pipeline_release(kxp_pipeline* pipeline);

/** What can be asked of a pipeline, as of a profile. */
enum {
  KXP_INTENT = 1,          /**< number */
  KXP_SOURCE_TAG = 2,      /**< text: "A2B0" and so on, or "matrix" */
  KXP_SOURCE_FALLBACK = 3, /**< number: 1 if that is not the tag of the intent */
  KXP_TARGET_TAG = 4,      /**< text: "B2A0" and so on, "matrix", or "builtin" */
  KXP_TARGET_FALLBACK = 5, /**< number */
  KXP_PIPELINE = 6         /**< number: KXP_PRECISE or KXP_FIXED */
};
/** @return as kxp_profile_number. */
KXP_API kxp_status kxp_pipeline_number(const kxp_pipeline* pipeline, uint32_t key, uint32_t index,
                                       double* value);
/** @return as kxp_profile_text. */
KXP_API kxp_status kxp_pipeline_text(const kxp_pipeline* pipeline, uint32_t key, uint32_t index,
                                     char* text, size_t capacity, size_t* length);

/* ---- Images ---------------------------------------------------------------------------------- */

/** Sample types. Integers are full-scale: 255 or 65535 is 1. Integers and floats are in the byte
 *  order of the machine and aligned for their type, or not, as they come. */
enum {
  KXP_U8 = 0,  /**< unsigned, 8 bits */
  KXP_U16 = 1, /**< unsigned, 16 bits */
  KXP_F16 = 2, /**< IEEE 754 binary16 */
  KXP_F32 = 3  /**< IEEE 754 binary32 */
};

/** kxp_image::flags. */
enum {
  /** Colour samples are multiplied by alpha (associated, premultiplied). They are divided before
   *  the conversion and multiplied after it; where alpha is 0 they are converted as they stand.
   *  Says nothing of an image without alpha. */
  KXP_ASSOCIATED_ALPHA = 1 << 0,
  /** Of a destination: alpha is written as 1 (full scale) whatever the source says. */
  KXP_OPAQUE = 1 << 1
};

/** Where the samples of an image are. One description for all layouts: interleaved in any order,
 *  planar, flipped (a negative row_stride from the last row on), a part of a larger image.
 *
 *  Bytes from p on, with every other member 0 and size as always:
 *
 *      interleaved RGB               .r = p, .g = p + 1, .b = p + 2
 *      interleaved BGRA              .r = p + 2, .g = p + 1, .b = p, .a = p + 3
 *      planes of n pixels, width w   .r = p, .g = p + n, .b = p + 2 * n,
 *                                    .pixel_stride = 1, .row_stride = w
 *
 *  Of a source, bytes between the samples of a row may be read; of a destination, samples alone
 *  are touched.
 *
 *  The samples of a Lab or XYZ destination (U16 or F32 only) are L*, a*, b* or X, Y, Z
 *  themselves as floats; as integers L* * 655.35, (a* + 128) * 257, (b* + 128) * 257 (ICC.1:2010
 *  6.3.4.2), and 32768 times X, Y, Z, clipped to 0..65535. */
typedef struct kxp_image {
  size_t size;            /**< sizeof(kxp_image) */
  void* r;                /**< first R sample of the first row; a source is only read */
  void* g;                /**< first G sample */
  void* b;                /**< first B sample */
  void* a;                /**< first alpha sample, or null: an image without alpha */
  ptrdiff_t pixel_stride; /**< bytes from a pixel to the next one of its row, any sign; 0: packed,
                               three samples, or four with alpha */
  ptrdiff_t row_stride; /**< bytes from a row to the next one, any sign; 0: width * pixel_stride */
  uint32_t sample;      /**< KXP_U8 and so on, of all samples */
  uint32_t flags;       /**< KXP_ASSOCIATED_ALPHA and so on */
} kxp_image;

/** One piece of work: to be called once for every index. */
typedef void (*kxp_job)(void* argument, uint32_t index);

/** Runs jobs on the host's own threads: calls job(argument, index) once for each index below
 *  count, on any threads, in any order, and returns when all have returned. It must not throw. A
 *  job that it does not call at all is done without: the caller's thread does its work
 *  afterwards. One that it calls again does no harm. */
typedef void (*kxp_run)(void* context, uint32_t count, kxp_job job, void* argument);

/** Told how far a conversion is, in pixels, on the thread that called kxp_convert: first with 0,
 *  then every few hundred thousand pixels (of each thread) with a number that never falls, and at
 *  the end once with done == total, when there is nothing left to cancel. It must not throw.
 *  @return 0 to go on, anything else to cancel. */
typedef int (*kxp_progress)(void* context, uint64_t done, uint64_t total);

/** How to run a conversion. */
typedef struct kxp_convert_options {
  size_t size;       /**< sizeof(kxp_convert_options) */
  uint32_t threads;  /**< at most so many threads, the caller's among them; 0 and 1: only that one.
                          They are started for the call; one that cannot be started is done without.
                          With run: jobs to hand out at a time */
  uint32_t flags;    /**< 0 */
  kxp_run run;       /**< the host's threads in place of our own, or null */
  void* run_context; /**< passed to run */
  kxp_progress progress;  /**< or null */
  void* progress_context; /**< passed to progress */
} kxp_convert_options;

/** Converts an image. Alpha is kept where both images have it, 1 where only the destination has
 *  it, dropped where only the source has it.
 *
 *  Half and float samples outside [0, 1] are clipped, NaN counts as 0. So does alpha where it is
 *  rescaled to another sample type, divided or multiplied by; between images of one sample type
 *  it is copied, bit for bit.
 *
 *  In place: source and destination may describe the same samples, of the same type, and either
 *  may have an alpha that the other has not. Images may also lie between one another, like two
 *  parts of a larger one, if their strides are the same. Any other overlap is refused - of images
 *  with different strides, of the ranges of addresses from their first to their last byte - and
 *  so is a destination two samples of which share bytes. Nothing of the size of the image is
 *  allocated, and without threads nothing at all.
 *
 *  @param pipeline     what it becomes by.
 *  @param source       borrowed, like the memory that it describes.
 *  @param destination  likewise; only the samples described are written.
 *  @param width        pixels of a row.
 *  @param height       rows. If there are no pixels nothing happens.
 *  @param options      null for the defaults: on the caller's thread, without progress.
 *  @param error        optional.
 *  @return KXP_OK, KXP_ERROR_ARGUMENT or KXP_CANCELLED. */
KXP_API kxp_status kxp_convert(const kxp_pipeline* pipeline, const kxp_image* source,
                               const kxp_image* destination, size_t width, size_t height,
                               const kxp_convert_options* options, kxp_error* error);

/* ---- Looking into a conversion --------------------------------------------------------------- */

/** One stage that a colour goes through. */
typedef struct kxp_stage {
  size_t size;       /**< sizeof(kxp_stage), in every element of an array */
  char name[32];     /**< see kxp_probe */
  double values[3];  /**< the colour behind the stage */
  double clipped[3]; /**< how much the stage cut off: what came in less what it used; 0 for
                          nothing */
} kxp_stage;

/** Takes one colour through a pipeline and tells every stage, in this order:
 *
 *  - "device": what is given, clipped into [0, 1];
 *  - the elements of the source's tag: "input curves", "grid", "output curves" (lut8Type,
 *    lut16Type) or "A curves", "grid", "M curves", "matrix", "B curves" (lutAToBType), those that
 *    are there; or "tone curves";
 *  - "PCS Lab" and "PCS XYZ": what the profile says;
 *  - "adapted XYZ": behind black point compensation or the absolute intent, if asked for;
 *  - "linear": of destinations with primaries, as it is before anything is clipped;
 *  - "PCS encoded" and the elements of the destination's tag, where it has one;
 *  - "encoded": what a float image gets, bit for bit.
 *
 *  Of the fixed pipeline "device", rounded to 16 bits, and "encoded", of 16 bits, alone.
 *
 *  @param pipeline  the pipeline.
 *  @param device    R, G, B in [0, 1].
 *  @param stages    receives the stages; may be null if capacity is 0. The size of the first says
 *                   how far apart they are; the others' are filled in.
 *  @param capacity  room in stages; 24 are always enough.
 *  @param count     receives the number of stages that there are.
 *  @param error     optional.
 *  @return KXP_OK, KXP_ERROR_ARGUMENT or KXP_ERROR_MEMORY. */
KXP_API kxp_status kxp_probe(const kxp_pipeline* pipeline, const double device[3],
                             kxp_stage* stages, size_t capacity, size_t* count, kxp_error* error);

#ifdef __cplusplus
}
#endif

#endif
