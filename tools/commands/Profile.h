#ifndef KXCMS_TOOLS_COMMANDS_PROFILE_H
#define KXCMS_TOOLS_COMMANDS_PROFILE_H

#include <optional>
#include <string>

#include "tools/commands/CommandLine.h"

struct ProfileRequest {
  enum class Action { kExtract, kEmbed, kRemove, kMake };

  Action action = Action::kExtract;
  std::string input;    ///< an image; of `make`, a built-in space
  std::string profile;  ///< to embed: a file, or a built-in space
  std::string output;
  std::optional<int> version;  ///< of a profile that is made
  std::string exists = "replace";
  bool isDurable = false;
  bool isQuiet = false;
  bool isJson = false;
};

/// Declares `profile` with its own commands, and their options.
CLI::App* AddProfile(CLI::App& app, ProfileRequest& request);

/// Takes a profile out of an image file, puts one in, or makes one. Images keep their pixels, which
/// is proved before the result gets its name. Throws a `Refusal` instead of writing anything
/// doubtful; then the output path is as it was. What becomes of the rest of the file is told on
/// standard error.
void RunProfile(const ProfileRequest& request);

#endif
