/* A C99 program that knows the library by its header alone: the example at the header's beginning,
   every function once, and structs of a size and 0. Returns the number of failed rows.
   usage: c_client PROFILE   (a file that it writes and removes) */

#include <string.h>

#include "api/pipeline.h"

#include <stdio.h>

static int failures = 0;

static void Expect(const char* what, long actual, long expected) {
  if (actual == expected) return;
  fprintf(stderr, "%s: expected %ld, got %ld\n", what, expected, actual);
  ++failures;
}

/* ---- A profile: RGB to XYZ by the colorants of sRGB, without curves -------------------------- */

enum { kProfileBytes = 132 + 6 * 12 + 3 * 20 + 12 };

static void Put32(unsigned char* to, unsigned long value) {
  to[0] = (unsigned char)(value >> 24);
  to[1] = (unsigned char)(value >> 16);
  to[2] = (unsigned char)(value >> 8);
  to[3] = (unsigned char)value;
}

static void PutTag(unsigned char* entry, const char* name, unsigned long at, unsigned long size) {
  memcpy(entry, name, 4);
  Put32(entry + 4, at);
  Put32(entry + 8, size);
}

static int WriteProfile(const char* path) {
  static const char* const kColorants[3] = {"rXYZ", "gXYZ", "bXYZ"};
  static const char* const kCurves[3] = {"rTRC", "gTRC", "bTRC"};
  /* s15Fixed16Numbers. */
  static const unsigned long kXyz[3][3] = {
      {0x6FA2, 0x38F5, 0x0390}, {0x6299, 0xB785, 0x18DA}, {0x24A0, 0x0F84, 0xB6CF}};
  unsigned char profile[kProfileBytes];
  const unsigned long colorants = 132 + 6 * 12, curve = colorants + 3 * 20;
  FILE* file;
  int n, c;
  memset(profile, 0, sizeof profile);
  Put32(profile, sizeof profile);
  Put32(profile + 8, 0x02400000);
  memcpy(profile + 12, "mntrRGB XYZ ", 12);
  memcpy(profile + 36, "acsp", 4);
  Put32(profile + 128, 6);
  for (n = 0; n < 3; ++n) {
    unsigned char* tag = profile + colorants + 20 * n;
    PutTag(profile + 132 + 12 * n, kColorants[n], colorants + 20 * (unsigned long)n, 20);
    PutTag(profile + 132 + 12 * (n + 3), kCurves[n], curve, 12);
    memcpy(tag, "XYZ ", 4);
    for (c = 0; c < 3; ++c) Put32(tag + 8 + 4 * c, kXyz[n][c]);
  }
  memcpy(profile + curve, "curv", 4);
  file = fopen(path, "wb");
  if (file == NULL) return -1;
  n = fwrite(profile, sizeof profile, 1, file) == 1 ? 0 : -1;
  return fclose(file) == 0 ? n : -1;
}

/* ---- The header's example, with a place for its profile and for the pixels --------------------
 */

static int Example(const char* path, unsigned char* pixels, size_t width, size_t height) {
  kxp_profile *scanner, *srgb;
  kxp_pipeline* pipeline;
  kxp_image image = {.size = sizeof image, .r = pixels, .g = pixels + 1, .b = pixels + 2};
  if (kxp_profile_open(path, &scanner, NULL) != KXP_OK) return -1;
  kxp_profile_builtin("srgb", &srgb, NULL);
  kxp_pipeline_create(scanner, srgb, NULL, &pipeline, NULL);
  kxp_convert(pipeline, &image, &image, width, height, NULL, NULL);

  kxp_pipeline_release(pipeline);
  kxp_profile_release(srgb);
  kxp_profile_release(scanner);
  return 0;
}

/* ---- Callbacks --------------------------------------------------------------------------------
 */

static void RunInTurn(void* context, uint32_t count, kxp_job job, void* argument) {
  uint32_t index;
  *(uint32_t*)context += count;
  for (index = 0; index < count; ++index) job(argument, index);
}

static int Told(void* context, uint64_t done, uint64_t total) {
  *(int*)context += done == total;
  return 0;
}

