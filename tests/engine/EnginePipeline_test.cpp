#include "engine/EnginePipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <thread>
#include <utility>
#include <vector>

using namespace ICC40;
using namespace ICC40::ICC_ENG_S4;

namespace {

std::array<unsigned int*, 6> ArraysOf(const CIccEngineS& engine) {
  return {engine.inLutAux0, engine.inLut0,    engine.inLutAux1,
          engine.inLut1,    engine.inLutAux2, engine.inLut2};
}

std::unique_ptr<CIccEngineS> MakeEngine(std::size_t levels) {
  auto engine = std::make_unique<CIccEngineS>();
  ProvideInputArrays(*engine, levels);
  return engine;
}

TEST(EnginePipeline, FillsTheEnginesOwnTables) {
  const auto engine = MakeEngine(65536);
  const FixedTables& tables = PipelineOf(*engine).tables();
  EXPECT_EQ(tables.input[0].data(), engine->inLut0);
  EXPECT_EQ(tables.input[1].data(), engine->inLut1);
  EXPECT_EQ(tables.input[2].data(), engine->inLut2);
  for (const auto& table : tables.input) EXPECT_EQ(table.size(), 65536u);
  EXPECT_EQ(tables.cells, engine->cells);
  EXPECT_EQ(tables.output, engine->outLut);
  EXPECT_EQ(OwnPipelineOf(*engine), &PipelineOf(*engine));
}

TEST(EnginePipeline, ArraysStayWhereTheyMay) {
  const struct {
    const char* what;
    void (*change)(CIccEngineS& engine);
    std::size_t levels;
    bool stay;
  } kRows[] = {
      {"nothing happened", [](CIccEngineS&) {}, 256, true},
      {"another size", [](CIccEngineS&) {}, 65536, false},
      {"another input table",
       [](CIccEngineS& engine) { delete[] std::exchange(engine.inLut1, new unsigned int[300]); },
       256, false},
      {"another auxiliary table",
       [](CIccEngineS& engine) { delete[] std::exchange(engine.inLutAux2, new unsigned int[300]); },
       256, false},
      {"no auxiliary table",
       [](CIccEngineS& engine) { delete[] std::exchange(engine.inLutAux0, nullptr); }, 256, false},
      {"released", [](CIccEngineS& engine) { ReleaseInputArrays(engine); }, 256, false},
  };
  for (const auto& row : kRows) {
    const auto engine = MakeEngine(256);
    row.change(*engine);
    const auto before = ArraysOf(*engine);
    ProvideInputArrays(*engine, row.levels);
    const auto after = ArraysOf(*engine);
    if (row.stay) {
      EXPECT_EQ(after, before) << row.what;
    }
    EXPECT_EQ(std::set<unsigned int*>(after.begin(), after.end()).size(), 6u) << row.what;
    EXPECT_EQ(std::count(after.begin(), after.end(), nullptr), 0) << row.what;
    EXPECT_EQ(PipelineOf(*engine).tables().input[0].size(), row.levels) << row.what;
    EXPECT_EQ(OwnPipelineOf(*engine), &PipelineOf(*engine)) << row.what;
    for (unsigned int* array : after) std::fill_n(array, row.levels, 1u);
  }
}

TEST(EnginePipeline, ReleasedArraysLeaveNone) {
  const auto engine = MakeEngine(256);
  ReleaseInputArrays(*engine);
  for (const unsigned int* array : ArraysOf(*engine)) EXPECT_EQ(array, nullptr);
  EXPECT_TRUE(PipelineOf(*engine).tables().input[0].empty());
}

TEST(EnginePipeline, IsFoundByTheEngineAlone) {
  const auto engine = MakeEngine(256), other = MakeEngine(256);
  FixedPipeline* const own = &PipelineOf(*engine);
  EXPECT_NE(&PipelineOf(*other), own);
  for (unsigned int* array : ArraysOf(*engine)) std::fill_n(array, 256, 0xFFFFFFFFu);
  EXPECT_EQ(FindPipeline(*engine), own);
  DropPipeline(*engine);
  EXPECT_EQ(FindPipeline(*engine), nullptr);
  DropPipeline(*engine);
  EXPECT_NE(FindPipeline(*other), nullptr);
}

TEST(EnginePipeline, ASelectionsEngineHasNoneBefore) {
  const CIccEngineS* at = nullptr;
  alignas(CIccEngineS) static unsigned char memory[sizeof(CIccEngineS)];
  at = new (memory) CIccEngineS;
  EXPECT_EQ(FindPipeline(*at), nullptr);
  PipelineOf(const_cast<CIccEngineS&>(*at));
  // Another engine at the same address, though the first one never ended.
  at = new (memory) CIccEngineS;
  EXPECT_EQ(FindPipeline(*at), nullptr);
  at->~CIccEngineS();
}

// What the scalar worker reads in each field.
TEST(EnginePipeline, EntriesOfProgramsArrays) {
  const struct {
    const char* what;
    int inputColor;
    bool first, second, third;  // whether it is a program's
    std::size_t levels;
  } kRows[] = {
      {"all the engine's", ICCFILE::RGB_16, false, false, false, 256},
      {"one of the engine's left", ICCFILE::RGB_16, true, true, false, 256},
      {"none left, 16 bits", ICCFILE::RGB_16, true, true, true, 65536},
      {"none left, 8 bits", ICCFILE::RGB, true, true, true, 256},
  };
  for (const auto& row : kRows) {
    const auto engine = MakeEngine(256);
    const auto own = ArraysOf(*engine);
    std::vector<unsigned int> programs(65536);
    engine->inputColor = row.inputColor;
    if (row.first) engine->inLut0 = programs.data();
    if (row.second) engine->inLut1 = programs.data();
    if (row.third) engine->inLut2 = programs.data();
    const FixedTables tables = TablesOf(*engine);
    for (const auto& table : tables.input) EXPECT_EQ(table.size(), row.levels) << row.what;
    EXPECT_EQ(tables.input[0].data(), engine->inLut0);
    EXPECT_EQ(tables.input[2].data(), engine->inLut2);
    EXPECT_EQ(OwnPipelineOf(*engine) != nullptr, !row.first) << row.what;
    engine->inLut0 = own[1];
    engine->inLut1 = own[3];
    engine->inLut2 = own[5];
  }
}

// Far more than there are rows of places, which are then taken again, from several threads.
TEST(EnginePipeline, OfManyEngines) {
  constexpr std::size_t kEngines = 40;
  const auto work = [&] {
    for (int round = 0; round < 3; ++round) {
      std::vector<std::unique_ptr<CIccEngineS>> engines;
      std::set<FixedPipeline*> pipelines;
      for (std::size_t i = 0; i < kEngines; ++i) {
        engines.push_back(MakeEngine(i % 2 == 0 ? 256 : 300));
        pipelines.insert(&PipelineOf(*engines.back()));
      }
      EXPECT_EQ(pipelines.size(), kEngines);
      for (std::size_t i = 0; i < kEngines; i += 3) DropPipeline(*engines[i]);
      for (std::size_t i = 0; i < kEngines; ++i) {
        const FixedPipeline* const pipeline = FindPipeline(*engines[i]);
        ASSERT_EQ(pipeline == nullptr, i % 3 == 0) << i;
        if (pipeline == nullptr) continue;
        EXPECT_EQ(pipeline->tables().input[0].size(), i % 2 == 0 ? 256u : 300u) << i;
        EXPECT_EQ(pipeline->tables().cells, engines[i]->cells) << i;
      }
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
