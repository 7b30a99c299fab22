#include "pipeline/FixedPipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "tests/units/UnitFixtures.h"

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_ENG_S4;
using units_test::Random;

namespace {

// Arrays for a pipeline of so many input levels.
class Arrays {
 public:
  explicit Arrays(std::size_t levels)
      : levels_(levels),
        input_(std::make_unique<std::uint32_t[]>(3 * levels)),
        cells_(std::make_unique<Cell[][16][16]>(16)),
        output_(std::make_unique<std::uint32_t[][kLevels16]>(3)) {}

  FixedArrays View() const {
    const auto input = [&](std::size_t c) { return std::span(&input_[c * levels_], levels_); };
    return {{{input(0), input(1), input(2)}}, cells_.get(), output_.get()};
  }

 private:
  std::size_t levels_;
  std::unique_ptr<std::uint32_t[]> input_;
  std::unique_ptr<Cell[][16][16]> cells_;
  std::unique_ptr<std::uint32_t[][kLevels16]> output_;
};

std::unique_ptr<CLut16Type> RandomLut(std::uint64_t seed) {
  Random random(seed);
  auto lut = units_test::EmptyLut(3, 3, 5);
  lut->inputEntries = lut->outputEntries = 16;
  lut->inputTables = units_test::NewArray(random.Words(3 * 16));
  lut->outputTables = units_test::NewArray(random.Words(3 * 16));
  lut->colorTable = units_test::NewArray(random.Words(3 * 125));
  return lut;
}

int SourceBytes(PixelFormat format) {
  return format == PixelFormat::k16To16 ? 2 : 1;
}
int DestinationBytes(PixelFormat format) {
  return format == PixelFormat::k8To8 ? 1 : 2;
}

std::vector<unsigned char> Converted(const PixelWorker& worker, PixelFormat format, int pixels) {
  std::vector<unsigned char> source(static_cast<std::size_t>(3 * pixels * SourceBytes(format)));
  Random random(7);
  for (unsigned char& byte : source) byte = static_cast<unsigned char>(random.Word());
  std::vector<unsigned char> to(static_cast<std::size_t>(3 * pixels * DestinationBytes(format)));
  worker(source.data(), to.data(), 0, pixels);
  return to;
}

// By whatever worker there is, what the tables themselves give.
void ExpectCurrent(FixedPipeline& pipeline, PixelFormat format) {
  const FixedTables tables = pipeline.tables();
  for (const int pixels : {1, 7, 8, 100}) {
    EXPECT_EQ(Converted(pipeline.WorkerFor(format, pixels), format, pixels),
              Converted(PixelWorker(tables, format), format, pixels))
        << pixels << " pixels";
  }
}

const struct {
  ColorSpaceSignature input, output;
  PixelFormat format;
} kRoutes[] = {{RGB, sRGB, PixelFormat::k8To8},
               {RGB, sRGB_16, PixelFormat::k8To16},
               {RGB_16, sRGB_16, PixelFormat::k16To16}};

TEST(FixedPipeline, WorkersSeeEveryChange) {
  const auto first = RandomLut(1), second = RandomLut(2);
  for (const auto& route : kRoutes) {
    const Arrays arrays(static_cast<std::size_t>(InputLevelsOf(route.input)));
    FixedPipeline pipeline(arrays.View());
    pipeline.FillInputTables(*first, route.input);
    pipeline.FillCells(*first, {route.output});
    pipeline.FillOutputTables(route.output);
    const auto other = std::make_unique<std::uint32_t[][kLevels16]>(3);
    for (int c = 0; c < 3; ++c) std::fill_n(other[c], kLevels16, 30u + c);
    const struct {
      const char* what;
      std::function<void()> fill;
    } kSteps[] = {
        {"nothing", [] {}},
        {"input", [&] { pipeline.FillInputTables(*second, route.input); }},
        {"cells", [&] { pipeline.FillCells(*second, {route.output}); }},
        {"offsets",
         [&] {
           pipeline.FillCells(*second, {route.output, nullptr, 30, 0, 90});
         }},
        {"output", [&] { pipeline.FillOutputTables(route.output == sRGB ? Adobe : Adobe_16); }},
        {"other output", [&] { pipeline.CopyOutputTables(other.get()); }},
    };
    auto before = Converted(pipeline.WorkerFor(route.format, 50), route.format, 50);
    for (const auto& step : kSteps) {
      SCOPED_TRACE(step.what);
      step.fill();
      ExpectCurrent(pipeline, route.format);
      const auto after = Converted(pipeline.WorkerFor(route.format, 50), route.format, 50);
      EXPECT_EQ(after == before, step.what == kSteps[0].what);
      before = after;
    }
  }
}

// The formats of one pipeline do not get into each other's way.
TEST(FixedPipeline, EveryFormatOverTheSameTables) {
  const auto lut = RandomLut(3);
  const Arrays arrays(65536);
  FixedPipeline pipeline(arrays.View());
  for (const ColorSpaceSignature output : {sRGB_16, Apple_16}) {
    pipeline.FillInputTables(*lut, RGB_16);
    pipeline.FillCells(*lut, {output});
    pipeline.FillOutputTables(output);
    for (int round = 0; round < 2; ++round) {
      for (const auto& route : kRoutes) ExpectCurrent(pipeline, route.format);
    }
  }
}

TEST(FixedPipeline, OtherInputArrays) {
  const auto lut = RandomLut(4);
  const Arrays arrays(256), larger(65536);
  FixedPipeline pipeline(arrays.View());
  pipeline.FillCells(*lut, {sRGB});
  pipeline.FillOutputTables(sRGB);
  pipeline.FillInputTables(*lut, RGB);
  ExpectCurrent(pipeline, PixelFormat::k8To8);
  pipeline.UseInput({});
  EXPECT_TRUE(pipeline.tables().input[0].empty());
  pipeline.UseInput(larger.View().input);
  EXPECT_EQ(pipeline.tables().input[2].size(), 65536u);
  pipeline.FillInputTables(*lut, RGB_16);
  ExpectCurrent(pipeline, PixelFormat::k16To16);
  ExpectCurrent(pipeline, PixelFormat::k8To8);
}

TEST(FixedPipeline, StatusOfTheOutput) {
  const Arrays arrays(256);
  FixedPipeline pipeline(arrays.View());
  EXPECT_EQ(pipeline.FillOutputTables(sRGB), 8) << "sRGB reports its twin";
  EXPECT_EQ(pipeline.FillOutputTables(Apple_16), 27);
  EXPECT_EQ(pipeline.FillOutputTables(CMYK), 65535);
  EXPECT_EQ(pipeline.tables().output[1][4711], 4711u) << "identity";
}

}  // namespace
