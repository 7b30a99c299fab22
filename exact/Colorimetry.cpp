#include "exact/Colorimetry.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kxcms::exact {

namespace {

// CIE 15:2004, 8.2.1.1: f(t) is the cube root of t above (6/29)^3, a line below.
constexpr double kDelta = 6.0 / 29.0;

// The cube root of a positive number up to 1e300, to one unit in the last place; the same bits
// everywhere. Roots are what most of the time goes into where millions of colours are looked at.
double CubeRoot(double x) {
  // A third of the exponent and of the fraction, taken for a logarithm, is off by 3.5 % at most.
  constexpr double kMagic = 4.0 / 3 * (1023 - 0.05) * 0x1p52;
  const std::uint64_t guess =
      static_cast<std::uint64_t>(kMagic) - std::bit_cast<std::uint64_t>(x) / 3;
  // 1 / CubeRoot(x): two steps of the series of (1 - d)^(-1/3), d = 1 - x r^3.
  double r = std::bit_cast<double>(guess);
  for (int step = 0; step < 2; ++step) {
    const double d = 1 - x * (r * r * r);
    r += r * (d * (1.0 / 3 + d * (2.0 / 9 + d * (14.0 / 81))));
  }
  const double root = x * (r * r);
  return root + (x - root * root * root) * (r * r) * (1.0 / 3);
}

double CubeRootWithToe(double t) {
  return t > kDelta * kDelta * kDelta ? CubeRoot(t) : t / (3 * kDelta * kDelta) + 4.0 / 29.0;
}

double CubeWithToe(double f) {
  return f > kDelta ? f * f * f : (f - 4.0 / 29.0) * 3 * kDelta * kDelta;
}

// ICC.1:2010 6.3.4.2: 1 + 32767/32768 is the largest value of the XYZ encoding.
constexpr double kLargestXyz = 65535.0 / 32768.0;
// ICC.1:2010 10.8: in lut16Type, 0xFF00 is L* = 100 and 0x8000 is a* = 0.
constexpr double kLegacyWhite = 65280.0 / 65535.0;

}  // namespace

// ---- CIE Lab ------------------------------------------------------------------------------------

Triple LabFromXyz(const Xyz& xyz) {
  const double fx = CubeRootWithToe(xyz[0] / kPcsWhite[0]);
  const double fy = CubeRootWithToe(xyz[1] / kPcsWhite[1]);
  const double fz = CubeRootWithToe(xyz[2] / kPcsWhite[2]);
  return {116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)};
}

Xyz XyzFromLab(const Triple& lab) {
  const double fy = (lab[0] + 16) / 116;
  const double fx = fy + lab[1] / 500;
  const double fz = fy - lab[2] / 200;
  return {kPcsWhite[0] * CubeWithToe(fx), kPcsWhite[1] * CubeWithToe(fy),
          kPcsWhite[2] * CubeWithToe(fz)};
}

// ---- Encodings of the profile connection space --------------------------------------------------

Triple DecodeLab(PcsEncoding encoding, const Triple& encoded) {
  const auto& [L, a, b] = encoded;
  if (encoding == PcsEncoding::kLegacyLab) {
    return {100 * L / kLegacyWhite, a * 65535 / 256 - 128, b * 65535 / 256 - 128};
  }
  return {100 * L, 255 * a - 128, 255 * b - 128};
}

Triple EncodeLab(PcsEncoding encoding, const Triple& lab) {
  const auto& [L, a, b] = lab;
  if (encoding == PcsEncoding::kLegacyLab) {
    return {L / 100 * kLegacyWhite, (a + 128) * 256 / 65535, (b + 128) * 256 / 65535};
  }
  return {L / 100, (a + 128) / 255, (b + 128) / 255};
}

Xyz DecodeXyz(PcsEncoding encoding, const Triple& encoded) {
  if (encoding != PcsEncoding::kXyz) return XyzFromLab(DecodeLab(encoding, encoded));
  return {encoded[0] * kLargestXyz, encoded[1] * kLargestXyz, encoded[2] * kLargestXyz};
}

Triple EncodeXyz(PcsEncoding encoding, const Xyz& xyz) {
  if (encoding != PcsEncoding::kXyz) return EncodeLab(encoding, LabFromXyz(xyz));
  return {xyz[0] / kLargestXyz, xyz[1] / kLargestXyz, xyz[2] / kLargestXyz};
}

