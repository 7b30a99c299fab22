#ifndef KXCMS_TOOLS_COMMANDS_COMPLETION_H
#define KXCMS_TOOLS_COMMANDS_COMPLETION_H

#include <string>

#include "tools/commands/CommandLine.h"

/// The file by which a shell, "bash" or "zsh", completes the commands of `app`, their options, the
/// words that options take, and file names. It is made of the same definitions as --help. Refuses
/// other shells.
std::string CompletionFor(const CLI::App& app, const std::string& shell);

#endif
