#include "tools/commands/ConvertOptions.h"

#include <cmath>

#include "api/pipeline.h"
#include "tools/IntentNames.h"
#include "tools/Refusal.h"
#include "tools/commands/Words.h"

namespace {

using kxcms::image::Format;

constexpr Words<unsigned, 4> kIntents = {{{kIntentNames[KXP_PERCEPTUAL], KXP_PERCEPTUAL},
                                          {kIntentNames[KXP_RELATIVE], KXP_RELATIVE},
                                          {kIntentNames[KXP_SATURATION], KXP_SATURATION},
                                          {kIntentNames[KXP_ABSOLUTE], KXP_ABSOLUTE}}};
constexpr Words<bool, 2> kPipelines = {{{"precise", false}, {"fixed", true}}};
// As TIFF numbers them; "same" says none.
constexpr Words<std::optional<std::uint16_t>, 5> kCompressions = {
    {{"same", std::nullopt}, {"none", 1}, {"lzw", 5}, {"deflate", 8}, {"zstd", 50000}}};
constexpr Words<ConvertRequest::Big, 3> kBig = {{{"auto", ConvertRequest::Big::kAuto},
                                                 {"yes", ConvertRequest::Big::kYes},
                                                 {"no", ConvertRequest::Big::kNo}}};
constexpr Words<Format, 3> kFormats = {
    {{"tiff", Format::kTiff}, {"jpeg", Format::kJpeg}, {"png", Format::kPng}}};
constexpr Words<bool, 2> kPages = {{{"all", false}, {"first", true}}};
constexpr Words<ConvertRequest::Exists, 3> kExists = {
    {{"replace", ConvertRequest::Exists::kReplace},
     {"refuse", ConvertRequest::Exists::kRefuse},
     {"skip", ConvertRequest::Exists::kSkip}}};

constexpr double kLargestOffset = 100;  // L* and C* go from 0 to 100
constexpr double kLargestHueDeg = 360;
constexpr int kMostThreads = 1024;

std::string Default(const std::string& word) {
  return " (default: " + word + ")";
}

[[noreturn]] void RefuseUsage(const std::string& line) {
  throw Refusal(Exit::Usage, line);
}

void CheckOffset(const char* option, double offset, double largest) {
  // Written so that NaN fails too.
  if (!(std::fabs(offset) <= largest)) {
    const auto shown = static_cast<int>(largest);
    RefuseUsage(std::string(option) + " must be -" + std::to_string(shown) + " to " +
                std::to_string(shown));
  }
}

}  // namespace

void CheckThreads(int threads) {
  if (threads < 0 || threads > kMostThreads) {
    RefuseUsage("--threads must be 1 to " + std::to_string(kMostThreads) + ", or 0 for all");
  }
}

void AddColorsTo(CLI::App& command, std::string& to) {
  const OptionGroup colors(command, option_group::kColors);
  colors.Option("--to", to, "colour space to convert to, or ICC profile (default: srgb)");
}

void AddIntent(CLI::App& command, std::string& intent) {
  const OptionGroup colors(command, option_group::kColors);
  colors.Option("--intent", intent, ChoiceOf(kIntents) + Default(intent));
}

