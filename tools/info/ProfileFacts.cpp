#include "tools/info/ProfileFacts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "api/pipeline.hpp"
#include "base/Limits.h"
#include "profile/TagBytes.h"
#include "tools/ProfileCheck.h"
#include "tools/commands/ColorHandles.h"
#include "tools/info/Wording.h"

namespace kxcms::info {

namespace {

constexpr std::pair<Intent, const char*> kIntents[] = {{Intent::kPerceptual, "perceptual"},
                                                       {Intent::kRelative, "relative"},
                                                       {Intent::kSaturation, "saturation"},
                                                       {Intent::kAbsolute, "absolute"}};
constexpr std::pair<const char*, const char*> kClasses[] = {
    {"scnr", "input device"}, {"mntr", "display device"}, {"prtr", "output device"},
    {"link", "device link"},  {"spac", "colour space"},   {"abst", "abstract profile"},
    {"nmcl", "named colours"}};
constexpr std::array<double, 5> kGreys = {0, 0.25, 0.5, 0.75, 1};

// ICC.1:2010 7.2 and 7.3.
constexpr std::uint64_t kTagCountAt = 128;
constexpr std::uint64_t kTableAt = 132;
constexpr std::uint64_t kEntryBytes = 12;

/// Four characters; what cannot be shown is a question mark.
std::string TextOf(Signature signature) {
  std::string text(4, '?');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(signature >> (24 - 8 * i));
    if (c >= ' ' && c < 0x7F) text[i] = static_cast<char>(c);
  }
  return text;
}

// More decimals than the numbers of a profile have.
double Rounded(double value) {
  constexpr double kSteps = 1e6;
  return std::round(value * kSteps) / kSteps;
}

Json Numbers(const std::array<double, 3>& values) {
  Json list = Json::array();
  for (const double value : values) list.push_back(Rounded(value));
  return list;
}

std::string VersionOf(std::uint32_t version) {
  return std::to_string(version >> 24) + "." + std::to_string(version >> 20 & 15) + "." +
         std::to_string(version >> 16 & 15);
}

/// What header and tag table say, of a profile that nobody converts by too.
Json Outline(const BigEndianView& bytes) {
  Json facts;
  const std::string deviceClass = TextOf(bytes.U32(12));
  facts["sizeBytes"] = bytes.U32(0);
  facts["version"] = VersionOf(bytes.U32(8));
  facts["class"] = deviceClass;
  facts["className"] = nullptr;
  for (const auto& [signature, name] : kClasses) {
    if (deviceClass == signature) facts["className"] = name;
  }
  facts["colorSpace"] = TextOf(bytes.U32(16));
  facts["connectionSpace"] = TextOf(bytes.U32(20));
  ReadBudget budget(ReaderLimit(bytes.size()));
  std::string description;
  Json tags = Json::array();
  const std::uint64_t most = (bytes.size() - kTableAt) / kEntryBytes;
  const std::uint64_t count = std::min<std::uint64_t>(bytes.U32(kTagCountAt), most);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t at = kTableAt + i * kEntryBytes;
    const Signature signature = bytes.U32(at);
    const std::uint32_t offset = bytes.U32(at + 4), size = bytes.U32(at + 8);
    const BigEndianView content = bytes.Part(offset, size);
    if (i < kMostShown) {
      tags.push_back({{"signature", TextOf(signature)},
                      {"type", TextOf(content.U32(0))},
                      {"offset", offset},
                      {"sizeBytes", size}});
    }
    if (signature == MakeSignature("desc")) {
      description = ReadText({signature, offset, content}, budget);
    }
  }
  facts["description"] = description;
  facts["tagCount"] = count;
  facts["tags"] = std::move(tags);
  return facts;
}

Json OrNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

/// Why the pipeline does not lead from one to the other; empty if it does.
std::string WhyNot(const Result<Pipeline>& made) {
  if (made) return "";
  if (made.error().status() == KXP_ERROR_MEMORY) throw std::bad_alloc();
  return ClauseOf(made.error().message());
}

