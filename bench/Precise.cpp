#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/CpuLevel.h"
#include "bench/Lcms.h"
#include "bench/PreciseProfiles.h"
#include "bench/Setup.h"
#include "exact/Conversion.h"
#include "pipeline/precise/PrecisePipeline.h"
#include "pipeline/precise/kernels/PreciseKernels.h"
#include "profile/ProfileReader.h"

// Precise conversion to sRGB, with the relative intent, beside Little CMS.

namespace Bench {

namespace {

using kxcms::AlphaResult;
using kxcms::DestinationRun;
using kxcms::PreciseKernels;
using kxcms::PrecisePipeline;
using kxcms::SampleType;
using kxcms::SourceRun;

constexpr int kSamples = 3;

struct PreciseLevel {
  const char* name;
  const PreciseKernels* kernels;
};

std::vector<PreciseLevel> PreciseLevels() {
  const CpuLevel best = ICC40::ChosenCpuLevel();
  std::vector<PreciseLevel> levels = {
      {ICC40::NameOf(CpuLevel::kPortable), &kxcms::kPrecisePortable}};
#if defined(__x86_64__)
  if (best >= CpuLevel::kAvx2) {
    levels.push_back({ICC40::NameOf(CpuLevel::kAvx2), &kxcms::kPreciseAvx2});
  }
  if (best >= CpuLevel::kAvx512) {
    levels.push_back({ICC40::NameOf(CpuLevel::kAvx512), &kxcms::kPreciseAvx512});
  }
#endif
  return levels;
}

// A profile as both contenders hold it.
struct Source {
  std::string name;
  std::vector<unsigned char> bytes;
  kxcms::DeviceProfile profile;
  std::unique_ptr<PrecisePipeline> pipeline;
};

kxcms::PreciseOptions Relative() {
  kxcms::PreciseOptions options;
  options.intent = kxcms::RenderingIntent::kRelative;
  return options;
}

std::unique_ptr<PrecisePipeline> ToSrgb(const kxcms::DeviceProfile& profile) {
  return std::make_unique<PrecisePipeline>(profile, kxcms::FindRgbSpace("srgb"), Relative());
}

// Cases keep references to these.
const std::vector<Source>& Sources() {
  static const std::vector<Source> kSources = [] {
    std::vector<Source> sources;
    for (PreciseProfile& made : MakePreciseProfiles()) {
      Source source{made.name, std::move(made.bytes), {}, nullptr};
      source.profile = kxcms::ReadProfile(source.bytes);
      source.pipeline = ToSrgb(source.profile);
      sources.push_back(std::move(source));
    }
    return sources;
  }();
  return kSources;
}

struct PreciseFormat {
  const char* name;
  SampleType type;
  int bytes;
  cmsUInt32Number lcmsFormat, lcmsFlags;
  int mostPixels;
};

// Little CMS in float, not optimised, is slow: fewer pixels do.
constexpr PreciseFormat kPreciseFormats[] = {
    {"8 to 8", SampleType::kUInt8, 1, TYPE_RGB_8, cmsFLAGS_NOCACHE, 4'000'000},
    {"16 to 16", SampleType::kUInt16, 2, TYPE_RGB_16, cmsFLAGS_NOCACHE, 4'000'000},
    {"float to float", SampleType::kFloat, 4, TYPE_RGB_FLT, cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE,
     200'000},
};

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

  std::size_t Bytes() const {
    return static_cast<std::size_t>(pixels) *
           static_cast<std::size_t>(layout.perPixel * format.bytes);
  }

  template <typename Byte>
  kxcms::PixelRun<Byte> RunOf(Byte* first) const {
    const std::ptrdiff_t plane = std::ptrdiff_t{pixels} * format.bytes;
    const std::ptrdiff_t sample = layout.isPlanar ? plane : format.bytes;
    return {
        {first, first + sample, first + 2 * sample, layout.hasAlpha ? first + 3 * sample : nullptr},
        layout.isPlanar ? format.bytes : layout.perPixel * format.bytes,
        format.type,
        false};
  }
};

// Shared by all cases, written before the first one: no contender pays for fresh pages.
std::vector<unsigned char>& Results() {
  static std::vector<unsigned char> bytes;
  return bytes;
}

const unsigned char* SamplesOf(const Picture& picture, const PreciseFormat& format) {
  if (format.bytes < 4) return picture.Bytes(format.bytes);
  static std::vector<std::vector<float>> kept;
  kept.emplace_back();
  const std::size_t count =
      static_cast<std::size_t>(kSamples) * static_cast<std::size_t>(format.mostPixels);
  for (std::size_t n = 0; n < std::min(count, picture.samples16.size()); ++n) {
    kept.back().push_back(static_cast<float>(picture.samples16[n]) / 65535);
  }
  return reinterpret_cast<const unsigned char*>(kept.back().data());
}

void RunPrecise(benchmark::State& state, const PreciseJob& job, const PreciseKernels& kernels) {
  const SourceRun from = job.RunOf(job.samples);
  const DestinationRun to = job.RunOf(Results().data());
  for (auto _ : state) {
    kernels.convert(job.source->pipeline->GetProgram(), from, to, AlphaResult::kKept, job.pixels);
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
  for (const PreciseLevel& level : PreciseLevels()) {
    Measure(setup, group, name, level.name,
            [job, level](benchmark::State& state) { RunPrecise(state, job, *level.kernels); });
  }
  if (withPeer) {
    Measure(setup, group, name, kLcms, [job](benchmark::State& state) { RunPeer(state, job); });
  }
}

// Figures count only where the results are right: within 2 levels of 65535 of the definition.
void CheckAgainstDefinition(const Source& source, const Picture& picture) {
  constexpr std::size_t kPixels = 2000;
  kxcms::exact::Options options;
  options.intent = kxcms::RenderingIntent::kRelative;
  const kxcms::exact::Conversion definition(source.profile, kxcms::FindRgbSpace("srgb"), options);
  const PreciseJob job = {&source, kPreciseFormats[1], picture.Bytes(2), kPixels, kPacked};
  for (const PreciseLevel& level : PreciseLevels()) {
    std::vector<std::uint16_t> results(kSamples * kPixels);
    level.kernels->convert(source.pipeline->GetProgram(), job.RunOf(job.samples),
                           job.RunOf(reinterpret_cast<unsigned char*>(results.data())),
                           AlphaResult::kKept, kPixels);
    for (std::size_t n = 0; n < results.size(); n += kSamples) {
      std::array<double, 3> device;
      for (std::size_t c = 0; c < kSamples; ++c) device[c] = picture.samples16[n + c] / 65535.0;
      const auto expected = definition.Evaluate(device).result16;
      for (std::size_t c = 0; c < kSamples; ++c) {
        if (std::abs(results[n + c] - expected[c]) <= 2) continue;
        throw std::runtime_error(source.name + " at level " + level.name +
                                 ": differs from the definition");
      }
    }
  }
}

void RegisterCreation(const Setup& setup, const Source& source) {
  Measure(setup, "creation", source.name, PreciseLevels().back().name,
          [&source](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(ToSrgb(source.profile));
          });
  PreciseJob job = {&source, kPreciseFormats[1], nullptr, 0, kPacked};
  Measure(setup, "creation", source.name, kLcms, [job](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(LcmsOf(job));
  });
}

}  // namespace

void RegisterPrecise(const Setup& setup) {
  const int pixels = setup.material.Pixels();
  Results().assign(std::size_t{16} * static_cast<std::size_t>(pixels), 1);
  for (const Source& source : Sources()) {
    for (const PreciseFormat& format : kPreciseFormats) {
      for (const Picture* picture : {&setup.material.photo, &setup.material.random}) {
        CheckAgainstDefinition(source, *picture);
        const PreciseJob job = {&source, format, SamplesOf(*picture, format),
                                std::min(pixels, format.mostPixels), kPacked};
        MeasurePrecise(setup, "precise", source.name + ", " + format.name + ", " + picture->name,
                       job, true);
      }
    }
    RegisterCreation(setup, source);
  }
  for (const Source* source : {&Sources().front(), &Sources().back()}) {
    for (const PreciseLayout& layout : kLayouts) {
      // The same samples, read as other pixels: four times three are three times four.
      const PreciseJob job = {source, kPreciseFormats[1], setup.material.photo.Bytes(2),
                              std::min(pixels, kPreciseFormats[1].mostPixels) / 4 * 3, layout};
      MeasurePrecise(setup, "layout", source->name + ", 16 to 16, photo, " + layout.name, job,
                     false);
    }
    const PreciseJob job = {source, kPreciseFormats[1], setup.material.photo.Bytes(2), 1, kPacked};
    MeasurePrecise(setup, "pixel", source->name + ", 16 to 16, one pixel", job, true);
  }
}

}  // namespace Bench
