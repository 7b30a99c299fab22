#include "units/EncodingCurves.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

using namespace ICC40::ICC_UNIT;

TEST(EncodingCurves, Levels) {
  const struct {
    const char* what;
    std::uint32_t (*curve)(int);
    int level;
    std::uint32_t expected;
  } kRows[] = {
      {"sRGB 8", SRgbLevel8, 0, 0},
      {"sRGB 8", SRgbLevel8, 1, 1},
      {"sRGB 8", SRgbLevel8, 32768, 189},
      {"sRGB 8", SRgbLevel8, 65535, 255},
      {"sRGB 16", SRgbLevel16, 0, 0},
      {"sRGB 16", SRgbLevel16, 1, 12},
      {"sRGB 16, toe truncated from 38.76", SRgbLevel16, 3, 38},
      {"sRGB 16", SRgbLevel16, 100, 1292},
      {"sRGB 16, last toe level: 199 * 12.92 = 2571.08", SRgbLevel16, 199, 2571},
      {"sRGB 16", SRgbLevel16, 32768, 48191},
      {"sRGB 16", SRgbLevel16, 65535, 65535},
      {"gamma 1.8, 16", Gamma180Level16, 0, 0},
      {"gamma 1.8, 16", Gamma180Level16, 32768, 44589},
      {"gamma 1.8, 16", Gamma180Level16, 65535, 65535},
      {"gamma 1.8, 8", Gamma180Level8, 0, 0},
      {"gamma 1.8, 8: (44589.18 + 128 + 127) / 256", Gamma180Level8, 32768, 175},
      {"gamma 1.8, 8", Gamma180Level8, 65535, 255},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.curve(row.level), row.expected) << row.what << " at " << row.level;
  }
}

TEST(EncodingCurves, FollowTheirFormulas) {
  for (int v = 0; v < 65536; ++v) {
    const double n = v / 65535.0;
    const bool toe = n < 0.00304;
    const double srgb = toe ? n * 65535.0 * 12.92 : (std::pow(n, 0.4167) * 1.055 - 0.055) * 65535.0;
    const double gamma = std::pow(n, 0.5556) * 65535.0;
    const auto to8 = [](double x) {
      return std::min(255, (static_cast<int>(x + 128.0) + 127) >> 8);
    };
    ASSERT_EQ(SRgbLevel16(v), static_cast<unsigned>(toe ? srgb : srgb + 0.5)) << v;
    ASSERT_EQ(SRgbLevel8(v), static_cast<unsigned>(to8(srgb))) << v;
    ASSERT_EQ(Gamma180Level16(v), static_cast<unsigned>(gamma + 0.5)) << v;
    ASSERT_EQ(Gamma180Level8(v), static_cast<unsigned>(to8(gamma))) << v;
  }
}

// IEC 61966-2-1 with its own constants 0.0031308 and 1 / 2.4. The rounded exponent 0.4167 costs at
// most 8 levels of 65535.
TEST(EncodingCurves, StayCloseToThePublishedCurve) {
  for (int v = 0; v < 65536; ++v) {
    const double n = v / 65535.0;
    const double iec = n <= 0.0031308 ? 12.92 * n : 1.055 * std::pow(n, 1 / 2.4) - 0.055;
    ASSERT_NEAR(SRgbLevel16(v), iec * 65535.0, 8.0) << v;
  }
}

TEST(EncodingCurves, ReduceTo8Bits) {
  const struct {
    const char* what;
    std::uint32_t value, expected;
  } kRows[] = {
      {"black", 0, 0},
      {"kept: 128 still rounds down", 128, 0},
      {"129 rounds up", 129, 1},
      {"256", 256, 1},
      {"384", 384, 1},
      {"385", 385, 2},
      {"below the top step", 65152, 254},
      {"first top level", 65153, 255},
      {"white is limited", 65535, 255},
      {"above white is limited", 1000000, 255},
      {"-1 counts as signed", 0xFFFFFFFFu, 0},
      {"-127", static_cast<std::uint32_t>(-127), 0},
      {"-128", static_cast<std::uint32_t>(-128), 0xFFFFFFFFu},
      {"-32764: (-32764 + 127) >> 8", static_cast<std::uint32_t>(-32764),
       static_cast<std::uint32_t>(-128)},
  };
  for (const auto& row : kRows) EXPECT_EQ(ReduceTo8(row.value), row.expected) << row.what;
}

TEST(KodakToneCurve, SampleLevels) {
  const KodakToneCurve photo(0, 1024, 1.2, 0.0, 2.2);
  const KodakToneCurve mix8(512, 2048, 1.5, 0.2, 2.2);
  const KodakToneCurve text(2048, 10240, 2.0, 0.3, 2.2);
  const struct {
    const char* what;
    const KodakToneCurve& curve;
    int level;
    std::uint32_t expected;
  } kRows[] = {
      {"photo", photo, 0, 0},
      {"photo", photo, 1, 6},
      {"photo", photo, 1023, 6774},
      {"photo steps up by 128", photo, 1024, 6908},
      {"photo", photo, 32768, 45031},
      {"mix", mix8, 0, 0},
      {"mix", mix8, 512, 0},
      {"mix", mix8, 513, 4},
      {"mix", mix8, 2047, 7600},
      {"mix steps up", mix8, 2048, 7733},
      {"mix is limited", mix8, 65534, 65535},
      {"text", text, 0, 0},
      {"text", text, 2048, 0},
      {"text", text, 10240, 16722},
      {"text is limited", text, 65534, 65535},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.curve.At(row.level), row.expected) << row.what << " at " << row.level;
  }
}

TEST(KodakToneCurve, DefinedForAnyArguments) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* what;
    int x0, x1;
    double g, d, gd;
    int level;
    std::uint32_t expected;
  } kRows[] = {
      {"no gamma unit: toe", 0, 1024, 1.2, 0.0, 0.0, 10, 0},
      {"no gamma unit: power", 0, 1024, 1.2, 0.0, 0.0, 2000, 0},
      {"not a number", 0, 1024, kNaN, 0.0, 2.2, 2000, 0},
      {"no width: power part only", 1024, 1024, 2.2, 0.0, 2.2, 1023, 0},
      {"no width: power part is v + 128", 1024, 1024, 2.2, 0.0, 2.2, 1024, 1152},
      {"reversed toe", 2000, 1000, 2.2, 0.0, 2.2, 999, 0},
      {"x1 below 0", 0, -5, 2.2, 0.0, 2.2, 0, 128},
      {"extreme ends", INT_MAX, INT_MIN, 2.2, 0.0, 2.2, 1000, 1128},
      {"extreme ends, other way round", INT_MIN, INT_MAX, 2.2, 0.0, 2.2, 0, 1073741823},
      {"x1 above the range: a line", 0, 131070, 2.2, 0.0, 2.2, 1000, 1000},
      {"huge density offset is limited", 0, 1, 2.2, 10.0, 2.2, 40000, 65535},
      {"an endless one is 0", 0, 1, 2.2, 1e6, 2.2, 40000, 0},
  };
  for (const auto& row : kRows) {
    const KodakToneCurve curve(row.x0, row.x1, row.g, row.d, row.gd);
    EXPECT_EQ(curve.At(row.level), row.expected) << row.what;
  }
}
