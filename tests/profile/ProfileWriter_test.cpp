#include "profile/ProfileWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "profile/ProfileReader.h"

namespace kxcms {
namespace {

constexpr double kUnit = 1.0 / 65536;  // of s15Fixed16

double Value(const Curve& curve, double x) {
  if (const auto* gamma = std::get_if<GammaCurve>(&curve)) return std::pow(x, gamma->gamma);
  if (const auto* p = std::get_if<ParametricCurve>(&curve)) {
    if (p->function == 0) return std::pow(x, p->g);
    return x >= p->d ? std::pow(p->a * x + p->b, p->g) : p->c * x;
  }
  const auto* sampled = std::get_if<SampledCurve>(&curve);
  if (sampled == nullptr) return x;
  const double at = x * static_cast<double>(sampled->values.size() - 1);
  const std::size_t n = std::min(static_cast<std::size_t>(at), sampled->values.size() - 2);
  const double below = sampled->values[n], above = sampled->values[n + 1];
  return (below + (at - static_cast<double>(n)) * (above - below)) / sampled->maximum;
}

TEST(ProfileWriter, ReadBack) {
  for (const RgbSpace& space : RgbSpaces()) {
    for (const ProfileVersion version : {ProfileVersion::k2, ProfileVersion::k4}) {
      const bool is2 = version == ProfileVersion::k2;
      SCOPED_TRACE(std::string(space.name) + (is2 ? ", version 2" : ", version 4"));
      const auto bytes = WriteProfile(space, version);
      const DeviceProfile profile = ReadProfile(bytes);
      EXPECT_EQ(profile.sizeBytes, bytes.size());
      EXPECT_EQ(profile.version, is2 ? 0x02400000u : 0x04300000u);
      EXPECT_EQ(profile.deviceClass, MakeSignature("mntr"));
      EXPECT_EQ(profile.description, space.description);
      EXPECT_TRUE(profile.hasMediaWhite);
      ASSERT_TRUE(profile.adaptation.has_value());
      ASSERT_TRUE(profile.matrixTrc.has_value());
      EXPECT_EQ(profile.tags.size(), 10u);

      const Xyz white = is2 ? WhiteOf(space) : kPcsWhite;
      const Matrix3 chad = AdaptationToPcs(WhiteOf(space)), matrix = RgbToPcs(space);
      for (std::size_t n = 0; n < 3; ++n) {
        EXPECT_NEAR(profile.mediaWhite[n], white[n], kUnit / 2);
      }
      for (std::size_t n = 0; n < 9; ++n) {
        EXPECT_NEAR((*profile.adaptation)[n], chad[n], kUnit / 2);
        // Half a unit more where the sum of the colorants would not be the white.
        EXPECT_NEAR(profile.matrixTrc->matrix[n], matrix[n], kUnit);
      }
    }
  }
}

// Version 2 beside version 4, which states the formula.
TEST(ProfileWriter, CurvesOfBothVersions) {
  for (const RgbSpace& space : RgbSpaces()) {
    const DeviceProfile sampled = ReadProfile(WriteProfile(space, ProfileVersion::k2));
    const DeviceProfile formula = ReadProfile(WriteProfile(space, ProfileVersion::k4));
    double worst = 0;
    for (int n = 0; n <= 10000; ++n) {
      const double x = n / 10000.0;
      worst = std::max(worst, std::abs(Value(sampled.matrixTrc->curves[1], x) -
                                       Value(formula.matrixTrc->curves[1], x)));
    }
    // 0.501 of the one and 0.3 of the other.
    EXPECT_LE(worst, 0.81 / 65535) << space.name;
    for (const std::size_t channel : {0u, 2u}) {
      EXPECT_EQ(Value(sampled.matrixTrc->curves[channel], 0.3),
                Value(sampled.matrixTrc->curves[1], 0.3));
    }
  }
}

TEST(ProfileWriter, FormsOfCurves) {
  const struct {
    const char* space;
    std::size_t entriesOf2;  // 0: no entries, or one
    bool isFormula2, isFormula4;
  } kRows[] = {
      {"srgb", kCurveEntries, false, true},
      {"srgb-linear", 0, false, false},
      {"adobe-rgb", 0, true, true},
      {"apple", kCurveEntries, false, true},
  };
  for (const auto& row : kRows) {
    const RgbSpace& space = *FindRgbSpace(row.space);
    const Curve of2 = ReadProfile(WriteProfile(space, ProfileVersion::k2)).matrixTrc->curves[0];
    const Curve of4 = ReadProfile(WriteProfile(space, ProfileVersion::k4)).matrixTrc->curves[0];
    const auto* sampled = std::get_if<SampledCurve>(&of2);
    EXPECT_EQ(sampled != nullptr ? sampled->values.size() : 0, row.entriesOf2) << row.space;
    EXPECT_EQ(std::holds_alternative<GammaCurve>(of2), row.isFormula2) << row.space;
    EXPECT_EQ(std::holds_alternative<ParametricCurve>(of4), row.isFormula4) << row.space;
  }
}

TEST(ProfileWriter, TheSameBytesAgain) {
  for (const RgbSpace& space : RgbSpaces()) {
    for (const ProfileVersion version : {ProfileVersion::k2, ProfileVersion::k4}) {
      EXPECT_EQ(WriteProfile(space, version), WriteProfile(space, version)) << space.name;
    }
  }
  for (const PcsSpace space : {PcsSpace::kLab, PcsSpace::kXyz}) {
    EXPECT_EQ(WritePcsProfile(space), WritePcsProfile(space));
  }
  EXPECT_NE(WritePcsProfile(PcsSpace::kLab), WritePcsProfile(PcsSpace::kXyz));
}

}  // namespace
}  // namespace kxcms
