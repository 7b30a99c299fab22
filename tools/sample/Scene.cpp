#include "Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "Scanner.h"

namespace {

constexpr int kGreyScaleTop = 384;
constexpr int kPatchesTop = 416;
constexpr int kPatchRows = 3;
constexpr int kPatchColumns = 24;

/// Reproducible noise, -1..1 (the finalizer of a 32-bit hash).
double Noise(int x, int y, int channel) {
  auto h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^
           static_cast<std::uint32_t>(y) * 0x85EBCA77u ^
           static_cast<std::uint32_t>(channel) * 0xC2B2AE3Du;
  h = (h ^ h >> 16) * 0x7FEB352Du;
  h = (h ^ h >> 15) * 0x846CA68Bu;
  return (h ^ h >> 16) / 2147483647.5 - 1;
}

Vector3 Mix(const Vector3& from, const Vector3& to, double t) {
  t = std::clamp(t, 0.0, 1.0);
  return {std::lerp(from[0], to[0], t), std::lerp(from[1], to[1], t), std::lerp(from[2], to[2], t)};
}

double EllipseDistance(double x, double y, double cx, double cy, double rx, double ry) {
  return std::hypot((x - cx) / rx, (y - cy) / ry);
}

Vector3 Patch(int x, int y) {
  const int column = x * kPatchColumns / Scene::kWidth;
  const int row = (y - kPatchesTop) * kPatchRows / (Scene::kLength - kPatchesTop);
  constexpr Vector3 kLightness = {75, 55, 35};
  constexpr Vector3 kChroma = {25, 40, 60};  // the last row leaves sRGB in places
  const double hue = 2 * std::numbers::pi * column / kPatchColumns;
  return {kLightness[row], kChroma[row] * std::cos(hue), kChroma[row] * std::sin(hue)};
}

Vector3 Landscape(int x, int y) {
  constexpr Vector3 kZenith = {48, -4, -42};
  constexpr Vector3 kHorizon = {86, -6, -10};
  constexpr Vector3 kMeadow = {58, -28, 38};
  constexpr Vector3 kForest = {18, -14, 14};
  constexpr Vector3 kLitSkin = {78, 14, 20};
  constexpr Vector3 kShadedSkin = {42, 20, 24};
  constexpr Vector3 kBalloon = {52, 74, 52};
  constexpr Vector3 kBalloonShade = {24, 44, 30};

  const double skyline = 240 + 30 * std::sin(x / 90.0) + 12 * std::sin(x / 23.0);
  Vector3 lab = y < skyline ? Mix(kZenith, kHorizon, y / skyline)
                            : Mix(kForest, kMeadow, (y - skyline) / 140);
  const double balloon = EllipseDistance(x, y, 590, 120, 62, 74);
  if (balloon < 1) lab = Mix(kBalloon, kBalloonShade, balloon * balloon);
  const double face = EllipseDistance(x, y, 210, 235, 78, 104);
  if (face < 1) lab = Mix(kLitSkin, kShadedSkin, (x - 150) / 150.0);
  constexpr Vector3 kGrain = {2.0, 1.0, 1.0};
  for (int c = 0; c < 3; ++c) lab[c] += kGrain[c] * Noise(x, y, c);
  return lab;
}

}  // namespace

Vector3 Scene::Lab(int x, int y) {
  Vector3 lab;
  if (y >= kPatchesTop) {
    lab = Patch(x, y);
  } else if (y >= kGreyScaleTop) {
    lab = {100.0 * x / (kWidth - 1), 0, 0};
  } else {
    lab = Landscape(x, y);
  }
  return Scanner::ToLab(Scanner::FromLab(lab));
}
