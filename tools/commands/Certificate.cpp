#include "tools/commands/Certificate.h"

#include <cmath>
#include <iostream>
#include <utility>
#include <vector>

#include "tools/InputFile.h"
#include "tools/LoadedLibrary.h"
#include "tools/ProfileSource.h"
#include "tools/Sha256.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/commands/TextFile.h"
#include "tools/report/Certificate.h"
#include "tools/report/ProfileNumbers.h"
#include "tools/report/Text.h"

namespace {

namespace report = kxcms::report;
using report::Json;

constexpr const char* kKind = "kxcms certificate";
constexpr std::int64_t kMostColors = std::int64_t{1} << 30;

// ---- What a certificate says --------------------------------------------------------------------

Json LibraryJson() {
  const std::string digest = LoadedLibrarySha256();
  if (digest.empty()) {
    throw Refusal(Exit::InputUnreadable, "the library that is loaded cannot be read");
  }
  return {{"version", std::string(kxcms::LibraryVersion())},
          {"level", std::string(kxcms::Level())},
          {"sha256", digest}};
}

kxcms::Method MethodNamed(const std::string& name) {
  if (name == "precise") return kxcms::Method::kPrecise;
  if (name == "fixed") return kxcms::Method::kFixed;
  throw Refusal(Exit::Usage, "unknown pipeline " + name + "; known: precise, fixed");
}

report::CertificateQuestion CheckedQuestion(const CertificateRequest& request) {
  report::CertificateQuestion question;
  question.intent = IntentNamed(request.intent);
  question.method = MethodNamed(request.pipeline);
  question.blackPointCompensation = request.blackPointCompensation;
  const bool isRelative = question.intent == kxcms::RenderingIntent::kRelative;
  if (question.blackPointCompensation &&
      (!isRelative || question.method == kxcms::Method::kFixed)) {
    throw Refusal(Exit::Usage,
                  "--black-point-compensation goes with --intent relative and --pipeline precise");
  }
  if (request.sample < 0 || request.sample > kMostColors) {
    throw Refusal(Exit::Usage, "--sample must be 1 to " + std::to_string(kMostColors));
  }
  question.sample = static_cast<std::uint64_t>(request.sample);
  return question;
}

Json ProfileJson(const std::string& path, std::span<const unsigned char> bytes) {
  return {{"file", report::Clean(path)}, {"sha256", Sha256Of(bytes)}};
}

Json Certified(const CertificateRequest& request) {
  const report::CertificateQuestion question = CheckedQuestion(request);
  const NamedTarget target = TargetNamed(request.to);
  Json json = {{"kind", kKind}, {"kxcms", KXCMS_VERSION}};
  const auto numbers = WithProfile(request.profile, [&](const std::vector<unsigned char>& bytes) {
    json["profile"] = ProfileJson(request.profile, bytes);
    return report::Certify(bytes, *target.target, question);
  });
  if (target.target->space() != nullptr) {
    json["destination"] = {{"space", target.target->name()}};
  } else {
    json["destination"] = ProfileJson(request.to, target.bytes);
  }
  json["intent"] = request.intent;
  json["blackPointCompensation"] = request.blackPointCompensation;
  json["pipeline"] = request.pipeline;
  json["sample"] = request.sample;
  json["library"] = LibraryJson();
  json["results"] = report::JsonOf(numbers);
  return json;
}

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

std::string Aligned(const std::string& text) {
  constexpr std::size_t kWidth = 16;
  return std::string(text.size() < kWidth ? kWidth - text.size() : 0, ' ') + text;
}

std::string LinesOf(const Json& json) {
  constexpr std::size_t kNameWidth = 14, kRowWidth = 24;
  std::string lines =
      "Certificate of a conversion, by kxcms " + json["kxcms"].get<std::string>() + "\n\n";
  const auto add = [&lines](const char* name, const std::string& text) {
    lines += Padded(name, kNameWidth) + text + "\n";
  };
  const auto text = [](const Json& value) { return value.get<std::string>(); };
  const auto digest = [&](const Json& of) { add("", "SHA-256 " + text(of["sha256"])); };
  const Json& results = json["results"];
  add("Profile", text(json["profile"]["file"]));
  digest(json["profile"]);
  const Json& destination = json["destination"];
  if (destination.contains("space")) {
    add("Destination", text(destination["space"]));
  } else {
    add("Destination", text(destination["file"]));
    digest(destination);
  }
  add("Intent",
      text(json["intent"]) +
          (json["blackPointCompensation"].get<bool>() ? ", with black point compensation" : ""));
  add("Tags", text(results["sourceTag"]) + ", " + text(results["targetTag"]));
  add("Pipeline", text(json["pipeline"]) == "fixed" ? "FIXED" : "PRECISE");
  const Json& library = json["library"];
  add("Library", "libKXPipeline " + text(library["version"]) + ", level " + text(library["level"]));
  digest(library);

  const auto sample = json["sample"].get<std::int64_t>();
  lines += "\nWhat kxcms convert makes of " +
           (sample == 0 ? std::string("all 16777216 colours of 8 bits a sample")
                        : std::to_string(sample) + " random colours of 16 bits a sample") +
           ", beside the\nevaluation of the same profiles in double precision:\n\n";
  std::vector<const Json*> depths;
  std::string row = std::string(kRowWidth, ' ');
  for (const auto& [key, name] : {std::pair("bits8", "8 bits"), std::pair("bits16", "16 bits")}) {
    if (!results.contains(key)) continue;
    depths.push_back(&results[key]);
    row += Aligned(name);
  }
  lines += row + "\n";
  const auto addRow = [&](const char* name, const auto& cell) {
    lines += Padded(name, kRowWidth);
    for (const Json* depth : depths) lines += Aligned(cell(*depth));
    lines += "\n";
  };
  const auto count = [&](const char* name, const char* key) {
    addRow(name, [key](const Json& depth) {
      return std::to_string(depth[key].template get<std::uint64_t>());
    });
  };
  count("Samples equal", "equal");
  count("  1 level off", "off1");
  count("  2 levels off", "off2");
  count("  3 levels or more", "offMore");
  count("Largest, in levels", "largestLevels");
  const auto difference = [&](const char* name, const char* key) {
    addRow(name, [key](const Json& depth) {
      return report::Fixed(depth["ciede2000"][key].template get<double>(), 6);
    });
  };
  difference("CIEDE2000, mean", "mean");
  difference("  50 %", "share50");
  difference("  90 %", "share90");
  difference("  95 %", "share95");
  difference("  99 %", "share99");
  difference("  largest", "largest");
  addRow("  at, of 65535", [](const Json& depth) {
    std::string place;
    for (const Json& value : depth["ciede2000"]["largestAt"]) {
      if (!place.empty()) place += ',';
      place += std::to_string(value.get<unsigned>());
    }
    return place;
  });
  return lines +
         "\nLevels are counted from the exact result rounded to the depth; CIEDE2000 from the "
         "exact\n"
         "result itself, so that it contains the rounding.\n";
}

// ---- Checking one again -------------------------------------------------------------------------

[[noreturn]] void RefuseCertificate(const std::string& path, const std::string& reason) {
  throw Refusal(Exit::InputUnreadable, path + ": " + reason);
}

/// What a certificate asks, to be asked again.
CertificateRequest RequestOf(const Json& certificate, const std::string& path) {
  CertificateRequest request;
  try {
    if (certificate.at("kind").get<std::string>() != kKind) {
      RefuseCertificate(path, "not a certificate");
    }
    const Json& destination = certificate.at("destination");
    request.profile = certificate.at("profile").at("file").get<std::string>();
    certificate.at("profile").at("sha256").get<std::string>();
    request.to = destination.contains("space") ? destination.at("space").get<std::string>()
                                               : destination.at("file").get<std::string>();
    request.intent = certificate.at("intent").get<std::string>();
    request.blackPointCompensation = certificate.at("blackPointCompensation").get<bool>();
    request.pipeline = certificate.at("pipeline").get<std::string>();
    request.sample = certificate.at("sample").get<std::int64_t>();
    for (const char* key : {"version", "level", "sha256"}) {
      certificate.at("library").at(key).get<std::string>();
    }
    certificate.at("results");
    CheckedQuestion(request);
  } catch (const Json::exception&) {
    RefuseCertificate(path, "not a certificate, or damaged");
  } catch (const Refusal& refusal) {
    RefuseCertificate(path, std::string("damaged: ") + refusal.what());
  }
  return request;
}

// Where two documents differ. The last digit of a difference of colours depends on the maths
// library of the machine.
void Differences(const Json& told, const Json& found, const std::string& at,
                 std::vector<std::string>& differences) {
  constexpr double kLastDigit = 2e-6;
  if (told.is_number_float() && found.is_number_float()) {
    if (!(std::abs(told.get<double>() - found.get<double>()) <= kLastDigit)) {
      differences.push_back(at + ": " + told.dump() + " in the certificate, " + found.dump());
    }
    return;
  }
  if (told.is_object() && found.is_object()) {
    for (const auto& [key, value] : found.items()) {
      Differences(told.contains(key) ? told[key] : Json(), value,
                  at + (at.empty() ? "" : " ") + key, differences);
    }
    return;
  }
  if (told != found) {
    const auto replace = Json::error_handler_t::replace;
    differences.push_back(at + ": " + told.dump(-1, ' ', false, replace) + " in the certificate, " +
                          found.dump(-1, ' ', false, replace));
  }
}

Exit Verify(const CertificateRequest& asked) {
  const std::vector<unsigned char> bytes = ReadWhole(asked.verify);
  const Json told = Json::parse(bytes, nullptr, false);
  if (told.is_discarded()) RefuseCertificate(asked.verify, "not a certificate");
  CertificateRequest request = RequestOf(told, asked.verify);
  if (!asked.profile.empty()) request.profile = asked.profile;
  const std::string digest = Sha256Of(ReadProfileFile(request.profile));
  if (digest != told["profile"]["sha256"].get<std::string>()) {
    std::cout << "does not hold: " + report::Clean(request.profile) +
                     " is another profile than the one that was certified\n";
    return Exit::WouldBeWrong;
  }
  const Json found = Certified(request);
  std::vector<std::string> differences, notes;
  for (const char* key : {"destination", "results"}) {
    Differences(told[key], found[key], key, differences);
  }
  Differences(told["library"], found["library"], "library", notes);
  if (differences.empty()) {
    std::cout << "holds: " << report::Clean(request.profile) << " is converted as "
              << report::Clean(asked.verify) << " says\n";
  }
  for (const std::string& line : differences) std::cout << "does not hold: " << line << '\n';
  for (const std::string& line : notes) std::cout << "note: " << line << '\n';
  return differences.empty() ? Exit::Done : Exit::WouldBeWrong;
}

void CheckFiles(const CertificateRequest& request) {
  const bool isVerified = !request.verify.empty();
  if (isVerified && !(request.text.empty() && request.json.empty())) {
    throw Refusal(Exit::Usage, "--verify writes nothing; -o and --json do not go with it");
  }
  if (!isVerified && request.profile.empty()) {
    throw Refusal(Exit::Usage, "certificate needs a profile");
  }
  CheckDistinct(request.text, request.json);
  for (const std::string& output : {request.text, request.json}) {
    for (const std::string& input : {request.profile, request.to}) {
      CheckNotReplaced(input, output, "a certificate");
    }
  }
}

}  // namespace

