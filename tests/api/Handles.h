#ifndef KXCMS_TESTS_API_HANDLES_H
#define KXCMS_TESTS_API_HANDLES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "api/pipeline.h"
#include "tests/profile/ProfileForms.h"

// The handles of the interface as C++ owns things, and objects to begin with. Nothing here knows of
// the library more than its C header.

namespace api_test {

using Bytes = std::vector<unsigned char>;

struct ReleaseProfile {
  void operator()(kxp_profile* profile) const { kxp_profile_release(profile); }
};
struct ReleasePipeline {
  void operator()(kxp_pipeline* pipeline) const { kxp_pipeline_release(pipeline); }
};
using Profile = std::unique_ptr<kxp_profile, ReleaseProfile>;
using Pipeline = std::unique_ptr<kxp_pipeline, ReleasePipeline>;

/// A record as callers make it.
inline kxp_error NewError() {
  kxp_error error = {};
  error.size = sizeof error;
  return error;
}

inline Profile FromMemory(const Bytes& bytes) {
  kxp_profile* profile = nullptr;
  kxp_error error = NewError();
  EXPECT_EQ(kxp_profile_from_memory(bytes.data(), bytes.size(), &profile, &error), KXP_OK)
      << error.message;
  return Profile(profile);
}

inline Profile Opened(const char* path) {
  kxp_profile* profile = nullptr;
  kxp_error error = NewError();
  EXPECT_EQ(kxp_profile_open(path, &profile, &error), KXP_OK) << path << ": " << error.message;
  return Profile(profile);
}

inline Profile BuiltIn(const char* name) {
  kxp_profile* profile = nullptr;
  EXPECT_EQ(kxp_profile_builtin(name, &profile, nullptr), KXP_OK) << name;
  return Profile(profile);
}

inline Pipeline Connect(const Profile& source, const Profile& destination,
                        std::uint32_t intent = KXP_PERCEPTUAL, std::uint32_t flags = 0) {
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.intent = intent;
  options.flags = flags;
  kxp_pipeline* pipeline = nullptr;
  kxp_error error = NewError();
  EXPECT_EQ(kxp_pipeline_create(source.get(), destination.get(), &options, &pipeline, &error),
            KXP_OK)
      << error.message;
  return Pipeline(pipeline);
}

/// Every tag there is: all intents, both directions.
inline Bytes FullProfile() {
  return profile_forms::FullProfile().Build();
}

/// RGB to XYZ with the colorants of sRGB and gamma 2.2 (u8Fixed8Number 0x0233).
inline Bytes MatrixProfile() {
  const auto curve = profile_bytes::CurvTag({0x0233});
  return profile_forms::MatrixProfile(curve, curve, curve).Build();
}

/// A scanner: lut16Type, no way back. Lightness rises with the mean of R, G and B, a* and b* with
/// their differences, so that most colours are within sRGB, none of them on a grid node alone.
inline Bytes ScannerProfile() {
  constexpr int kPoints = 5, kInputEntries = 4, kOutputEntries = 6;
  profile_bytes::Mft2 lut;
  lut.gridPoints = kPoints;
  lut.inputEntries = kInputEntries;
  lut.outputEntries = kOutputEntries;
  lut.inputTables = {0, 9000, 30000, 65535, 0, 10000, 31000, 65000, 500, 11000, 32000, 65535};
  // L* with a little more of the shadows; a* and b* as they come.
  lut.outputTables = {0,     14000, 27500, 40300, 52700, 65535, 0,     13107, 26214,
                      39321, 52428, 65535, 0,     13107, 26214, 39321, 52428, 65535};
  lut.colorTable.clear();
  for (int r = 0; r < kPoints; ++r) {
    for (int g = 0; g < kPoints; ++g) {
      for (int b = 0; b < kPoints; ++b) {
        // Encoded as lut16Type does: L* 652.8, (a* + 128) 256, (b* + 128) 256.
        for (const int value : {65280 * (r + g + b) / 12, 32768 + 2500 * (r - g) + 37 * b,
                                32768 + 2500 * (g - b) - 29 * r}) {
          lut.colorTable.push_back(static_cast<std::uint16_t>(value));
        }
      }
    }
  }
  return profile_forms::WithTag("A2B0", lut.Tag()).Build();
}

/// From the scanner to sRGB: grid, curves, CIE Lab, matrix and encoding.
inline Pipeline ScannerToSrgb() {
  return Connect(FromMemory(ScannerProfile()), BuiltIn("srgb"));
}

inline kxp_image NewImage() {
  kxp_image image = {};
  image.size = sizeof image;
  return image;
}

/// Interleaved RGB, packed.
inline kxp_image PlainImage(void* pixels, std::uint32_t sample) {
  constexpr std::size_t kSampleBytes[] = {1, 2, 2, 4};
  kxp_image image = NewImage();
  auto* const first = static_cast<unsigned char*>(pixels);
  image.r = first;
  image.g = first + kSampleBytes[sample];
  image.b = first + 2 * kSampleBytes[sample];
  image.sample = sample;
  return image;
}

inline kxp_convert_options NewConvertOptions() {
  kxp_convert_options options = {};
  options.size = sizeof options;
  return options;
}

/// Bytes with many levels among them, the same for the same seed.
inline Bytes SomeBytes(std::size_t size, std::uint32_t seed) {
  Bytes bytes(size);
  std::uint32_t state = seed * 2654435769u + 1;
  for (unsigned char& byte : bytes) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<unsigned char>(state >> 24);
  }
  return bytes;
}

}  // namespace api_test

#endif
