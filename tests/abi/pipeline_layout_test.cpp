// The structs and numbers of the pipeline interface, which compiled programs carry with them: no
// member moves, and no number is ever given to something else (LP64).

#include <cstddef>

#include "api/pipeline.h"

#define FIELD(T, f, at) static_assert(offsetof(T, f) == at, #T "::" #f " moved")
#define SIZE(T, bytes) static_assert(sizeof(T) == bytes, "size of " #T " changed")
#define NUMBER(name, value) static_assert(name == value, #name " changed")

namespace {

FIELD(kxp_error, size, 0);
FIELD(kxp_error, status, 8);
FIELD(kxp_error, tag, 12);
FIELD(kxp_error, offset, 24);
FIELD(kxp_error, message, 32);
SIZE(kxp_error, 272);

FIELD(kxp_pipeline_options, size, 0);
FIELD(kxp_pipeline_options, intent, 8);
FIELD(kxp_pipeline_options, flags, 12);
FIELD(kxp_pipeline_options, pipeline, 16);
FIELD(kxp_pipeline_options, reserved, 20);
FIELD(kxp_pipeline_options, lightness, 24);
FIELD(kxp_pipeline_options, chroma, 32);
FIELD(kxp_pipeline_options, hue, 40);
SIZE(kxp_pipeline_options, 48);

FIELD(kxp_image, size, 0);
FIELD(kxp_image, r, 8);
FIELD(kxp_image, g, 16);
FIELD(kxp_image, b, 24);
FIELD(kxp_image, a, 32);
FIELD(kxp_image, pixel_stride, 40);
FIELD(kxp_image, row_stride, 48);
FIELD(kxp_image, sample, 56);
FIELD(kxp_image, flags, 60);
SIZE(kxp_image, 64);

FIELD(kxp_convert_options, size, 0);
FIELD(kxp_convert_options, threads, 8);
FIELD(kxp_convert_options, flags, 12);
FIELD(kxp_convert_options, run, 16);
FIELD(kxp_convert_options, run_context, 24);
FIELD(kxp_convert_options, progress, 32);
FIELD(kxp_convert_options, progress_context, 40);
SIZE(kxp_convert_options, 48);

FIELD(kxp_stage, size, 0);
FIELD(kxp_stage, name, 8);
FIELD(kxp_stage, values, 40);
FIELD(kxp_stage, clipped, 64);
SIZE(kxp_stage, 88);

NUMBER(KXP_OK, 0);
NUMBER(KXP_ERROR_ARGUMENT, 1);
NUMBER(KXP_ERROR_MEMORY, 2);
NUMBER(KXP_ERROR_FILE, 3);
NUMBER(KXP_ERROR_DAMAGED, 4);
NUMBER(KXP_ERROR_UNSUPPORTED, 5);
NUMBER(KXP_CANCELLED, 6);

NUMBER(KXP_PERCEPTUAL, 0);
NUMBER(KXP_RELATIVE, 1);
NUMBER(KXP_SATURATION, 2);
NUMBER(KXP_ABSOLUTE, 3);

NUMBER(KXP_SIZE, 1);
NUMBER(KXP_VERSION, 2);
NUMBER(KXP_CLASS, 3);
NUMBER(KXP_COLOR_SPACE, 4);
NUMBER(KXP_PCS, 5);
NUMBER(KXP_DESCRIPTION, 6);
NUMBER(KXP_COPYRIGHT, 7);
NUMBER(KXP_MANUFACTURER, 8);
NUMBER(KXP_MODEL, 9);
NUMBER(KXP_CREATOR, 10);
NUMBER(KXP_HEADER_INTENT, 11);
NUMBER(KXP_WHITE, 12);
NUMBER(KXP_BLACK, 13);
NUMBER(KXP_ADAPTATION, 14);
NUMBER(KXP_TAG, 15);
NUMBER(KXP_TAG_COUNT, 16);
NUMBER(KXP_INTENT_TAG, 17);
NUMBER(KXP_INTENT_FALLBACK, 18);
NUMBER(KXP_GRID, 19);
NUMBER(KXP_INPUT_ENTRIES, 20);
NUMBER(KXP_OUTPUT_ENTRIES, 21);
NUMBER(KXP_DESTINATION_TAG, 22);
NUMBER(KXP_DESTINATION_FALLBACK, 23);

NUMBER(KXP_INTENT, 1);
NUMBER(KXP_SOURCE_TAG, 2);
NUMBER(KXP_SOURCE_FALLBACK, 3);
NUMBER(KXP_TARGET_TAG, 4);
NUMBER(KXP_TARGET_FALLBACK, 5);
NUMBER(KXP_PIPELINE, 6);

NUMBER(KXP_PRECISE, 0);
NUMBER(KXP_FIXED, 1);

NUMBER(KXP_BLACK_POINT_COMPENSATION, 1);
NUMBER(KXP_UNCLIPPED, 2);

NUMBER(KXP_U8, 0);
NUMBER(KXP_U16, 1);
NUMBER(KXP_F16, 2);
NUMBER(KXP_F32, 3);

NUMBER(KXP_ASSOCIATED_ALPHA, 1);
NUMBER(KXP_OPAQUE, 2);

}  // namespace
