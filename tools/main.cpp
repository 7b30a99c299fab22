#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Check.h"
#include "OneLine.h"
#include "OutputFile.h"
#include "Refusal.h"
#include "SelfTest.h"
#include "tools/commands/ColorHandles.h"
#include "tools/commands/Convert.h"
#include "tools/commands/Probe.h"
#include "tools/commands/Report.h"

namespace {

using kxcms::image::Format;

const std::map<std::string, unsigned> kIntents = {
    {"perceptual", KXP_PERCEPTUAL},
    {"relative", KXP_RELATIVE},
    {"saturation", KXP_SATURATION},
    {"absolute", KXP_ABSOLUTE},
};
const std::map<std::string, bool> kPipelines = {{"precise", false}, {"fixed", true}};
// As TIFF numbers them; "same" says none.
const std::map<std::string, std::optional<std::uint16_t>> kCompressions = {
    {"same", std::nullopt}, {"none", 1}, {"lzw", 5}, {"deflate", 8}, {"zstd", 50000}};
const std::map<std::string, ConvertRequest::Big> kBig = {{"auto", ConvertRequest::Big::kAuto},
                                                         {"yes", ConvertRequest::Big::kYes},
                                                         {"no", ConvertRequest::Big::kNo}};
const std::map<std::string, Format> kFormats = {
    {"tiff", Format::kTiff}, {"jpeg", Format::kJpeg}, {"png", Format::kPng}};
const std::map<std::string, bool> kPages = {{"all", false}, {"first", true}};
const std::map<std::string, ConvertRequest::Exists> kExists = {
    {"replace", ConvertRequest::Exists::kReplace},
    {"refuse", ConvertRequest::Exists::kRefuse},
    {"skip", ConvertRequest::Exists::kSkip}};

constexpr double kLargestOffset = 100;  // L* and C* go from 0 to 100
constexpr double kLargestHueDeg = 360;
constexpr int kMostThreads = 1024;

struct Options {
  ConvertRequest request;
  CheckRequest check;
  SelfTestRequest selfTest;
  ReportRequest report;
  ProbeRequest probe;
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

/// An empty value is no number, though the parser would take it for 0.
CLI::Option* NotEmpty(CLI::Option* option) {
  return option->check([](const std::string& text) {
    return text.empty() ? std::string("an empty value is no number") : std::string();
  });
}

void AddConvert(CLI::App& app, Options& options) {
  ConvertRequest& request = options.request;
  CLI::App* convert = app.add_subcommand("convert", "Convert an RGB image by ICC profiles");
  convert->add_option("IN", request.input, "TIFF, JPEG or PNG file, RGB, 8 or 16 bits a sample");
  convert->add_option("OUT", request.output,
                      "file to write, its suffix names the format; may be IN");

  const char* const colors = "Colours";
  convert
      ->add_option("--to", request.to,
                   "output colour space, see --list, or ICC profile (default: srgb)")
      ->group(colors);
  convert
      ->add_option("--profile", request.profile,
                   "ICC profile or space of the device (default: the profile embedded in IN)")
      ->group(colors);
  convert
      ->add_option("--assume", request.assume,
                   "ICC profile or space of images without an embedded profile")
      ->group(colors);
  convert
      ->add_option("--intent", options.intent,
                   "perceptual, relative, saturation or absolute (default: perceptual)")
      ->group(colors);
  convert
      ->add_flag("--black-point-compensation", request.blackPointCompensation,
                 "map the device's black to the output's (with --intent relative)")
      ->group(colors);
  convert
      ->add_option("--pipeline", options.pipeline,
                   "precise, or fixed for the bits of libKXCMS (default: precise)")
      ->group(colors);
  NotEmpty(convert->add_option("--lightness", request.lightness,
                               "offset in L*, -100 to 100 (fixed pipeline)"))
      ->group(colors);
  NotEmpty(
      convert->add_option("--chroma", request.chroma, "offset in C*, -100 to 100 (fixed pipeline)"))
      ->group(colors);
  NotEmpty(convert->add_option("--hue", request.hueDeg,
                               "offset in degrees of hue, -360 to 360 (fixed pipeline)"))
      ->group(colors);
  convert->add_flag("--list", options.list, "list the output colour spaces and exit")
      ->group(colors);

  const char* const file = "File";
  convert
      ->add_option("--format", options.format, "tiff, jpeg or png (default: by the suffix of OUT)")
      ->group(file);
  NotEmpty(
      convert->add_option("--depth", options.bits, "8 or 16 bits a sample (default: those of IN)"))
      ->group(file);
  convert
      ->add_option("--compress", options.compression,
                   "same, none, lzw, deflate or zstd (TIFF; default: same, none if IN is "
                   "compressed with loss)")
      ->group(file);
  convert->add_option("--bigtiff", options.bigTiff, "auto, yes or no (TIFF; default: auto)")
      ->group(file);
  NotEmpty(convert->add_option("--quality", request.quality, "1 to 100 (JPEG; default: 90)"))
      ->group(file);
  convert
      ->add_option("--tag", request.tag,
                   "profile to embed: auto for that of the output, none, an ICC profile or space "
                   "(default: auto)")
      ->group(file);
  convert->add_option("--pages", options.pages, "all or first (default: all)")->group(file);

  const char* const running = "Running";
  convert
      ->add_option("--exists", options.exists,
                   "replace, refuse or skip an existing OUT (default: replace)")
      ->group(running);
  convert->add_flag("--durable", request.isDurable, "force the result to the disk")->group(running);
  convert->add_flag("--quiet", request.isQuiet, "tell only what went wrong")->group(running);
  convert->add_flag("--json", request.isJson, "print a record of what was done")->group(running);
  NotEmpty(
      convert->add_option("--threads", request.threads, "threads (default: one per processor)"))
      ->group(running);
}

CLI::App* AddCheck(CLI::App& app, CheckRequest& request) {
  CLI::App* check =
      app.add_subcommand("check", "List everything wrong with ICC profiles and TIFF files");
  check->add_option("FILE", request.files, "ICC profiles and TIFF files");
  check->add_flag("--json", request.json, "print one JSON document instead of lines");
  return check;
}

CLI::App* AddSelfTest(CLI::App& app, SelfTestRequest& request) {
  CLI::App* selfTest =
      app.add_subcommand("selftest", "Check that this machine computes the colours that it should");
  selfTest->add_option("--threads", request.threads, "threads (default: one per processor)");
  selfTest->add_option("--digests", request.digests,
                       "file of digests to compare with (default: the list built in)");
  return selfTest;
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

void CheckThreads(int threads) {
  if (threads < 0 || threads > kMostThreads) {
    RefuseUsage("--threads must be 1 to " + std::to_string(kMostThreads) + ", or 0 for all");
  }
}

/// What a word stands for; refuses one that stands for nothing.
template <typename Value>
Value Meaning(const std::map<std::string, Value>& words, const char* what, const std::string& word,
              const char* known) {
  const auto found = words.find(word);
  if (found == words.end()) {
    RefuseUsage(std::string("unknown ") + what + " " + word + "; known: " + known);
  }
  return found->second;
}

ConvertRequest CheckedRequest(const Options& options) {
  ConvertRequest request = options.request;
  if (request.input.empty() || request.output.empty()) {
    RefuseUsage("convert needs an input and an output file");
  }
  request.intent =
      Meaning(kIntents, "intent", options.intent, "perceptual, relative, saturation, absolute");
  request.isFixed = Meaning(kPipelines, "pipeline", options.pipeline, "precise, fixed");
  request.compression =
      Meaning(kCompressions, "compression", options.compression, "same, none, lzw, deflate, zstd");
  request.bigTiff = Meaning(kBig, "--bigtiff", options.bigTiff, "auto, yes, no");
  if (!options.format.empty()) {
    request.format = Meaning(kFormats, "format", options.format, "tiff, jpeg, png");
  }
  request.onlyFirstPage = Meaning(kPages, "--pages", options.pages, "all, first");
  request.exists = Meaning(kExists, "--exists", options.exists, "replace, refuse, skip");
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

Exit Run(int argc, char** argv) {
  CLI::App app("Converts RGB images from their device's colours to others, by ICC profiles.",
               "kxcms");
  app.set_version_flag("--version", "kxcms " KXCMS_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Exit status: 0 done, 2 usage, 3 input unreadable or damaged, 4 profile unusable,\n"
      "5 the result would be wrong (check, selftest: something is wrong), 6 the output cannot be "
      "written.");
  Options options;
  AddConvert(app, options);
  const CLI::App* const check = AddCheck(app, options.check);
  const CLI::App* const selfTest = AddSelfTest(app, options.selfTest);
  const CLI::App* const report = AddReport(app, options.report);
  const CLI::App* const probe = AddProbe(app, options.probe);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& information) {  // --help, --version
    app.exit(information);
    return Exit::Done;
  } catch (const CLI::ParseError& error) {
    RefuseUsage(error.what());
  }
  if (check->parsed()) {
    if (options.check.files.empty()) RefuseUsage("check needs at least one file");
    return CheckFiles(options.check);
  }
  if (selfTest->parsed()) {
    CheckThreads(options.selfTest.threads);
    RunSelfTest(options.selfTest);
  } else if (report->parsed()) {
    WriteReport(options.report);
  } else if (probe->parsed()) {
    PrintProbe(options.probe);
  } else if (options.list) {
    ListDestinations();
  } else {
    ConvertFile(CheckedRequest(options));
  }
  return Exit::Done;
}

/// Prints the one line, whatever a file name holds and however short memory is: nothing is copied.
int Fail(Exit status, std::string_view line) {
  std::fputs("kxcms: ", stderr);
  for (std::size_t i = 0; i < line.size(); ++i) std::fputc(InOneLine(line, i), stderr);
  std::fputc('\n', stderr);
  return static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) {
  IgnoreFileSizeSignal();
  Exit status = Exit::Done;
  try {
    status = Run(argc, argv);
  } catch (const Refusal& refusal) {
    return Fail(refusal.status, refusal.what());
  } catch (const std::bad_alloc&) {
    return Fail(Exit::InputUnreadable, "not enough memory for this file");
  }
  if (!std::cout.flush()) return Fail(Exit::WriteFailed, "cannot write to standard output");
  return static_cast<int>(status);
}
