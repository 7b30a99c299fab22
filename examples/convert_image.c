/* Converts an image of 8-bit RGBA pixels from a device profile to sRGB, in place, on two threads.
 */

/* README begin */
#include <kxcms/pipeline.h>
#include <stdio.h>

/* Makes the pipeline from a profile file to sRGB. Returns null, with a line on standard error, if
   the profile cannot be used. */
static kxp_pipeline* MakePipeline(const char* path) {
  kxp_profile *scanner = NULL, *srgb = NULL;
  kxp_pipeline* pipeline = NULL;
  const kxp_pipeline_options options = {
      .size = sizeof options, .intent = KXP_RELATIVE, .flags = KXP_BLACK_POINT_COMPENSATION};
  kxp_error error = {.size = sizeof error};
  if (kxp_profile_open(path, &scanner, &error) != KXP_OK ||
      kxp_profile_builtin("srgb", &srgb, &error) != KXP_OK ||
      kxp_pipeline_create(scanner, srgb, &options, &pipeline, &error) != KXP_OK) {
    fprintf(stderr, "%s: %s\n", path, error.message);
  }
  kxp_profile_release(scanner);
  kxp_profile_release(srgb);
  return pipeline;
}

/* Converts pixels in place; alpha stays as it is. Returns 0, or -1. */
static int ConvertRgba(const kxp_pipeline* pipeline, unsigned char* pixels, size_t width,
                       size_t height) {
  const kxp_image image = {
      .size = sizeof image, .r = pixels, .g = pixels + 1, .b = pixels + 2, .a = pixels + 3};
  const kxp_convert_options options = {.size = sizeof options, .threads = 2};
  return kxp_convert(pipeline, &image, &image, width, height, &options, NULL) == KXP_OK ? 0 : -1;
}
/* README end */

int main(int argc, char** argv) {
  unsigned char pixels[2 * 4] = {255, 255, 255, 255, 200, 100, 50, 128};
  kxp_pipeline* pipeline;
  int result;
  if (argc != 2) {
    fprintf(stderr, "usage: convert_image PROFILE\n");
    return 2;
  }
  pipeline = MakePipeline(argv[1]);
  if (pipeline == NULL) return 1;
  result = ConvertRgba(pipeline, pixels, 2, 1);
  kxp_pipeline_release(pipeline);
  if (result != 0) return 1;
  printf("white: %d %d %d\n", pixels[0], pixels[1], pixels[2]);
  printf("brown: %d %d %d, alpha %d\n", pixels[4], pixels[5], pixels[6], pixels[7]);
  return 0;
}
