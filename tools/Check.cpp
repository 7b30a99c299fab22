#include "Check.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>

#include "Finding.h"
#include "InputFile.h"
#include "IntentNames.h"
#include "OneLine.h"
#include "ProfileCheck.h"
#include "ProfileSource.h"
#include "TiffCheck.h"
#include "base/Bytes.h"

namespace {

constexpr std::string_view kEmbedded = "embedded profile";

struct PartFindings {
  std::string_view part;  ///< "image", "profile" or "embedded profile"
  std::vector<Finding> findings;
};

struct FileReport {
  std::string file;
  const char* kind = "unknown";  ///< "profile" or "tiff" where that is known
  std::string unreadable;        ///< why; empty for a file that was checked
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

bool IsTiff(std::span<const unsigned char> head) {
  using namespace std::string_view_literals;
  constexpr std::array<std::string_view, 4> kMagic = {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
  return std::any_of(kMagic.begin(), kMagic.end(), [head](std::string_view magic) {
    return head.size() >= magic.size() && std::equal(magic.begin(), magic.end(), head.begin());
  });
}

/// A profile shows in its signature; one that has lost it, in its colour space and class, or in its
/// size (ICC.1:2010, 7.2).
bool IsProfile(std::span<const unsigned char> bytes) {
  const auto has = [&bytes](std::size_t at, std::string_view text) {
    return bytes.size() >= at + text.size() &&
           std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  };
  if (has(36, "acsp")) return true;
  constexpr std::size_t kHeaderSize = 128;
  if (bytes.size() < kHeaderSize) return false;
  if (kxcms::BigEndianView(bytes).U32(0) == bytes.size()) return true;
  return has(16, "RGB ") && (has(20, "Lab ") || has(20, "XYZ "));
}

FileReport Inspect(const std::string& file) {
  FileReport report;
  report.file = file;
  try {
    const Stream stream = OpenInput(file);
    const int fd = fileno(stream.get());
    RegularFileSize(fd, file);
    std::array<unsigned char, 4> head = {};
    const ssize_t got = pread(fd, head.data(), head.size(), 0);
    if (got == static_cast<ssize_t>(head.size()) && IsTiff(head)) {
      report.kind = "tiff";
      TiffReport image = InspectTiff(fd, file);
      report.parts.push_back({"image", std::move(image.findings)});
      if (image.form.profile) {
        report.parts.push_back({kEmbedded, InspectProfile(*image.form.profile)});
      }
      return report;
    }
    const std::vector<unsigned char> bytes = ReadProfile(fd, file);
    if (!IsProfile(bytes)) {
      throw Refusal(Exit::InputUnreadable, file + ": neither an ICC profile nor a TIFF file");
    }
    report.kind = "profile";
    report.parts.push_back({"profile", InspectProfile(bytes)});
  } catch (const Refusal& refusal) {
    report.unreadable = refusal.what();
  }
  return report;
}

const char* NameOf(Finding::Severity severity) {
  return severity == Finding::Severity::Error ? "error" : "warning";
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
      {"file", report.file}, {"kind", report.kind}, {"status", report.Status()}};
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
