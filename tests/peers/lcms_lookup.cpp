// Colours through Little CMS, unoptimised and in floating point, in the manner of exact_lookup. The
// built-in spaces are made here of the numbers of their publications.

#include <lcms2.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace {

struct CloseProfile {
  void operator()(cmsHPROFILE profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<std::remove_pointer_t<cmsHPROFILE>, CloseProfile>;

struct DeleteTransform {
  void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<std::remove_pointer_t<cmsHTRANSFORM>, DeleteTransform>;

struct FreeCurve {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using ToneCurve = std::unique_ptr<cmsToneCurve, FreeCurve>;

// In the terms of Little CMS, a type and its parameters g, a, b, c, d.
struct Curve {
  int type;
  std::vector<double> parameters;
};

struct Space {
  const char* name;
  cmsCIExyY white;
  cmsCIExyYTRIPLE primaries;
  Curve curve;
};

constexpr cmsCIExyY kD65 = {0.3127, 0.3290, 1}, kD50 = {0.3457, 0.3585, 1};
constexpr cmsCIExyYTRIPLE kBt709 = {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
constexpr cmsCIExyYTRIPLE kBt2020 = {{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}};
constexpr double kAlpha = 1.09929682680944, kBeta = 0.018053968510807;

const Space kSpaces[] = {
    {"srgb", kD65, kBt709, {4, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}}},
    {"srgb-linear", kD65, kBt709, {1, {1}}},
    {"adobe-rgb", kD65, {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}}, {1, {563 / 256.0}}},
    {"adobe-18", kD65, {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}}, {1, {1.8}}},
    {"apple", kD65, {{0.625, 0.34, 1}, {0.28, 0.595, 1}, {0.155, 0.07, 1}}, {1, {1.8}}},
    {"colormatch", kD50, {{0.63, 0.34, 1}, {0.295, 0.605, 1}, {0.15, 0.075, 1}}, {1, {1.8}}},
    {"display-p3",
     kD65,
     {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}},
     {4, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}}},
    {"prophoto",
     kD50,
     {{0.7347, 0.2653, 1}, {0.1596, 0.8404, 1}, {0.0366, 0.0001, 1}},
     {4, {1.8, 1, 0, 1 / 16.0, 1 / 32.0}}},
    {"ecirgb-v2",
     kD50,
     {{0.67, 0.33, 1}, {0.21, 0.71, 1}, {0.14, 0.08, 1}},
     {4, {3, 1 / 1.16, 0.16 / 1.16, 2700 / 24389.0, 0.08}}},
    {"rec2020",
     kD65,
     kBt2020,
     {4, {1 / 0.45, 1 / kAlpha, (kAlpha - 1) / kAlpha, 1 / 4.5, 4.5 * kBeta}}},
};

Profile Open(const std::string& name) {
  if (name == "lab") return Profile(cmsCreateLab4Profile(nullptr));
  if (name == "xyz") return Profile(cmsCreateXYZProfile());
  const auto* space = std::find_if(std::begin(kSpaces), std::end(kSpaces),
                                   [&](const Space& known) { return name == known.name; });
  if (space == std::end(kSpaces)) return Profile(cmsOpenProfileFromFile(name.c_str(), "r"));
  const ToneCurve curve(
      cmsBuildParametricToneCurve(nullptr, space->curve.type, space->curve.parameters.data()));
  cmsToneCurve* curves[] = {curve.get(), curve.get(), curve.get()};
  return Profile(cmsCreateRGBProfile(&space->white, &space->primaries, curves));
}

cmsUInt32Number FormOf(const std::string& name) {
  if (name == "lab") return TYPE_Lab_DBL;
  if (name == "xyz") return TYPE_XYZ_DBL;
  return TYPE_RGB_DBL;
}

}  // namespace

int main(int count, char** arguments) {
  std::string destination = "lab", source;
  cmsUInt32Number intent = INTENT_RELATIVE_COLORIMETRIC;
  cmsUInt32Number flags = cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE;
  for (int n = 1; n < count; ++n) {
    const std::string argument = arguments[n];
    if (argument == "--bpc") {
      flags |= cmsFLAGS_BLACKPOINTCOMPENSATION;
    } else if (argument == "--perceptual") {
      intent = INTENT_PERCEPTUAL;
    } else if (argument == "--to" && n + 1 < count) {
      destination = arguments[++n];
    } else {
      source = argument;
    }
  }
  const Profile from = Open(source), to = Open(destination);
  if (!from || !to) return 1;
  const Transform transform(
      cmsCreateTransform(from.get(), FormOf(source), to.get(), FormOf(destination), intent, flags));
  if (!transform) return 1;
  for (double color[3]; std::cin >> color[0] >> color[1] >> color[2];) {
    double result[3];
    cmsDoTransform(transform.get(), color, result, 1);
    std::printf("%.10g %.10g %.10g\n", result[0], result[1], result[2]);
  }
  return 0;
}
