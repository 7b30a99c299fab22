// A host that uses OpenMP: what it set stays as it was, its teams have the size that it asked for,
// and conversions give the same bytes before, within and between its parallel regions. Compiled by
// each compiler, whose runtimes have nothing in common.
// usage: openmp_host RUNTIME   (part of the path of the OpenMP runtime that it must be using)

#include <dlfcn.h>
#include <omp.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <vector>

#include "api/pipeline.h"

namespace {

constexpr int kTeam = 3;
constexpr std::size_t kPixels = 100000;

int failures = 0;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  ++failures;
}

struct Settings {
  int maxThreads, dynamic, levels, schedule, chunk, procs, limit;

  bool operator==(const Settings& other) const {
    return maxThreads == other.maxThreads && dynamic == other.dynamic && levels == other.levels &&
           schedule == other.schedule && chunk == other.chunk && procs == other.procs &&
           limit == other.limit;
  }
};

Settings SettingsNow() {
  omp_sched_t schedule;
  int chunk = 0;
  omp_get_schedule(&schedule, &chunk);
  return {omp_get_max_threads(),
          omp_get_dynamic(),
          omp_get_max_active_levels(),
          static_cast<int>(schedule),
          chunk,
          omp_get_num_procs(),
          omp_get_thread_limit()};
}

int TeamSize() {
  int size = 0;
#pragma omp parallel
  {
#pragma omp single
    size = omp_get_num_threads();
  }
  return size;
}

int ThreadsOfProcess() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

using Pixels = std::vector<unsigned char>;

Pixels Converted(const kxp_pipeline* pipeline, std::uint32_t threads, kxp_run run) {
  Pixels pixels(3 * kPixels);
  for (std::size_t n = 0; n < pixels.size(); ++n) pixels[n] = static_cast<unsigned char>(n * 7);
  kxp_image image = {};
  image.size = sizeof image;
  image.r = pixels.data();
  image.g = pixels.data() + 1;
  image.b = pixels.data() + 2;
  kxp_convert_options options = {};
  options.size = sizeof options;
  options.threads = threads;
  options.run = run;
  if (kxp_convert(pipeline, &image, &image, kPixels, 1, &options, nullptr) != KXP_OK) {
    pixels.clear();
  }
  return pixels;
}

// The host's team as the library's threads.
void RunOnTeam(void*, std::uint32_t count, kxp_job job, void* argument) {
#pragma omp parallel for
  for (int index = 0; index < static_cast<int>(count); ++index) {
    job(argument, static_cast<std::uint32_t>(index));
  }
}

bool UsesRuntime(const char* part) {
  Dl_info info;
  return dladdr(reinterpret_cast<void*>(&omp_get_max_threads), &info) != 0 &&
         std::strstr(info.dli_fname, part) != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  alarm(120);  // ends a host that hangs
  if (argc != 2 || !UsesRuntime(argv[1])) {
    std::fprintf(stderr, "another OpenMP runtime is used\n");
    return 99;
  }
  omp_set_dynamic(0);
  omp_set_num_threads(kTeam);
  omp_set_schedule(omp_sched_guided, 5);
  Expect(TeamSize() == kTeam, "the team, before");
  const Settings before = SettingsNow();
  const int threadsBefore = ThreadsOfProcess();

  kxp_profile *source = nullptr, *destination = nullptr;
  kxp_pipeline* pipeline = nullptr;
  kxp_profile_builtin("prophoto", &source, nullptr);
  kxp_profile_builtin("srgb", &destination, nullptr);
  Expect(kxp_pipeline_create(source, destination, nullptr, &pipeline, nullptr) == KXP_OK, "create");
  const Pixels expected = Converted(pipeline, 1, nullptr);
  Expect(!expected.empty(), "on one thread");
  Expect(Converted(pipeline, 4, nullptr) == expected, "on four threads of the library");
  Expect(ThreadsOfProcess() == threadsBefore, "threads are left");
  Expect(SettingsNow() == before, "settings after a conversion");
  Expect(TeamSize() == kTeam, "the team, after a conversion");

  int same = 0, teamWithin = 0;
#pragma omp parallel reduction(+ : same)
  {
    if (omp_get_thread_num() == 0) teamWithin = omp_get_num_threads();
    if (Converted(pipeline, 2, nullptr) == expected) ++same;
  }
  Expect(teamWithin == kTeam && same == kTeam, "within a parallel region");
  Expect(Converted(pipeline, 8, RunOnTeam) == expected, "on the host's team");
  Expect(SettingsNow() == before, "settings at the end");
  Expect(TeamSize() == kTeam, "the team, at the end");

  kxp_pipeline_release(pipeline);
  kxp_profile_release(destination);
  kxp_profile_release(source);
  return failures;
}
