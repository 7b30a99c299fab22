#include "tools/commands/JournalView.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <set>

#include "tools/OneLine.h"
#include "tools/Refusal.h"
#include "tools/batch/JournalReader.h"
#include "tools/commands/Words.h"

namespace {

using namespace kxcms::batch;

enum class Form { kSummary, kTsv, kSha256sum };
constexpr Words<Form, 3> kForms = {
    {{"summary", Form::kSummary}, {"tsv", Form::kTsv}, {"sha256sum", Form::kSha256sum}}};

void Each(const std::vector<std::string>& files, const std::function<void(const Json&)>& use) {
  for (const std::string& file : files) {
    const JournalReader journal(file);
    for (const std::uint64_t at : journal.lines()) use(journal.Line(at));
  }
}

bool IsFailed(const Json& record) {
  const std::string status = StringIn(record, "status");
  return status == "failed" || status == "refused";
}

/// A number that may be added up, whatever a journal claims.
std::uint64_t Count(const Json& record, const char* key) {
  return static_cast<std::uint64_t>(NumberIn(record, key));
}

void PrintSummary(const std::vector<std::string>& files) {
  std::map<std::string, std::uint64_t> statuses, reasons;
  std::set<std::string> hosts;
  std::uint64_t runs = 0, damaged = 0, pixels = 0, inputBytes = 0, outputBytes = 0;
  double seconds = 0;
  for (const std::string& file : files) {
    const JournalReader journal(file);
    runs += journal.headers().size();
    damaged += journal.damagedLines();
    for (const auto& [at, header] : journal.headers()) hosts.insert(StringIn(header, "host"));
    for (const std::uint64_t at : journal.lines()) {
      const Json record = journal.Line(at);
      const std::string status = StringIn(record, "status");
      ++statuses[status];
      if (IsFailed(record)) ++reasons[StringIn(Member(record, "reason"), "code")];
      const Json& spent = Member(record, "seconds");
      if (spent.is_number()) seconds += spent.get<double>();
      if (status != "done") continue;
      inputBytes += Count(Member(record, "input"), "size");
      outputBytes += Count(Member(record, "output"), "size");
      for (const Json& page : Member(record, "pages")) {
        pixels += Count(page, "width") * Count(page, "height");
      }
    }
  }
  // Those that every journal tells, and then what there is besides.
  constexpr std::array<const char*, 5> kStatuses = {"done", "skipped", "refused", "failed",
                                                    "begun"};
  for (const char* status : kStatuses) std::cout << status << '\t' << statuses[status] << '\n';
  for (const auto& [reason, count] : reasons) {
    std::cout << "reason " << OneLine(reason) << '\t' << count << '\n';
  }
  std::cout << "input bytes\t" << inputBytes << "\noutput bytes\t" << outputBytes << "\npixels\t"
            << pixels << "\nseconds of all threads\t" << seconds << "\nruns\t" << runs
            << "\nhosts\t" << hosts.size() << "\ndamaged lines\t" << damaged << '\n';
}

/// A field of a table: a backslash stands before what would end it, as in C.
std::string Field(const std::string& text) {
  std::string field;
  for (const char c : text) {
    switch (c) {
      case '\t':
        field += "\\t";
        break;
      case '\n':
        field += "\\n";
        break;
      case '\r':
        field += "\\r";
        break;
      case '\\':
        field += "\\\\";
        break;
      default:
        field += c;
    }
  }
  return field;
}

void PrintTable(const std::vector<std::string>& files) {
  std::cout << "status\tcode\tinput\tinput_size\tinput_sha256\toutput\toutput_size\toutput_sha256"
               "\tpixel_sha256\tprofile_sha256\tseconds\ttext\n";
  Each(files, [](const Json& record) {
    const Json& input = Member(record, "input");
    const Json& output = Member(record, "output");
    const Json& reason = Member(record, "reason");
    const auto size = [](const Json& file) {
      return Member(file, "size").is_null() ? std::string()
                                            : std::to_string(NumberIn(file, "size"));
    };
    std::cout << StringIn(record, "status") << '\t' << StringIn(reason, "code") << '\t'
              << Field(NameIn(input, "path")) << '\t' << size(input) << '\t'
              << StringIn(input, "sha256") << '\t' << Field(NameIn(output, "path")) << '\t'
              << size(output) << '\t' << StringIn(output, "sha256") << '\t'
              << StringIn(output, "pixel_sha256") << '\t'
              << StringIn(Member(record, "profile"), "sha256") << '\t'
              << Member(record, "seconds").dump() << '\t' << Field(StringIn(reason, "text"))
              << '\n';
  });
}

/// A line as `sha256sum --check` takes it: a name with a line's end or a backslash in it has these
/// escaped, which a backslash in front of the line tells.
void PrintSums(const std::vector<std::string>& files) {
  std::uint64_t without = 0;
  Each(files, [&without](const Json& record) {
    if (StringIn(record, "status") != "done") return;
    const std::string sum = StringIn(Member(record, "output"), "sha256");
    if (sum.empty()) {
      ++without;
      return;
    }
    const std::string name = NameIn(Member(record, "output"), "path");
    std::string escaped;
    for (const char c : name) {
      if (c == '\n') {
        escaped += "\\n";
      } else if (c == '\r') {
        escaped += "\\r";
      } else if (c == '\\') {
        escaped += "\\\\";
      } else {
        escaped += c;
      }
    }
    std::cout << (escaped == name ? "" : "\\") << sum << "  " << escaped << '\n';
  });
  if (without > 0) {
    std::fprintf(stderr, "kxcms: %llu outputs have no digest (--hash none)\n",
                 static_cast<unsigned long long>(without));
  }
}

void PrintFailed(const std::vector<std::string>& files, char end) {
  Each(files, [end](const Json& record) {
    if (IsFailed(record)) std::cout << NameIn(Member(record, "input"), "path") << end;
  });
}

}  // namespace

CLI::App* AddJournal(CLI::App& app, JournalRequest& request) {
  CLI::App* command = AddCommand(app, "journal", "Show what journals of batches tell");
  AddArgument(*command, "FILE", request.files, "journals");
  const OptionGroup contents(*command, option_group::kContents);
  contents.Option("--as", request.as, ChoiceOf(kForms) + " (default: summary)");
  contents.Flag("--failed", request.onlyFailed,
                "print the inputs that were refused or failed, for batch --list");
  contents.Flag("-0,--null", request.isNulEnded, "with --failed: names end with a zero byte");
  return command;
}

void PrintJournal(const JournalRequest& request) {
  if (request.files.empty()) throw Refusal(Exit::Usage, "journal needs at least one file");
  if (request.isNulEnded && !request.onlyFailed) {
    throw Refusal(Exit::Usage, "-0 goes with --failed");
  }
  const Form form = Meaning(kForms, "--as", request.as);
  if (request.onlyFailed) {
    PrintFailed(request.files, request.isNulEnded ? '\0' : '\n');
  } else if (form == Form::kSummary) {
    PrintSummary(request.files);
  } else if (form == Form::kTsv) {
    PrintTable(request.files);
  } else {
    PrintSums(request.files);
  }
}
