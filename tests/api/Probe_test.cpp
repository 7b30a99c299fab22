// Looking into a conversion, stage by stage, against the evaluation in double precision.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tests/api/TestImage.h"

namespace {

using namespace api_test;
namespace forms = profile_forms;
using kxcms::exact::Triple;

std::vector<kxp_stage> Probed(const kxp_pipeline* pipeline, const Triple& device) {
  std::vector<kxp_stage> stages(24);
  stages[0].size = sizeof(kxp_stage);
  std::size_t count = 0;
  kxp_error error = NewError();
  EXPECT_EQ(kxp_probe(pipeline, device.data(), stages.data(), stages.size(), &count, &error),
            KXP_OK)
      << error.message;
  EXPECT_LE(count, stages.size());
  stages.resize(std::min(count, stages.size()));
  return stages;
}

// What a stage must say: name, values, cut off, and how far off single precision may be.
struct Expected {
  std::string name;
  Triple values, clipped;
  double tolerance;
};

// An exact evaluation has its own names for some.
std::string NameOf(const kxcms::exact::Stage& stage) {
  return stage.name == std::string("CLUT") ? "grid" : stage.name;
}

Triple CutOff(const Triple& values) {
  Triple cut;
  for (std::size_t n = 0; n < 3; ++n) cut[n] = values[n] - std::clamp(values[n], 0.0, 1.0);
  return cut;
}

constexpr double kUnitTolerance = 2e-6;    // of values in [0, 1]
constexpr double kLabTolerance = 1e-3;     // of L*, a*, b*
constexpr double kResultTolerance = 3e-5;  // of encoded values: two levels of 65535

void Append(const std::vector<kxcms::exact::Stage>& stages, Triple before, bool isMatrixModel,
            std::vector<Expected>& expected) {
  for (const kxcms::exact::Stage& stage : stages) {
    if (isMatrixModel) {
      // Its matrix leads to XYZ, which has a stage of its own.
      if (stage.name == std::string("matrix")) continue;
      expected.push_back({"tone curves", stage.values, {}, kUnitTolerance});
      continue;
    }
    const bool clips = stage.name != std::string("matrix");
    expected.push_back(
        {NameOf(stage), stage.values, clips ? CutOff(before) : Triple{}, 4 * kUnitTolerance});
    before = stage.values;
  }
}

std::vector<Expected> ExpectedOf(const kxcms::exact::Conversion& conversion,
                                 const kxcms::exact::Options& options, const Triple& device) {
  const kxcms::exact::Trace trace = conversion.Evaluate(device);
  std::vector<Expected> expected = {{"device", trace.device, CutOff(device), kUnitTolerance}};
  Append(trace.sourceStages, trace.device, conversion.SourceModel().table == nullptr, expected);
  expected.push_back({"PCS Lab", trace.pcsLab, {}, kLabTolerance});
  expected.push_back({"PCS XYZ", trace.pcsXyz, {}, 1e-5});
  if (options.blackPointCompensation || options.intent == kxcms::RenderingIntent::kAbsolute) {
    expected.push_back({"adapted XYZ", trace.xyz, {}, 1e-5});
  }
  Triple cut{};
  if (trace.linear) {
    expected.push_back({"linear", trace.linear->linear, {}, 3e-5});
    if (!options.unclipped) cut = trace.linear->clippedBy;
  }
  if (trace.pcsEncoded) {
    expected.push_back({"PCS encoded", *trace.pcsEncoded, {}, 1e-5});
    Append(trace.destinationStages, *trace.pcsEncoded, false, expected);
  }
  expected.push_back({"encoded", trace.result, cut, kResultTolerance});
  return expected;
}

struct Direction {
  const char* what;
  Bytes source, destination;  // a destination of no bytes: `space`
  const char* space;
  std::uint32_t intent, flags;
  double slope = 1;  // by how much steep curves multiply what single precision leaves out
};

void ExpectStages(const Direction& row) {
  SCOPED_TRACE(row.what);
  const kxcms::DeviceProfile source = kxcms::ReadProfile(row.source);
  kxcms::DeviceProfile destination;
  kxcms::exact::Destination to = &destination;
  if (!row.destination.empty()) {
    destination = kxcms::ReadProfile(row.destination);
  } else if (row.space == std::string("lab")) {
    to = kxcms::exact::Measure::kLab;
  } else if (row.space == std::string("xyz")) {
    to = kxcms::exact::Measure::kXyz;
  } else {
    to = kxcms::FindRgbSpace(row.space);
  }
  kxcms::exact::Options options;
  options.intent = static_cast<kxcms::RenderingIntent>(row.intent);
  options.blackPointCompensation = (row.flags & KXP_BLACK_POINT_COMPENSATION) != 0;
  options.unclipped = (row.flags & KXP_UNCLIPPED) != 0;
  const kxcms::exact::Conversion exact(source, to, options);
  const bool isMeasure = std::holds_alternative<kxcms::exact::Measure>(to);

  const Pipeline pipeline =
      Connect(FromMemory(row.source),
              row.destination.empty() ? BuiltIn(row.space) : FromMemory(row.destination),
              row.intent, row.flags);
  const Triple kColors[] = {{0, 0, 0},       {1, 1, 1},         {0.5, 0.5, 0.5}, {1, 0, 0},
                            {0, 1, 0},       {0, 0, 1},         {0.2, 0.7, 0.4}, {0.9, 0.1, 0.3},
                            {0.03, 0.02, 0}, {-0.25, 0.5, 1.75}};
  for (const Triple& device : kColors) {
    const std::vector<kxp_stage> stages = Probed(pipeline.get(), device);
    const std::vector<Expected> expected = ExpectedOf(exact, options, device);
    ASSERT_EQ(stages.size(), expected.size());
    for (std::size_t s = 0; s < stages.size(); ++s) {
      const bool isLabResult = isMeasure && s + 1 == stages.size() && row.space[0] == 'l';
      const double tolerance = row.slope * (isLabResult ? kLabTolerance : expected[s].tolerance);
      EXPECT_EQ(stages[s].name, expected[s].name);
      for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(stages[s].values[c], expected[s].values[c], tolerance)
            << expected[s].name << ", channel " << c << " of " << device[0] << " " << device[1]
            << " " << device[2];
        EXPECT_NEAR(stages[s].clipped[c], expected[s].clipped[c], row.slope * 3e-5)
            << expected[s].name << ", channel " << c << " of " << device[0] << " " << device[1]
            << " " << device[2];
      }
    }
    // The last stage is what a float image gets, bit for bit.
    float from[3], result[3];
    for (std::size_t c = 0; c < 3; ++c) from[c] = static_cast<float>(device[c]);
    const kxp_image in = PlainImage(from, KXP_F32), out = PlainImage(result, KXP_F32);
    ASSERT_EQ(kxp_convert(pipeline.get(), &in, &out, 1, 1, nullptr, nullptr), KXP_OK);
    for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(stages.back().values[c], result[c]);
  }
}

