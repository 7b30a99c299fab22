#ifndef KXCMS_TOOLS_COMMANDS_CONVERTOPTIONS_H
#define KXCMS_TOOLS_COMMANDS_CONVERTOPTIONS_H

#include <optional>
#include <string>

#include "tools/commands/CommandLine.h"
#include "tools/commands/Convert.h"

/// The options of a conversion as they were given: words that are not looked at yet.
struct ConvertOptions {
  ConvertRequest request;
  std::string intent = "perceptual";
  std::string pipeline = "precise";
  std::string compression = "same";
  std::string bigTiff = "auto";
  std::string format;
  std::string pages = "all";
  std::string exists = "replace";
  std::optional<int> bits;
  bool list = false;
};

/// Declares `convert` and its options.
CLI::App* AddConvert(CLI::App& app, ConvertOptions& options);

/// Declares the options that say how a file is converted, for every command that converts files:
/// of colours, of the file, and what becomes of an existing one. Their defaults are those that
/// `options` has.
void AddConversionOptions(CLI::App& command, ConvertOptions& options);

/// The request that the options make; refuses what cannot be meant.
ConvertRequest CheckedConversion(const ConvertOptions& options);
/// The same for `convert`, which needs its two files.
ConvertRequest CheckedConvert(const ConvertOptions& options);

/// Declares `--to` and `--intent` of commands that convert colours and no files. The default of
/// `--intent` is what `intent` is.
void AddColorsTo(CLI::App& command, std::string& to);
void AddIntent(CLI::App& command, std::string& intent);

/// Refuses a number of threads that cannot be meant.
void CheckThreads(int threads);

#endif
