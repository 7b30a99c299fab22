#include "exact/Conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kxcms::exact {

namespace {

constexpr Signature kLut16 = MakeSignature("mft2");
constexpr Signature kLutAToB = MakeSignature("mAB ");
constexpr Signature kLutBToA = MakeSignature("mBA ");

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance) {
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_NEAR(actual[n], expected[n], tolerance) << "component " << n;
  }
}

CurveSet Thrice(const Curve& curve) {
  return {{curve, curve, curve}};
}

// A grid of two points per axis from its eight corners, 000, 001, 010 to 111, in fractions of
// 65535 that come out exact.
ColorGrid Cube(const std::array<Triple, 8>& corners) {
  ColorGrid grid{{2, 2, 2}, {}, 65535};
  for (const Triple& corner : corners) {
    for (const double value : corner) {
      grid.values.push_back(static_cast<std::uint16_t>(std::lround(value * 65535)));
    }
  }
  return grid;
}

// Greys of the given encoded lightness at black and white, for a medium that knows nothing else:
// lightness follows the first input, a* and b* are 0 (or 0.5 / 255 in the v4 encoding).
ColorGrid GreyCube(double black, double white, double neutral) {
  const Triple low = {black, neutral, neutral}, high = {white, neutral, neutral};
  return Cube({low, low, low, low, high, high, high, high});
}

LookupTable Table(const char (&tag)[5], Signature type, PcsEncoding pcs,
                  std::vector<Element> elements) {
  return {MakeSignature(tag), type, pcs, std::move(elements)};
}

// The sRGB curve as function 3, with the published numbers unrounded.
constexpr ParametricCurve kSRgbCurve = {3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0, 0};

const RgbSpace& Space(const char* name) {
  return *FindRgbSpace(name);
}

DeviceProfile MatrixProfile(const Curve& curve, const Matrix3& matrix) {
  DeviceProfile profile;
  profile.matrixTrc = MatrixTrc{{curve, curve, curve}, matrix};
  return profile;
}

DeviceProfile SRgbProfile() {
  return MatrixProfile(kSRgbCurve, RgbToPcs(Space("srgb")));
}

// A profile whose A2B0 is one grid of greys, lut16Type.
DeviceProfile GreyProfile(double black, double white) {
  DeviceProfile profile;
  profile.deviceToPcs[0] =
      Table("A2B0", kLut16, PcsEncoding::kLegacyLab, {GreyCube(black, white, 32768 / 65535.0)});
  return profile;
}

// ---- Sources ------------------------------------------------------------------------------------

TEST(Sources, OfLut16TypeNameTheirStages) {
  DeviceProfile profile;
  profile.deviceToPcs[0] =
      Table("A2B0", kLut16, PcsEncoding::kLegacyLab,
            {Thrice(GammaCurve{2}), GreyCube(0, 1, 0.2), Thrice(SampledCurve{{0, 65280}, 65535})});
  const Conversion conversion(profile, Measure::kLab, {});
  const Trace trace = conversion.Evaluate({0.5, 1.5, -1});

  EXPECT_EQ(trace.device, (Triple{0.5, 1, 0}));
  ASSERT_EQ(trace.sourceStages.size(), 3u);
  EXPECT_STREQ(trace.sourceStages[0].name, "input curves");
  EXPECT_EQ(trace.sourceStages[0].values, (Triple{0.25, 1, 0}));
  EXPECT_STREQ(trace.sourceStages[1].name, "CLUT");
  ExpectNear(trace.sourceStages[1].values, {0.25, 0.2, 0.2}, 1e-15);
  EXPECT_STREQ(trace.sourceStages[2].name, "output curves");
  ExpectNear(trace.sourceStages[2].values, {16320 / 65535.0, 13056 / 65535.0, 13056 / 65535.0},
             1e-15);
  // L* 100 is 65280, a* = 13056 / 256 - 128.
  ExpectNear(trace.pcsLab, {25, -77, -77}, 1e-12);
  EXPECT_EQ(trace.result, trace.pcsLab);
  // L* 65535 / 100 = 16383.75, (a* + 128) 257 = 13107.
  EXPECT_EQ(trace.result16, (std::array<std::uint16_t, 3>{16384, 13107, 13107}));
  EXPECT_FALSE(trace.result8.has_value());
}

