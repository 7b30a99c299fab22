#include "pipeline/WorkerTables.h"

#include <gtest/gtest.h>

#include <utility>

#include "pipeline/PixelWorker.h"
#include "tests/pipeline/HandFilledTables.h"

using namespace ICC40;
using namespace ICC40::ICC_ENG_S4;
using pipeline_test::Curves;
using pipeline_test::Nodes;
using pipeline_test::Outputs;
using pipeline_test::Tables;

namespace {

Tables Usual(int levels = 256) {
  return Tables(80, levels, Nodes::kRandom, Curves::kLine, Outputs::kRandom);
}

TEST(WorkerTables, WhatHasNoCompactForm) {
  const struct {
    const char* what;
    PixelFormat format;
    void (*change)(Tables& tables);
    bool isCompact;
  } kRows[] = {
      {"as the pipeline fills them", PixelFormat::k8To8, [](Tables&) {}, true},
      {"16-bit samples over 256-entry tables", PixelFormat::k16To16, [](Tables&) {}, false},
      {"a node that is no byte times 256", PixelFormat::k8To8,
       [](Tables& tables) { tables.Cells()[0][0][0][0][0] += 1u << kFractionBits; }, false},
      {"a node that is no byte", PixelFormat::k8To8,
       [](Tables& tables) {
         for (auto& tetrahedron : tables.Cells()[3][4][5]) {
           tetrahedron[4] = 65536u << kFractionBits;
         }
       },
       false},
      {"one slope that misses its node", PixelFormat::k8To8,
       [](Tables& tables) { tables.Cells()[15][15][15][5][11] += 256; }, false},
      {"a fraction above 4095", PixelFormat::k8To8,
       [](Tables& tables) { tables.Input(1)[200] |= 0x1000; }, false},
      {"a cell above 15", PixelFormat::k8To16,
       [](Tables& tables) { tables.Input(2)[0] |= 16u << 16; }, false},
      {"any output at all", PixelFormat::k8To16,
       [](Tables& tables) { tables.Output()[2][65535] = 0xFFFFFFFF; }, true},
  };
  for (const auto& row : kRows) {
    Tables tables = Usual();
    row.change(tables);
    EXPECT_EQ(tables.Compact(row.format, true) != nullptr, row.isCompact) << row.what;
  }
}

// Samples of 8 bits read the first 256 entries of 65536; what stands behind these is no matter.
TEST(WorkerTables, EightBitSamplesOverLargeTables) {
  Tables tables = Usual(65536);
  tables.Input(0)[256] = 0xFFFFFFFF;
  EXPECT_NE(tables.Compact(PixelFormat::k8To8, true), nullptr);
  EXPECT_EQ(tables.Compact(PixelFormat::k16To16, true), nullptr);
}

TEST(WorkerTables, Coordinates) {
  Tables tables = Usual();
  const CompactTables* const compact = tables.Compact(PixelFormat::k8To8, true);
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t level = 0; level < 256; ++level) {
      const std::uint32_t entry = tables.View().input[c][level];
      const std::uint32_t coordinate = (entry >> 16) * 4096 + (entry & 0xFFFF);
      EXPECT_EQ(compact->coordinates[c][level], coordinate);
      EXPECT_EQ(compact->coordinateBytes[c][0][level], coordinate % 256);
      EXPECT_EQ(compact->coordinateBytes[c][1][level], coordinate / 256);
    }
  }
  for (std::size_t pair = 0; pair < 65536; pair += 97) {
    EXPECT_EQ(compact->coordinatePairs[pair],
              compact->coordinates[0][pair % 256] | compact->coordinates[1][pair / 256] << 16);
  }
  EXPECT_EQ(tables.Compact(PixelFormat::k8To8, false)->coordinatePairs, nullptr);
}

TEST(WorkerTables, EqualOutputTablesAreShared) {
  Tables tables(81, 256, Nodes::kRandom, Curves::kLine, Outputs::kSharedSteep);
  for (const PixelFormat format : {PixelFormat::k8To8, PixelFormat::k8To16}) {
    const CompactTables& compact = *tables.Compact(format, false);
    if (format == PixelFormat::k8To8) {
      EXPECT_EQ(compact.output8[2], compact.output8[0]);
      EXPECT_EQ(compact.output8[0][40000], (40000 >> 5) % 256);
    } else {
      EXPECT_EQ(compact.output16[2], compact.output16[0]);
      EXPECT_EQ(compact.output16[0][40000], 40000 >> 5);
    }
  }
  tables.Output()[1][7] = 9;
  const CompactTables& compact = *tables.Compact(PixelFormat::k8To16, false);
  EXPECT_NE(compact.output16[1], compact.output16[0]);
  EXPECT_EQ(compact.output16[2], compact.output16[0]);
  EXPECT_EQ(compact.output16[1][7], 9);
}

