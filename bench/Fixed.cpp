#include <cstdint>
#include <string>
#include <vector>

#include "bench/Setup.h"
#include "tools/sample/SampleProfile.h"

// The fixed pipeline by handle, beside the fixed interface's rows of the same names.

namespace Bench {

namespace {

struct HandleFormat {
  const char* name;
  std::uint32_t from, to;
};
constexpr HandleFormat kHandleFormats[] = {
    {"8 to 8", KXP_U8, KXP_U8}, {"8 to 16", KXP_U8, KXP_U16}, {"16 to 16", KXP_U16, KXP_U16}};

}  // namespace

void RegisterFixed(const Setup& setup) {
  const PipelineLibrary& library = setup.BestPipelines();
  const char* const level = library.LevelName();
  static const ProfileHandle profile = library.ReadProfile(MakeSampleProfile());
  static const PipelineHandle pipeline = library.MakePipeline(profile, KXP_PERCEPTUAL, KXP_FIXED);
  static std::vector<unsigned char> results;
  results.assign(std::size_t{6} * static_cast<std::size_t>(setup.material.Pixels()), 1);
  const auto measure = [&](const std::string& group, const std::string& name,
                           const HandleFormat& format, const Picture& picture, int pixels) {
    const kxp_image from = PackedImage(picture.Bytes(BytesOf(format.from)), format.from);
    const kxp_image to = PackedImage(results.data(), format.to);
    Measure(setup, group, name, level, [=, &library](benchmark::State& state) {
      for (auto _ : state) {
        library.Convert(pipeline, from, to, pixels);
        benchmark::ClobberMemory();
      }
      state.counters["pixels"] = pixels;
    });
  };
  for (const HandleFormat& format : kHandleFormats) {
    for (const Picture* picture : {&setup.material.photo, &setup.material.random}) {
      measure("handle", std::string(format.name) + ", " + picture->name, format, *picture,
              setup.material.Pixels());
    }
  }
  for (const HandleFormat& format : kHandleFormats) {
    measure("handle call", std::string(format.name) + ", one pixel", format, setup.material.photo,
            1);
  }
  Measure(setup, "creation", "fixed, all tables", level, [&library](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(library.MakePipeline(profile, KXP_PERCEPTUAL, KXP_FIXED));
    }
  });
}

}  // namespace Bench
