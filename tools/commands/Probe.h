#ifndef KXCMS_TOOLS_COMMANDS_PROBE_H
#define KXCMS_TOOLS_COMMANDS_PROBE_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

struct ProbeRequest {
  std::string profile;
  std::vector<double> color;  ///< R, G, B, 0 to 255
  std::string space = "srgb";
  bool json = false;
};

/// Declares `probe` and its options.
CLI::App* AddProbe(CLI::App& app, ProbeRequest& request);

/// Prints every stage that a colour goes through, with all intents, and how far the results of the
/// two pipelines are from the exact ones. Refuses what cannot be used.
void PrintProbe(const ProbeRequest& request);

#endif
