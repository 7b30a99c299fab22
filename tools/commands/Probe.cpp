#include "tools/commands/Probe.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string_view>

#include "tools/Refusal.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/commands/ImageFile.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/report/ColorProbe.h"

namespace {

namespace report = kxcms::report;

constexpr double kLargest = 255;

/// A whole text as a number; nothing for anything else.
template <typename Number>
std::optional<Number> NumberIn(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

/// Three levels, as texts, as a colour of the device.
std::optional<report::Triple> ColorIn(const std::vector<std::string>& values) {
  if (values.size() != 3) return std::nullopt;
  report::Triple color;
  for (std::size_t n = 0; n < 3; ++n) {
    const auto level = NumberIn<double>(values[n]);
    // Written so that NaN fails too.
    if (!level || !(*level >= 0 && *level <= kLargest)) return std::nullopt;
    color[n] = *level / kLargest;
  }
  return color;
}

/// What a pixel of an image holds.
report::Triple ColorAt(ImageFile& image, const std::string& place) {
  const std::size_t comma = place.find(',');
  const std::string_view text = place;
  const auto x = NumberIn<std::uint32_t>(text.substr(0, comma));
  const auto y = NumberIn<std::uint32_t>(comma == std::string::npos ? "" : text.substr(comma + 1));
  if (!x || !y) throw Refusal(Exit::Usage, "--at must be X,Y, the column and the row from 0 on");
  const kxcms::image::Page& page = image.page();
  if (*x >= page.width || *y >= page.height) {
    throw Refusal(Exit::Usage, "--at " + place + " lies outside of " + image.path() + ", " +
                                   std::to_string(page.width) + " x " +
                                   std::to_string(page.height) + " pixels");
  }
  std::uint32_t row = 0;  // the first of the piece that was read last
  for (std::uint32_t next = 0; next <= *y;) {
    const std::uint32_t rows = std::min(image.RowsAtOnce(), page.height - next);
    image.ReadRows(rows);
    row = next;
    next += rows;
  }
  return image.ColorAt(*x, *y - row);
}

void PrintLines(const report::Prober& prober, bool isJson) {
  std::size_t number = 0;
  for (std::string line; std::getline(std::cin, line);) {
    ++number;
    std::istringstream words(line);
    std::vector<std::string> values;
    for (std::string word; words >> word;) values.push_back(word);
    if (values.empty()) continue;
    const auto color = ColorIn(values);
    if (!color) {
      throw Refusal(Exit::InputUnreadable, "standard input, line " + std::to_string(number) +
                                               ": not three device values, 0 to 255");
    }
    const report::ColorProbe probe = prober.Probe(*color);
    // One document a line, for programs that read line by line.
    std::cout << (isJson ? report::JsonOf(probe).dump() + "\n"
                         : line + "\n" + report::LinesOf(probe));
  }
}

}  // namespace

CLI::App* AddProbe(CLI::App& app, ProbeRequest& request) {
  CLI::App* command = AddCommand(app, "probe", "Show every stage that a colour goes through");
  AddArgument(*command, "PROFILE", request.profile,
              "ICC profile (with --image, by default the one that the image embeds)");
  AddArgument(*command, "RGB", request.values,
              "device values, 0 to 255, decimals allowed; or - for lines of them on standard "
              "input");
  const OptionGroup colors(*command, option_group::kColors);
  colors.Option("--image", request.image, "take the device values from a TIFF, JPEG or PNG");
  colors.Option("--at", request.place, "X,Y of the pixel, from 0,0 on (with --image)");
  AddColorsTo(*command, request.to);
  const OptionGroup running(*command, option_group::kRunning);
  running.Flag("--json", request.json, "print JSON instead of lines");
  return command;
}

void PrintProbe(const ProbeRequest& request) {
  constexpr const char* kNeeds = "probe needs a profile and three device values, 0 to 255";
  const bool isImage = !request.image.empty();
  const bool isLines = request.values.size() == 1 && request.values[0] == "-";
  if (isImage != !request.place.empty()) {
    throw Refusal(Exit::Usage, "--image and --at go together");
  }
  if (isImage && !request.values.empty()) {
    throw Refusal(Exit::Usage, "probe takes device values, or --image and --at");
  }
  std::optional<report::Triple> color = ColorIn(request.values);
  if (!isImage && (request.profile.empty() || (!isLines && !color))) {
    throw Refusal(Exit::Usage, kNeeds);
  }
  const NamedTarget target = TargetNamed(request.to);
  std::vector<unsigned char> bytes;
  std::string name = "profile " + request.profile;
  if (isImage) {
    ImageFile image(request.image);
    color = ColorAt(image, request.place);
    if (request.profile.empty()) {
      bytes = image.EmbeddedProfile();
      name = "profile embedded in " + request.image;
      if (bytes.empty()) {
        throw Refusal(Exit::ProfileUnusable,
                      request.image + ": no profile is embedded; name one before --image");
      }
    }
  }
  if (!request.profile.empty()) bytes = ReadProfileFile(request.profile);
  WithProfileBytes(name, [&] {
    const report::Prober prober(bytes, *target.target);
    if (isLines) {
      PrintLines(prober, request.json);
    } else {
      const report::ColorProbe probe = prober.Probe(*color);
      std::cout << (request.json ? report::JsonOf(probe).dump(1) + "\n" : report::LinesOf(probe));
    }
  });
}
