#ifndef KXCMS_TOOLS_COMMANDS_BATCH_H
#define KXCMS_TOOLS_COMMANDS_BATCH_H

#include <optional>
#include <string>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"
#include "tools/commands/ConvertOptions.h"

struct BatchRequest {
  BatchRequest() { conversion.exists = "refuse"; }

  ConvertOptions conversion;
  std::string from;
  std::string list;
  bool isNulEnded = false;
  std::string toDir;
  std::string profileMap;
  std::string journal;
  std::string quarantine;
  std::string shard;
  std::string minFree;
  std::string progress = "auto";
  std::string hash = "all";
  int jobs = 0;                    ///< 0: one per processor
  std::optional<int> maxFailures;  ///< none: all may fail
  bool isRehash = false;
  bool isDryRun = false;
  bool isSelfTest = false;
};

/// Declares `batch` and its options.
CLI::App* AddBatch(CLI::App& app, BatchRequest& request);

/// Converts the files of a folder or a list. Refuses what would fail for every file; what one file
/// has is told and written down, and the others go on.
Exit RunBatch(const BatchRequest& request);

#endif
