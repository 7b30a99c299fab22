#include "tools/commands/Convert.h"

#include <sys/stat.h>

#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/IntentNames.h"
#include "tools/OneLine.h"
#include "tools/OutputFile.h"
#include "tools/Progress.h"
#include "tools/Refusal.h"
#include "tools/commands/ColorStore.h"
#include "tools/commands/Conversion.h"

namespace {

std::string Joined(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + name;
  return joined;
}

/// What standard error tells.
std::string Lines(const ConvertRequest& request, const ConversionRecord& record) {
  std::string lines;
  if (request.isQuiet) return lines;
  for (const std::string& note : record.notes) lines += "kxcms: " + OneLine(note) + "\n";
  if (!record.dropped.empty()) {
    lines += "kxcms: " + OneLine(request.input + ": dropped: " + Joined(record.dropped)) + "\n";
  }
  return lines;
}

std::string JsonOf(const ConvertRequest& request, const ConversionRecord& record) {
  nlohmann::json pages = nlohmann::json::array();
  for (const PageRecord& page : record.pages) {
    pages.push_back({{"page", page.page},
                     {"width", page.width},
                     {"height", page.height},
                     {"bits", page.bits},
                     {"samples", page.samples}});
  }
  const nlohmann::json document = {{"input", request.input},
                                   {"output", request.output},
                                   {"status", "converted"},
                                   {"format", NameOf(record.format)},
                                   {"to", record.destination},
                                   {"intent", kIntentNames[request.intent]},
                                   {"pipeline", request.isFixed ? "fixed" : "precise"},
                                   {"pages", pages},
                                   {"notes", record.notes},
                                   {"dropped", record.dropped}};
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace

void ConvertFile(const ConvertRequest& request) {
  struct stat status;
  if (request.exists != ConvertRequest::Exists::kReplace && request.output != kStandardStream &&
      lstat(request.output.c_str(), &status) == 0) {
    if (request.exists == ConvertRequest::Exists::kRefuse) {
      throw Refusal(Exit::WriteFailed,
                    "cannot write " + request.output + ": it exists; --exists replace replaces it");
    }
    if (!request.isQuiet) {
      std::fprintf(stderr, "kxcms: %s\n", OneLine(request.output + " exists: skipped").c_str());
    }
    if (request.isJson) {
      const nlohmann::json record = {
          {"input", request.input}, {"output", request.output}, {"status", "skipped"}};
      const auto replace = nlohmann::json::error_handler_t::replace;
      std::cout << record.dump(2, ' ', false, replace) << '\n';
    }
    return;
  }
  Conversion conversion(request);
  conversion.Open();
  ColorStore colors(request, 1, false);
  conversion.Choose(colors);
  OutputFile output(request.output);
  {
    Progress progress(request.isQuiet ? 0 : conversion.PixelCount());
    conversion.Write(output, [&progress](std::uint64_t done) { progress.Report(done); });
  }
  // Behind the commit nothing may fail any more, not even for want of memory.
  const std::string lines = Lines(request, conversion.record());
  const std::string record = request.isJson ? JsonOf(request, conversion.record()) : "";
  output.Commit(request.isDurable);
  std::fputs(lines.c_str(), stderr);
  std::cout << record;
}
