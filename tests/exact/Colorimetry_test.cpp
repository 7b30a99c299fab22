#include "exact/Colorimetry.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>

namespace kxcms::exact {

namespace {

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance) {
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_NEAR(actual[n], expected[n], tolerance) << "component " << n;
  }
}

// Expected values by CIE 15:2004, 8.2.1, worked in 30 digits.
TEST(Lab, FollowsCie15) {
  const struct {
    const char* what;
    Xyz xyz;
    Triple lab;
  } kRows[] = {
      {"white", kPcsWhite, {100, 0, 0}},
      {"black", {0, 0, 0}, {0, 0, 0}},
      {"the end of the toe",
       {0.9642 * 216 / 24389, 216.0 / 24389, 0.8249 * 216 / 24389},
       {8, 0, 0}},
      {"sRGB red",
       {0.4361, 0.2225, 0.0139},
       {54.291259898150198, 80.824573647488635, 69.917359624587937}},
      {"a blue", {0.1, 0.18, 0.3}, {49.496107610119583, -47.393890221277689, -29.834615906020363}},
      {"in the toe",
       {0.001, 0.002, 0.003},
       {1.8065925925925926, -3.7489551883349851, -2.5491713922675251}},
      {"below 0",
       {-0.01, 0.02, 0.5},
       {15.487244352500916, -107.13618207538654, -114.97108620392129}},
      {"ten times white", {9.642, 10, 8.249}, {116 * std::cbrt(10.0) - 16, 0, 0}},
      {"below black: the line goes on", {-0.09642, -0.1, -0.08249}, {-90.32962962962963, 0, 0}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    ExpectNear(LabFromXyz(row.xyz), row.lab, 1e-12);
    ExpectNear(XyzFromLab(row.lab), row.xyz, 1e-14);
  }
}

TEST(Lab, RootsArePreciseToTheLastPlace) {
  // One unit of the root, and the roundings of 116 f - 16.
  constexpr double kRounding = 4.5e-16;
  for (double y = 216.0 / 24389; y < 1e12; y *= 1.00007) {
    const auto expected = static_cast<double>(116 * std::cbrt(static_cast<long double>(y)) - 16);
    ASSERT_NEAR(LabFromXyz({0, y, 0})[0], expected, kRounding * (expected + 16)) << y;
  }
}

// ---- Encodings ----------------------------------------------------------------------------------

// ICC.1:2010 6.3.4.2; 10.8 for the legacy encoding of lut16Type.
TEST(Encodings, GiveThePublishedCodes) {
  const struct {
    const char* what;
    PcsEncoding encoding;
    double maximum;
    Triple codes;
    Triple color;  // Lab, or XYZ
  } kRows[] = {
      {"16 bits, white", PcsEncoding::kLab, 65535, {65535, 32896, 32896}, {100, 0, 0}},
      {"16 bits, lowest", PcsEncoding::kLab, 65535, {0, 0, 0}, {0, -128, -128}},
      {"16 bits, highest", PcsEncoding::kLab, 65535, {65535, 65535, 65535}, {100, 127, 127}},
      {"8 bits, white", PcsEncoding::kLab, 255, {255, 128, 128}, {100, 0, 0}},
      {"8 bits, lowest and highest", PcsEncoding::kLab, 255, {0, 0, 255}, {0, -128, 127}},
      {"legacy, white", PcsEncoding::kLegacyLab, 65535, {65280, 32768, 32768}, {100, 0, 0}},
      {"legacy, lowest", PcsEncoding::kLegacyLab, 65535, {0, 0, 0}, {0, -128, -128}},
      {"legacy, 127", PcsEncoding::kLegacyLab, 65535, {65280, 65280, 65280}, {100, 127, 127}},
      {"legacy, highest",
       PcsEncoding::kLegacyLab,
       65535,
       {65535, 65535, 65535},
       {100 + 25500.0 / 65280, 127 + 255.0 / 256, 127 + 255.0 / 256}},
      {"XYZ, 1", PcsEncoding::kXyz, 65535, {32768, 32768, 32768}, {1, 1, 1}},
      {"XYZ, lowest", PcsEncoding::kXyz, 65535, {0, 0, 0}, {0, 0, 0}},
      {"XYZ, highest",
       PcsEncoding::kXyz,
       65535,
       {65535, 65535, 65535},
       {1 + 32767.0 / 32768, 1 + 32767.0 / 32768, 1 + 32767.0 / 32768}},
      {"XYZ, white to the nearest code",
       PcsEncoding::kXyz,
       65535,
       {31595, 32768, 27030},
       {31595 / 32768.0, 1, 27030 / 32768.0}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Triple encoded = {row.codes[0] / row.maximum, row.codes[1] / row.maximum,
                            row.codes[2] / row.maximum};
    if (row.encoding == PcsEncoding::kXyz) {
      ExpectNear(DecodeXyz(row.encoding, encoded), row.color, 1e-15);
      ExpectNear(EncodeXyz(row.encoding, row.color), encoded, 1e-15);
    } else {
      ExpectNear(DecodeLab(row.encoding, encoded), row.color, 1e-13);
      ExpectNear(EncodeLab(row.encoding, row.color), encoded, 1e-15);
      ExpectNear(DecodeXyz(row.encoding, encoded), XyzFromLab(row.color), 1e-14);
      ExpectNear(EncodeXyz(row.encoding, XyzFromLab(row.color)), encoded, 1e-14);
    }
  }
}

// ---- Intents and black points -------------------------------------------------------------------

TEST(Intents, ScaleByTheRatioOfTheMediaWhites) {
  const Xyz paper = {0.7, 0.75, 0.6}, screen = {0.9505, 1, 1.0888};
  // The source's white becomes its own white...
  ExpectNear(ToOtherMedium(kPcsWhite, paper, kPcsWhite), paper, 1e-15);
  // ...and a colour that is the destination's white becomes the white of the connection space.
  ExpectNear(ToOtherMedium(screen, kPcsWhite, screen), kPcsWhite, 1e-15);
  ExpectNear(ToOtherMedium({0.1, 0.2, 0.3}, paper, paper), {0.1, 0.2, 0.3}, 1e-15);
  ExpectNear(ToOtherMedium({0.4821, 0.5, 0.41245}, {0.9642, 0.8, 0.8249}, {0.9642, 0.5, 1.6498}),
             {0.4821, 0.8, 0.206225}, 1e-15);
}

TEST(BlackPoints, MeetWhileWhiteStays) {
  const Xyz from = XyzFromLab({20, 0, 0}), to = XyzFromLab({5, 0, 0});
  ExpectNear(CompensateBlackPoint(from, from, to), to, 1e-15);
  ExpectNear(CompensateBlackPoint(kPcsWhite, from, to), kPcsWhite, 1e-15);
  ExpectNear(CompensateBlackPoint({0.3, 0.2, 0.1}, from, from), {0.3, 0.2, 0.1}, 1e-15);
  // A quarter of the way from black to white stays a quarter of it.
  const auto quarter = [](const Xyz& black) -> Xyz {
    return {0.75 * black[0] + 0.25 * kPcsWhite[0], 0.75 * black[1] + 0.25 * kPcsWhite[1],
            0.75 * black[2] + 0.25 * kPcsWhite[2]};
  };
  ExpectNear(CompensateBlackPoint(quarter(from), from, to), quarter(to), 1e-15);
}

// ---- Transfer functions -------------------------------------------------------------------------

// The formulas at their breaks and between, worked in 30 digits.
TEST(TransferFunctions, GiveTheirPublishedPoints) {
  const struct {
    const char* what;
    Transfer transfer;
    double linear, encoded;
  } kRows[] = {
      {"linear", Transfer::kLinear, 0.3, 0.3},
      {"sRGB, in the toe", Transfer::kSRgb, 0.001, 0.01292},
      {"sRGB, 18 %", Transfer::kSRgb, 0.18, 0.46135612950044165},
      {"sRGB, half", Transfer::kSRgb, 0.5, 0.73535698305244949},
      {"sRGB, encoded half", Transfer::kSRgb, 0.21404114048223244, 0.5},
      {"sRGB, 2", Transfer::kSRgb, 2, 1.3532560461493863},
      {"sRGB, -0.5", Transfer::kSRgb, -0.5, -0.73535698305244949},
      {"Adobe RGB, half", Transfer::kAdobeRgb, 0.5, 0.72965838176780153},
      {"Adobe RGB, encoded half", Transfer::kAdobeRgb, 0.21775552814439456, 0.5},
      {"Adobe RGB, 2", Transfer::kAdobeRgb, 2, 1.370504368876323},
      {"Adobe RGB, -0.5", Transfer::kAdobeRgb, -0.5, -0.72965838176780153},
      {"gamma 1.8, dark", Transfer::kGamma18, 0.001, 0.021544346900318832},
      {"gamma 1.8, half", Transfer::kGamma18, 0.5, 0.6803950000871885},
      {"gamma 1.8, encoded half", Transfer::kGamma18, 0.2871745887492587, 0.5},
      {"gamma 1.8, -0.5", Transfer::kGamma18, -0.5, -0.6803950000871885},
      {"ROMM, in the toe", Transfer::kRomm, 0.001, 0.016},
      {"ROMM, at the break", Transfer::kRomm, 1 / 512.0, 1 / 32.0},
      {"ROMM, 18 %", Transfer::kRomm, 0.18, 0.38571142475113763},
      {"ROMM, 2", Transfer::kRomm, 2, 1.4697344922755989},
      {"L*, in the toe", Transfer::kLStar, 0.001, 0.009032962962962963},
      {"L*, at the break", Transfer::kLStar, 216.0 / 24389, 0.08},
      {"L*, 18 %", Transfer::kLStar, 0.18, 0.49496107610119583},
      {"L*, half", Transfer::kLStar, 0.5, 0.7606926101415557},
      {"L*, -0.18", Transfer::kLStar, -0.18, -0.49496107610119583},
      {"Rec. 2020, in the toe", Transfer::kRec2020, 0.01, 0.045},
      {"Rec. 2020, at the break", Transfer::kRec2020, 0.018053968510807, 0.0812428582986315},
      {"Rec. 2020, 18 %", Transfer::kRec2020, 0.18, 0.4088481088912251},
      {"Rec. 2020, half", Transfer::kRec2020, 0.5, 0.70543555305561831},
      {"Rec. 2020, 2", Transfer::kRec2020, 2, 1.4023868927346197},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_NEAR(EncodeTransfer(row.transfer, row.linear), row.encoded, 4e-15);
    EXPECT_NEAR(DecodeTransfer(row.transfer, row.encoded), row.linear, 4e-15);
  }
}

constexpr Transfer kTransfers[] = {Transfer::kLinear, Transfer::kSRgb,  Transfer::kAdobeRgb,
                                   Transfer::kRomm,   Transfer::kLStar, Transfer::kRec2020,
                                   Transfer::kGamma18};

TEST(TransferFunctions, GoFrom0To1AndAreOdd) {
  for (const Transfer transfer : kTransfers) {
    EXPECT_EQ(EncodeTransfer(transfer, 0), 0);
    EXPECT_NEAR(EncodeTransfer(transfer, 1), 1, 1e-15);
    for (double x = 0; x < 3; x += 0.01) {
      EXPECT_EQ(EncodeTransfer(transfer, -x), -EncodeTransfer(transfer, x));
      EXPECT_EQ(DecodeTransfer(transfer, -x), -DecodeTransfer(transfer, x));
    }
  }
}

// IEC 61966-2-1 rounds its breaks, so that its two directions disagree there by less than 1e-7.
TEST(TransferFunctions, AreUndoneByTheOtherDirection) {
  for (const Transfer transfer : kTransfers) {
    double before = EncodeTransfer(transfer, -2.001);
    for (int n = -2000; n <= 2000; ++n) {
      const double x = n / 1000.0;
      const double encoded = EncodeTransfer(transfer, x);
      EXPECT_GT(encoded, before);
      EXPECT_NEAR(DecodeTransfer(transfer, encoded), x, 1e-14);
      before = encoded;
    }
  }
  EXPECT_NEAR(DecodeTransfer(Transfer::kSRgb, EncodeTransfer(Transfer::kSRgb, 0.0031308)),
              0.0031308, 1e-7);
}

}  // namespace

}  // namespace kxcms::exact