TEST(Sources, OfLutAToBTypeNameTheirStages) {
  DeviceProfile profile;
  // B curves, the last ones, clip what the matrix makes.
  profile.deviceToPcs[0] =
      Table("A2B0", kLutAToB, PcsEncoding::kXyz,
            {Thrice(IdentityCurve{}), GreyCube(0.2, 0.6, 0.4), Thrice(GammaCurve{2}),
             MatrixElement{{1, 0, 0, 0, -1, 0, 0, 0, 10}, {0.1, 0.2, 0}}, Thrice(IdentityCurve{})});
  const Trace trace = Conversion(profile, Measure::kXyz, {}).Evaluate({0.5, 0, 0});
  const struct {
    const char* name;
    Triple values;
  } kStages[] = {{"A curves", {0.5, 0, 0}},
                 {"CLUT", {0.4, 0.4, 0.4}},
                 {"M curves", {0.16, 0.16, 0.16}},
                 {"matrix", {0.26, 0.04, 1.6}},
                 {"B curves", {0.26, 0.04, 1}}};
  ASSERT_EQ(trace.sourceStages.size(), std::size(kStages));
  for (std::size_t n = 0; n < std::size(kStages); ++n) {
    EXPECT_STREQ(trace.sourceStages[n].name, kStages[n].name);
    ExpectNear(trace.sourceStages[n].values, kStages[n].values, 1e-15);
  }
  constexpr double kOne = 65535 / 32768.0;
  ExpectNear(trace.pcsXyz, {0.26 * kOne, 0.04 * kOne, kOne}, 1e-15);
  EXPECT_EQ(trace.result, trace.pcsXyz);
  // XYZ 32768 = v 65535: 17039.1, 2621.4.
  EXPECT_EQ(trace.result16, (std::array<std::uint16_t, 3>{17039, 2621, 65535}));
}

// Without a grid, lutAToBType may have M curves and a matrix, or B curves alone.
TEST(Sources, OfLutAToBTypeMayLackTheirGrid) {
  DeviceProfile profile;
  profile.deviceToPcs[0] =
      Table("A2B0", kLutAToB, PcsEncoding::kLab,
            {Thrice(IdentityCurve{}), MatrixElement{{1, 0, 0, 0, 1, 0, 0, 0, 1}, {}},
             Thrice(IdentityCurve{})});
  const Trace three = Conversion(profile, Measure::kLab, {}).Evaluate({0.5, 128 / 255.0, 1});
  ASSERT_EQ(three.sourceStages.size(), 3u);
  EXPECT_STREQ(three.sourceStages[0].name, "M curves");
  EXPECT_STREQ(three.sourceStages[1].name, "matrix");
  EXPECT_STREQ(three.sourceStages[2].name, "B curves");
  ExpectNear(three.result, {50, 0, 127}, 1e-12);

  profile.deviceToPcs[0]->elements.resize(1);
  const Trace one = Conversion(profile, Measure::kLab, {}).Evaluate({0.5, 128 / 255.0, 1});
  ASSERT_EQ(one.sourceStages.size(), 1u);
  EXPECT_STREQ(one.sourceStages[0].name, "B curves");
}

TEST(Sources, OfMatrixAndCurvesNameTheirStages) {
  const DeviceProfile profile =
      MatrixProfile(GammaCurve{2}, {0.5, 0.25, 0.2142, 0.25, 0.5, 0.25, 0, 0.125, 0.6999});
  const Trace trace = Conversion(profile, Measure::kXyz, {}).Evaluate({1, 0.5, 0});
  ASSERT_EQ(trace.sourceStages.size(), 2u);
  EXPECT_STREQ(trace.sourceStages[0].name, "curves");
  EXPECT_EQ(trace.sourceStages[0].values, (Triple{1, 0.25, 0}));
  EXPECT_STREQ(trace.sourceStages[1].name, "matrix");
  ExpectNear(trace.pcsXyz, {0.5625, 0.375, 0.03125}, 1e-15);
}