// They do not refer to the tables that they were made of.
TEST(WorkerTables, AreNotChangedWithTheTables) {
  Tables tables = Usual();
  const auto made = WorkerTables::Make(tables.View(), {}, PixelFormat::k8To16, true);
  const unsigned char source[3 * 16] = {3, 200, 90, 255, 0, 17};
  unsigned short before[3 * 16], after[3 * 16];
  const auto convert = [&](unsigned short* to) {
    PixelWorker(*made->compact(), PixelFormat::k8To16, kPortableKernels)(
        source, reinterpret_cast<unsigned char*>(to), 0, 16);
  };
  convert(before);
  for (std::size_t c = 0; c < 3; ++c) {
    std::fill(tables.Input(c).begin(), tables.Input(c).end(), 0u);
    std::fill_n(tables.Output()[c], 65536, 0u);
  }
  std::fill_n(&tables.Cells()[0][0][0][0][0], 4096 * 72, 0u);
  convert(after);
  EXPECT_TRUE(std::equal(before, before + 48, after));
}

// A stage that was filled again is taken from the tables, the others from the older ones: what was
// changed behind their back is not seen.
TEST(WorkerTables, AStageIsMadeAgainWhenItsVersionIsAnother) {
  constexpr StageVersions kFirst = {5, 5, 5};
  const struct {
    const char* what;
    StageVersions versions;
    bool input, cells, output;  // which are expected to be made again
  } kRows[] = {
      {"none", {5, 5, 5}, false, false, false},     {"input", {6, 5, 5}, true, false, false},
      {"cells", {5, 9, 5}, false, true, false},     {"output", {5, 5, 4}, false, false, true},
      {"all of them", {6, 6, 6}, true, true, true},
  };
  for (const auto& row : kRows) {
    Tables tables(82, 256, Nodes::kAllWhite, Curves::kConstant, Outputs::kIdentity);
    auto made = WorkerTables::Make(tables.View(), kFirst, PixelFormat::k8To16, true);
    const WorkerTables* const memory = made.get();
    EXPECT_TRUE(made->AreOf(kFirst));
    EXPECT_EQ(made->AreOf(row.versions), row.versions == kFirst) << row.what;
    for (std::size_t c = 0; c < 3; ++c) {
      std::fill(tables.Input(c).begin(), tables.Input(c).end(), PackIndex(0));
      std::fill_n(tables.Output()[c], 65536, 7u);
    }
    std::fill_n(&tables.Cells()[0][0][0][0][0], 4096 * 72, 0u);
    made =
        WorkerTables::Make(tables.View(), row.versions, PixelFormat::k8To16, true, std::move(made));
    EXPECT_EQ(made.get(), memory) << row.what;
    EXPECT_TRUE(made->AreOf(row.versions)) << row.what;
    const CompactTables& compact = *made->compact();
    EXPECT_EQ(compact.coordinates[1][100], row.input ? 0 : 65535) << row.what;
    EXPECT_EQ(compact.coordinatePairs[0], row.input ? 0u : 0xFFFFFFFF) << row.what;
    EXPECT_EQ(compact.records[77].value[1][2], row.cells ? 0 : 255) << row.what;
    EXPECT_EQ(compact.output16[2][1000], row.output ? 7 : 1000) << row.what;
  }
}

TEST(WorkerTables, AStageWithoutACompactFormIsTriedAgain) {
  Tables tables = Usual();
  const std::uint32_t entry = tables.Input(0)[9];
  tables.Input(0)[9] = 0xFFFF;
  auto made = WorkerTables::Make(tables.View(), {1, 1, 1}, PixelFormat::k8To8, true);
  EXPECT_EQ(made->compact(), nullptr);
  EXPECT_TRUE(made->AreOf({1, 1, 1}));
  tables.Input(0)[9] = entry;
  made = WorkerTables::Make(tables.View(), {2, 1, 1}, PixelFormat::k8To8, true, std::move(made));
  EXPECT_NE(made->compact(), nullptr);
  tables.Cells()[0][0][0][0][0] += 1u << kFractionBits;
  made = WorkerTables::Make(tables.View(), {2, 2, 1}, PixelFormat::k8To8, true, std::move(made));
  EXPECT_EQ(made->compact(), nullptr) << "a change after the first making";
}

}  // namespace
