#include "tools/commands/Report.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "tools/OneLine.h"
#include "tools/Refusal.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/commands/ImageFile.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/commands/TextFile.h"
#include "tools/report/Json.h"
#include "tools/report/Page.h"

namespace {

namespace report = kxcms::report;

constexpr int kMostStars = 4;

struct Chart {
  std::string name;
  std::vector<report::ChartPatch> patches;
};

std::string ShownName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

void CheckRequest(const ReportRequest& request) {
  if (request.profiles.empty()) throw Refusal(Exit::Usage, "report needs at least one profile");
  if (request.page.empty()) throw Refusal(Exit::Usage, "report needs -o and a file to write");
  if (request.failBelow) {
    if (*request.failBelow < 1 || *request.failBelow > kMostStars) {
      throw Refusal(Exit::Usage, "--fail-below must be 1 to " + std::to_string(kMostStars));
    }
    if (request.charts.empty()) {
      throw Refusal(Exit::Usage, "--fail-below needs --chart, which the stars are of");
    }
  }
  CheckDistinct(request.page, request.json);
  std::vector<std::string> inputs = {request.compared, request.to};
  for (const auto* list : {&request.profiles, &request.images, &request.charts}) {
    inputs.insert(inputs.end(), list->begin(), list->end());
  }
  for (const std::string& input : inputs) {
    CheckNotReplaced(input, request.page, "a report");
    CheckNotReplaced(input, request.json, "a report");
  }
}

std::vector<Chart> ReadCharts(const std::vector<std::string>& paths) {
  std::vector<Chart> charts;
  for (const std::string& path : paths) {
    const std::vector<unsigned char> bytes = ReadWhole(path);
    try {
      charts.push_back(
          {ShownName(path),
           report::ReadChart({reinterpret_cast<const char*>(bytes.data()), bytes.size()})});
    } catch (const report::ChartError& error) {
      throw Refusal(Exit::InputUnreadable, path + ": " + error.what());
    }
  }
  return charts;
}

report::ImageNumbers MeasuredImage(const std::string& path,
                                   const std::vector<unsigned char>& profile,
                                   const report::Question& question) {
  ImageFile image(path);
  const kxcms::image::Page& page = image.page();
  report::ImageMeter meter(ShownName(path), profile, question, page.width, page.height, page.bits);
  const std::uint32_t piece = image.RowsAtOnce();
  for (std::uint32_t row = 0; row < page.height; row += piece) {
    image.ReadRows(std::min(piece, page.height - row));
    meter.Add(image.Rows());
  }
  report::ImageNumbers numbers = meter.Numbers();
  numbers.pages = image.PageCount();
  return numbers;
}

report::ProfileReport Measured(const std::string& path, const ReportRequest& request,
                               const report::Question& question, const std::vector<Chart>& charts) {
  return WithProfile(path, [&](const std::vector<unsigned char>& bytes) {
    report::ProfileReport measured;
    measured.numbers = report::Measure(ShownName(path), bytes, question);
    if (!request.compared.empty()) {
      measured.compared =
          WithProfile(request.compared, [&](const std::vector<unsigned char>& other) {
            return report::CompareProfiles(bytes, other, ShownName(request.compared),
                                           question.intent);
          });
    }
    for (const Chart& chart : charts) {
      measured.charts.push_back(report::MeasureChart(chart.name, chart.patches, bytes, question));
    }
    for (const std::string& image : request.images) {
      measured.images.push_back(MeasuredImage(image, bytes, question));
    }
    return measured;
  });
}

/// A line for each chart with fewer stars than that.
std::string LinesBelow(const std::vector<report::ProfileReport>& profiles, int stars) {
  std::string lines;
  for (const report::ProfileReport& profile : profiles) {
    for (const report::ChartNumbers& chart : profile.charts) {
      if (chart.stars >= stars) continue;
      lines += OneLine(profile.numbers.name + ", chart " + chart.name) + ": " +
               std::to_string(chart.stars) + " of " + std::to_string(stars) + " stars\n";
    }
  }
  return lines;
}

}  // namespace

CLI::App* AddReport(CLI::App& app, ReportRequest& request) {
  CLI::App* command = AddCommand(app, "report", "Show on one page what a profile is like");
  AddArgument(*command, "PROFILE", request.profiles, "ICC profiles");
  const OptionGroup contents(*command, option_group::kContents);
  contents.Options("--image", request.images,
                   "TIFF (its first page), JPEG or PNG with device values of the profile, to be "
                   "looked at too");
  contents.Options("--chart", request.charts,
                   "chart that the device has captured (.ti3 or other CGATS), likewise");
  contents.Option("--compare", request.compared, "another ICC profile to compare with");
  AddColorsTo(*command, request.to);
  AddIntent(*command, request.intent);
  const OptionGroup file(*command, option_group::kFile);
  file.Option("-o,--output", request.page, "HTML page to write");
  file.Option("--json", request.json, "file for the numbers of the page, as JSON");
  const OptionGroup running(*command, option_group::kRunning);
  running.Number("--fail-below", request.failBelow,
                 "end with status 5 if a chart has fewer FADGI stars, 1 to 4");
  return command;
}

Exit WriteReport(const ReportRequest& request) {
  CheckRequest(request);
  const NamedTarget target = TargetNamed(request.to);
  const report::Question question = {target.target.get(), IntentNamed(request.intent)};
  const std::vector<Chart> charts = ReadCharts(request.charts);
  std::vector<report::ProfileReport> profiles;
  for (const std::string& path : request.profiles) {
    profiles.push_back(Measured(path, request, question, charts));
  }
  const report::Json document = report::Document(profiles, KXCMS_VERSION);
  const std::string page = report::Page(profiles, document);
  if (!request.json.empty()) WriteText(request.json, document.dump(1) + "\n");
  WriteText(request.page, page);
  if (!request.failBelow) return Exit::Done;
  const std::string below = LinesBelow(profiles, *request.failBelow);
  std::cout << below;
  return below.empty() ? Exit::Done : Exit::WouldBeWrong;
}
