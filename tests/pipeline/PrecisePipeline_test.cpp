#include "pipeline/precise/PrecisePipeline.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "exact/Conversion.h"
#include "pipeline/precise/BlackPoints.h"
#include "tests/pipeline/ProfileValues.h"
#include "tests/pipeline/Runs.h"

namespace kxcms {

namespace {

using profile_values::NamedProfile;
using profile_values::Thrice;

const RgbSpace* Space(const char* name) {
  return FindRgbSpace(name);
}

PreciseOptions With(RenderingIntent intent, bool blackPointCompensation = false) {
  PreciseOptions options;
  options.intent = intent;
  options.blackPointCompensation = blackPointCompensation;
  return options;
}

DeviceProfile Identity(const char* space) {
  return profile_values::WithMatrix(Thrice(IdentityCurve{}).curves, RgbToPcs(*Space(space)));
}

// ---- What results are ---------------------------------------------------------------------------

TEST(PrecisePipeline, WhiteStaysWhiteAndBlackBlack) {
  // Of these the profile's white is D50, and its black 0.
  const struct {
    const char* name;
    DeviceProfile profile;
  } kSources[] = {
      {"matrix", Identity("srgb")},
      {"matrix with gamma",
       profile_values::WithMatrix({GammaCurve{1.8}, GammaCurve{2.2}, GammaCurve{2.4}})},
      {"lut16", profile_values::WithTable(
                    MakeSignature("mft2"), PcsEncoding::kLegacyLab,
                    {Thrice(profile_values::SampledGamma(256, 2)),
                     profile_values::Grid({9, 9, 9},
                                          [](const profile_values::Triple& rgb) {
                                            const double L = 100 * (rgb[0] + rgb[1] + rgb[2]) / 3;
                                            return profile_values::EncodeLab2({L, 0, 0});
                                          }),
                     Thrice(profile_values::SampledGamma(256, 1))})},
  };
  const std::vector<std::uint16_t> kSamples = {0, 0, 0, 65535, 65535, 65535};
  for (const auto& source : kSources) {
    for (const RgbSpace& space : RgbSpaces()) {
      SCOPED_TRACE(std::string(source.name) + " to " + space.name);
      const PrecisePipeline pipeline(source.profile, &space, {});
      EXPECT_EQ(Converted<std::uint16_t>(pipeline, kSamples), kSamples);
      const auto floats = Converted<float>(pipeline, kSamples);
      for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(floats[c], 0.0f);
        EXPECT_NEAR(floats[3 + c], 1, 1e-6);
        EXPECT_LE(floats[3 + c], 1);
      }
    }
  }
}

TEST(PrecisePipeline, EightBitsAreTheSameColorsAsSixteen) {
  for (const NamedProfile& source : profile_values::SourceForms()) {
    SCOPED_TRACE(source.name);
    const PrecisePipeline pipeline(source.profile, Space("srgb"), {});
    std::vector<std::uint8_t> samples8;
    std::vector<std::uint16_t> samples16;
    for (unsigned n = 0; n < 3 * 256; ++n) {
      samples8.push_back(static_cast<std::uint8_t>(n % 3 == 0 ? n / 3 : 37 * n));
      samples16.push_back(static_cast<std::uint16_t>(257 * samples8.back()));
    }
    const auto from8 = Converted<std::uint16_t>(pipeline, samples8);
    const auto from16 = Converted<std::uint16_t>(pipeline, samples16);
    for (std::size_t n = 0; n < from8.size(); ++n) EXPECT_NEAR(from8[n], from16[n], 1) << n;
  }
}

TEST(PrecisePipeline, FloatsAreClippedAndNaNIsZero) {
  const PrecisePipeline pipeline(Identity("srgb"), Space("srgb-linear"), {});
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const float kInfinity = std::numeric_limits<float>::infinity();
  const std::vector<float> samples = {-1,   0.5f,      2,          kNaN, -0.0f, 1,
                                      1e9f, kInfinity, -kInfinity, 1,    0,     0.25f};
  const std::vector<float> expected = {0, 0.5f, 1, 0, 0, 1, 1, 1, 0, 1, 0, 0.25f};
  const auto results = Converted<float>(pipeline, samples);
  for (std::size_t n = 0; n < expected.size(); ++n) {
    EXPECT_NEAR(results[n], expected[n], 2e-7) << n;
  }
}

TEST(PrecisePipeline, UnclippedResultsAreFloatsOnly) {
  PreciseOptions options;
  options.unclipped = true;
  const PrecisePipeline pipeline(Identity("prophoto"), Space("srgb"), options);
  const std::vector<float> green = {0, 1, 0};
  const auto floats = Converted<float>(pipeline, green);
  EXPECT_LT(floats[0], -0.5f);
  EXPECT_GT(floats[1], 1.05f);
  EXPECT_EQ(Converted<std::uint16_t>(pipeline, green), (std::vector<std::uint16_t>{0, 65535, 0}));
  EXPECT_EQ(Converted<std::uint8_t>(pipeline, green), (std::vector<std::uint8_t>{0, 255, 0}));
}

TEST(PrecisePipeline, ColorimetryIsWhatTheEncodingsSay) {
  // A v4 table that is the identity, so that device values are encoded Lab.
  const DeviceProfile source = profile_values::WithTable(MakeSignature("mAB "), PcsEncoding::kLab,
                                                         {Thrice(IdentityCurve{})});
  const std::vector<std::uint16_t> samples = {65535, 32896, 32896, 0, 0, 65535, 32768, 1, 50000};
  const PrecisePipeline lab(source, Colorimetry::kLab, {});
  EXPECT_EQ(Converted<std::uint16_t>(lab, samples), samples);
  const auto floats = Converted<float>(lab, samples);
  EXPECT_NEAR(floats[0], 100, 1e-5);
  EXPECT_NEAR(floats[1], 0, 1e-5);
  EXPECT_NEAR(floats[4], -128, 1e-4);
  EXPECT_NEAR(floats[5], 127, 1e-4);

  const PrecisePipeline xyz(source, Colorimetry::kXyz, {});
  const auto white = Converted<std::uint16_t>(xyz, samples);
  EXPECT_EQ(white[0], std::lround(0.9642 * 32768));
  EXPECT_EQ(white[1], 32768);
  EXPECT_EQ(white[2], std::lround(0.8249 * 32768));

  EXPECT_TRUE(lab.CanGive(SampleType::kUInt16));
  EXPECT_TRUE(lab.CanGive(SampleType::kFloat));
  EXPECT_FALSE(lab.CanGive(SampleType::kUInt8));
  EXPECT_FALSE(lab.CanGive(SampleType::kHalf));
  EXPECT_TRUE(PrecisePipeline(source, Space("srgb"), {}).CanGive(SampleType::kUInt8));
}

// ---- Which model is used ------------------------------------------------------------------------

TEST(PrecisePipeline, TellsWhichModelItUses) {
  DeviceProfile profile = profile_values::Lut16Lab(2, 2, IdentityCurve{});
  const struct {
    RenderingIntent intent;
    bool isFallback;
  } kRows[] = {{RenderingIntent::kPerceptual, false},
               {RenderingIntent::kRelative, true},
               {RenderingIntent::kSaturation, true},
               {RenderingIntent::kAbsolute, true}};
  for (const auto& row : kRows) {
    const PrecisePipeline pipeline(profile, Space("srgb"), With(row.intent));
    EXPECT_EQ(pipeline.SourceModel().tag, MakeSignature("A2B0"));
    EXPECT_EQ(pipeline.SourceModel().isFallback, row.isFallback);
  }
  const DeviceProfile matrix = Identity("srgb");
  const PrecisePipeline pipeline(profile, &matrix, With(RenderingIntent::kSaturation));
  EXPECT_EQ(pipeline.DestinationModel().tag, 0u);
  EXPECT_FALSE(pipeline.DestinationModel().isFallback);
}

// ---- Refusals -----------------------------------------------------------------------------------

void ExpectRefusal(const DeviceProfile& source, const PreciseDestination& destination,
                   const PreciseOptions& options, PipelineFault fault, Signature tag) {
  try {
    const PrecisePipeline pipeline(source, destination, options);
    ADD_FAILURE() << "accepted";
  } catch (const PipelineError& error) {
    EXPECT_EQ(error.fault, fault) << error.what();
    EXPECT_EQ(error.tag, tag) << error.what();
    EXPECT_STRNE(error.what(), "");
  }
}

TEST(PrecisePipeline, RefusesWhatCannotBeUndone) {
  const DeviceProfile source = Identity("srgb");
  const SampledCurve constant = {{7, 7, 7}, 65535}, risesAndFalls = {{0, 3, 2, 65535}, 65535},
                     there = {{0, 65535, 0}, 65535};
  const ParametricCurve flat = {3, 2, 0, 0.5, 0, 0.5, 0, 0};
  const ParametricCurve steps = {4, 1, 1, 0, 1, 0.5, -0.25, 0};
  const Curve good = GammaCurve{2};
  const struct {
    std::array<Curve, 3> curves;
    const char (&tag)[5];
  } kRows[] = {
      {{constant, good, good}, "rTRC"},
      {{good, risesAndFalls, good}, "gTRC"},
      {{good, good, there}, "bTRC"},
      {{good, good, GammaCurve{0}}, "bTRC"},
      {{good, steps, good}, "gTRC"},
      {{ParametricCurve{0, 0, 0, 0, 0, 0, 0, 0}, good, good}, "rTRC"},
  };
  for (const auto& row : kRows) {
    const DeviceProfile destination = profile_values::WithMatrix(row.curves);
    ExpectRefusal(source, &destination, {}, PipelineFault::kNotInvertible, MakeSignature(row.tag));
  }
  // Constant pieces are no obstacle as long as the whole rises.
  const DeviceProfile level = profile_values::WithMatrix({flat, good, good});
  EXPECT_NO_THROW(PrecisePipeline(source, &level, {}));

  DeviceProfile plane = Identity("srgb");
  plane.matrixTrc->matrix = {1, 2, 3, 2, 4, 6, 3, 6, 9};
  ExpectRefusal(source, &plane, {}, PipelineFault::kNotInvertible, MakeSignature("rXYZ"));
}

TEST(PrecisePipeline, RefusesWhatIsMissing) {
  const DeviceProfile nothing;
  ExpectRefusal(nothing, Space("srgb"), {}, PipelineFault::kNoModel, 0);
  ExpectRefusal(Identity("srgb"), &nothing, {}, PipelineFault::kNoModel, 0);
}

TEST(PrecisePipeline, RefusesBlackPointCompensationWithOtherIntents) {
  for (const RenderingIntent intent :
       {RenderingIntent::kPerceptual, RenderingIntent::kSaturation, RenderingIntent::kAbsolute}) {
    ExpectRefusal(Identity("srgb"), Space("srgb"), With(intent, true),
                  PipelineFault::kContradiction, 0);
  }
}

TEST(PrecisePipeline, RefusesNumbersBeyondFloats) {
  DeviceProfile source = Identity("srgb");
  source.matrixTrc->matrix[0] = 1e300;
  ExpectRefusal(source, Space("srgb"), {}, PipelineFault::kNotFinite, 0);
  DeviceProfile white = Identity("srgb");
  white.mediaWhite = {0, 1, 1};
  ExpectRefusal(Identity("srgb"), &white, With(RenderingIntent::kAbsolute),
                PipelineFault::kNotFinite, 0);
}

// ---- Black points -------------------------------------------------------------------------------

TEST(BlackPoints, AreThoseOfTheDefinition) {
  const auto expectNear = [](const Xyz& actual, const Xyz& expected) {
    for (std::size_t n = 0; n < 3; ++n) EXPECT_NEAR(actual[n], expected[n], 1e-7);
  };
  for (const NamedProfile& source : profile_values::SourceForms()) {
    SCOPED_TRACE(source.name);
    expectNear(SourceBlackPoint(source.profile), exact::SourceBlackPoint(source.profile));
  }
  for (const NamedProfile& destination : profile_values::DestinationForms()) {
    SCOPED_TRACE(destination.name);
    expectNear(DestinationBlackPoint(destination.profile),
               exact::DestinationBlackPoint(destination.profile));
  }
}

// A device that compresses lightness: what leads to it and back is no straight line.
TEST(BlackPoints, AreEstimatedWhereLightnessIsCompressed) {
  for (const double black : {2.0, 5.0, 12.0, 30.0}) {
    const auto lightness = [black](double L) { return std::max(L, black + L * L / 150); };
    DeviceProfile profile = profile_values::WithBothTables(
        MakeSignature("mft2"), PcsEncoding::kLegacyLab,
        {profile_values::Grid(
            {33, 33, 33},
            [&](const profile_values::Triple& rgb) {
              return profile_values::EncodeLab2({black + rgb[0] * (100 - black), 0, 0});
            })},
        {profile_values::Grid({33, 3, 3}, [&](const profile_values::Triple& v) {
          const double L = lightness(profile_values::DecodeLab2(v)[0]);
          const double device = (L - black) / (100 - black);
          return profile_values::Triple{device, device, device};
        })});
    const Xyz actual = DestinationBlackPoint(profile);
    const Xyz expected = exact::DestinationBlackPoint(profile);
    for (std::size_t n = 0; n < 3; ++n) EXPECT_NEAR(actual[n], expected[n], 1e-5) << black;
  }
}

// ---- One value, any number of threads -----------------------------------------------------------

TEST(PrecisePipeline, KeepsNothingOfTheProfiles) {
  auto source = std::make_unique<DeviceProfile>(profile_values::Lut16Lab(9, 64, GammaCurve{1}));
  auto destination = std::make_unique<DeviceProfile>(profile_values::DestinationForms()[5].profile);
  const PrecisePipeline pipeline(*source, destination.get(), {});
  const std::vector<std::uint16_t> samples = {1, 20000, 65535, 300, 4000, 50000};
  const auto before = Converted<std::uint16_t>(pipeline, samples);
  source.reset();
  destination.reset();
  EXPECT_EQ(Converted<std::uint16_t>(pipeline, samples), before);
}

}  // namespace

}  // namespace kxcms
