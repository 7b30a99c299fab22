// Measures the libraries beside the plain worker, lcms2 and memcpy in one process. Usually run by
// scripts/bench, which interleaves the repetitions and makes a table of them.
// usage: kxcms_bench FOLDER [--quick] [options of Google Benchmark]
// Profile, pictures and copies of the libraries go into the folder.

#include <omp.h>

#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Lcms.h"
#include "bench/Setup.h"

namespace Bench {

void UseThreads(int threads) {
  omp_set_dynamic(0);
  omp_set_num_threads(threads);
}

void UseDefaultThreads() {
  omp_set_dynamic(1);
  omp_set_num_threads(8);
}

namespace {

std::vector<CpuLevel> Levels() {
  std::vector<CpuLevel> levels;
  for (const CpuLevel level : {CpuLevel::kPortable, CpuLevel::kAvx2, CpuLevel::kAvx512}) {
    if (level <= ICC40::ChosenCpuLevel()) levels.push_back(level);
  }
  if (levels.empty()) throw std::runtime_error("KXCMS_LEVEL leaves no level to compare");
  return levels;
}

void DescribeRun(const Setup& setup) {
  std::string levels;
  for (const Library& library : setup.libraries) {
    levels += levels.empty() ? "" : ",";
    levels += library.LevelName();
  }
  const int lcms = cmsGetEncodedCMMversion();
  benchmark::AddCustomContext("levels", levels);
  benchmark::AddCustomContext("build", KXCMS_BUILD);
  benchmark::AddCustomContext("width", std::to_string(setup.material.width));
  benchmark::AddCustomContext("length", std::to_string(setup.material.length));
  benchmark::AddCustomContext("lcms2",
                              std::to_string(lcms / 1000) + "." + std::to_string(lcms % 1000 / 10));
}

int Run(const std::string& folder, bool isQuick) {
  Material material = isQuick ? Material(folder, 2000, 1500) : Material(folder, 6000, 4000);
  Setup setup = {std::move(material), {}, {}, isQuick ? 0.002 : 0.05};
  for (const CpuLevel level : Levels()) {
    setup.libraries.emplace_back(KXCMS_LIBRARY, level, folder, setup.material.profile);
    setup.pipelineLibraries.emplace_back(KXCMS_PIPELINE_LIBRARY, level, folder);
  }
  RegisterBuffers(setup);
  RegisterSelection(setup);
  RegisterTables(setup);
  RegisterFixed(setup);
  RegisterPrecise(setup);
  DescribeRun(setup);
  return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}

}  // namespace

}  // namespace Bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const bool isQuick = argc == 3 && std::strcmp(argv[2], "--quick") == 0;
  if (argc != 2 && !isQuick) {
    std::cerr << "usage: kxcms_bench FOLDER [--quick] [options of Google Benchmark]\n";
    return 2;
  }
  try {
    return Bench::Run(argv[1], isQuick);
  } catch (const std::exception& failure) {
    std::cerr << "kxcms_bench: " << failure.what() << '\n';
    return 1;
  }
}