CLI::App* AddCertificate(CLI::App& app, CertificateRequest& request) {
  CLI::App* command =
      AddCommand(app, "certificate", "Measure on this machine how exactly a profile is converted");
  AddArgument(*command, "PROFILE", request.profile, "ICC profile of the device");
  AddColorsTo(*command, request.to);
  AddIntent(*command, request.intent);
  const OptionGroup colors(*command, option_group::kColors);
  colors.Flag("--black-point-compensation", request.blackPointCompensation,
              "map the device's black to the output's (with --intent relative)");
  colors.Option("--pipeline", request.pipeline, "precise or fixed (default: precise)");
  colors.Number("--sample", request.sample,
                "look at so many random colours of 16 bits (default: all colours of 8 bits)");
  const OptionGroup file(*command, option_group::kFile);
  file.Option("-o,--output", request.text, "file for the certificate as text");
  file.Option("--json", request.json, "file for the certificate as JSON");
  const OptionGroup running(*command, option_group::kRunning);
  running.Option("--verify", request.verify, "JSON certificate to check again");
  return command;
}

Exit Certificate(const CertificateRequest& request) {
  CheckFiles(request);
  if (!request.verify.empty()) return Verify(request);
  const Json json = Certified(request);
  if (!request.json.empty()) WriteText(request.json, json.dump(1) + "\n");
  if (!request.text.empty()) WriteText(request.text, LinesOf(json));
  if (request.json.empty() && request.text.empty()) std::cout << LinesOf(json);
  return Exit::Done;
}
