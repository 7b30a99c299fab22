#ifndef KXCMS_BENCH_SETUP_H
#define KXCMS_BENCH_SETUP_H

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/Library.h"
#include "bench/Material.h"
#include "bench/PipelineLibrary.h"

namespace Bench {

/// What the groups of cases share. Cases keep references to it.
struct Setup {
  Material material;
  std::vector<Library> libraries;  ///< by rising level
  std::vector<PipelineLibrary> pipelineLibraries;
  double secondsPerRepetition;

  /// The libraries as people get them.
  const Library& Best() const { return libraries.back(); }
  const PipelineLibrary& BestPipelines() const { return pipelineLibraries.back(); }
};

/// Names of the contenders that are no level of the library.
constexpr const char* kPlain = "plain";
constexpr const char* kLcms = "lcms2";
constexpr const char* kMemcpy = "memcpy";

/// Registers one measurement, whose clock is still to be named. Group, case and contender are the
/// table's section, row and column; they must not contain a slash.
template <typename Run>
benchmark::internal::Benchmark* AddCase(const Setup& setup, const std::string& group,
                                        const std::string& name, const std::string& contender,
                                        Run run) {
  const std::string path = group + "/" + name + "/" + contender;
  return benchmark::RegisterBenchmark(path.c_str(), run)->MinTime(setup.secondsPerRepetition);
}

/// Registers one measurement of all that the benchmark's loop does.
template <typename Run>
void Measure(const Setup& setup, const std::string& group, const std::string& name,
             const std::string& contender, Run run) {
  AddCase(setup, group, name, contender, run)->UseRealTime();
}

/// Exactly `threads` OpenMP threads for what follows.
void UseThreads(int threads);
/// What loading the library sets, and what applications that say nothing get.
void UseDefaultThreads();

/// Whole buffers, grain, small calls, output codes. Throws runtime_error when a level's result
/// differs from the plain worker's.
void RegisterBuffers(const Setup& setup);
/// Profile selection and adjustment.
void RegisterSelection(const Setup& setup);
/// The fixed pipeline by handle.
void RegisterFixed(const Setup& setup);
/// Precise conversion. Throws runtime_error when results differ from the definition.
void RegisterPrecise(const Setup& setup);
/// The tables' own buffer conversion. Throws as RegisterBuffers does.
void RegisterTables(const Setup& setup);

}  // namespace Bench

#endif
