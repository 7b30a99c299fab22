#include "tools/report/ColorProbe.h"

#include <algorithm>
#include <cstddef>

#include "exact/ColorDifference.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

constexpr std::size_t kNameWidth = 18, kNumberWidth = 13;

ProbedResult Compare(const Pipeline& pipeline, const Target& target, const Triple& device,
                     const Triple& exactEncoded) {
  ProbedResult result{};
  result.encoded = pipeline.Probe(device).back().values;
  result.difference = DeltaE2000(target.LabOf(exactEncoded), target.LabOf(result.encoded));
  return result;
}

Result<Pipeline> Make(const Profile& source, const Target& target, RenderingIntent intent,
                      Method method) {
  PipelineOptions options;
  options.intent = static_cast<Intent>(intent);
  options.method = method;
  return Pipeline::TryCreate(source, target.profile(), options);
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

// The conversions with one intent.
struct Prober::Way {
  RenderingIntent intent;
  exact::Conversion exactly;
  Pipeline precise;
  Result<Pipeline> fixed;
};

Prober::Prober(std::span<const unsigned char> bytes, const Target& target)
    : target_(target), profile_(std::make_unique<const DeviceProfile>(ReadProfile(bytes))) {
  const Profile source = Profile::FromMemory(bytes.data(), bytes.size());
  for (const RenderingIntent intent : kIntents) {
    ways_.push_back(std::make_shared<const Way>(
        Way{intent, exact::Conversion(*profile_, target.Exactly(), {.intent = intent}),
            Make(source, target, intent, Method::kPrecise).value(),
            Make(source, target, intent, Method::kFixed)}));
  }
}

IntentProbe Prober::ProbeIntent(const Way& way, const Triple& device) const {
  const exact::Trace trace = way.exactly.Evaluate(device);
  IntentProbe probe{};
  probe.intent = way.intent;
  probe.tag = TagOf(way.exactly.SourceModel());
  probe.isFallback = way.exactly.SourceModel().isFallback;
  probe.exactLab = trace.lab;
  probe.exactEncoded = trace.result;
  probe.stages = way.precise.Probe(device);
  probe.precise = Compare(way.precise, target_, device, trace.result);
  if (way.fixed) {
    probe.fixed = Compare(way.fixed.value(), target_, device, trace.result);
    probe.betweenBoth =
        DeltaE2000(target_.LabOf(probe.precise.encoded), target_.LabOf(probe.fixed.encoded));
  } else {
    probe.fixed.refusal = way.fixed.error().message();
  }
  return probe;
}

ColorProbe Prober::Probe(const Triple& device) const {
  ColorProbe probe{};
  probe.device = device;
  probe.destination = target_.name();
  for (std::size_t n = 0; n < ways_.size(); ++n) {
    probe.intents[n] = ProbeIntent(*ways_[n], device);
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
         {"fixed", JsonOf(intent.fixed)},
         {"betweenBoth", intent.betweenBoth ? Json(Rounded(*intent.betweenBoth, 9)) : Json()}});
  }
  return {{"device", Numbers(probe.device)},
          {"destination", Clean(probe.destination)},
          {"intents", intents}};
}

std::string LinesOf(const ColorProbe& probe) {
  std::string lines;
  for (const IntentProbe& intent : probe.intents) {
    lines += std::string(NameOf(intent.intent)) + ": " + intent.tag +
             (intent.isFallback ? ", for want of the tag of this intent" : "") + ", to " +
             Clean(probe.destination) + "\n";
    for (const kxcms::Stage& stage : intent.stages) {
      lines += Line(stage.name, stage.values, 6);
      const bool isClipped = std::any_of(stage.clipped.begin(), stage.clipped.end(),
                                         [](double by) { return by != 0; });
      if (isClipped) lines += Line("  clipped by", stage.clipped, 6);
    }
    lines += Line("exact Lab", intent.exactLab, 6) + Line("exact", intent.exactEncoded, 6) +
             LinesOf("PRECISE", intent.precise) + LinesOf("FIXED", intent.fixed);
    if (intent.betweenBoth) {
      lines += "  " + Padded("PRECISE to FIXED", kNameWidth) + "difference " +
               Fixed(*intent.betweenBoth, 6) + "\n";
    }
  }
  return lines;
}

}  // namespace kxcms::report
