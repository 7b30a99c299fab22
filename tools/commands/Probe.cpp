#include "tools/commands/Probe.h"

#include <algorithm>
#include <iostream>

#include "tools/Refusal.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/report/ColorProbe.h"

namespace {

namespace report = kxcms::report;

constexpr double kLargest = 255;

report::Triple CheckedColor(const std::vector<double>& color) {
  // Written so that NaN fails too.
  const auto isLevel = [](double level) { return level >= 0 && level <= kLargest; };
  if (color.size() != 3 || !std::all_of(color.begin(), color.end(), isLevel)) {
    throw Refusal(Exit::Usage, "probe needs a profile and three device values, 0 to 255");
  }
  return {color[0] / kLargest, color[1] / kLargest, color[2] / kLargest};
}

}  // namespace

CLI::App* AddProbe(CLI::App& app, ProbeRequest& request) {
  CLI::App* command = app.add_subcommand("probe", "Show every stage that a colour goes through");
  command->add_option("PROFILE", request.profile, "ICC profile");
  command->add_option("RGB", request.color, "device values, 0 to 255, decimals allowed")
      ->expected(3);
  command->add_option("--to", request.space, "space to convert to (default: srgb)");
  command->add_flag("--json", request.json, "print one JSON document instead of lines");
  return command;
}

void PrintProbe(const ProbeRequest& request) {
  const report::Triple device = CheckedColor(request.color);
  const kxcms::RgbSpace& space = SpaceNamed(request.space);
  const report::ColorProbe probe = WithProfile(
      request.profile,
      [&](const std::vector<unsigned char>& bytes) { return report::Probe(bytes, space, device); });
  std::cout << (request.json ? report::JsonOf(probe).dump(1) + "\n" : report::LinesOf(probe));
}
