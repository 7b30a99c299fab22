#include "tools/commands/ConvertOptions.h"

#include <CLI/CLI.hpp>
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

CLI::Option* NotEmpty(CLI::Option* option) {
  return option->check([](const std::string& text) {
    return text.empty() ? std::string("an empty value is no number") : std::string();
  });
}

void CheckThreads(int threads) {
  if (threads < 0 || threads > kMostThreads) {
    RefuseUsage("--threads must be 1 to " + std::to_string(kMostThreads) + ", or 0 for all");
  }
}

void AddColorsTo(CLI::App& command, std::string& to) {
  command.add_option("--to", to, "colour space to convert to, or ICC profile (default: srgb)")
      ->group(option_group::kColors);
}

void AddIntent(CLI::App& command, std::string& intent) {
  command.add_option("--intent", intent, ChoiceOf(kIntents) + Default(intent))
      ->group(option_group::kColors);
}

void AddConversionOptions(CLI::App& command, ConvertOptions& options) {
  ConvertRequest& request = options.request;
  command
      .add_option("--to", request.to,
                  "output colour space, see convert --list, or ICC profile (default: srgb)")
      ->group(option_group::kColors);
  command
      .add_option("--profile", request.profile,
                  "ICC profile or space of the device (default: the profile embedded in the image)")
      ->group(option_group::kColors);
  command
      .add_option("--assume", request.assume,
                  "ICC profile or space of images without an embedded profile")
      ->group(option_group::kColors);
  AddIntent(command, options.intent);
  command
      .add_flag("--black-point-compensation", request.blackPointCompensation,
                "map the device's black to the output's (with --intent relative)")
      ->group(option_group::kColors);
  command
      .add_option("--pipeline", options.pipeline,
                  "precise, or fixed for the bits of libKXCMS" + Default(options.pipeline))
      ->group(option_group::kColors);
  NotEmpty(command.add_option("--lightness", request.lightness,
                              "offset in L*, -100 to 100 (fixed pipeline)"))
      ->group(option_group::kColors);
  NotEmpty(
      command.add_option("--chroma", request.chroma, "offset in C*, -100 to 100 (fixed pipeline)"))
      ->group(option_group::kColors);
  NotEmpty(command.add_option("--hue", request.hueDeg,
                              "offset in degrees of hue, -360 to 360 (fixed pipeline)"))
      ->group(option_group::kColors);

  command
      .add_option(
          "--format", options.format,
          ChoiceOf(kFormats) + Default("by the suffix of the output; standard output needs it"))
      ->group(option_group::kFile);
  NotEmpty(command.add_option("--depth", options.bits,
                              "8 or 16 bits a sample (default: those of the image)"))
      ->group(option_group::kFile);
  command
      .add_option("--compress", options.compression,
                  ChoiceOf(kCompressions) + " (TIFF; default: " + options.compression +
                      ", none if the image is compressed with loss)")
      ->group(option_group::kFile);
  command
      .add_option("--bigtiff", options.bigTiff,
                  ChoiceOf(kBig) + " (TIFF; default: " + options.bigTiff + ")")
      ->group(option_group::kFile);
  NotEmpty(command.add_option("--quality", request.quality, "1 to 100 (JPEG; default: 90)"))
      ->group(option_group::kFile);
  command
      .add_option("--tag", request.tag,
                  "profile to embed: auto for that of the output, none, an ICC profile or space "
                  "(default: auto)")
      ->group(option_group::kFile);
  command.add_option("--pages", options.pages, ChoiceOf(kPages) + Default(options.pages))
      ->group(option_group::kFile);

  command
      .add_option("--exists", options.exists,
                  ChoiceOf(kExists) + " an existing output" + Default(options.exists))
      ->group(option_group::kRunning);
  command.add_flag("--durable", request.isDurable, "force the result to the disk")
      ->group(option_group::kRunning);
  command.add_flag("--quiet", request.isQuiet, "tell only what went wrong")
      ->group(option_group::kRunning);
}

CLI::App* AddConvert(CLI::App& app, ConvertOptions& options) {
  ConvertRequest& request = options.request;
  CLI::App* convert = app.add_subcommand("convert", "Convert an RGB image by ICC profiles");
  convert->add_option("IN", request.input,
                      "TIFF, JPEG or PNG file, RGB, 8 or 16 bits a sample; - for standard input");
  convert->add_option(
      "OUT", request.output,
      "file to write, its suffix names the format; may be IN; - for standard output");
  AddConversionOptions(*convert, options);
  convert->add_flag("--list", options.list, "list the output colour spaces and exit")
      ->group(option_group::kColors);
  convert->add_flag("--json", request.isJson, "print a record of what was done")
      ->group(option_group::kRunning);
  NotEmpty(
      convert->add_option("--threads", request.threads, "threads (default: one per processor)"))
      ->group(option_group::kRunning);
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
