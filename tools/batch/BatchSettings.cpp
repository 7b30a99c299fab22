#include "tools/batch/BatchSettings.h"

#include "tools/ProfileSource.h"
#include "tools/Sha256.h"
#include "tools/batch/Folders.h"

namespace kxcms::batch {

namespace {

/// A profile that an option names.
Json ProfileJson(const std::string& name, const std::string& sha256) {
  Json profile = Json::object();
  PutName(profile, "name", name);
  if (!IsImageSpace(name)) {
    PutName(profile, "path", AbsolutePath(name));
  }
  profile["sha256"] = sha256;
  return profile;
}

Json NamedJson(const std::optional<std::string>& name, ColorStore& colors) {
  return name ? ProfileJson(*name, Sha256Of(colors.Named(*name))) : Json();
}

std::string NamedBy(const Json& profile) {
  const std::string path = NameIn(profile, "path");
  return path.empty() ? NameIn(profile, "name") : path;
}

/// A profile without its name: what its bytes are decides.
Json Nameless(const Json& profile) {
  if (!profile.is_object()) return profile;
  Json rest = Json::object();
  rest["space"] = Member(profile, "path").is_null() ? Member(profile, "name") : Json();
  rest["sha256"] = Member(profile, "sha256");
  return rest;
}

template <typename Number>
std::optional<Number> NumberOr(const Json& settings, const char* key) {
  const Json& number = Member(settings, key);
  return number.is_number() ? std::optional(number.get<Number>()) : std::nullopt;
}

}  // namespace

Json JsonOf(const Settings& settings, ColorStore& colors) {
  const ConvertOptions& options = settings.options;
  const ConvertRequest& request = options.request;
  const auto orNull = [](const auto& value) { return value ? Json(*value) : Json(); };
  Json json = Json::object();
  json["to"] = ProfileJson(request.to, Sha256Of(colors.destination().bytes));
  json["profile"] = NamedJson(request.profile, colors);
  json["assume"] = NamedJson(request.assume, colors);
  json["profile_map"] = nullptr;
  if (settings.map) {
    Json map = Json::object();
    PutName(map, "path", AbsolutePath(settings.mapPath));
    map["sha256"] = Sha256Of(ReadProfileFile(settings.mapPath));
    map["profiles"] = Json::array();
    for (const std::string& name : settings.map->Profiles()) {
      map["profiles"].push_back(ProfileJson(name, Sha256Of(colors.Named(name))));
    }
    json["profile_map"] = std::move(map);
  }
  json["intent"] = options.intent;
  json["black_point_compensation"] = request.blackPointCompensation;
  json["pipeline"] = options.pipeline;
  json["lightness"] = request.lightness;
  json["chroma"] = request.chroma;
  json["hue"] = request.hueDeg;
  json["format"] = options.format.empty() ? Json() : Json(options.format);
  json["depth"] = orNull(options.bits);
  json["compress"] = options.compression;
  json["bigtiff"] = options.bigTiff;
  json["quality"] = orNull(request.quality);
  const bool isWord = request.tag == "auto" || request.tag == "none";
  json["tag"] = isWord ? Json(request.tag) : ProfileJson(request.tag, colors.tagSha256());
  json["pages"] = options.pages;
  return json;
}

std::string DigestOf(const Json& settings) {
  Json deciding = settings;
  for (const char* key : {"to", "profile", "assume", "tag"}) {
    deciding[key] = Nameless(Member(settings, key));
  }
  if (Json& map = deciding["profile_map"]; map.is_object()) {
    map.erase("path");
    map.erase("path_hex");
    for (Json& profile : map["profiles"]) profile = Nameless(profile);
  }
  return Sha256Of(TextOf(deciding));
}

ConvertOptions OptionsOf(const Json& settings) {
  ConvertOptions options;
  ConvertRequest& request = options.request;
  request.to = NamedBy(Member(settings, "to"));
  if (Member(settings, "profile").is_object()) {
    request.profile = NamedBy(Member(settings, "profile"));
  }
  if (Member(settings, "assume").is_object()) request.assume = NamedBy(Member(settings, "assume"));
  options.intent = StringIn(settings, "intent");
  request.blackPointCompensation = Member(settings, "black_point_compensation") == true;
  options.pipeline = StringIn(settings, "pipeline");
  request.lightness = NumberOr<double>(settings, "lightness").value_or(0);
  request.chroma = NumberOr<double>(settings, "chroma").value_or(0);
  request.hueDeg = NumberOr<double>(settings, "hue").value_or(0);
  options.format = StringIn(settings, "format");
  options.bits = NumberOr<int>(settings, "depth");
  options.compression = StringIn(settings, "compress");
  options.bigTiff = StringIn(settings, "bigtiff");
  request.quality = NumberOr<int>(settings, "quality");
  const Json& tag = Member(settings, "tag");
  request.tag = tag.is_string() ? tag.get<std::string>() : NamedBy(tag);
  options.pages = StringIn(settings, "pages");
  return options;
}

}  // namespace kxcms::batch
