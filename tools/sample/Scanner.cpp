#include "Scanner.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Vector3 kGamma = {1.8, 1.9, 2.0};
constexpr Vector3 kStrayLight = {0.004, 0.003, 0.005};  // fraction of white that reaches black
constexpr std::array<Chromaticity, 3> kFilters = {{{0.69, 0.30}, {0.21, 0.71}, {0.14, 0.05}}};
// What each sensor sees of the three filters' light; rows add up to 1, so that white stays white.
constexpr Matrix3 kCrosstalk = {{{0.92, 0.06, 0.02}, {0.04, 0.92, 0.04}, {0.01, 0.07, 0.92}}};

const Matrix3& LightToXyz() {
  static const Matrix3 kMatrix = RgbToXyz(kFilters, kD50) * Inverse(kCrosstalk);
  return kMatrix;
}

}  // namespace

Vector3 Scanner::FromLab(const Vector3& lab) {
  static const Matrix3 kXyzToLight = Inverse(LightToXyz());
  const Vector3 light = kXyzToLight * LabToXyz(lab);
  Vector3 device;
  for (int c = 0; c < 3; ++c) {
    const double seen = (std::clamp(light[c], 0.0, 1.0) + kStrayLight[c]) / (1 + kStrayLight[c]);
    device[c] = std::pow(seen, 1 / kGamma[c]);
  }
  return device;
}

double Scanner::Linearize(int channel, double device) {
  const double seen = std::pow(device, kGamma[channel]);
  return std::clamp(seen * (1 + kStrayLight[channel]) - kStrayLight[channel], 0.0, 1.0);
}

Vector3 Scanner::LightToLab(const Vector3& light) {
  return XyzToLab(LightToXyz() * light);
}

Vector3 Scanner::ToLab(const Vector3& device) {
  return LightToLab({Linearize(0, device[0]), Linearize(1, device[1]), Linearize(2, device[2])});
}
