#ifndef KXCMS_TOOLS_COMMANDS_REPORT_H
#define KXCMS_TOOLS_COMMANDS_REPORT_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

struct ReportRequest {
  std::vector<std::string> profiles;
  std::string space = "srgb";
  std::string intent = "perceptual";
  std::string page;
  std::string json;  ///< empty: none
};

/// Declares `report` and its options.
CLI::App* AddReport(CLI::App& app, ReportRequest& request);

/// Writes what is to be told of the profiles as a page, and as JSON on request. Refuses what cannot
/// be used or written; nothing is written before everything is known.
void WriteReport(const ReportRequest& request);

#endif