void AddConversionOptions(CLI::App& command, ConvertOptions& options) {
  ConvertRequest& request = options.request;
  const OptionGroup colors(command, option_group::kColors);
  colors.Option("--to", request.to,
                "output colour space, see convert --list, or ICC profile (default: srgb)");
  colors.Option("--profile", request.profile,
                "ICC profile or space of the device (default: the profile embedded in the image)");
  colors.Option("--assume", request.assume,
                "ICC profile or space of images without an embedded profile");
  AddIntent(command, options.intent);
  colors.Flag("--black-point-compensation", request.blackPointCompensation,
              "map the device's black to the output's (with --intent relative)");
  colors.Option("--pipeline", options.pipeline,
                "precise, or fixed for the bits of libKXCMS" + Default(options.pipeline));
  colors.Number("--lightness", request.lightness, "offset in L*, -100 to 100 (fixed pipeline)");
  colors.Number("--chroma", request.chroma, "offset in C*, -100 to 100 (fixed pipeline)");
  colors.Number("--hue", request.hueDeg, "offset in degrees of hue, -360 to 360 (fixed pipeline)");

  const OptionGroup file(command, option_group::kFile);
  file.Option(
      "--format", options.format,
      ChoiceOf(kFormats) + Default("by the suffix of the output; standard output needs it"));
  file.Number("--depth", options.bits, "8 or 16 bits a sample (default: those of the image)");
  file.Option("--compress", options.compression,
              ChoiceOf(kCompressions) + " (TIFF; default: " + options.compression +
                  ", none if the image is compressed with loss)");
  file.Option("--bigtiff", options.bigTiff,
              ChoiceOf(kBig) + " (TIFF; default: " + options.bigTiff + ")");
  file.Number("--quality", request.quality, "1 to 100 (JPEG; default: 90)");
  file.Option("--tag", request.tag,
              "profile to embed: auto for that of the output, none, an ICC profile or space "
              "(default: auto)");
  file.Option("--pages", options.pages, ChoiceOf(kPages) + Default(options.pages));

  const OptionGroup running(command, option_group::kRunning);
  running.Option("--exists", options.exists,
                 ChoiceOf(kExists) + " an existing output" + Default(options.exists));
  running.Flag("--durable", request.isDurable, "force the result to the disk");
  running.Flag("--quiet", request.isQuiet, "tell only what went wrong");
}

CLI::App* AddConvert(CLI::App& app, ConvertOptions& options) {
  ConvertRequest& request = options.request;
  CLI::App* convert = AddCommand(app, "convert", "Convert an RGB image by ICC profiles");
  AddArgument(*convert, "IN", request.input,
              "TIFF, JPEG or PNG file, RGB, 8 or 16 bits a sample; - for standard input");
  AddArgument(*convert, "OUT", request.output,
              "file to write, its suffix names the format; may be IN; - for standard output");
  AddConversionOptions(*convert, options);
  const OptionGroup colors(*convert, option_group::kColors);
  colors.Flag("--list", options.list, "list the output colour spaces and exit");
  const OptionGroup running(*convert, option_group::kRunning);
  running.Flag("--json", request.isJson, "print a record of what was done");
  running.Number("--threads", request.threads, "threads (default: one per processor)");
  return convert;
}

ConvertRequest CheckedConversion(const ConvertOptions& options) {
  ConvertRequest request = options.request;
  request.intent = Meaning(kIntents, "intent", options.intent);
  request.isFixed = Meaning(kPipelines, "pipeline", options.pipeline);
  request.compression = Meaning(kCompressions, "compression", options.compression);
  request.bigTiff = Meaning(kBig, "--bigtiff", options.bigTiff);
  if (!options.format.empty()) request.format = Meaning(kFormats, "format", options.format);
  request.onlyFirstPage = Meaning(kPages, "--pages", options.pages);
  request.exists = Meaning(kExists, "--exists", options.exists);
  CheckOffset("--lightness", request.lightness, kLargestOffset);
  CheckOffset("--chroma", request.chroma, kLargestOffset);
  CheckOffset("--hue", request.hueDeg, kLargestHueDeg);
  const bool hasOffset = request.lightness != 0 || request.chroma != 0 || request.hueDeg != 0;
  if (hasOffset && !request.isFixed) {
    RefuseUsage("--lightness, --chroma and --hue are offsets of --pipeline fixed");
  }
  if (request.blackPointCompensation && (request.isFixed || request.intent != KXP_RELATIVE)) {
    RefuseUsage("--black-point-compensation goes with --intent relative and --pipeline precise");
  }
  if (options.bits) {
    if (*options.bits != 8 && *options.bits != 16) RefuseUsage("--depth must be 8 or 16");
    request.bits = static_cast<unsigned>(*options.bits);
  }
  if (request.quality && (*request.quality < 1 || *request.quality > 100)) {
    RefuseUsage("--quality must be 1 to 100");
  }
  CheckThreads(request.threads);
  return request;
}

ConvertRequest CheckedConvert(const ConvertOptions& options) {
  if (options.request.input.empty() || options.request.output.empty()) {
    RefuseUsage("convert needs an input and an output file: kxcms convert IN OUT");
  }
  return CheckedConversion(options);
}
