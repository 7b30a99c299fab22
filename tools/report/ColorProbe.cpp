#include "tools/report/ColorProbe.h"

#include <algorithm>
#include <cstddef>

#include "exact/ColorDifference.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tools/report/Conversions.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

constexpr std::size_t kNameWidth = 18, kNumberWidth = 13;

ProbedResult Compare(const Pipeline& pipeline, const RgbSpace& space, const Triple& device,
                     const Triple& exactEncoded) {
  ProbedResult result{};
  result.encoded = pipeline.Probe(device).back().values;
  result.difference = DeltaE2000(LabOf(space, exactEncoded), LabOf(space, result.encoded));
  return result;
}

IntentProbe ProbeIntent(const DeviceProfile& profile, const Profile& source, const RgbSpace& space,
                        RenderingIntent intent, const Triple& device) {
  const exact::Conversion exactly(profile, &space, {intent});
  const exact::Trace trace = exactly.Evaluate(device);
  IntentProbe probe{};
  probe.intent = intent;
  probe.tag = TagOf(exactly.SourceModel());
  probe.isFallback = exactly.SourceModel().isFallback;
  probe.exactLab = trace.lab;
  probe.exactEncoded = trace.result;

  PipelineOptions options;
  options.intent = static_cast<Intent>(intent);
  const Profile destination = Profile::BuiltIn(space.name);
  const Pipeline precise(source, destination, options);
  probe.stages = precise.Probe(device);
  probe.precise = Compare(precise, space, device, trace.result);
  options.method = Method::kFixed;
  const auto fixed = Pipeline::TryCreate(source, destination, options);
  if (fixed) {
    probe.fixed = Compare(fixed.value(), space, device, trace.result);
  } else {
    probe.fixed.refusal = fixed.error().message();
  }
  return probe;
}

Json Numbers(const Triple& values) {
  Json list = Json::array();
  for (const double value : values) list.push_back(Rounded(value, 9));
  return list;
}

Json JsonOf(const ProbedResult& result) {
  if (!result.refusal.empty()) return {{"refused", Clean(result.refusal)}};
  return {{"encoded", Numbers(result.encoded)}, {"difference", Rounded(result.difference, 9)}};
}

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(width - std::min(width, text.size()), ' ');
}

std::string Line(const std::string& name, const Triple& values, int decimals) {
  std::string line = "  " + Padded(name, kNameWidth);
  for (const double value : values) {
    const std::string number = Fixed(value, decimals);
    line += std::string(kNumberWidth - std::min(kNumberWidth, number.size()), ' ') + number;
  }
  return line + "\n";
}

std::string LinesOf(const char* name, const ProbedResult& result) {
  if (!result.refusal.empty()) {
    return "  " + Padded(name, kNameWidth) + "refused: " + Clean(result.refusal) + "\n";
  }
  std::string line = Line(name, result.encoded, 6);
  line.pop_back();
  return line + "  difference " + Fixed(result.difference, 6) + "\n";
}

}  // namespace

ColorProbe Probe(std::span<const unsigned char> bytes, const RgbSpace& destination,
                 const Triple& device) {
  const DeviceProfile profile = ReadProfile(bytes);
  const Profile source = Profile::FromMemory(bytes.data(), bytes.size());
  ColorProbe probe{};
  probe.device = device;
  probe.destination = destination.name;
  for (std::size_t n = 0; n < kIntents.size(); ++n) {
    probe.intents[n] = ProbeIntent(profile, source, destination, kIntents[n], device);
  }
  return probe;
}

Json JsonOf(const ColorProbe& probe) {
  Json intents = Json::array();
  for (const IntentProbe& intent : probe.intents) {
    Json stages = Json::array();
    for (const kxcms::Stage& stage : intent.stages) {
      stages.push_back({{"name", stage.name},
                        {"values", Numbers(stage.values)},
                        {"clipped", Numbers(stage.clipped)}});
    }
    intents.push_back(
        {{"intent", NameOf(intent.intent)},
         {"tag", intent.tag},
         {"isFallback", intent.isFallback},
         {"stages", stages},
         {"exact", {{"lab", Numbers(intent.exactLab)}, {"encoded", Numbers(intent.exactEncoded)}}},
         {"precise", JsonOf(intent.precise)},
         {"fixed", JsonOf(intent.fixed)}});
  }
  return {
      {"device", Numbers(probe.device)}, {"destination", probe.destination}, {"intents", intents}};
}

std::string LinesOf(const ColorProbe& probe) {
  std::string lines;
  for (const IntentProbe& intent : probe.intents) {
    lines += std::string(NameOf(intent.intent)) + ": " + intent.tag +
             (intent.isFallback ? ", for want of the tag of this intent" : "") + ", to " +
             probe.destination + "\n";
    for (const kxcms::Stage& stage : intent.stages) {
      lines += Line(stage.name, stage.values, 6);
      const bool isClipped = std::any_of(stage.clipped.begin(), stage.clipped.end(),
                                         [](double by) { return by != 0; });
      if (isClipped) lines += Line("  clipped by", stage.clipped, 6);
    }
    lines += Line("exact Lab", intent.exactLab, 6) + Line("exact", intent.exactEncoded, 6) +
             LinesOf("PRECISE", intent.precise) + LinesOf("FIXED", intent.fixed);
  }
  return lines;
}

}  // namespace kxcms::report
