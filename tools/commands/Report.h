#ifndef KXCMS_TOOLS_COMMANDS_REPORT_H
#define KXCMS_TOOLS_COMMANDS_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"

struct ReportRequest {
  std::vector<std::string> profiles;
  std::vector<std::string> images;  ///< whose pixels are taken for device values of the profiles
  std::vector<std::string> charts;
  std::string compared;     ///< another profile; empty: none
  std::string to = "srgb";  ///< built-in space, or file of a profile
  std::string intent = "perceptual";
  std::optional<int> failBelow;  ///< stars
  std::string page;
  std::string json;  ///< empty: none
};

/// Declares `report` and its options.
CLI::App* AddReport(CLI::App& app, ReportRequest& request);

/// Writes what is to be told of the profiles as a page, and as JSON on request. Refuses what cannot
/// be used or written; nothing is written before everything is known.
/// @return WouldBeWrong if a chart has fewer stars than are asked for
Exit WriteReport(const ReportRequest& request);

#endif
