#include "tools/report/ProfileNumbers.h"

#include <algorithm>
#include <cmath>
#include <variant>

#include "api/pipeline.hpp"
#include "exact/ColorDifference.h"
#include "exact/Colorimetry.h"
#include "exact/Conversion.h"
#include "profile/Models.h"
#include "profile/ProfileReader.h"
#include "profile/SpaceProfile.h"
#include "tools/IntentNames.h"
#include "tools/report/Conversions.h"

namespace kxcms::report {

namespace {

constexpr std::size_t kGridLevels = 24;
constexpr std::size_t kSurfaceSteps = 40;
// Of a device with linear values, shadows take a small part of these steps.
constexpr std::size_t kVolumeSteps = 128;
constexpr std::size_t kShareSteps = 24;

// ---- Elements -----------------------------------------------------------------------------------

void MeasureCurves(const Model& model, const exact::Conversion& conversion,
                   ProfileNumbers& numbers) {
  const auto measured = [](const char* name, const std::array<Curve, 3>& curves) {
    return CurveGroup{name,
                      {MeasureCurve(curves[0]), MeasureCurve(curves[1]), MeasureCurve(curves[2])}};
  };
  // One stage for each element, so that their names stand at the same places.
  const std::vector<exact::Stage> stages = conversion.Evaluate({0, 0, 0}).sourceStages;
  if (model.table == nullptr) {
    numbers.input = measured(stages.front().name, model.matrixTrc->curves);
    return;
  }
  const std::vector<Element>& elements = model.table->elements;
  for (std::size_t n = 0; n < elements.size(); ++n) {
    const auto* curves = std::get_if<CurveSet>(&elements[n]);
    if (curves == nullptr) continue;
    if (n == 0) {
      numbers.input = measured(stages[n].name, curves->curves);
    } else if (n + 1 == elements.size()) {
      numbers.output = measured(stages[n].name, curves->curves);
    }
  }
}

// ---- Neutral axis and tone ----------------------------------------------------------------------

std::array<Device8, 256> Greys() {
  std::array<Device8, 256> greys;
  for (std::size_t n = 0; n < greys.size(); ++n) {
    const auto level = static_cast<std::uint8_t>(n);
    greys[n] = {level, level, level};
  }
  return greys;
}

NeutralAxis MeasureNeutralAxis(const exact::Conversion& toLab) {
  NeutralAxis axis{};
  const auto greys = Greys();
  for (std::size_t n = 0; n < greys.size(); ++n) {
    axis.lab[n] = toLab.Evaluate(DeviceOf(greys[n])).lab;
    const double chroma = std::hypot(axis.lab[n][1], axis.lab[n][2]);
    if (chroma > axis.largestChroma) {
      axis.largestChroma = chroma;
      axis.largestChromaAt = static_cast<int>(n);
    }
    if (n > 0 && axis.lab[n][0] < axis.lab[n - 1][0]) ++axis.lightnessReversals;
  }
  axis.black = axis.lab.front();
  axis.white = axis.lab.back();
  return axis;
}

ToneError MeasureTone(const NeutralAxis& axis, const Target& target, const Pipeline& pipeline) {
  constexpr double kNear = 2.5;
  ToneError tone{};
  const std::vector<Triple> results = Convert8(pipeline, Greys());
  for (std::size_t n = 0; n < results.size(); ++n) {
    const double lightness = axis.lab[n][0];
    const double error = target.LabOf(results[n])[0] - lightness;
    tone.error[n] = error;
    tone.largest = std::max(tone.largest, std::abs(error));
    for (std::size_t level = 0; level < kToneLevels.size(); ++level) {
      if (std::abs(lightness - kToneLevels[level]) > kNear) continue;
      std::optional<double>& worst = tone.worst[level];
      if (!worst || std::abs(error) > std::abs(*worst)) worst = error;
    }
  }
  return tone;
}

// ---- Gamut --------------------------------------------------------------------------------------

Gamut MeasureGamut(const ToLab& toLab) {
  Gamut gamut{};
  const std::vector<Triangle> surface = DeviceSurface(toLab, kSurfaceSteps);
  gamut.volume = EnclosedVolume(DeviceSurface(toLab, kVolumeSteps));
  for (std::size_t n = 0; n < kCutLightness.size(); ++n) {
    gamut.atLightness[n] = CutAtLightness(surface, kCutLightness[n]);
    gamut.areas[n] = EnclosedArea(gamut.atLightness[n]);
  }
  for (std::size_t n = 0; n < kCutHueDeg.size(); ++n) {
    gamut.atHue[n] = CutAtHue(surface, kCutHueDeg[n]);
    for (const auto& [from, to] : gamut.atHue[n]) {
      gamut.largestChroma[n] = std::max({gamut.largestChroma[n], from.x, to.x});
    }
  }
  return gamut;
}

double MeasureShareInside(const DeviceProfile& profile, const Target& target, const ToLab& toLab) {
  if (target.space() == nullptr) {
    const Solid gamut(
        DeviceSurface([&](const Triple& d) { return target.LabOf(d); }, kSurfaceSteps));
    return ShareInside(
        toLab, [&](const Triple& device) { return gamut.Contains(toLab(device)); }, kShareSteps);
  }
  const exact::Conversion relative(profile, target.Exactly(), {RenderingIntent::kRelative});
  return ShareInside(
      toLab,
      [&relative](const Triple& device) {
        // Colours on the surface of the destination are inside, whatever rounding does.
        constexpr double kNothing = 1e-4;
        const Triple by = relative.Evaluate(device).linear->clippedBy;
        return std::all_of(by.begin(), by.end(), [](double b) { return std::abs(b) <= kNothing; });
      },
      kShareSteps);
}

// ---- Pipelines ----------------------------------------------------------------------------------

PipelineNumbers MeasurePipeline(const Profile& source, const Question& question, Method method,
                                const exact::Conversion& exactly, const NeutralAxis& axis) {
  PipelineNumbers numbers{};
  PipelineOptions options;
  options.intent = static_cast<Intent>(question.intent);
  options.method = method;
  const Target& target = *question.target;
  const auto made = Pipeline::TryCreate(source, target.profile(), options);
  if (!made) {
    if (method == Method::kPrecise) throw Error(made.error());
    numbers.refusal = made.error().message();
    return numbers;
  }
  const std::vector<Device8> colors = DeviceGrid(kGridLevels);
  const std::vector<Triple> results8 = Convert8(made.value(), colors);
  const std::vector<Triple> results16 = Convert16(made.value(), colors);
  std::vector<double> differences8, differences16;
  for (std::size_t n = 0; n < colors.size(); ++n) {
    const Triple expected = target.LabOf(exactly.Result(DeviceOf(colors[n])));
    differences8.push_back(DeltaE2000(expected, target.LabOf(results8[n])));
    differences16.push_back(DeltaE2000(expected, target.LabOf(results16[n])));
  }
  numbers.at8 = Summarize(differences8);
  numbers.at16 = Summarize(differences16);
  numbers.worst8 = colors[numbers.at8.largestAt];
  numbers.worst16 = colors[numbers.at16.largestAt];
  numbers.tone = MeasureTone(axis, target, made.value());
  return numbers;
}

// ---- Round trip and intents ---------------------------------------------------------------------

std::optional<RoundTrip> MeasureRoundTrip(const DeviceProfile& profile) {
  const Model toDevice = DestinationModelFor(profile, RenderingIntent::kRelative);
  if (toDevice.table == nullptr) return std::nullopt;
  const exact::Conversion toLab(profile, exact::Measure::kLab, {RenderingIntent::kRelative});
  const exact::Conversion around(profile, &profile, {RenderingIntent::kRelative});
  RoundTrip trip{};
  trip.forward = TagOf(around.SourceModel());
  trip.back = TagOf(around.DestinationModel());
  const std::vector<Device8> colors = DeviceGrid(kGridLevels);
  std::vector<double> differences;
  for (const Device8& color : colors) {
    const exact::Trace there = around.Evaluate(DeviceOf(color));
    differences.push_back(DeltaE2000(there.lab, toLab.Result(there.result)));
  }
  trip.color = Summarize(differences);
  trip.worst = colors[trip.color.largestAt];
  return trip;
}

std::vector<IntentPair> CompareIntents(const DeviceProfile& profile) {
  const std::vector<Device8> colors = DeviceGrid(kGridLevels);
  std::array<std::vector<Triple>, kIntents.size()> labs;
  for (std::size_t n = 0; n < kIntents.size(); ++n) {
    const exact::Conversion toLab(profile, exact::Measure::kLab, {kIntents[n]});
    for (const Device8& color : colors) labs[n].push_back(toLab.Result(DeviceOf(color)));
  }
  std::vector<IntentPair> pairs;
  for (std::size_t a = 0; a < kIntents.size(); ++a) {
    for (std::size_t b = a + 1; b < kIntents.size(); ++b) {
      std::vector<double> differences;
      for (std::size_t n = 0; n < colors.size(); ++n) {
        differences.push_back(DeltaE2000(labs[a][n], labs[b][n]));
      }
      pairs.push_back({kIntents[a], kIntents[b], Summarize(differences)});
    }
  }
  return pairs;
}

std::string VersionText(std::uint32_t version) {
  return std::to_string(version >> 24) + "." + std::to_string(version >> 20 & 15) + "." +
         std::to_string(version >> 16 & 15);
}

}  // namespace

const char* NameOf(RenderingIntent intent) {
  return kIntentNames[static_cast<std::size_t>(intent)];
}

std::string TextOf(Signature signature) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const auto c = static_cast<char>(signature >> shift & 0xFF);
    text += c >= ' ' && c < '\177' ? c : '?';
  }
  return text;
}

