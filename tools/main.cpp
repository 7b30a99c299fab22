#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

#include "Check.h"
#include "OneLine.h"
#include "OutputFile.h"
#include "Refusal.h"
#include "SelfTest.h"
#include "Stack.h"
#include "tools/commands/Batch.h"
#include "tools/commands/Certificate.h"
#include "tools/commands/ColorHandles.h"
#include "tools/commands/Compare.h"
#include "tools/commands/Completion.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/commands/Info.h"
#include "tools/commands/JournalView.h"
#include "tools/commands/Probe.h"
#include "tools/commands/Profile.h"
#include "tools/commands/Report.h"
#include "tools/commands/Verify.h"

namespace {

struct Options {
  ConvertOptions convert;
  BatchRequest batch;
  JournalRequest journal;
  VerifyRequest verify;
  CheckRequest check;
  InfoRequest info;
  SelfTestRequest selfTest;
  ReportRequest report;
  ProbeRequest probe;
  ProfileRequest profile;
  CompareRequest compare;
  CertificateRequest certificate;
};

CLI::App* AddCheck(CLI::App& app, CheckRequest& request) {
  CLI::App* check = AddCommand(app, "check", "List everything wrong with images and ICC profiles");
  AddArgument(*check, "FILE", request.files, "TIFF, JPEG and PNG images and ICC profiles");
  const OptionGroup running(*check, option_group::kRunning);
  running.Flag("--json", request.json, "print one JSON document instead of lines");
  return check;
}

CLI::App* AddSelfTest(CLI::App& app, SelfTestRequest& request) {
  CLI::App* selfTest =
      AddCommand(app, "selftest", "Check that this machine computes the colours that it should");
  const OptionGroup running(*selfTest, option_group::kRunning);
  running.Number("--threads", request.threads, "threads (default: one per processor)");
  running.Option("--digests", request.digests,
                 "file of digests to compare with (default: the list built in)");
  return selfTest;
}

[[noreturn]] void RefuseUsage(const std::string& line) {
  throw Refusal(Exit::Usage, line);
}

/// Below the help of each command, besides what stands below that of all: where there is more.
void PointAtPages(CLI::App& app, const std::string& page) {
  for (CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    const std::string own = page == "kxcms" ? page + "-" + sub->get_name() : page;
    sub->footer(sub->get_footer() + "\nMore, with examples: man " + own);
    PointAtPages(*sub, own);
  }
}

Exit Run(int argc, char** argv) {
  CLI::App app("Converts RGB images from their device's colours to others, by ICC profiles.",
               "kxcms");
  app.set_version_flag("--version", "kxcms " KXCMS_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Exit status: 0 done, 2 usage, 3 input unreadable or damaged, 4 profile unusable,\n"
      "5 the result would be wrong (check, selftest, report, compare, certificate: something is "
      "wrong),\n6 the output cannot be written, 7 some files failed (batch), 8 stopped early "
      "(batch).");
  Options options;
  AddConvert(app, options.convert);
  const CLI::App* const batch = AddBatch(app, options.batch);
  const CLI::App* const verify = AddVerify(app, options.verify);
  const CLI::App* const journal = AddJournal(app, options.journal);
  const CLI::App* const check = AddCheck(app, options.check);
  const CLI::App* const info = AddInfo(app, options.info);
  const CLI::App* const selfTest = AddSelfTest(app, options.selfTest);
  const CLI::App* const report = AddReport(app, options.report);
  const CLI::App* const probe = AddProbe(app, options.probe);
  const CLI::App* const compare = AddCompare(app, options.compare);
  const CLI::App* const certificate = AddCertificate(app, options.certificate);
  const CLI::App* const profile = AddProfile(app, options.profile);
  PointAtPages(app, "kxcms");
  app.add_option_function<std::string>(
      "--completion",
      [&app](const std::string& shell) {
        std::cout << CompletionFor(app, shell);
        throw CLI::Success();
      },
      "print what completes commands and options in a shell, bash or zsh, and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& information) {  // --help, --version
    app.exit(information);
    return Exit::Done;
  } catch (const CLI::RequiredError& error) {
    for (const std::string& word : app.remaining(true)) {
      if (!word.starts_with('-')) RefuseUsage("unknown command " + word + "; --help lists them");
    }
    RefuseUsage(std::string(error.what()) + "; --help lists them");
  } catch (const CLI::ExtrasError& error) {
    RefuseUsage(std::string(error.what()) + "; --help tells what is");
  } catch (const CLI::ConversionError& error) {
    RefuseUsage(std::string(error.what()) + "; it takes a number");
  } catch (const CLI::ParseError& error) {
    RefuseUsage(error.what());
  }
  if (batch->parsed()) return RunBatch(options.batch);
  if (verify->parsed()) return VerifyJournals(options.verify);
  if (check->parsed()) {
    if (options.check.files.empty()) RefuseUsage("check needs at least one file");
    return CheckFiles(options.check);
  }
  if (info->parsed()) return PrintInfo(options.info);
  if (compare->parsed()) return Compare(options.compare);
  if (certificate->parsed()) return Certificate(options.certificate);
  if (report->parsed()) return WriteReport(options.report);
  if (selfTest->parsed()) {
    CheckThreads(options.selfTest.threads);
    RunSelfTest(options.selfTest);
  } else if (journal->parsed()) {
    PrintJournal(options.journal);
  } else if (probe->parsed()) {
    PrintProbe(options.probe);
  } else if (profile->parsed()) {
    RunProfile(options.profile);
  } else if (options.convert.list) {
    ListDestinations();
  } else {
    ConvertFile(CheckedConvert(options.convert));
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

int Guarded(int argc, char** argv) {
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

}  // namespace

int main(int argc, char** argv) {
  IgnoreFileSizeSignal();
  return WithEnoughStack([argc, argv] { return Guarded(argc, argv); });
}