TEST(Sources, CountWhatIsNoNumberAs0) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const DeviceProfile source = SRgbProfile();
  const Conversion conversion(source, &Space("srgb"), {});
  const Trace trace = conversion.Evaluate({kNaN, kInfinity, -kInfinity});
  EXPECT_EQ(trace.device, (Triple{0, 1, 0}));
  EXPECT_EQ(trace.result8, (std::array<std::uint8_t, 3>{0, 255, 0}));
}

// ---- Built-in spaces ----------------------------------------------------------------------------

// A space described by its own matrix and curve returns to itself.
TEST(Spaces, ReturnWhatTheyAre) {
  const struct {
    const char* name;
    Curve curve;
  } kRows[] = {
      {"srgb", kSRgbCurve},
      {"srgb-linear", IdentityCurve{}},
      {"adobe-rgb", GammaCurve{563 / 256.0}},
      {"display-p3", kSRgbCurve},
      {"prophoto", ParametricCurve{3, 1.8, 1, 0, 1 / 16.0, 1 / 32.0, 0, 0}},
      {"ecirgb-v2", ParametricCurve{3, 3, 1 / 1.16, 0.16 / 1.16, 2700 / 24389.0, 0.08, 0, 0}},
      {"rec2020",
       ParametricCurve{3, 1 / 0.45, 1 / 1.09929682680944, 0.09929682680944 / 1.09929682680944,
                       1 / 4.5, 4.5 * 0.018053968510807, 0, 0}},
      {"rec2020-linear", IdentityCurve{}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    const DeviceProfile source = MatrixProfile(row.curve, RgbToPcs(Space(row.name)));
    const Conversion conversion(source, &Space(row.name), {});
    for (int r = 0; r <= 255; r += 17) {
      for (int g = 0; g <= 255; g += 15) {
        for (int b = 0; b <= 255; b += 51) {
          const Triple device = {r / 255.0, g / 255.0, b / 255.0};
          const Trace trace = conversion.Evaluate(device);
          // sRGB's rounded breaks and the steep toe of pure gammas.
          ExpectNear(trace.result, device, 1e-7);
          EXPECT_EQ(*trace.result8, (std::array<std::uint8_t, 3>{static_cast<std::uint8_t>(r),
                                                                 static_cast<std::uint8_t>(g),
                                                                 static_cast<std::uint8_t>(b)}));
        }
      }
    }
  }
}

TEST(Spaces, ClipOrGoOnAsAsked) {
  // Three times as bright as sRGB and with its blue the other way round.
  Matrix3 matrix = RgbToPcs(Space("srgb"));
  for (std::size_t n = 0; n < 9; ++n) matrix[n] *= n % 3 == 2 ? -0.5 : 2;
  const DeviceProfile source = MatrixProfile(IdentityCurve{}, matrix);

  const Trace clipped = Conversion(source, &Space("srgb"), {}).Evaluate({1, 0.25, 1});
  ExpectNear(clipped.linear->linear, {2, 0.5, -0.5}, 1e-14);
  ExpectNear(clipped.linear->clipped, {1, 0.5, 0}, 1e-14);
  ExpectNear(clipped.linear->clippedBy, {1, 0, -0.5}, 1e-14);
  ExpectNear(clipped.result, {1, 0.73535698305244949, 0}, 1e-14);

  const Options unclipped = {.unclipped = true};
  const Trace open = Conversion(source, &Space("srgb"), unclipped).Evaluate({1, 0.25, 1});
  ExpectNear(open.result, {1.3532560461493863, 0.73535698305244949, -0.73535698305244949}, 1e-14);
  EXPECT_EQ(open.result16, clipped.result16);
  EXPECT_EQ(open.result8, clipped.result8);
}

TEST(Spaces, RoundHalvesUp) {
  // 0.5 / 65535 and 1.5 / 255 as linear values of a linear space: the closest doubles to the ties
  // and their neighbours.
  const DeviceProfile source = MatrixProfile(IdentityCurve{}, RgbToPcs(Space("srgb-linear")));
  const Conversion conversion(source, &Space("srgb-linear"), {});
  const auto results = [&](double level, double maximum) {
    const double value = level / maximum;
    return conversion.Evaluate({value, value, value});
  };
  EXPECT_EQ(results(0.499999, 65535).result16[0], 0);
  EXPECT_EQ(results(0.500001, 65535).result16[0], 1);
  EXPECT_EQ(results(65534.499999, 65535).result16[0], 65534);
  EXPECT_EQ(results(65534.500001, 65535).result16[0], 65535);
  EXPECT_EQ((*results(1.499999, 255).result8)[0], 1);
  EXPECT_EQ((*results(1.500001, 255).result8)[0], 2);

  // An exact tie: L* 50 is level 32767.5, a* = 0.5 / 257 - 128 is level 0.5.
  DeviceProfile lab;
  lab.deviceToPcs[0] = Table("A2B0", kLutAToB, PcsEncoding::kLab, {Thrice(IdentityCurve{})});
  const Trace tie = Conversion(lab, Measure::kLab, {}).Evaluate({0.5, 0, 1});
  EXPECT_EQ(tie.result16, (std::array<std::uint16_t, 3>{32768, 0, 65535}));
}

// ---- Intents ------------------------------------------------------------------------------------

TEST(Intents, TakeTheirOwnTags) {
  DeviceProfile profile = GreyProfile(0, 1);
  profile.deviceToPcs[1] = Table("A2B1", kLutAToB, PcsEncoding::kLab, {GreyCube(0.25, 1, 0.5)});
  profile.deviceToPcs[2] = Table("A2B2", kLutAToB, PcsEncoding::kLab, {GreyCube(0.5, 1, 0.5)});
  const struct {
    RenderingIntent intent;
    double blackL;
  } kRows[] = {{RenderingIntent::kPerceptual, 0},
               {RenderingIntent::kRelative, 25},
               {RenderingIntent::kSaturation, 50},
               {RenderingIntent::kAbsolute, 25}};
  for (const auto& row : kRows) {
    const Conversion conversion(profile, Measure::kLab, {.intent = row.intent});
    EXPECT_NEAR(conversion.Evaluate({0, 0, 0}).result[0], row.blackL, 0.001);
    EXPECT_FALSE(conversion.SourceModel().isFallback);
  }
  profile.deviceToPcs[2].reset();
  const Conversion fallback(profile, Measure::kLab, {.intent = RenderingIntent::kSaturation});
  EXPECT_EQ(fallback.Evaluate({0, 0, 0}).result[0], 0);
  EXPECT_TRUE(fallback.SourceModel().isFallback);
}

TEST(Intents, MeetAbsolutelyByTheMediaWhites) {
  DeviceProfile paper = GreyProfile(0, 65280 / 65535.0);
  paper.mediaWhite = {0.7, 0.75, 0.6};
  const Options absolute = {.intent = RenderingIntent::kAbsolute};

  // White of the paper, as it is.
  const Trace measured = Conversion(paper, Measure::kXyz, absolute).Evaluate({1, 1, 1});
  ExpectNear(measured.pcsXyz, kPcsWhite, 1e-14);
  ExpectNear(measured.result, {0.7, 0.75, 0.6}, 1e-14);

  // The same white on a screen whose white is the paper's.
  DeviceProfile screen = SRgbProfile();
  screen.mediaWhite = paper.mediaWhite;
  const Trace same = Conversion(paper, &screen, absolute).Evaluate({1, 1, 1});
  ExpectNear(same.result, {1, 1, 1}, 1e-14);
  EXPECT_EQ(same.result8, (std::array<std::uint8_t, 3>{255, 255, 255}));

  // On a built-in space, whose white is D50, it is darker and yellowish.
  const Trace darker = Conversion(paper, &Space("srgb-linear"), absolute).Evaluate({1, 1, 1});
  ExpectNear(Product(RgbToPcs(Space("srgb")), darker.linear->linear), {0.7, 0.75, 0.6}, 1e-14);

  // No other intent knows the media white.
  const Options relative = {.intent = RenderingIntent::kRelative};
  ExpectNear(Conversion(paper, Measure::kXyz, relative).Evaluate({1, 1, 1}).result, kPcsWhite,
             1e-14);
}

// ---- Destinations that are profiles -------------------------------------------------------------

TEST(Destinations, UndoMatrixAndCurves) {
  const DeviceProfile source = SRgbProfile();
  const Matrix3 linear = RgbToPcs(Space("srgb"));
  const struct {
    const char* what;
    Curve curve;
    double linear, device;
  } kRows[] = {
      {"gamma 2", GammaCurve{2}, 0.25, 0.5},
      {"table", SampledCurve{{0, 13107, 65535}, 65535}, 0.6, 0.75},
      {"table that is flat at its end", SampledCurve{{0, 65535, 65535}, 65535}, 1, 0.5},
      {"falling table", SampledCurve{{65535, 0}, 65535}, 0.25, 0.75},
      {"clipped", GammaCurve{2}, 1.5, 1},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Matrix3 bright = linear;
    for (double& value : bright) value *= row.linear;
    const DeviceProfile from = MatrixProfile(IdentityCurve{}, bright);
    const DeviceProfile to = MatrixProfile(row.curve, linear);
    // Unclipped is for built-in spaces: the curve of a profile ends where it ends.
    for (const bool unclipped : {false, true}) {
      const Trace trace = Conversion(from, &to, {.unclipped = unclipped}).Evaluate({1, 1, 1});
      ExpectNear(trace.linear->linear, {row.linear, row.linear, row.linear}, 1e-14);
      ExpectNear(trace.result, {row.device, row.device, row.device}, 1e-14);
    }
  }
}

TEST(Destinations, OfLut16TypeNameTheirStages) {
  DeviceProfile source;
  source.deviceToPcs[0] = Table("A2B0", kLutAToB, PcsEncoding::kLab, {Thrice(IdentityCurve{})});
  DeviceProfile destination;
  destination.pcsToDevice[0] = Table("B2A0", kLut16, PcsEncoding::kLegacyLab,
                                     {Thrice(IdentityCurve{}), GreyCube(0, 1, 0.25),
                                      CurveSet{{GammaCurve{2}, IdentityCurve{}, GammaCurve{0.5}}}});
  const Conversion conversion(source, &destination, {});
  const Trace trace = conversion.Evaluate({0.5, 128 / 255.0, 128 / 255.0});
  ASSERT_TRUE(trace.pcsEncoded.has_value());
  EXPECT_FALSE(trace.linear.has_value());
  const double grey = 32640 / 65535.0;
  ExpectNear(*trace.pcsEncoded, {grey, 32768 / 65535.0, 32768 / 65535.0}, 1e-14);
  ASSERT_EQ(trace.destinationStages.size(), 3u);
  EXPECT_STREQ(trace.destinationStages[0].name, "input curves");
  EXPECT_STREQ(trace.destinationStages[1].name, "CLUT");
  ExpectNear(trace.destinationStages[1].values, {grey, 0.25, 0.25}, 1e-5);
  EXPECT_STREQ(trace.destinationStages[2].name, "output curves");
  ExpectNear(trace.result, {grey * grey, 0.25, 0.5}, 1e-5);
}

TEST(Destinations, OfLutBToATypeNameTheirStages) {
  DeviceProfile source = SRgbProfile();
  DeviceProfile destination;
  // XYZ of D50, halved: 0.4821 32768 / 65535.
  destination.pcsToDevice[0] =
      Table("B2A0", kLutBToA, PcsEncoding::kXyz,
            {Thrice(IdentityCurve{}), MatrixElement{{2, 0, 0, 0, 2, 0, 0, 0, -2}, {0, 0, 1}},
             Thrice(IdentityCurve{}), GreyCube(0, 1, 0.5), Thrice(GammaCurve{2})});
  const Trace trace = Conversion(source, &destination, {}).Evaluate({1, 1, 1});
  const double half = 32768 / 65535.0;
  const struct {
    const char* name;
    Triple values;
  } kStages[] = {
      {"B curves", {0.9642 * half, half, 0.8249 * half}},
      {"matrix", {1.9284 * half, 2 * half, 1 - 1.6498 * half}},
      {"M curves", {1.9284 * half, 1, 1 - 1.6498 * half}},
      {"CLUT", {1.9284 * half, 32768 / 65535.0, 32768 / 65535.0}},
      {"A curves", {1.9284 * half * 1.9284 * half, half * half, half * half}},
  };
  ASSERT_EQ(trace.destinationStages.size(), std::size(kStages));
  for (std::size_t n = 0; n < std::size(kStages); ++n) {
    EXPECT_STREQ(trace.destinationStages[n].name, kStages[n].name);
    ExpectNear(trace.destinationStages[n].values, kStages[n].values, 1e-14);
  }
  EXPECT_EQ(trace.result, trace.destinationStages.back().values);
}

// A tag that ends in a matrix still gives device values within their range.
TEST(Destinations, ClipDeviceValues) {
  const DeviceProfile source = SRgbProfile();
  DeviceProfile destination;
  destination.pcsToDevice[0] = Table("B2A0", kLutBToA, PcsEncoding::kXyz,
                                     {MatrixElement{{4, 0, 0, 0, -1, 0, 0, 0, 1}, {0, 0, 0}}});
  const Trace trace = Conversion(source, &destination, {}).Evaluate({1, 1, 1});
  ExpectNear(trace.result, {1, 0, 0.8249 * 32768 / 65535}, 1e-14);
}

TEST(Destinations, ReportTheirFallback) {
  const DeviceProfile source = SRgbProfile();
  DeviceProfile destination = SRgbProfile();
  const Conversion matrix(source, &destination, {.intent = RenderingIntent::kSaturation});
  EXPECT_FALSE(matrix.DestinationModel().isFallback);
  destination.pcsToDevice[0] =
      Table("B2A0", kLut16, PcsEncoding::kLegacyLab, {Thrice(IdentityCurve{})});
  const Conversion table(source, &destination, {.intent = RenderingIntent::kSaturation});
  EXPECT_TRUE(table.DestinationModel().isFallback);
  EXPECT_EQ(table.DestinationModel().table, &*destination.pcsToDevice[0]);
}

// ---- Black points -------------------------------------------------------------------------------

constexpr Options kCompensated = {.intent = RenderingIntent::kRelative,
                                  .blackPointCompensation = true};

// CIE 15:2004: Y = ((L* + 16) / 116)^3 above L* 8.
Xyz Grey(double L) {
  const double Y = std::pow((L + 16) / 116, 3);
  return {Y * kPcsWhite[0], Y, Y * kPcsWhite[2]};
}

// Encoded lightness in lut16Type.
double Legacy(double L) {
  return L / 100 * 65280 / 65535;
}

TEST(BlackPoints, AreGreyAndNotTooLight) {
  EXPECT_EQ(SourceBlackPoint(SRgbProfile()), (Xyz{0, 0, 0}));
  ExpectNear(SourceBlackPoint(GreyProfile(Legacy(20), Legacy(100))), Grey(20), 1e-14);
  ExpectNear(SourceBlackPoint(GreyProfile(Legacy(60), Legacy(100))), Grey(50), 1e-14);
  // Reddish black, by curves alone: L* 20, a* 32, b* -16.
  DeviceProfile red;
  red.deviceToPcs[1] = Table(
      "A2B1", kLutAToB, PcsEncoding::kLab,
      {CurveSet{{SampledCurve{{13107, 65535}, 65535}, SampledCurve{{160 * 257, 160 * 257}, 65535},
                 SampledCurve{{112 * 257, 112 * 257}, 65535}}}});
  ExpectNear(SourceBlackPoint(red), Grey(20), 1e-14);
  // The relative model has it, not the perceptual one.
  red.deviceToPcs[0] = GreyProfile(Legacy(0), Legacy(100)).deviceToPcs[0];
  ExpectNear(SourceBlackPoint(red), Grey(20), 1e-14);
}

TEST(BlackPoints, OfAMatrixBasedDestinationAreItsDeviceBlack) {
  EXPECT_EQ(DestinationBlackPoint(SRgbProfile()), (Xyz{0, 0, 0}));
  // A screen whose curves begin at Y = 0.05.
  const DeviceProfile screen =
      MatrixProfile(SampledCurve{{3277, 65535}, 65535}, RgbToPcs(Space("srgb")));
  const double Y = 3277 / 65535.0;
  ExpectNear(DestinationBlackPoint(screen), {0.9642 * Y, Y, 0.8249 * Y}, 1e-14);
}

// A destination whose black is L* 20, and whose B2A1 makes lightness `shape` of black to white.
DeviceProfile Shaped(double (*shape)(double L)) {
  DeviceProfile profile = GreyProfile(Legacy(20), Legacy(100));
  SampledCurve curve{{}, 65535};
  for (int n = 0; n < 256; ++n) {
    curve.values.push_back(static_cast<std::uint16_t>(std::lround(shape(n / 2.55) * 65535)));
  }
  profile.pcsToDevice[1] = Table("B2A1", kLutBToA, PcsEncoding::kLab,
                                 {CurveSet{{curve, IdentityCurve{}, IdentityCurve{}}}});
  return profile;
}

// 0 up to 10, 1 at 100.
double Parabola(double L) {
  const double u = std::max(L - 10, 0.0) / 90;
  return u * (0.2 + u) / 1.2;
}

TEST(BlackPoints, OfLookupTagsAreEstimatedFromGreys) {
  const struct {
    const char* what;
    double (*shape)(double L);
    double blackL;
  } kRows[] = {
      {"all that can be shown comes back: the device's black",
       [](double L) { return L < 20 ? 0 : (L - 20) / 80; }, 20},
      {"that, with errors of up to 3 and a wave at the start",
       [](double L) { return L < 20 ? 0.1 * std::sin(L) * std::sin(L) : (L - 17) / 83; }, 20},
      {"a line from 24.6 on: a fifth up it is off by 3.7",
       [](double L) { return std::max(L - 24.6, 0.0) / 75.4; }, 20},
      {"a line from 25.6 on: a fifth up it is off by 4.5",
       [](double L) { return std::max(L - 25.6, 0.0) / 74.4; }, 25.6},
      {"all compressed along a line, which leaves 0 at 0", [](double L) { return L / 100; }, 0},
      {"compressed along a parabola that leaves 0 at 10", Parabola, 10},
      {"that, behind a bump in the blacks", [](double L) { return L < 9 ? 0.3 : Parabola(L); }, 10},
      {"that between 10 and 50 % alone, lines below and above",
       [](double L) {
         const double y = Parabola(L);
         if (y < 0.1) return L / 335;
         return y < 0.5 ? y : 0.5 + 0.5 * (L - 71) / 29;
       },
       10},
      {"a parabola above 0, whose square has no root",
       [](double L) { return L < 30 ? 0 : 0.05 + 0.95 * (L / 100) * (L / 100); }, 0},
      {"constant", [](double) { return 0.5; }, 0},
      {"falling", [](double L) { return 1 - L / 100; }, 0},
      {"a step: no shadows to fit", [](double L) { return L < 50 ? 0.0 : 1.0; }, 0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Xyz black = DestinationBlackPoint(Shaped(row.shape));
    // The greys have 16 bits.
    ExpectNear(black, row.blackL == 0 ? Xyz{} : Grey(row.blackL), 2e-5);
  }
}

TEST(BlackPointCompensation, MapsBlackToBlackAndWhiteToWhite) {
  const DeviceProfile source = GreyProfile(Legacy(20), Legacy(100));
  const DeviceProfile print = Shaped([](double L) { return L < 20 ? 0 : (L - 20) / 80; });
  const DeviceProfile screen =
      MatrixProfile(SampledCurve{{3277, 65535}, 65535}, RgbToPcs(Space("srgb")));
  const struct {
    const char* what;
    Destination destination;
    Xyz black;
  } kRows[] = {
      {"built-in space", &Space("srgb"), {0, 0, 0}},
      {"matrix and curves", &screen, DestinationBlackPoint(screen)},
      {"lookup tags", &print, Grey(20)},
      {"Lab", Measure::kLab, {0, 0, 0}},
      {"XYZ", Measure::kXyz, {0, 0, 0}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Conversion conversion(source, row.destination, kCompensated);
    ExpectNear(conversion.SourceBlack(), Grey(20), 1e-14);
    ExpectNear(conversion.DestinationBlack(), row.black, 1e-14);
    ExpectNear(conversion.Evaluate({0, 0, 0}).xyz, row.black, 1e-14);
    ExpectNear(conversion.Evaluate({1, 1, 1}).xyz, kPcsWhite, 1e-14);
    // What the profile says stays to be seen.
    EXPECT_NEAR(conversion.Evaluate({0, 0, 0}).pcsLab[0], 20, 1e-12);
  }
}

// ---- Results alone ------------------------------------------------------------------------------

TEST(Results, AreThoseOfTheTrace) {
  DeviceProfile scanner = GreyProfile(Legacy(5), Legacy(98));
  scanner.mediaWhite = {0.9, 0.95, 0.7};
  const DeviceProfile display = SRgbProfile();
  const DeviceProfile print = Shaped([](double L) { return L / 100; });
  const Options kRows[] = {{RenderingIntent::kPerceptual},
                           {RenderingIntent::kAbsolute},
                           {RenderingIntent::kRelative, true},
                           {.intent = RenderingIntent::kRelative, .unclipped = true}};
  const Destination kDestinations[] = {&Space("prophoto"), &display, &print, Measure::kLab,
                                       Measure::kXyz};
  for (const DeviceProfile* source : {&std::as_const(scanner), &display}) {
    for (const Destination& destination : kDestinations) {
      for (const Options& options : kRows) {
        const Conversion conversion(*source, destination, options);
        for (const double r : {-0.5, 0.0, 0.2, 0.7, 1.0}) {
          for (const double b : {0.0, 0.3, 1.5}) {
            const Triple device = {r, 0.4, b};
            EXPECT_EQ(conversion.Result(device), conversion.Evaluate(device).result)
                << r << ' ' << b;
          }
        }
      }
    }
  }
}

// ---- Refusals -----------------------------------------------------------------------------------

std::string Refusal(const DeviceProfile& source, const Destination& destination,
                    const Options& options) {
  try {
    const Conversion conversion(source, destination, options);
  } catch (const std::invalid_argument& refusal) {
    return refusal.what();
  }
  return "";
}

TEST(Refusals, SayWhatCannotBeDone) {
  const DeviceProfile good = SRgbProfile(), none;
  DeviceProfile constant = good, wave = good, flat = good, oneWay;
  constant.matrixTrc->curves[1] = GammaCurve{0};
  wave.matrixTrc->curves[2] = SampledCurve{{0, 10, 9, 20}, 65535};
  flat.matrixTrc->matrix = {1, 2, 3, 2, 4, 6, 0, 0, 1};
  oneWay.pcsToDevice[0] = Table("B2A0", kLut16, PcsEncoding::kLegacyLab, {Thrice(IdentityCurve{})});
  const struct {
    const DeviceProfile& source;
    Destination destination;
    Options options;
    const char* sentence;
  } kRows[] = {
      {good, &Space("srgb"), kCompensated, ""},
      {wave, &Space("srgb"), {}, ""},
      {none, &Space("srgb"), {}, "the source profile does not lead to the PCS"},
      {good, &none, {}, "the destination profile does not lead from the PCS"},
      {good,
       &constant,
       {},
       "the curve gTRC of the destination is constant, so it cannot be undone"},
      {good,
       &wave,
       {},
       "the curve bTRC of the destination rises and falls, so it cannot be undone"},
      {good,
       &flat,
       {},
       "the colorants rXYZ, gXYZ, bXYZ of the destination lie in a plane, so they cannot be "
       "undone"},
      {good,
       Measure::kLab,
       {.intent = RenderingIntent::kPerceptual, .blackPointCompensation = true},
       "black point compensation belongs to the relative colorimetric intent"},
      {good,
       Measure::kLab,
       {.intent = RenderingIntent::kAbsolute, .blackPointCompensation = true},
       "black point compensation belongs to the relative colorimetric intent"},
      {good, &oneWay, {}, ""},
      {good, &oneWay, kCompensated,
       "the black point is unknown: the profile does not lead to the PCS"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Refusal(row.source, row.destination, row.options), row.sentence);
  }
}

}  // namespace

}  // namespace kxcms::exact
