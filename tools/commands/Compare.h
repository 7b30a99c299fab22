#ifndef KXCMS_TOOLS_COMMANDS_COMPARE_H
#define KXCMS_TOOLS_COMMANDS_COMPARE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"

struct CompareRequest {
  std::vector<std::string> files;     ///< two
  std::optional<std::string> assume;  ///< profile or space of images without a profile
  std::string intent = "relative";
  std::string difference;  ///< image to write; empty: none
  std::optional<double> limit;
  bool json = false;
};

/// Declares `compare` and its options.
CLI::App* AddCompare(CLI::App& app, CompareRequest& request);

/// Prints how far two images, or two profiles, are apart in CIEDE2000. Refuses what cannot be
/// compared.
/// @return WouldBeWrong if the largest difference is above the limit
Exit Compare(const CompareRequest& request);

#endif
