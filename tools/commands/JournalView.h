#ifndef KXCMS_TOOLS_COMMANDS_JOURNALVIEW_H
#define KXCMS_TOOLS_COMMANDS_JOURNALVIEW_H

#include <string>
#include <vector>

#include "tools/commands/CommandLine.h"

struct JournalRequest {
  std::vector<std::string> files;
  std::string as = "summary";
  bool onlyFailed = false;
  bool isNulEnded = false;
};

/// Declares `journal` and its options.
CLI::App* AddJournal(CLI::App& app, JournalRequest& request);

/// Prints what journals of `batch` tell. Refuses what cannot be read.
void PrintJournal(const JournalRequest& request);

#endif
