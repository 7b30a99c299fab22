#include "profile/RgbSpaces.h"

namespace kxcms {

namespace {

constexpr Chromaticity kD65 = {0.3127, 0.3290};
// The white of ROMM RGB, eciRGB and ColorMatch RGB: D50 of CIE 15 in four decimals.
constexpr Chromaticity kD50 = {0.3457, 0.3585};

// ITU-R BT.709-6, taken over by IEC 61966-2-1.
constexpr std::array<Chromaticity, 3> kSRgb = {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}};
// Adobe RGB (1998), 4.3.1.1.
constexpr std::array<Chromaticity, 3> kAdobeRgb = {{{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}}};
// SMPTE RP 431-2, with D65.
constexpr std::array<Chromaticity, 3> kP3 = {{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}};
// ISO 22028-2.
constexpr std::array<Chromaticity, 3> kRomm = {
    {{0.7347, 0.2653}, {0.1596, 0.8404}, {0.0366, 0.0001}}};
// European Color Initiative, eciRGB_v2.
constexpr std::array<Chromaticity, 3> kEciRgb = {{{0.67, 0.33}, {0.21, 0.71}, {0.14, 0.08}}};
// ITU-R BT.2020-2, table 3.
constexpr std::array<Chromaticity, 3> kRec2020 = {{{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}}};
// Both as their makers published them, with gamma 1.8.
constexpr std::array<Chromaticity, 3> kAppleRgb = {
    {{0.625, 0.340}, {0.280, 0.595}, {0.155, 0.070}}};
constexpr std::array<Chromaticity, 3> kColorMatchRgb = {
    {{0.630, 0.340}, {0.295, 0.605}, {0.150, 0.075}}};

constexpr RgbSpace kSpaces[] = {
    {"srgb", "sRGB (IEC 61966-2-1)", kSRgb, kD65, Transfer::kSRgb},
    {"srgb-linear", "sRGB primaries, linear", kSRgb, kD65, Transfer::kLinear},
    {"adobe-rgb", "Adobe RGB (1998)", kAdobeRgb, kD65, Transfer::kAdobeRgb},
    {"adobe-rgb-linear", "Adobe RGB (1998) primaries, linear", kAdobeRgb, kD65, Transfer::kLinear},
    {"display-p3", "Display P3: P3 primaries, D65, sRGB curve", kP3, kD65, Transfer::kSRgb},
    {"display-p3-linear", "Display P3 primaries, linear", kP3, kD65, Transfer::kLinear},
    {"prophoto", "ProPhoto (ROMM) RGB (ISO 22028-2)", kRomm, kD50, Transfer::kRomm},
    {"prophoto-linear", "ProPhoto (ROMM) RGB primaries, linear", kRomm, kD50, Transfer::kLinear},
    {"ecirgb-v2", "eciRGB v2: L* curve", kEciRgb, kD50, Transfer::kLStar},
    {"ecirgb-v2-linear", "eciRGB v2 primaries, linear", kEciRgb, kD50, Transfer::kLinear},
    {"rec2020", "Rec. 2020 (ITU-R BT.2020-2)", kRec2020, kD65, Transfer::kRec2020},
    {"rec2020-linear", "Rec. 2020 primaries, linear", kRec2020, kD65, Transfer::kLinear},
    {"adobe-18", "Adobe RGB (1998) primaries, gamma 1.8", kAdobeRgb, kD65, Transfer::kGamma18},
    {"apple", "Apple RGB: gamma 1.8", kAppleRgb, kD65, Transfer::kGamma18},
    {"apple-linear", "Apple RGB primaries, linear", kAppleRgb, kD65, Transfer::kLinear},
    {"colormatch", "ColorMatch RGB: gamma 1.8, D50", kColorMatchRgb, kD50, Transfer::kGamma18},
    {"colormatch-linear", "ColorMatch RGB primaries, linear", kColorMatchRgb, kD50,
     Transfer::kLinear},
};

// ICC.1:2010 Annex E: XYZ to the cone responses of the linear Bradford transform.
constexpr Matrix3 kBradford = {0.8951,  0.2664,  -0.1614,  //
                               -0.7502, 1.7135,  0.0367,   //
                               0.0389,  -0.0685, 1.0296};

// Tristimulus values of a chromaticity, Y = 1.
Xyz ToXyz(const Chromaticity& c) {
  return {c.x / c.y, 1.0, (1 - c.x - c.y) / c.y};
}

// matrix times a diagonal matrix.
Matrix3 ScaledColumns(const Matrix3& matrix, const Xyz& scale) {
  Matrix3 scaled = matrix;
  for (std::size_t n = 0; n < scaled.size(); ++n) scaled[n] *= scale[n % 3];
  return scaled;
}

}  // namespace

std::span<const RgbSpace> RgbSpaces() {
  return kSpaces;
}

const RgbSpace* FindRgbSpace(std::string_view name) {
  for (const RgbSpace& space : kSpaces) {
    if (name == space.name) return &space;
  }
  return nullptr;
}

Matrix3 RgbToPcs(const RgbSpace& space) {
  Matrix3 primaries;
  for (std::size_t column = 0; column < 3; ++column) {
    const Xyz xyz = ToXyz(space.primaries[column]);
    for (std::size_t row = 0; row < 3; ++row) primaries[3 * row + column] = xyz[row];
  }
  const Xyz white = WhiteOf(space);
  const Xyz scale = Product(Inverse(primaries), white);
  return Product(AdaptationToPcs(white), ScaledColumns(primaries, scale));
}

Xyz WhiteOf(const RgbSpace& space) {
  const bool isD50 = space.white.x == kD50.x && space.white.y == kD50.y;
  return isD50 ? kPcsWhite : ToXyz(space.white);
}

Matrix3 AdaptationToPcs(const Xyz& white) {
  const Xyz from = Product(kBradford, white);
  const Xyz to = Product(kBradford, kPcsWhite);
  const Xyz scale = {to[0] / from[0], to[1] / from[1], to[2] / from[2]};
  return Product(ScaledColumns(Inverse(kBradford), scale), kBradford);
}

Matrix3 Inverse(const Matrix3& m) {
  Matrix3 adjugate;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      const std::size_t r1 = (column + 1) % 3, r2 = (column + 2) % 3;
      const std::size_t c1 = (row + 1) % 3, c2 = (row + 2) % 3;
      adjugate[3 * row + column] =
          m[3 * r1 + c1] * m[3 * r2 + c2] - m[3 * r1 + c2] * m[3 * r2 + c1];
    }
  }
  const double determinant = m[0] * adjugate[0] + m[1] * adjugate[3] + m[2] * adjugate[6];
  for (double& value : adjugate) value /= determinant;
  return adjugate;
}

Matrix3 Product(const Matrix3& a, const Matrix3& b) {
  Matrix3 product;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      product[3 * row + column] =
          a[3 * row] * b[column] + a[3 * row + 1] * b[3 + column] + a[3 * row + 2] * b[6 + column];
    }
  }
  return product;
}

}  // namespace kxcms