Json SourceTagOf(const SourceTag& tag) {
  return {{"tag", tag.tag},
          {"isFallback", tag.isFallback},
          {"gridPoints", tag.gridPoints},
          {"inputEntries", tag.inputEntries},
          {"outputEntries", tag.outputEntries}};
}

/// L*, a*, b* of equal device values, with the relative intent.
Json NeutralAxis(const Pipeline& toLab) {
  std::array<float, 3 * kGreys.size()> colors;
  for (std::size_t i = 0; i < colors.size(); ++i) colors[i] = static_cast<float>(kGreys[i / 3]);
  const auto image = Rgb(colors.data(), kGreys.size(), 1);
  toLab.Convert(image, image);
  Json axis = Json::array();
  for (std::size_t i = 0; i < kGreys.size(); ++i) {
    Json lab = Json::array();
    for (std::size_t c = 0; c < 3; ++c) lab.push_back(Rounded(double{colors[3 * i + c]}));
    axis.push_back({{"device", kGreys[i]}, {"lab", std::move(lab)}});
  }
  return axis;
}

/// What the pipeline library knows of a profile that it takes.
void AddUse(const Profile& profile, bool hasWhite, ProfileFacts& told) {
  Json& facts = told.facts;
  facts["white"] = Numbers(profile.white());
  facts["isWhiteAssumed"] = !hasWhite;
  const auto black = profile.black();
  facts["black"] = black ? Numbers(*black) : Json(nullptr);

  PipelineOptions relative;
  relative.intent = Intent::kRelative;
  const auto toLab = Pipeline::TryCreate(profile, Profile::BuiltIn("lab"), relative);
  told.notASource = WhyNot(toLab);
  Json source = {{"isPossible", told.notASource.empty()}, {"reason", OrNull(told.notASource)}};
  if (toLab) {
    for (const auto& [intent, name] : kIntents) {
      source["intents"][name] = SourceTagOf(profile.sourceTag(intent));
    }
  }
  facts["source"] = std::move(source);
  const std::string notATarget =
      WhyNot(Pipeline::TryCreate(Profile::BuiltIn("srgb"), profile, relative));
  Json destination = {{"isPossible", notATarget.empty()}, {"reason", OrNull(notATarget)}};
  if (notATarget.empty()) {
    for (const auto& [intent, name] : kIntents) {
      const DestinationTag tag = profile.destinationTag(intent);
      destination["intents"][name] = {{"tag", tag.tag}, {"isFallback", tag.isFallback}};
    }
  }
  facts["destination"] = std::move(destination);
  if (toLab) facts["neutralAxis"] = NeutralAxis(toLab.value());
}

/// The first error that there is; empty without one.
std::string DamageOf(std::span<const unsigned char> bytes) {
  for (const Finding& finding : InspectProfile(bytes)) {
    if (finding.severity == Finding::Severity::Error) return finding.text;
  }
  return "";
}

/// A signature without the spaces that fill it up.
std::string Trimmed(const std::string& signature) {
  return signature.substr(0, signature.find_last_not_of(' ') + 1);
}

std::string Joined(const Json& numbers, const char* between) {
  std::string text;
  for (const Json& number : numbers) {
    text += (text.empty() ? "" : between) + std::to_string(number.get<std::uint32_t>());
  }
  return text;
}

std::string Entries(const Json& counts) {
  const bool isFormula =
      std::all_of(counts.begin(), counts.end(), [](const Json& count) { return count == 0u; });
  return isFormula ? "" : Joined(counts, ", ") + " entries";
}