int main(int argc, char** argv) {
  /* Linear light to sRGB: 0, a fifth, a half and 1 (IEC 61966-2-1). */
  static const unsigned char kLinear[12] = {0, 0, 0, 51, 51, 51, 128, 128, 128, 255, 255, 255};
  static const unsigned char kEncoded[4] = {0, 124, 188, 255};
  static const double kHalf[3] = {0.5, 0.5, 0.5};
  unsigned char pixels[12];
  kxp_stage stages[24] = {{.size = sizeof(kxp_stage)}};
  char text[64];
  double number = 0;
  size_t length = 0, n;
  uint32_t jobs = 0;
  int ends = 0;
  kxp_error error = {.size = sizeof error};
  kxp_pipeline_options options = {.size = sizeof options};
  kxp_convert_options how = {.size = sizeof how};
  kxp_image image = {.size = sizeof image};
  kxp_profile *profile = NULL, *space = NULL, *copy = NULL;
  kxp_pipeline *pipeline = NULL, *same = NULL;
  if (argc != 2 || WriteProfile(argv[1]) != 0) {
    fprintf(stderr, "usage: c_client PROFILE\n");
    return 99;
  }

  memcpy(pixels, kLinear, sizeof pixels);
  Expect("the example", Example(argv[1], pixels, 2, 2), 0);
  for (n = 0; n < 12; ++n) Expect("a pixel of the example", pixels[n], kEncoded[n / 3]);
  Expect("the example without a profile", Example("/nonexistent/scanner.icc", pixels, 2, 2), -1);

  Expect("version", strcmp(kxp_version(), "1.0.0"), 0);
  Expect("level", kxp_level()[0] != '\0', 1);
  Expect("status", strcmp(kxp_status_text(KXP_OK), "no error"), 0);
  Expect("spaces", kxp_space_count() > 0, 1);
  Expect("name", kxp_space_name(0) != NULL, 1);
  Expect("description", kxp_space_description(0) != NULL, 1);

  Expect("open", kxp_profile_open(argv[1], &profile, &error), KXP_OK);
  Expect("from memory", kxp_profile_from_memory(kLinear, 12, &copy, &error), KXP_ERROR_DAMAGED);
  Expect("its record", error.status, KXP_ERROR_DAMAGED);
  Expect("its message", error.message[0] != '\0', 1);
  Expect("built in", kxp_profile_builtin("srgb", &space, &error), KXP_OK);
  Expect("retain", kxp_profile_retain(profile) == profile, 1);
  kxp_profile_release(profile);
  Expect("number", kxp_profile_number(profile, KXP_SIZE, 0, &number), KXP_OK);
  Expect("size", (long)number, kProfileBytes);
  Expect("text", kxp_profile_text(profile, KXP_CLASS, 0, text, sizeof text, &length), KXP_OK);
  Expect("class", strcmp(text, "mntr"), 0);

  options.intent = KXP_RELATIVE;
  options.flags = KXP_BLACK_POINT_COMPENSATION | KXP_UNCLIPPED;
  Expect("create", kxp_pipeline_create(profile, space, &options, &pipeline, &error), KXP_OK);
  same = kxp_pipeline_retain(pipeline);
  Expect("retain a pipeline", same == pipeline, 1);
  Expect("intent", kxp_pipeline_number(pipeline, KXP_INTENT, 0, &number), KXP_OK);
  Expect("relative", (long)number, KXP_RELATIVE);
  Expect("source tag", kxp_pipeline_text(pipeline, KXP_SOURCE_TAG, 0, text, sizeof text, NULL),
         KXP_OK);
  Expect("matrix", strcmp(text, "matrix"), 0);

  memcpy(pixels, kLinear, sizeof pixels);
  image.r = pixels;
  image.g = pixels + 1;
  image.b = pixels + 2;
  image.sample = KXP_U8;
  how.threads = 2;
  how.run = RunInTurn;
  how.run_context = &jobs;
  how.progress = Told;
  how.progress_context = &ends;
  Expect("convert", kxp_convert(pipeline, &image, &image, 4, 1, &how, &error), KXP_OK);
  for (n = 0; n < 12; ++n) Expect("a pixel", pixels[n], kEncoded[n / 3]);
  Expect("jobs", jobs > 0, 1);
  Expect("told of the end", ends, 1);

  Expect("probe", kxp_probe(pipeline, kHalf, stages, 24, &length, &error), KXP_OK);
  Expect("first stage", strcmp(stages[0].name, "device"), 0);
  Expect("last stage", strcmp(stages[length - 1].name, "encoded"), 0);
  Expect("a half encoded", (long)(255 * stages[length - 1].values[1] + 0.5), 188);

  kxp_pipeline_release(same);
  kxp_pipeline_release(pipeline);
  kxp_profile_release(space);
  kxp_profile_release(profile);
  remove(argv[1]);
  return failures;
}