std::string TagOf(const Model& model) {
  return model.table != nullptr ? TextOf(model.table->tag) : "matrix";
}

ProfileNumbers Measure(const std::string& name, std::span<const unsigned char> bytes,
                       const Question& question) {
  const DeviceProfile profile = ReadProfile(bytes);
  const Profile source = Profile::FromMemory(bytes.data(), bytes.size());
  const Target& target = *question.target;
  const exact::Conversion exactly(profile, target.Exactly(), {question.intent});
  const exact::Conversion toLab(profile, exact::Measure::kLab, {question.intent});
  const Model& model = exactly.SourceModel();

  ProfileNumbers numbers{};
  numbers.name = name;
  numbers.description = profile.description;
  numbers.version = VersionText(profile.version);
  numbers.deviceClass = TextOf(profile.deviceClass);
  numbers.pcs = profile.pcs == PcsSpace::kLab ? "Lab" : "XYZ";
  numbers.sizeBytes = profile.sizeBytes;
  numbers.mediaWhite = profile.mediaWhite;
  numbers.intent = question.intent;
  numbers.destination = target.name();
  numbers.tag = TagOf(model);
  numbers.isFallback = model.isFallback;

  MeasureCurves(model, exactly, numbers);
  numbers.neutral = MeasureNeutralAxis(toLab);
  if (model.table != nullptr) numbers.grid = MeasureGrid(*model.table);

  const exact::Conversion relative(profile, exact::Measure::kLab, {RenderingIntent::kRelative});
  const ToLab relativeLab = [&relative](const Triple& d) { return relative.Result(d); };
  numbers.gamut = MeasureGamut(relativeLab);
  numbers.destinationGamut = MeasureGamut([&target](const Triple& d) { return target.LabOf(d); });
  numbers.shareInside = MeasureShareInside(profile, target, relativeLab);

  numbers.colors = kGridLevels * kGridLevels * kGridLevels;
  numbers.precise = MeasurePipeline(source, question, Method::kPrecise, exactly, numbers.neutral);
  numbers.fixed = MeasurePipeline(source, question, Method::kFixed, exactly, numbers.neutral);
  numbers.roundTrip = MeasureRoundTrip(profile);
  numbers.intents = CompareIntents(profile);
  return numbers;
}

}  // namespace kxcms::report