TEST(Probe, EveryStageOfEveryForm) {
  const Bytes full = FullProfile(), scanner = ScannerProfile(), matrix = MatrixProfile();
  const Bytes elements =
      forms::WithTag("A2B0", forms::WithClut(forms::MatrixAndB()).Tag(), "XYZ ").Build();
  const Bytes lut8 = forms::WithTag("A2B1", forms::Lut8Tag()).Build();
  const Bytes backward =
      forms::WithTag("B2A0", forms::Lut16(3, 4, 2).Tag(), "XYZ ").Header(12, "prtr").Build();
  constexpr std::uint32_t kBpc = KXP_BLACK_POINT_COMPENSATION;
  const Direction kRows[] = {
      {"lut16Type to sRGB", scanner, {}, "srgb", KXP_PERCEPTUAL, 0},
      {"lut16Type to sRGB, unclipped", scanner, {}, "srgb", KXP_RELATIVE, KXP_UNCLIPPED},
      {"lut16Type, black point compensation", scanner, {}, "adobe-rgb", KXP_RELATIVE, kBpc},
      // Curves that leap from one of 256 entries to the next.
      {"lut8Type to linear light", lut8, {}, "rec2020-linear", KXP_RELATIVE, 0, 20},
      {"lutAToBType to Lab", elements, {}, "lab", KXP_PERCEPTUAL, 0},
      {"lutAToBType to XYZ", elements, {}, "xyz", KXP_PERCEPTUAL, 0},
      {"all elements, absolute", full, {}, "prophoto", KXP_ABSOLUTE, 0},
      {"all elements both ways", full, full, "", KXP_PERCEPTUAL, 0},
      {"matrix to sRGB", matrix, {}, "srgb", KXP_PERCEPTUAL, 0},
      {"matrix to lutBToAType", matrix, full, "", KXP_PERCEPTUAL, 0},
      {"matrix to lut16Type behind XYZ", matrix, backward, "", KXP_SATURATION, 0},
      {"lut16Type to matrix", scanner, matrix, "", KXP_PERCEPTUAL, 0},
      {"matrix to Lab", matrix, {}, "lab", KXP_ABSOLUTE, 0},
  };
  for (const Direction& row : kRows) ExpectStages(row);
}

