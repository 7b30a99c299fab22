#include "Check.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <new>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "FileKind.h"
#include "Finding.h"
#include "ImageCheck.h"
#include "InputFile.h"
#include "IntentNames.h"
#include "OneLine.h"
#include "ProfileCheck.h"
#include "ProfileSource.h"

namespace {

constexpr std::string_view kEmbedded = "embedded profile";

struct PartFindings {
  std::string_view part;  ///< "image", "profile" or "embedded profile"
  std::vector<Finding> findings;
};

struct FileReport {
  std::string file;
  FileKind kind = FileKind::kUnknown;
  std::string unreadable;  ///< why; empty for a file that was checked
  std::vector<PartFindings> parts;

  bool HasErrors() const {
    const auto isError = [](const Finding& finding) {
      return finding.severity == Finding::Severity::Error;
    };
    return std::any_of(parts.begin(), parts.end(), [&isError](const PartFindings& part) {
      return std::any_of(part.findings.begin(), part.findings.end(), isError);
    });
  }
  const char* Status() const {
    if (!unreadable.empty()) return "unreadable";
    return HasErrors() ? "error" : "ok";
  }
};

/// What is wrong with the profile of an image. Who converts images does not use libKXCMS.
std::vector<Finding> InspectEmbedded(std::span<const unsigned char> profile) {
  std::vector<Finding> findings = InspectProfile(profile);
  std::erase_if(findings, [](const Finding& finding) { return finding.isOfFixedOnly; });
  return findings;
}

FileReport Inspect(const std::string& file) {
  FileReport report;
  report.file = file;
  try {
    const Stream stream = OpenInput(file);
    const int fd = fileno(stream.get());
    const std::uint64_t size = RegularFileSize(fd, file);
    report.kind = KindOf(fd, size);
    if (IsImage(report.kind)) {
      ImageReport image = InspectImage(fd, size, file);
      report.parts.push_back({"image", std::move(image.findings)});
      for (const std::vector<unsigned char>& profile : image.profiles) {
        report.parts.push_back({kEmbedded, InspectEmbedded(profile)});
      }
    } else if (report.kind == FileKind::kProfile) {
      report.parts.push_back({"profile", InspectProfile(ReadProfile(fd, file))});
    } else {
      report.unreadable = file + ": " + kUnknownKind;
    }
  } catch (const Refusal& refusal) {
    report.unreadable = refusal.what();
  } catch (const std::bad_alloc&) {
    report.unreadable = file + ": not enough memory for this file";
  }
  return report;
}

const char* NameOf(Finding::Severity severity) {
  switch (severity) {
    case Finding::Severity::Note:
      return "note";
    case Finding::Severity::Warning:
      return "warning";
    case Finding::Severity::Error:
      break;
  }
  return "error";
}

std::vector<const char*> NamesOf(IntentSet intents) {
  std::vector<const char*> names;
  for (std::size_t i = 0; i < intents.size(); ++i) {
    if (intents.test(i)) names.push_back(kIntentNames[i]);
  }
  return names;
}

void PrintLines(const FileReport& report) {
  if (!report.unreadable.empty()) {
    // In its place among the lines, where both go to the same terminal.
    std::cout.flush();
    std::cerr << "kxcms: " << OneLine(report.unreadable) << '\n';
  }
  for (const PartFindings& part : report.parts) {
    for (const Finding& finding : part.findings) {
      std::string line = report.file + ": " + NameOf(finding.severity) + ": ";
      if (part.part == kEmbedded) line += std::string(kEmbedded) + ": ";
      line += finding.text;
      if (finding.intents.any() && !finding.intents.all()) {
        std::string names;
        for (const char* name : NamesOf(finding.intents)) {
          names += (names.empty() ? "" : ", ") + std::string(name);
        }
        line += " [" + names + ']';
      }
      std::cout << OneLine(line) << '\n';
    }
  }
}

nlohmann::ordered_json JsonOf(const FileReport& report) {
  nlohmann::ordered_json findings = nlohmann::ordered_json::array();
  for (const PartFindings& part : report.parts) {
    for (const Finding& finding : part.findings) {
      findings.push_back({{"severity", NameOf(finding.severity)},
                          {"part", part.part},
                          {"code", finding.code},
                          {"intents", NamesOf(finding.intents)},
                          {"text", finding.text}});
    }
  }
  nlohmann::ordered_json object = {
      {"file", report.file}, {"kind", NameOf(report.kind)}, {"status", report.Status()}};
  if (!report.unreadable.empty()) object["reason"] = report.unreadable;
  object["findings"] = std::move(findings);
  return object;
}

}  // namespace

Exit CheckFiles(const CheckRequest& request) {
  Exit status = Exit::Done;
  nlohmann::ordered_json files = nlohmann::ordered_json::array();
  for (const std::string& file : request.files) {
    const FileReport report = Inspect(file);
    if (!report.unreadable.empty()) {
      status = Exit::InputUnreadable;
    } else if (report.HasErrors() && status == Exit::Done) {
      status = Exit::WouldBeWrong;
    }
    if (request.json) {
      files.push_back(JsonOf(report));
    } else {
      PrintLines(report);
    }
  }
  if (request.json) {
    const nlohmann::ordered_json document = {{"files", std::move(files)}};
    // File names need not be UTF-8.
    std::cout << document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
              << '\n';
  }
  return status;
}
