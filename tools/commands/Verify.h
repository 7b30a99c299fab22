#ifndef KXCMS_TOOLS_COMMANDS_VERIFY_H
#define KXCMS_TOOLS_COMMANDS_VERIFY_H

#include <string>
#include <vector>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"

struct VerifyRequest {
  std::vector<std::string> journals;
  std::string reconvert;  ///< share of the files; empty: none
  bool isRehash = false;
  bool isJson = false;
  int jobs = 0;  ///< 0: one per processor
};

/// Declares `verify` and its options.
CLI::App* AddVerify(CLI::App& app, VerifyRequest& request);

/// Holds the outputs of batches against their journals, and tells of each that is not as it was.
/// @return Done, InputUnreadable if some are missing, WouldBeWrong if some differ
Exit VerifyJournals(const VerifyRequest& request);

#endif
