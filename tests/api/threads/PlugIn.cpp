// A plug-in that links the library. Compiled for several spaces, so that a host can load several.

#include "tests/api/threads/PlugIn.h"

#include "api/pipeline.h"

extern "C" __attribute__((visibility("default"))) int plug_in_convert(unsigned char* pixels,
                                                                      std::size_t count,
                                                                      std::uint32_t threads) {
  kxp_profile *source = nullptr, *destination = nullptr;
  kxp_pipeline* pipeline = nullptr;
  kxp_pipeline_options how = {};
  how.size = sizeof how;
  how.intent = KXP_RELATIVE;
  kxp_image image = {};
  image.size = sizeof image;
  image.r = pixels;
  image.g = pixels + 1;
  image.b = pixels + 2;
  kxp_convert_options options = {};
  options.size = sizeof options;
  options.threads = threads;
  const bool isDone =
      kxp_profile_builtin("prophoto", &source, nullptr) == KXP_OK &&
      kxp_profile_builtin(KXCMS_PLUG_IN_SPACE, &destination, nullptr) == KXP_OK &&
      kxp_pipeline_create(source, destination, &how, &pipeline, nullptr) == KXP_OK &&
      kxp_convert(pipeline, &image, &image, count, 1, &options, nullptr) == KXP_OK;
  kxp_pipeline_release(pipeline);
  kxp_profile_release(destination);
  kxp_profile_release(source);
  return isDone ? 0 : -1;
}
