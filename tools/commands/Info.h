#ifndef KXCMS_TOOLS_COMMANDS_INFO_H
#define KXCMS_TOOLS_COMMANDS_INFO_H

#include <string>
#include <vector>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"

struct InfoRequest {
  std::vector<std::string> files;
  bool json = false;
};

/// Declares `info` and its options.
CLI::App* AddInfo(CLI::App& app, InfoRequest& request);

/// Prints what image files and ICC profiles are, in lines or as one JSON document. A file that
/// cannot be read does not keep the others from being shown.
/// @return `InputUnreadable` if there was one
Exit PrintInfo(const InfoRequest& request);

#endif
