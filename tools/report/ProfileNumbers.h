#ifndef KXCMS_TOOLS_REPORT_PROFILENUMBERS_H
#define KXCMS_TOOLS_REPORT_PROFILENUMBERS_H

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "profile/DeviceProfile.h"
#include "tools/report/Curves.h"
#include "tools/report/Gamut.h"
#include "tools/report/Grid.h"
#include "tools/report/Statistics.h"
#include "tools/report/Target.h"

/// @file
/// Everything that a report tells of a profile, in numbers. "Exact" is the evaluation in double
/// precision; Lab is relative to D50, differences of colour are CIEDE2000 where nothing else is
/// said.

namespace kxcms::report {

using exact::Triple;

struct Question {
  const Target* target;  ///< borrowed
  RenderingIntent intent = RenderingIntent::kPerceptual;
};

/// The curves of the three channels, before or behind the colour grid.
struct CurveGroup {
  std::string name;  ///< of the element, as `exact::Stage` names it
  std::array<CurveNumbers, 3> curves;
};

struct NeutralAxis {
  std::array<Triple, 256> lab;  ///< of R = G = B = 0 to 255
  Triple white, black;
  double largestChroma;
  int largestChromaAt;     ///< device value
  int lightnessReversals;  ///< steps at which L* falls while the device value rises
};

/// How lightness comes out of a conversion to 8 bits, over the 256 greys of the device.
struct ToneError {
  std::array<double, 256> error;  ///< L* of the result less that of the profile
  double largest;                 ///< magnitude
  /// The error of largest magnitude among greys within 2.5 of L* 5, 10, 20, 50 and 95; none where
  /// the device has no such grey.
  std::array<std::optional<double>, 5> worst;
};
constexpr std::array<double, 5> kToneLevels = {5, 10, 20, 50, 95};

/// Cuts through a gamut, for drawing, and what they enclose.
struct Gamut {
  double volume;  ///< cubic units of Lab
  std::array<std::vector<Segment>, 3> atLightness;
  std::array<double, 3> areas;
  std::array<std::vector<Segment>, 6> atHue;
  std::array<double, 6> largestChroma;
};
constexpr std::array<double, 3> kCutLightness = {25, 50, 75};
constexpr std::array<double, 6> kCutHueDeg = {0, 60, 120, 180, 240, 300};

/// One of the two pipelines beside the exact evaluation.
struct PipelineNumbers {
  std::string refusal;  ///< why it does not convert this; empty: it does
  Distribution at8, at16;
  std::array<std::uint8_t, 3> worst8, worst16;  ///< device values of the largest difference
  ToneError tone;
};

struct RoundTrip {
  std::string forward, back;  ///< tags
  Distribution color;
  std::array<std::uint8_t, 3> worst;
};

/// Two intents beside one another, over the same colours.
struct IntentPair {
  RenderingIntent first, second;
  Distribution color;
};

struct ProfileNumbers {
  // The profile as such.
  std::string name;  ///< of the file, without folders
  std::string description, version, deviceClass, pcs;
  std::uint64_t sizeBytes;
  Xyz mediaWhite;
  // What is asked of it.
  RenderingIntent intent;
  std::string destination;
  std::string tag;  ///< that serves the intent: "A2B0" and so on, or "matrix"
  bool isFallback;
  // What it is like.
  std::optional<CurveGroup> input, output;
  NeutralAxis neutral;
  Gamut gamut, destinationGamut;
  double shareInside;  ///< of the gamut, that the destination can show
  std::optional<GridNumbers> grid;
  // How it is converted.
  std::size_t colors;  ///< of the grid that the following looks at
  PipelineNumbers precise, fixed;
  std::optional<RoundTrip> roundTrip;
  std::vector<IntentPair> intents;
};

constexpr std::array<RenderingIntent, 4> kIntents = {
    RenderingIntent::kPerceptual, RenderingIntent::kRelative, RenderingIntent::kSaturation,
    RenderingIntent::kAbsolute};
const char* NameOf(RenderingIntent intent);
/// Four characters; what cannot be shown is a question mark.
std::string TextOf(Signature signature);
/// "A2B0" and so on, or "matrix".
std::string TagOf(const Model& model);

/// @param name   how the report calls the profile
/// @param bytes  of the file
/// @throw kxcms::ProfileError, kxcms::Error, std::invalid_argument  the profile cannot be used
ProfileNumbers Measure(const std::string& name, std::span<const unsigned char> bytes,
                       const Question& question);

}  // namespace kxcms::report

#endif
