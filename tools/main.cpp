#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <string>

#include "Check.h"
#include "Convert.h"
#include "OneLine.h"
#include "OutputFile.h"
#include "OutputSpaces.h"
#include "Refusal.h"
#include "SelfTest.h"
#include "commands/Probe.h"
#include "commands/Report.h"

namespace {

using ICC40::ICCFILE::Intent;

const std::map<std::string, Intent> kIntents = {
    {"perceptual", ICC40::ICCFILE::Percepture},
    {"relative", ICC40::ICCFILE::Relative},
    {"saturation", ICC40::ICCFILE::Saturation},
    {"absolute", ICC40::ICCFILE::Absolute},
};

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
  std::string space = "srgb";
  bool list = false;
};

void AddConvert(CLI::App& app, Options& options) {
  ConvertRequest& request = options.request;
  CLI::App* convert = app.add_subcommand("convert", "Convert an RGB image in a TIFF file");
  convert->add_option("IN", request.input, "TIFF file, RGB, 8 or 16 bits a sample, uncompressed");
  convert->add_option("OUT", request.output, "TIFF file to write; may be IN");
  convert->add_option("--profile", request.profile,
                      "ICC profile of the device (default: the one embedded in IN)");
  convert->add_option("--intent", options.intent,
                      "perceptual, relative, saturation or absolute (default: perceptual)");
  convert->add_option("--to", options.space, "output colour space, see --list (default: srgb)");
  convert->add_option("--lightness", request.lightness, "offset in L*, -100 to 100");
  convert->add_option("--chroma", request.chroma, "offset in C*, -100 to 100");
  convert->add_option("--hue", request.hueDeg, "offset in degrees of hue, -360 to 360");
  convert->add_option("--threads", request.threads, "threads (default: one per processor)");
  convert->add_flag("--list", options.list, "list the output colour spaces and exit");
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

ConvertRequest CheckedRequest(const Options& options) {
  ConvertRequest request = options.request;
  if (request.input.empty() || request.output.empty()) {
    RefuseUsage("convert needs an input and an output file");
  }
  const auto intent = kIntents.find(options.intent);
  if (intent == kIntents.end()) {
    RefuseUsage("unknown intent " + options.intent +
                "; known: perceptual, relative, saturation, absolute");
  }
  request.intent = intent->second;
  request.space = FindOutputSpace(options.space);
  if (request.space == nullptr) {
    RefuseUsage("unknown output space " + options.space + "; convert --list shows them");
  }
  CheckOffset("--lightness", request.lightness, kLargestOffset);
  CheckOffset("--chroma", request.chroma, kLargestOffset);
  CheckOffset("--hue", request.hueDeg, kLargestHueDeg);
  CheckThreads(request.threads);
  return request;
}

void ListSpaces() {
  for (const OutputSpace& space : OutputSpaces()) {
    std::cout << std::left << std::setw(20) << space.name << space.description << '\n';
  }
}

Exit Run(int argc, char** argv) {
  CLI::App app("Converts scans from their device's colours to a standard RGB space.", "kxcms");
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
    ListSpaces();
  } else {
    ConvertFile(CheckedRequest(options));
  }
  return Exit::Done;
}

/// Prints the one line, whatever a file name holds and however short memory is: nothing is copied.
int Fail(Exit status, const char* line) {
  std::fputs("kxcms: ", stderr);
  for (; *line != '\0'; ++line) std::fputc(InOneLine(*line), stderr);
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
