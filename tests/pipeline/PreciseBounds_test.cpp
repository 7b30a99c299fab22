#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "exact/ColorDifference.h"
#include "exact/Colorimetry.h"
#include "exact/Conversion.h"
#include "pipeline/precise/PrecisePipeline.h"
#include "tests/pipeline/ProfileValues.h"
#include "tests/pipeline/Runs.h"

// How far precise conversion is from its definition, the evaluation in double precision.

namespace kxcms {

namespace {

using profile_values::NamedProfile;
using Triple = std::array<double, 3>;

constexpr int kPixels = 10000;

// Corners, greys, dark colours, colours near the faces of the cube, and any.
const std::vector<std::uint16_t>& Samples() {
  static const std::vector<std::uint16_t> kSamples = [] {
    std::vector<std::uint16_t> samples;
    std::mt19937 generator(1);
    const auto random = [&generator](unsigned limit) {
      return static_cast<std::uint16_t>(generator() % limit);
    };
    for (int corner = 0; corner < 8; ++corner) {
      for (int c = 0; c < 3; ++c) samples.push_back(corner >> c & 1 ? 65535 : 0);
    }
    for (unsigned level = 0; level < 256; ++level) {
      for (int c = 0; c < 3; ++c) samples.push_back(static_cast<std::uint16_t>(257 * level));
    }
    while (samples.size() < 3 * kPixels) {
      const unsigned kind = random(4);
      for (int c = 0; c < 3; ++c) {
        std::uint16_t sample = random(65536);
        if (kind == 0) sample = random(4000);
        if (kind == 1 && random(3) == 0) sample = random(2) == 0 ? 0 : 65535;
        samples.push_back(sample);
      }
    }
    return samples;
  }();
  return kSamples;
}

std::vector<exact::Trace> Traces(const exact::Conversion& conversion) {
  std::vector<exact::Trace> traces;
  for (std::size_t p = 0; p < kPixels; ++p) {
    Triple device;
    for (std::size_t c = 0; c < 3; ++c) device[c] = Samples()[3 * p + c] / 65535.0;
    traces.push_back(conversion.Evaluate(device));
  }
  return traces;
}

exact::Destination ExactDestination(const PreciseDestination& destination) {
  if (const auto* space = std::get_if<const RgbSpace*>(&destination)) return *space;
  if (const auto* profile = std::get_if<const DeviceProfile*>(&destination)) return *profile;
  return std::get<Colorimetry>(destination) == Colorimetry::kLab ? exact::Measure::kLab
                                                                 : exact::Measure::kXyz;
}

exact::Options ExactOptions(const PreciseOptions& options) {
  return {options.intent, options.blackPointCompensation, options.unclipped};
}

bool IsPurePower(const Curve& curve) {
  const auto* parametric = std::get_if<ParametricCurve>(&curve);
  return std::holds_alternative<GammaCurve>(curve) ||
         (parametric != nullptr && parametric->function < 3);
}

// Levels of 65535 count only from this linear value on: below, a pure power is too steep for them.
double LeastLinear(const PreciseDestination& destination) {
  constexpr double kLeast = 1e-4;
  if (const auto* space = std::get_if<const RgbSpace*>(&destination)) {
    const Transfer transfer = (*space)->transfer;
    return transfer == Transfer::kAdobeRgb || transfer == Transfer::kGamma18 ? kLeast : 0;
  }
  const auto* profile = std::get_if<const DeviceProfile*>(&destination);
  if (profile == nullptr || !(*profile)->matrixTrc.has_value()) return 0;
  const auto& curves = (*profile)->matrixTrc->curves;
  return std::any_of(curves.begin(), curves.end(), IsPurePower) ? kLeast : 0;
}

std::string DeviceText(std::size_t pixel) {
  std::string text;
  for (std::size_t c = 0; c < 3; ++c) text += std::to_string(Samples()[3 * pixel + c]) + " ";
  return text;
}

void Check16Bit(const PrecisePipeline& pipeline, const std::vector<exact::Trace>& traces,
                double leastLinear) {
  const auto results = Converted<std::uint16_t>(pipeline, Samples());
  int worst = 0, aboveOne = 0;
  std::size_t where = 0;
  for (std::size_t n = 0; n < results.size(); ++n) {
    const exact::Trace& trace = traces[n / 3];
    const bool isTooDark = trace.linear.has_value() && trace.linear->clipped[n % 3] > 0 &&
                           trace.linear->clipped[n % 3] < leastLinear;
    if (isTooDark) continue;
    const int difference = std::abs(results[n] - trace.result16[n % 3]);
    aboveOne += difference > 1 ? 1 : 0;
    if (difference <= worst) continue;
    worst = difference;
    where = n;
  }
  EXPECT_LE(worst, 2) << "channel " << where % 3 << " of " << DeviceText(where / 3) << ": "
                      << results[where] << " for " << traces[where / 3].result16[where % 3];
  EXPECT_LE(aboveOne, static_cast<int>(results.size()) / 1000);
}

// What the results look like.
using ToLab = std::function<Triple(const Triple&)>;

void CheckFloat(const PrecisePipeline& pipeline, const std::vector<exact::Trace>& traces,
                const ToLab& toLab) {
  std::vector<float> samples;
  for (const std::uint16_t sample : Samples())
    samples.push_back(static_cast<float>(sample / 65535.0));
  const auto results = Converted<float>(pipeline, samples);
  double worst = 0;
  std::size_t where = 0;
  for (std::size_t p = 0; p < traces.size(); ++p) {
    const Triple result = {results[3 * p], results[3 * p + 1], results[3 * p + 2]};
    const double difference = DeltaE2000(toLab(result), toLab(traces[p].result));
    if (difference <= worst) continue;
    worst = difference;
    where = p;
  }
  EXPECT_LE(worst, 0.005) << "of " << DeviceText(where);
}

void Check8Bit(const PrecisePipeline& pipeline, const std::vector<exact::Trace>& traces) {
  const auto results = Converted<std::uint8_t>(pipeline, Samples());
  double worst = 0;
  for (std::size_t n = 0; n < results.size(); ++n) {
    const exact::Trace& trace = traces[n / 3];
    if (results[n] == (*trace.result8)[n % 3]) continue;
    const double level = trace.result[n % 3] * 255;
    const double fromTie = std::abs(level - std::floor(level) - 0.5);
    worst = std::max(worst, fromTie);
    if (std::abs(results[n] - (*trace.result8)[n % 3]) != 1) worst = 1;
  }
  EXPECT_LE(worst, 0.02);
}

Triple SpaceToLab(const RgbSpace& space, const Triple& encoded) {
  Triple linear;
  for (std::size_t c = 0; c < 3; ++c) linear[c] = exact::DecodeTransfer(space.transfer, encoded[c]);
  return exact::LabFromXyz(Product(RgbToPcs(space), linear));
}

void CheckBounds(const DeviceProfile& source, const PreciseDestination& destination,
                 const PreciseOptions& options) {
  const PrecisePipeline pipeline(source, destination, options);
  const auto traces = Traces({source, ExactDestination(destination), ExactOptions(options)});
  if (!options.unclipped) Check16Bit(pipeline, traces, LeastLinear(destination));
  if (const auto* space = std::get_if<const RgbSpace*>(&destination)) {
    CheckFloat(pipeline, traces,
               [space](const Triple& result) { return SpaceToLab(**space, result); });
  } else if (const auto* profile = std::get_if<const DeviceProfile*>(&destination)) {
    const exact::Conversion toLab(**profile, exact::Measure::kLab, {});
    CheckFloat(pipeline, traces,
               [&](const Triple& result) { return toLab.Evaluate(result).result; });
  } else {
    const bool isLab = std::get<Colorimetry>(destination) == Colorimetry::kLab;
    CheckFloat(pipeline, traces, [isLab](const Triple& result) {
      return isLab ? result : exact::LabFromXyz(result);
    });
    return;
  }
  if (!options.unclipped) Check8Bit(pipeline, traces);
}

// ---- All forms ----------------------------------------------------------------------------------

TEST(PreciseBounds, HoldForEverySourceForm) {
  for (const NamedProfile& source : profile_values::SourceForms()) {
    for (const char* space : {"srgb", "prophoto", "adobe-rgb"}) {
      SCOPED_TRACE(source.name + " to " + space);
      CheckBounds(source.profile, FindRgbSpace(space), {});
    }
    for (const Colorimetry colorimetry : {Colorimetry::kLab, Colorimetry::kXyz}) {
      SCOPED_TRACE(source.name + (colorimetry == Colorimetry::kLab ? " to Lab" : " to XYZ"));
      CheckBounds(source.profile, colorimetry, {});
    }
  }
}

TEST(PreciseBounds, HoldForEverySpace) {
  const DeviceProfile source = profile_values::Lut16Lab(17, 256, IdentityCurve{});
  for (const RgbSpace& space : RgbSpaces()) {
    SCOPED_TRACE(space.name);
    CheckBounds(source, &space, {});
    PreciseOptions options;
    options.unclipped = true;
    CheckBounds(source, &space, options);
  }
}

TEST(PreciseBounds, HoldForEveryDestinationForm) {
  const auto sources = profile_values::SourceForms();
  for (const NamedProfile& destination : profile_values::DestinationForms()) {
    for (const std::size_t n : {std::size_t{0}, std::size_t{3}, sources.size() - 1}) {
      SCOPED_TRACE(sources[n].name + " to " + destination.name);
      CheckBounds(sources[n].profile, &destination.profile, {});
    }
  }
}

TEST(PreciseBounds, HoldForAbsoluteColorimetry) {
  DeviceProfile source = profile_values::Lut16Lab(17, 256, IdentityCurve{});
  source.mediaWhite = {0.85, 0.9, 0.7};
  PreciseOptions options;
  options.intent = RenderingIntent::kAbsolute;
  CheckBounds(source, FindRgbSpace("srgb"), options);
  CheckBounds(source, Colorimetry::kLab, options);
  for (NamedProfile& destination : profile_values::DestinationForms()) {
    SCOPED_TRACE(destination.name);
    destination.profile.mediaWhite = {0.95, 0.98, 0.85};
    CheckBounds(source, &destination.profile, options);
  }
}

TEST(PreciseBounds, HoldWithBlackPointCompensation) {
  PreciseOptions options;
  options.intent = RenderingIntent::kRelative;
  options.blackPointCompensation = true;
  for (const NamedProfile& source : profile_values::SourceForms()) {
    SCOPED_TRACE(source.name);
    CheckBounds(source.profile, FindRgbSpace("srgb"), options);
  }
  const DeviceProfile source = profile_values::Lut16Lab(17, 256, IdentityCurve{});
  for (const NamedProfile& destination : profile_values::DestinationForms()) {
    SCOPED_TRACE(destination.name);
    CheckBounds(source, &destination.profile, options);
  }
}

}  // namespace

}  // namespace kxcms
