#ifndef KXCMS_TESTS_API_THREADS_PIXELS_H
#define KXCMS_TESTS_API_THREADS_PIXELS_H

#include "tests/api/Handles.h"

namespace api_test {

/// Enough for several pieces of work.
constexpr std::size_t kManyPixels = 200000;

/// Pixels of 8 bits that are always the same ones, converted in place.
/// @return empty if the conversion was refused.
inline Bytes ManyConverted(const kxp_pipeline* pipeline, std::uint32_t threads) {
  Bytes pixels = SomeBytes(3 * kManyPixels, 41);
  const kxp_image image = PlainImage(pixels.data(), KXP_U8);
  kxp_convert_options options = NewConvertOptions();
  options.threads = threads;
  const kxp_status status =
      kxp_convert(pipeline, &image, &image, kManyPixels, 1, &options, nullptr);
  return status == KXP_OK ? pixels : Bytes();
}

}  // namespace api_test

#endif
