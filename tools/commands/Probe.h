#ifndef KXCMS_TOOLS_COMMANDS_PROBE_H
#define KXCMS_TOOLS_COMMANDS_PROBE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/commands/CommandLine.h"

struct ProbeRequest {
  std::string profile;              ///< empty: the one that the image embeds
  std::vector<std::string> values;  ///< R, G, B, 0 to 255; or "-" for lines of standard input
  std::string image;                ///< file with the colour, at `place`; empty: none
  std::string place;                ///< "X,Y"
  std::string to = "srgb";
  bool json = false;
};

/// Declares `probe` and its options.
CLI::App* AddProbe(CLI::App& app, ProbeRequest& request);

/// Prints every stage that a colour goes through, with all intents, and how far the results of the
/// two pipelines are from the exact ones. Refuses what cannot be used.
void PrintProbe(const ProbeRequest& request);

#endif
