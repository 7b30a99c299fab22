#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Lcms.h"
#include "bench/PlainWorker.h"
#include "bench/Setup.h"
#include "tools/OutputSpaces.h"

namespace Bench {

namespace {

constexpr Format kFormats[] = {
    {"8 to 8", 1, 1, KX_COLOR_RGB, KX_COLOR_SRGB},
    {"8 to 16", 1, 2, KX_COLOR_RGB, KX_COLOR_SRGB_16},
    {"16 to 16", 2, 2, KX_COLOR_RGB_16, KX_COLOR_SRGB_16},
};

/// One conversion as all contenders meet it.
struct Job {
  Format format;
  const unsigned char* source;
  int pixels;
};

// Shared by all cases, written before the first one: no contender pays for fresh pages.
std::vector<unsigned char>& Destination() {
  static std::vector<unsigned char> bytes;
  return bytes;
}

void Select(const Setup& setup, const Library& library, const Format& format) {
  library.conversion.setProfile(setup.material.profile.c_str(), nullptr, KX_INTENT_PERCEPTUAL,
                                format.input, format.output);
}

void Convert(const Library& library, const Job& job, unsigned char* destination, int pixels) {
  // The interface takes its source without const and only reads it.
  library.conversion.convert(const_cast<unsigned char*>(job.source), destination, pixels);
}

void RunLibrary(benchmark::State& state, const Setup& setup, const Library& library, const Job& job,
                int threads) {
  UseThreads(threads);
  Select(setup, library, job.format);
  unsigned char* destination = Destination().data();
  Convert(library, job, destination, kWarmUpPixels);
  for (auto _ : state) {
    Convert(library, job, destination, job.pixels);
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

void RunPlain(benchmark::State& state, const Setup& setup, const Job& job, int threads) {
  UseThreads(threads);
  Select(setup, setup.Best(), job.format);
  for (auto _ : state) {
    ConvertPlainly(*setup.Best().conversion.engine, job.format, job.source, Destination().data(),
                   job.pixels, threads);
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

// Additions that touch no memory: what the machine itself gives to a second thread.
void RunRegisters(benchmark::State& state, int threads) {
  constexpr int kRounds = 20'000'000;
  UseThreads(threads);
  for (auto _ : state) {
#pragma omp parallel for num_threads(threads)
    for (int part = 0; part < threads; ++part) {
      std::uint64_t a = 1, b = 2, c = 3, d = 4;
      for (int round = kRounds / threads * part; round < kRounds / threads * (part + 1); ++round) {
        a += b;
        b += c;
        c += d;
        d += a;
        asm volatile("" : "+r"(a), "+r"(b), "+r"(c), "+r"(d));
      }
    }
  }
  state.counters["pixels"] = kRounds;
}

void RunLcms(benchmark::State& state, const Setup& setup, const Job& job) {
  const LcmsTransform transform =
      MakeLcmsTransform(OpenLcmsProfile(setup.material.profile), job.format.sourceBytes, LcmsSrgb(),
                        job.format.destinationBytes);
  if (transform == nullptr) return state.SkipWithError("lcms2 refuses the profile");
  cmsDoTransform(transform.get(), job.source, Destination().data(), kWarmUpPixels);
  for (auto _ : state) {
    cmsDoTransform(transform.get(), job.source, Destination().data(),
                   static_cast<cmsUInt32Number>(job.pixels));
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

// Reads and writes as many bytes together as the conversion does.
void RunMemcpy(benchmark::State& state, const Job& job) {
  const std::size_t bytes = static_cast<std::size_t>(job.pixels) *
                            static_cast<std::size_t>(job.format.PixelTraffic()) / 2;
  const std::size_t sourceBytes =
      std::size_t{3} * static_cast<std::size_t>(job.pixels * job.format.sourceBytes);
  const std::size_t again = bytes - std::min(bytes, sourceBytes);
  for (auto _ : state) {
    std::memcpy(Destination().data(), job.source, bytes - again);
    std::memcpy(Destination().data() + bytes - again, job.source, again);
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = job.pixels;
}

void MeasureLibrary(const Setup& setup, const std::string& group, const std::string& name,
                    const Library& library, const Job& job, int threads) {
  Measure(setup, group, name, library.LevelName(),
          [&setup, &library, job, threads](benchmark::State& state) {
            RunLibrary(state, setup, library, job, threads);
          });
}

void MeasurePlain(const Setup& setup, const std::string& group, const std::string& name,
                  const Job& job, int threads) {
  Measure(setup, group, name, kPlain, [&setup, job, threads](benchmark::State& state) {
    RunPlain(state, setup, job, threads);
  });
}

void MeasureLevelsAndPlain(const Setup& setup, const std::string& group, const std::string& name,
                           const Job& job) {
  for (const Library& library : setup.libraries) {
    MeasureLibrary(setup, group, name, library, job, 1);
  }
  MeasurePlain(setup, group, name, job, 1);
}

void MeasureAll(const Setup& setup, const std::string& group, const std::string& name,
                const Job& job) {
  MeasureLevelsAndPlain(setup, group, name, job);
  Measure(setup, group, name, kLcms,
          [&setup, job](benchmark::State& state) { RunLcms(state, setup, job); });
  Measure(setup, group, name, kMemcpy, [job](benchmark::State& state) { RunMemcpy(state, job); });
}

// Figures count only where the results are the same.
void CheckResults(const Setup& setup, const Library& library, const Job& job) {
  constexpr int kMostPixels = 2'000'000;
  const int pixels = std::min(job.pixels, kMostPixels);
  const auto bytes = static_cast<std::size_t>(3 * job.format.destinationBytes * pixels);
  std::vector<unsigned char> expected(bytes);
  std::vector<unsigned char> actual(bytes);
  Select(setup, library, job.format);
  ConvertPlainly(*library.conversion.engine, job.format, job.source, expected.data(), pixels);
  Convert(library, job, actual.data(), pixels);
  if (actual != expected) {
    throw std::runtime_error(std::string("level ") + library.LevelName() + ", " + job.format.name +
                             ": differs from the plain worker");
  }
}

void RegisterGrain(const Setup& setup) {
  for (const Picture& picture : setup.material.calmer) {
    MeasureLevelsAndPlain(setup, "grain", std::string("8 to 8, ") + picture.name,
                          {kFormats[0], picture.Bytes(1), setup.material.Pixels()});
  }
}

void RegisterRegisters(const Setup& setup) {
  for (const int threads : {1, 2}) {
    const std::string name = threads == 1 ? "registers alone" : "registers alone, 2 threads";
    Measure(setup, "machine", name, kPlain,
            [threads](benchmark::State& state) { RunRegisters(state, threads); });
  }
}

void RegisterSmallCalls(const Setup& setup) {
  const Format& format = kFormats[0];
  // From the middle of the picture, where it has texture.
  const unsigned char* source =
      setup.material.photo.samples8.data() + setup.material.photo.samples8.size() / 6 * 3;
  for (const int pixels : {1, 16, 255, 256, 4096, 65536}) {
    const std::string name =
        "8 to 8, photo, " + std::to_string(pixels) + (pixels == 1 ? " pixel" : " pixels");
    MeasureAll(setup, "call", name, {format, source, pixels});
  }
}

void RegisterOutputCodes(const Setup& setup) {
  for (const OutputSpace& space : OutputSpaces()) {
    Format format = kFormats[0];
    format.output = space.code8;
    MeasureLibrary(setup, "output", "8 to 8, photo, to " + std::string(space.name), setup.Best(),
                   {format, setup.material.photo.Bytes(1), setup.material.Pixels()}, 1);
  }
}

}  // namespace

void RegisterBuffers(const Setup& setup) {
  const int pixels = setup.material.Pixels();
  Destination().assign(std::size_t{6} * static_cast<std::size_t>(pixels), 1);
  UseThreads(1);
  for (const Format& format : kFormats) {
    for (const Picture* picture : {&setup.material.photo, &setup.material.random}) {
      const Job job = {format, picture->Bytes(format.sourceBytes), pixels};
      for (const Library& library : setup.libraries) CheckResults(setup, library, job);
      const std::string name = std::string(format.name) + ", " + picture->name;
      MeasureAll(setup, "buffer", name, job);
      if (omp_get_num_procs() > 1) {
        MeasureLibrary(setup, "buffer", name + ", 2 threads", setup.Best(), job, 2);
        MeasurePlain(setup, "buffer", name + ", 2 threads", job, 2);
      }
    }
  }
  if (omp_get_num_procs() > 1) RegisterRegisters(setup);
  RegisterGrain(setup);
  RegisterSmallCalls(setup);
  RegisterOutputCodes(setup);
}

}  // namespace Bench
