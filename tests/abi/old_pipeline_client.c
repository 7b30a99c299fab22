/* A program compiled against the header as it was first published, with the structs of that size,
   run with the library of today: it makes pipelines, converts, asks and looks into a conversion,
   and what it was never told of stays as it was. Returns the number of failed rows. */

#include <stdio.h>
#include <string.h>

#include "tests/abi/fixtures/pipeline-1.0.h"

static int failures = 0;

static void Expect(const char* what, long actual, long expected) {
  if (actual == expected) return;
  fprintf(stderr, "%s: expected %ld, got %ld\n", what, expected, actual);
  ++failures;
}

/* Linear light to sRGB: 0, a fifth, a half and 1 (IEC 61966-2-1). */
static const unsigned char kLinear[12] = {0, 0, 0, 51, 51, 51, 128, 128, 128, 255, 255, 255};
static const unsigned char kEncoded[4] = {0, 124, 188, 255};

/* Options as this program knows them, and memory behind them that is somebody else's. */
typedef struct Guarded {
  kxp_pipeline_options options;
  unsigned char others[64];
} Guarded;

static kxp_pipeline* Make(const char* source, const char* destination, uint32_t intent) {
  kxp_profile *from = NULL, *to = NULL;
  kxp_pipeline* pipeline = NULL;
  kxp_error error = {.size = sizeof error};
  Guarded guarded;
  /* A library that read past the size would see no valid numbers there. */
  memset(&guarded, 0xA5, sizeof guarded);
  guarded.options.size = sizeof guarded.options;
  guarded.options.intent = intent;
  guarded.options.flags = intent == KXP_RELATIVE ? KXP_BLACK_POINT_COMPENSATION : 0;
  Expect("source", kxp_profile_builtin(source, &from, &error), KXP_OK);
  Expect("destination", kxp_profile_builtin(destination, &to, &error), KXP_OK);
  if (kxp_pipeline_create(from, to, &guarded.options, &pipeline, &error) != KXP_OK) {
    fprintf(stderr, "%s to %s: %s\n", source, destination, error.message);
    ++failures;
  }
  kxp_profile_release(from);
  kxp_profile_release(to);
  return pipeline;
}

static int Told(void* context, uint64_t done, uint64_t total) {
  *(int*)context += done == total;
  return 0;
}

static void RunInTurn(void* context, uint32_t count, kxp_job job, void* argument) {
  uint32_t index;
  *(uint32_t*)context += count;
  for (index = 0; index < count; ++index) job(argument, index);
}

static void Convert(const kxp_pipeline* pipeline) {
  unsigned char pixels[12];
  float floats[12];
  int ends = 0, n;
  uint32_t jobs = 0;
  kxp_error error = {.size = sizeof error};
  kxp_convert_options how = {.size = sizeof how,
                             .threads = 2,
                             .run = RunInTurn,
                             .run_context = &jobs,
                             .progress = Told,
                             .progress_context = &ends};
  const kxp_image image = {
      .size = sizeof image, .r = pixels, .g = pixels + 1, .b = pixels + 2, .sample = KXP_U8};
  const kxp_image result = {
      .size = sizeof result, .r = floats, .g = floats + 1, .b = floats + 2, .sample = KXP_F32};
  memcpy(pixels, kLinear, sizeof pixels);
  Expect("to floats", kxp_convert(pipeline, &image, &result, 4, 1, &how, &error), KXP_OK);
  Expect("in place", kxp_convert(pipeline, &image, &image, 2, 2, NULL, &error), KXP_OK);
  for (n = 0; n < 12; ++n) {
    Expect("a sample", pixels[n], kEncoded[n / 3]);
    Expect("a float", (long)(255 * floats[n] + 0.5f), kEncoded[n / 3]);
  }
  Expect("jobs", jobs > 0, 1);
  Expect("told of the end", ends, 1);
}

static void Ask(const kxp_pipeline* pipeline) {
  static const double kHalf[3] = {0.5, 0.5, 0.5};
  /* As many stages as this header says are always enough. */
  kxp_stage stages[24] = {{.size = sizeof(kxp_stage)}};
  kxp_profile* profile = NULL;
  double number = 0;
  size_t count = 0, length = 0;
  char text[16];
  Expect("probe", kxp_probe(pipeline, kHalf, stages, 24, &count, NULL), KXP_OK);
  Expect("first stage", strcmp(stages[0].name, "device"), 0);
  Expect("last stage", strcmp(stages[count - 1].name, "encoded"), 0);
  Expect("a half encoded", (long)(255 * stages[count - 1].values[1] + 0.5), 188);
  Expect("intent", kxp_pipeline_number(pipeline, KXP_INTENT, 0, &number), KXP_OK);
  Expect("relative", (long)number, KXP_RELATIVE);
  Expect("target", kxp_pipeline_text(pipeline, KXP_TARGET_TAG, 0, text, sizeof text, &length),
         KXP_OK);
  Expect("its name", strcmp(text, "builtin"), 0);
  Expect("its length", (long)length, 7);
  Expect("a space", kxp_profile_builtin("prophoto", &profile, NULL), KXP_OK);
  Expect("class", kxp_profile_text(profile, KXP_CLASS, 0, text, sizeof text, NULL), KXP_OK);
  Expect("of a display", strcmp(text, "mntr"), 0);
  Expect("white", kxp_profile_number(profile, KXP_WHITE, 1, &number), KXP_OK);
  Expect("of Y", (long)number, 1);
  kxp_profile_release(profile);
}

static void BeRefused(void) {
  kxp_profile* profile = NULL;
  kxp_error error = {.size = sizeof error};
  Expect("no profile", kxp_profile_from_memory(kLinear, 12, &profile, &error), KXP_ERROR_DAMAGED);
  Expect("its record", error.status, KXP_ERROR_DAMAGED);
  Expect("its message", error.message[0] != '\0', 1);
  Expect("no file", kxp_profile_open("/nonexistent/scanner.icc", &profile, &error), KXP_ERROR_FILE);
  Expect("nothing made", profile == NULL, 1);
}

int main(void) {
  static const char* const kSpaces[] = {"srgb",      "adobe-rgb", "display-p3", "prophoto",
                                        "ecirgb-v2", "rec2020",   "lab",        "xyz"};
  kxp_pipeline* pipeline = Make("srgb-linear", "srgb", KXP_RELATIVE);
  size_t n;
  Convert(pipeline);
  Ask(pipeline);
  kxp_pipeline_release(pipeline);
  BeRefused();
  for (n = 0; n < sizeof kSpaces / sizeof kSpaces[0]; ++n) {
    kxp_pipeline_release(Make("srgb", kSpaces[n], KXP_PERCEPTUAL));
  }
  Expect("version", kxp_version()[0], '1');
  return failures;
}
