#include "profile/SpaceProfile.h"

namespace kxcms {

namespace {

// Function 3 of parametricCurveType: (a x + b)^g from d on, c x below.
Curve WithToe(double g, double scale, double offset, double c, double d) {
  return ParametricCurve{3, g, scale, offset, c, d, 0, 0};
}

// The inverses of the encodings that `Transfer` names.
Curve DecodingOf(Transfer transfer) {
  switch (transfer) {
    case Transfer::kLinear:
      return IdentityCurve{};
    case Transfer::kSRgb:
      return WithToe(2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045);
    case Transfer::kAdobeRgb:
      return GammaCurve{2.19921875};
    case Transfer::kGamma18:
      return GammaCurve{1.8};
    case Transfer::kRomm:
      return WithToe(1.8, 1, 0, 1 / 16.0, 16 / 512.0);
    case Transfer::kLStar:
      // L* 8 is where CIE 15 joins its line of slope 24389 / 27.
      return WithToe(3, 1 / 1.16, 0.16 / 1.16, 2700 / 24389.0, 0.08);
    case Transfer::kRec2020:
      constexpr double kAlpha = 1.09929682680944;
      constexpr double kBeta = 0.018053968510807;
      return WithToe(1 / 0.45, 1 / kAlpha, (kAlpha - 1) / kAlpha, 1 / 4.5, 4.5 * kBeta);
  }
  return IdentityCurve{};
}

}  // namespace

DeviceProfile SpaceProfile(const RgbSpace& space) {
  DeviceProfile profile;
  profile.deviceClass = MakeSignature("mntr");
  profile.colorSpace = MakeSignature("RGB ");
  profile.pcs = PcsSpace::kXyz;
  profile.description = space.description;
  const Curve decoding = DecodingOf(space.transfer);
  profile.matrixTrc = MatrixTrc{{decoding, decoding, decoding}, RgbToPcs(space)};
  return profile;
}

}  // namespace kxcms