std::string LineOfIntent(const std::string& name, const Json& use) {
  std::string line = "  " + name + ": " + use["tag"].get<std::string>();
  if (use["isFallback"].get<bool>()) line += " (fallback)";
  if (!use.contains("gridPoints")) return line;
  if (use["gridPoints"][0] != 0u) line += ", grid " + Joined(use["gridPoints"], " x ");
  const std::string input = Entries(use["inputEntries"]), output = Entries(use["outputEntries"]);
  if (!input.empty()) line += ", input curves of " + input;
  if (!output.empty()) line += ", output curves of " + output;
  return line;
}

}  // namespace

ProfileFacts FactsOfProfile(std::span<const unsigned char> bytes) {
  ProfileFacts told;
  const auto profile = Profile::TryFromMemory(bytes);
  if (!profile && profile.error().status() == KXP_ERROR_MEMORY) throw std::bad_alloc();
  if (!profile) {
    told.damage = DamageOf(bytes);
    if (!told.damage.empty()) return told;
  }
  const BigEndianView view(bytes);
  told.facts = Outline(view.Part(0, view.U32(0)));
  if (profile) {
    told.facts["description"] = profile.value().description();
    const std::vector<std::string> tags = profile.value().tags();
    const bool hasWhite = std::find(tags.begin(), tags.end(), "wtpt") != tags.end();
    told.facts["isUsable"] = true;
    told.facts["reason"] = nullptr;
    AddUse(profile.value(), hasWhite, told);
  } else {
    told.notASource = ClauseOf(profile.error().message());
    told.facts["isUsable"] = false;
    told.facts["reason"] = told.notASource;
  }
  return told;
}

std::string LinesOfProfile(const Json& facts, const std::string& indent) {
  std::string lines;
  const auto add = [&](const std::string& line) { lines += Line(indent + line); };
  const auto text = [&facts](const char* key) { return facts[key].get<std::string>(); };
  const std::string className =
      facts["className"].is_null() ? "class " + text("class") : text("className");
  add("ICC profile " + text("version") + ", " + className + ", " + Trimmed(text("colorSpace")) +
      " to " + Trimmed(text("connectionSpace")) + ", " +
      HumanBytes(facts["sizeBytes"].get<std::uint64_t>()));
  if (!text("description").empty()) add("description: " + text("description"));
  if (!facts["isUsable"].get<bool>()) add("cannot be used: " + text("reason"));
  if (facts.contains("white")) {
    add("white: XYZ " + Decimals(facts["white"], 4) +
        (facts["isWhiteAssumed"].get<bool>() ? " (D50, none is stated)" : ""));
    if (!facts["black"].is_null()) add("black: XYZ " + Decimals(facts["black"], 4));
  }
  for (const auto& [key, what] : {std::pair("source", "from it"), {"destination", "to it"}}) {
    if (!facts.contains(key)) continue;
    const Json& use = facts[key];
    if (!use["isPossible"].get<bool>()) {
      add(std::string("cannot be converted ") + what + ": " + use["reason"].get<std::string>());
      continue;
    }
    add(std::string("conversion ") + what + ":");
    for (const auto& [name, intent] : use["intents"].items()) add(LineOfIntent(name, intent));
  }
  if (facts.contains("neutralAxis")) {
    add("neutral axis, L*, a*, b* with the relative intent:");
    for (const Json& grey : facts["neutralAxis"]) {
      add("  " + std::to_string(std::lround(100 * grey["device"].get<double>())) +
          " %: " + Decimals(grey["lab"], 2));
    }
  }
  add("tags: signature, type, offset, bytes");
  for (const Json& tag : facts["tags"]) {
    add("  " + tag["signature"].get<std::string>() + " " + tag["type"].get<std::string>() + " " +
        std::to_string(tag["offset"].get<std::uint32_t>()) + " " +
        std::to_string(tag["sizeBytes"].get<std::uint32_t>()));
  }
  const std::size_t shown = facts["tags"].size();
  const auto count = facts["tagCount"].get<std::size_t>();
  if (count > shown) add("  and " + std::to_string(count - shown) + " further tags");
  return lines;
}

}  // namespace kxcms::info
