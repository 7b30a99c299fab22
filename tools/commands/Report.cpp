#include "tools/commands/Report.h"

#include <filesystem>
#include <system_error>

#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/image/ImageError.h"
#include "tools/image/OutputBytes.h"
#include "tools/report/Json.h"
#include "tools/report/Page.h"
#include "tools/report/ProfileNumbers.h"

namespace {

namespace fs = std::filesystem;
namespace report = kxcms::report;

report::Question CheckedQuestion(const ReportRequest& request) {
  if (request.profiles.empty()) throw Refusal(Exit::Usage, "report needs at least one profile");
  if (request.page.empty()) throw Refusal(Exit::Usage, "report needs -o and a file to write");
  return {&SpaceNamed(request.space), IntentNamed(request.intent)};
}

bool AreOneFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return a == b || fs::equivalent(a, b, ignored);
}

void CheckOutputs(const ReportRequest& request) {
  if (!request.json.empty() && AreOneFile(request.page, request.json)) {
    throw Refusal(Exit::Usage, "-o and --json name the same file");
  }
  for (const std::string& profile : request.profiles) {
    for (const std::string& output : {request.page, request.json}) {
      if (!output.empty() && AreOneFile(profile, output)) {
        throw Refusal(Exit::Usage, output + " is a profile; a report would replace it");
      }
    }
  }
}

report::ProfileNumbers Measured(const std::string& path, const report::Question& question) {
  return WithProfile(path, [&](const std::vector<unsigned char>& bytes) {
    return report::Measure(fs::path(path).filename().string(), bytes, question);
  });
}

void Write(const std::string& path, const std::string& text) {
  OutputFile file(path);
  kxcms::image::OutputBytes bytes(file.fd());
  bytes.Write(0, text.data(), text.size());
  try {
    bytes.Check();
  } catch (const kxcms::image::ImageError& error) {
    throw Refusal(Exit::WriteFailed, "cannot write " + path + ": " + error.what());
  }
  file.Commit(false);
}

}  // namespace

CLI::App* AddReport(CLI::App& app, ReportRequest& request) {
  CLI::App* command = app.add_subcommand("report", "Show on one page what a profile is like");
  command->add_option("PROFILE", request.profiles, "ICC profiles");
  command->add_option("--to", request.space, "space to convert to (default: srgb)");
  command->add_option("--intent", request.intent,
                      "perceptual, relative, saturation or absolute (default: perceptual)");
  command->add_option("-o,--output", request.page, "HTML page to write");
  command->add_option("--json", request.json, "file for the numbers of the page, as JSON");
  return command;
}

void WriteReport(const ReportRequest& request) {
  const report::Question question = CheckedQuestion(request);
  CheckOutputs(request);
  std::vector<report::ProfileNumbers> profiles;
  for (const std::string& path : request.profiles) profiles.push_back(Measured(path, question));
  const report::Json document = report::Document(profiles, KXCMS_VERSION);
  const std::string page = report::Page(profiles, document);
  if (!request.json.empty()) Write(request.json, document.dump(1) + "\n");
  Write(request.page, page);
}