TEST(Probe, WhatIsNoNumberIsZero) {
  const Pipeline pipeline = ScannerToSrgb();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Triple odd = {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity};
  const std::vector<kxp_stage> stages = Probed(pipeline.get(), odd);
  const std::vector<kxp_stage> plain = Probed(pipeline.get(), {0, 1, 0});
  ASSERT_EQ(stages.size(), plain.size());
  for (std::size_t s = 0; s < stages.size(); ++s) {
    for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(stages[s].values[c], plain[s].values[c]);
  }
  EXPECT_EQ(stages[0].clipped[0], 0);
  EXPECT_EQ(stages[0].clipped[1], kInfinity);
  EXPECT_EQ(stages[0].clipped[2], -kInfinity);
}

TEST(Probe, RoomAndRefusals) {
  const Pipeline pipeline = ScannerToSrgb();
  const Triple device = {0.5, 0.5, 0.5};
  const std::vector<kxp_stage> all = Probed(pipeline.get(), device);
  ASSERT_GT(all.size(), 5u);
  std::size_t count = 0;
  EXPECT_EQ(kxp_probe(pipeline.get(), device.data(), nullptr, 0, &count, nullptr), KXP_OK);
  EXPECT_EQ(count, all.size());
  std::vector<kxp_stage> few(4);
  std::memset(few.data(), 0x5A, few.size() * sizeof(kxp_stage));
  few[0].size = sizeof(kxp_stage);
  const std::vector<kxp_stage> before = few;
  EXPECT_EQ(kxp_probe(pipeline.get(), device.data(), few.data(), 3, &count, nullptr), KXP_OK);
  EXPECT_EQ(count, all.size());
  EXPECT_EQ(std::memcmp(few.data(), all.data(), 3 * sizeof(kxp_stage)), 0);
  EXPECT_EQ(std::memcmp(&few[3], &before[3], sizeof(kxp_stage)), 0);

  // What a later version of the struct has behind its members is 0.
  struct Larger {
    kxp_stage stage;
    double more;
  };
  std::vector<Larger> larger(24, {{sizeof(Larger), {}, {}, {}}, 7});
  EXPECT_EQ(kxp_probe(pipeline.get(), device.data(), &larger[0].stage, 24, &count, nullptr),
            KXP_OK);
  for (std::size_t s = 0; s < all.size(); ++s) {
    EXPECT_EQ(larger[s].stage.size, sizeof(Larger));
    EXPECT_STREQ(larger[s].stage.name, all[s].name);
    EXPECT_EQ(larger[s].stage.values[2], all[s].values[2]);
    EXPECT_EQ(larger[s].more, 0);
  }
  EXPECT_EQ(larger[all.size()].more, 7);

  for (const std::size_t size : {std::size_t{0}, sizeof(kxp_stage) - 1, std::size_t{4096}}) {
    kxp_stage stage = {};
    stage.size = size;
    EXPECT_EQ(kxp_probe(pipeline.get(), device.data(), &stage, 1, &count, nullptr),
              KXP_ERROR_ARGUMENT)
        << size;
    EXPECT_EQ(stage.name[0], '\0');
  }

  const struct {
    const char* what;
    const kxp_pipeline* pipeline;
    const double* device;
    kxp_stage* stages;
    std::size_t* count;
  } kRows[] = {{"no pipeline", nullptr, device.data(), few.data(), &count},
               {"no colour", pipeline.get(), nullptr, few.data(), &count},
               {"no stages", pipeline.get(), device.data(), nullptr, &count},
               {"no count", pipeline.get(), device.data(), few.data(), nullptr}};
  for (const auto& row : kRows) {
    kxp_error error = NewError();
    EXPECT_EQ(kxp_probe(row.pipeline, row.device, row.stages, 4, row.count, &error),
              KXP_ERROR_ARGUMENT)
        << row.what;
    EXPECT_EQ(error.status, KXP_ERROR_ARGUMENT) << row.what;
    EXPECT_STRNE(error.message, "") << row.what;
  }
}

}  // namespace
