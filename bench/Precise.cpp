#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Lcms.h"
#include "bench/PreciseProfiles.h"
#include "bench/Setup.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"

// Precise conversion to sRGB, with the relative intent, beside Little CMS.

namespace Bench {

namespace {

constexpr int kSamples = 3;

// A copy of the library, and what it made of a profile.
struct Contender {
  const PipelineLibrary* library;
  ProfileHandle profile;
  PipelineHandle pipeline;
};

PipelineHandle ToSrgb(const PipelineLibrary& library, const ProfileHandle& profile) {
  return library.MakePipeline(profile, KXP_RELATIVE, KXP_PRECISE);
}

// A profile as all contenders hold it.
struct Source {
  std::string name;
  std::vector<unsigned char> bytes;
  std::vector<Contender> contenders;  // by rising level
};

// Cases keep references to these.
const std::vector<Source>& Sources(const Setup& setup) {
  static const std::vector<Source> kSources = [&setup] {
    std::vector<Source> sources;
    for (PreciseProfile& made : MakePreciseProfiles()) {
      Source source{made.name, std::move(made.bytes), {}};
      for (const PipelineLibrary& library : setup.pipelineLibraries) {
        ProfileHandle profile = library.ReadProfile(source.bytes);
        PipelineHandle pipeline = ToSrgb(library, profile);
        source.contenders.push_back({&library, std::move(profile), std::move(pipeline)});
      }
      sources.push_back(std::move(source));
    }
    return sources;
  }();
  return kSources;
}

struct PreciseFormat {
  const char* name;
  std::uint32_t sample;
  cmsUInt32Number lcmsFormat, lcmsFlags;
  int mostPixels;
};

// Little CMS in float, not optimised, is slow: fewer pixels do.
constexpr PreciseFormat kBytes = {"8 to 8", KXP_U8, TYPE_RGB_8, cmsFLAGS_NOCACHE, 4'000'000};
constexpr PreciseFormat kWords = {"16 to 16", KXP_U16, TYPE_RGB_16, cmsFLAGS_NOCACHE, 4'000'000};
constexpr PreciseFormat kFloats = {"float to float", KXP_F32, TYPE_RGB_FLT,
                                   cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE, 200'000};

// How the samples of a picture lie: interleaved, so many a pixel, or in planes.
struct PreciseLayout {
  const char* name;
  int perPixel;
  bool hasAlpha, isPlanar;
};
constexpr PreciseLayout kPacked = {"RGB", 3, false, false};
constexpr PreciseLayout kLayouts[] = {
    {"RGBA", 4, true, false}, {"planes", 3, false, true}, {"RGB and a gap", 4, false, false}};

// One conversion as all contenders meet it.
struct PreciseJob {
  const Source* source;
  PreciseFormat format;
  const unsigned char* samples;
  int pixels;
  PreciseLayout layout;

  kxp_image ImageOf(const unsigned char* first) const {
    kxp_image image = PackedImage(first, format.sample);
    const std::ptrdiff_t sample = BytesOf(format.sample), plane = sample * pixels;
    auto* const r = static_cast<unsigned char*>(image.r);
    if (layout.hasAlpha) image.a = r + 3 * sample;
    image.pixel_stride = layout.perPixel * sample;
    if (layout.isPlanar) {
      image.g = r + plane;
      image.b = r + 2 * plane;
      image.pixel_stride = sample;
    }
    return image;
  }
};

// Shared by all cases, written before the first one: no contender pays for fresh pages.
std::vector<unsigned char>& Results() {
  static std::vector<unsigned char> bytes;
  return bytes;
}

// The first pixels of a picture, within 0 to 1.
std::vector<float> FloatsOf(const Picture& picture, int mostPixels) {
  const std::size_t most = std::size_t{kSamples} * static_cast<std::size_t>(mostPixels);
  std::vector<float> samples(std::min(most, picture.samples16.size()));
  std::transform(picture.samples16.begin(),
                 picture.samples16.begin() + static_cast<std::ptrdiff_t>(samples.size()),
                 samples.begin(), [](std::uint16_t v) { return static_cast<float>(v) / 65535; });
  return samples;
}

// A picture in every format.
struct PrecisePicture {
  const Picture& picture;
  std::vector<float> floats = FloatsOf(picture, kFloats.mostPixels);

  const unsigned char* Bytes(const PreciseFormat& format) const {
    return format.sample == KXP_F32 ? reinterpret_cast<const unsigned char*>(floats.data())
                                    : picture.Bytes(BytesOf(format.sample));
  }
};

// Cases keep references to these.
const std::array<PrecisePicture, 2>& Pictures(const Setup& setup) {
  static const std::array<PrecisePicture, 2> kPictures = {
      {{setup.material.photo}, {setup.material.random}}};
  return kPictures;
}

void RunPrecise(benchmark::State& state, const PreciseJob& job, const Contender& contender) {
  const kxp_image from = job.ImageOf(job.samples), to = job.ImageOf(Results().data());
  for (auto _ : state) {
    contender.library->Convert(contender.pipeline, from, to, job.pixels);
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

LcmsTransform LcmsOf(const PreciseJob& job) {
  const std::vector<unsigned char>& bytes = job.source->bytes;
  const LcmsProfile profile(
      cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
  return LcmsTransform(cmsCreateTransform(profile.get(), job.format.lcmsFormat, LcmsSrgb().get(),
                                          job.format.lcmsFormat, INTENT_RELATIVE_COLORIMETRIC,
                                          job.format.lcmsFlags));
}

void RunPeer(benchmark::State& state, const PreciseJob& job) {
  const LcmsTransform transform = LcmsOf(job);
  if (transform == nullptr) return state.SkipWithError("lcms2 refuses the profile");
  for (auto _ : state) {
    cmsDoTransform(transform.get(), job.samples, Results().data(),
                   static_cast<cmsUInt32Number>(job.pixels));
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

void MeasurePrecise(const Setup& setup, const std::string& group, const std::string& name,
                    const PreciseJob& job, bool withPeer) {
  for (const Contender& contender : job.source->contenders) {
    Measure(setup, group, name, contender.library->LevelName(),
            [job, &contender](benchmark::State& state) { RunPrecise(state, job, contender); });
  }
  if (withPeer) {
    Measure(setup, group, name, kLcms, [job](benchmark::State& state) { RunPeer(state, job); });
  }
}

// Figures count only where the results are right: within 2 levels of 65535 of the definition.
void CheckAgainstDefinition(const Source& source, const Picture& picture) {
  constexpr int kPixels = 2000;
  kxcms::exact::Options options;
  options.intent = kxcms::RenderingIntent::kRelative;
  const kxcms::DeviceProfile profile = kxcms::ReadProfile(source.bytes);
  const kxcms::exact::Conversion definition(profile, kxcms::FindRgbSpace("srgb"), options);
  const PreciseJob job = {&source, kWords, picture.Bytes(2), kPixels, kPacked};
  for (const Contender& contender : source.contenders) {
    std::vector<std::uint16_t> results(kSamples * kPixels);
    contender.library->Convert(contender.pipeline, job.ImageOf(job.samples),
                               job.ImageOf(reinterpret_cast<unsigned char*>(results.data())),
                               kPixels);
    for (std::size_t n = 0; n < results.size(); n += kSamples) {
      std::array<double, 3> device;
      for (std::size_t c = 0; c < kSamples; ++c) device[c] = picture.samples16[n + c] / 65535.0;
      const auto expected = definition.Evaluate(device).result16;
      for (std::size_t c = 0; c < kSamples; ++c) {
        if (std::abs(results[n + c] - expected[c]) <= 2) continue;
        throw std::runtime_error(source.name + " at level " + contender.library->LevelName() +
                                 ": differs from the definition");
      }
    }
  }
}

void RegisterCreation(const Setup& setup, const Source& source) {
  const Contender& best = source.contenders.back();
  Measure(setup, "creation", source.name, best.library->LevelName(),
          [&best](benchmark::State& state) {
            for (auto _ : state) {
              benchmark::DoNotOptimize(ToSrgb(*best.library, best.profile));
            }
          });
  const PreciseJob job = {&source, kWords, nullptr, 0, kPacked};
  Measure(setup, "creation", source.name, kLcms, [job](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(LcmsOf(job));
  });
}

}  // namespace

void RegisterPrecise(const Setup& setup) {
  const int pixels = setup.material.Pixels();
  Results().assign(std::size_t{16} * static_cast<std::size_t>(pixels), 1);
  const std::vector<Source>& sources = Sources(setup);
  for (const Source& source : sources) {
    for (const PrecisePicture& shown : Pictures(setup)) {
      CheckAgainstDefinition(source, shown.picture);
    }
    for (const PreciseFormat& format : {kBytes, kWords, kFloats}) {
      for (const PrecisePicture& shown : Pictures(setup)) {
        const PreciseJob job = {&source, format, shown.Bytes(format),
                                std::min(pixels, format.mostPixels), kPacked};
        MeasurePrecise(setup, "precise",
                       source.name + ", " + format.name + ", " + shown.picture.name, job, true);
      }
    }
    RegisterCreation(setup, source);
  }
  for (const Source* source : {&sources.front(), &sources.back()}) {
    for (const PreciseLayout& layout : kLayouts) {
      // The same samples, read as other pixels: four times three are three times four.
      const PreciseJob job = {source, kWords, setup.material.photo.Bytes(2),
                              std::min(pixels, kWords.mostPixels) / 4 * 3, layout};
      MeasurePrecise(setup, "layout", source->name + ", 16 to 16, photo, " + layout.name, job,
                     false);
    }
  }
  for (const Source& source : sources) {
    const PreciseJob job = {&source, kWords, setup.material.photo.Bytes(2), 1, kPacked};
    MeasurePrecise(setup, "pixel", source.name + ", 16 to 16, one pixel", job, true);
  }
}

}  // namespace Bench