// ---- Intents and black points -------------------------------------------------------------------

Xyz ToOtherMedium(const Xyz& xyz, const Xyz& sourceWhite, const Xyz& destinationWhite) {
  Xyz result;
  for (std::size_t n = 0; n < 3; ++n) {
    const double absolute = xyz[n] * sourceWhite[n] / kPcsWhite[n];
    result[n] = absolute / (destinationWhite[n] / kPcsWhite[n]);
  }
  return result;
}

Xyz CompensateBlackPoint(const Xyz& xyz, const Xyz& sourceBlack, const Xyz& destinationBlack) {
  Xyz result;
  for (std::size_t n = 0; n < 3; ++n) {
    const double white = kPcsWhite[n], from = sourceBlack[n], to = destinationBlack[n];
    const double scale = (to - white) / (from - white);
    const double offset = -white * (to - from) / (from - white);
    result[n] = scale * xyz[n] + offset;
  }
  return result;
}

// ---- Transfer functions -------------------------------------------------------------------------

namespace {

// ISO 22028-2, ROMM RGB: Et = 16^(1.8 / (1 - 1.8)) = 2^-9.
constexpr double kRommToe = 1.0 / 512;
// ITU-R BT.2020-2, table 4: the numbers that make the two parts meet smoothly.
constexpr double kRec2020Alpha = 1.09929682680944;
constexpr double kRec2020Beta = 0.018053968510807;
// Adobe RGB (1998), 4.3.1.2.
constexpr double kAdobeGamma = 2 + 51.0 / 256;
// CIE 15:2004, 8.2.1: (6/29)^3, and the slope below it, (29/3)^3, for L* of 0 to 100.
constexpr double kLStarToe = 216.0 / 24389;
constexpr double kLStarSlope = 24389.0 / 27 / 100;

// E is linear, 0 or more.
double EncodePositive(Transfer transfer, double E) {
  switch (transfer) {
    case Transfer::kLinear:
      return E;
    case Transfer::kSRgb:  // IEC 61966-2-1:1999, 5.2
      return E <= 0.0031308 ? 12.92 * E : 1.055 * std::pow(E, 1 / 2.4) - 0.055;
    case Transfer::kAdobeRgb:
      return std::pow(E, 1 / kAdobeGamma);
    case Transfer::kGamma18:
      return std::pow(E, 1 / 1.8);
    case Transfer::kRomm:
      return E < kRommToe ? 16 * E : std::pow(E, 1 / 1.8);
    case Transfer::kLStar:
      return E <= kLStarToe ? kLStarSlope * E : 1.16 * std::cbrt(E) - 0.16;
    case Transfer::kRec2020:
      return E < kRec2020Beta ? 4.5 * E : kRec2020Alpha * std::pow(E, 0.45) - (kRec2020Alpha - 1);
  }
  return E;
}

// V is encoded, 0 or more. The break is at the encoded value of the other direction's break, but
// for sRGB, whose standard states both.
double DecodePositive(Transfer transfer, double V) {
  switch (transfer) {
    case Transfer::kLinear:
      return V;
    case Transfer::kSRgb:
      return V <= 0.04045 ? V / 12.92 : std::pow((V + 0.055) / 1.055, 2.4);
    case Transfer::kAdobeRgb:
      return std::pow(V, kAdobeGamma);
    case Transfer::kGamma18:
      return std::pow(V, 1.8);
    case Transfer::kRomm:
      return V < 16 * kRommToe ? V / 16 : std::pow(V, 1.8);
    case Transfer::kLStar:
      return V <= kLStarSlope * kLStarToe ? V / kLStarSlope : std::pow((V + 0.16) / 1.16, 3);
    case Transfer::kRec2020:
      return V < 4.5 * kRec2020Beta ? V / 4.5
                                    : std::pow((V + kRec2020Alpha - 1) / kRec2020Alpha, 1 / 0.45);
  }
  return V;
}

}  // namespace

double EncodeTransfer(Transfer transfer, double linear) {
  return std::copysign(EncodePositive(transfer, std::abs(linear)), linear);
}

double DecodeTransfer(Transfer transfer, double encoded) {
  return std::copysign(DecodePositive(transfer, std::abs(encoded)), encoded);
}

}  // namespace kxcms::exact
