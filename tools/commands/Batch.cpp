#include "tools/commands/Batch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

#include "tools/InputFile.h"
#include "tools/LoadedLibrary.h"
#include "tools/QuickSelfTest.h"
#include "tools/SelfTest.h"
#include "tools/Sha256.h"
#include "tools/batch/BatchProgress.h"
#include "tools/batch/BatchSettings.h"
#include "tools/batch/Crew.h"
#include "tools/batch/FileJob.h"
#include "tools/batch/FileList.h"
#include "tools/batch/Folders.h"
#include "tools/batch/Journal.h"
#include "tools/batch/StopSignals.h"
#include "tools/commands/Words.h"

namespace {

namespace fs = std::filesystem;
using namespace kxcms::batch;
using Form = BatchProgress::Form;

enum class ProgressWord { kAuto, kPlain, kJson };
constexpr Words<ProgressWord, 3> kProgress = {{{"auto", ProgressWord::kAuto},
                                               {"plain", ProgressWord::kPlain},
                                               {"json", ProgressWord::kJson}}};
constexpr Words<Hashes, 3> kHashes = {
    {{"none", Hashes::kNone}, {"output", Hashes::kOutput}, {"all", Hashes::kAll}}};

constexpr int kMostJobs = 1024;

[[noreturn]] void RefuseUsage(const std::string& line) {
  throw Refusal(Exit::Usage, line);
}

Shard ShardOf(const std::string& text) {
  if (text.empty()) return {};
  constexpr std::uint64_t kMost = 1'000'000;
  unsigned long long index = 0, count = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%llu/%llu%n", &index, &count, &end) != 2 ||
      static_cast<std::size_t>(end) != text.size() ||
      text.find_first_not_of("0123456789/") != std::string::npos || count == 0 || count > kMost ||
      index >= count) {
    RefuseUsage("--shard must be I/N with I from 0 to N - 1");
  }
  return {index, count};
}

std::uint64_t SizeOf(const std::string& text) {
  constexpr std::uint64_t kMostDigits = 12;
  std::size_t digits = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
  const std::string unit = text.substr(digits);
  constexpr std::array<const char*, 5> kUnits = {"", "K", "M", "G", "T"};
  const auto found = std::find(kUnits.begin(), kUnits.end(), unit);
  if (digits == 0 || digits > kMostDigits || found == kUnits.end()) {
    RefuseUsage("--min-free must be a number of bytes, or one with K, M, G or T behind it");
  }
  return std::stoull(text) << (10 * (found - kUnits.begin()));
}

std::string HostName() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

std::string TimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc = {};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

std::string NewId() {
  std::random_device random;
  const std::uint64_t high = random();
  return Hexadecimal(high << 32 | random());
}

Json OrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json Header(const BatchRequest& request, const Json& settings, const std::string& id, int jobs) {
  Json header = Json::object();
  header["type"] = "header";
  header["schema"] = kJournalSchema;
  header["id"] = id;
  header["time"] = TimeNow();
  header["host"] = HostName();
  header["kxcms"] = KXCMS_VERSION;
  header["library"] = {
      {"version", kxp_version()}, {"sha256", LoadedLibrarySha256()}, {"level", kxp_level()}};
  header["selftest"] = request.isSelfTest ? "passed" : "passed, quick";
  header["settings"] = settings;
  header["settings_sha256"] = DigestOf(settings);
  Json run = Json::object();
  PutName(run, "directory", AbsolutePath("."));
  PutName(run, "from", request.from);
  PutName(run, "list", request.list);
  PutName(run, "to_dir", request.toDir);
  PutName(run, "quarantine", request.quarantine);
  run["shard"] = OrNull(request.shard);
  run["jobs"] = jobs;
  run["hash"] = request.hash;
  run["exists"] = request.conversion.exists;
  run["durable"] = request.conversion.request.isDurable;
  run["rehash"] = request.isRehash;
  run["min_free"] = OrNull(request.minFree);
  run["max_failures"] = request.maxFailures ? Json(*request.maxFailures) : Json();
  header["run"] = std::move(run);
  return header;
}

void Check(const BatchRequest& request) {
  if (request.from.empty() && request.list.empty()) {
    RefuseUsage("batch needs --from or --list");
  }
  if (request.toDir.empty()) RefuseUsage("batch needs --to-dir");
  if (request.isNulEnded && request.list.empty()) RefuseUsage("-0 goes with --list");
  if (request.conversion.request.profile && !request.profileMap.empty()) {
    RefuseUsage("--profile and --profile-map exclude each other");
  }
  if (request.jobs < 0 || request.jobs > kMostJobs) {
    RefuseUsage("--jobs must be 1 to " + std::to_string(kMostJobs) + ", or 0 for all processors");
  }
  if (request.maxFailures && *request.maxFailures < 1) {
    RefuseUsage("--max-failures must be 1 or more");
  }
}

/// Each shard has a journal of its own, so that none waits for another.
std::string JournalPath(const BatchRequest& request, const Shard& shard) {
  if (!request.journal.empty()) return request.journal;
  const std::string part =
      shard.count == 1 ? ""
                       : "-" + std::to_string(shard.index) + "-of-" + std::to_string(shard.count);
  return JoinedPath(request.toDir, "kxcms-journal" + part + ".jsonl");
}

void MakeFolder(const std::string& path, bool isDurable) {
  const std::error_code failed = MakeFolders(path, isDurable);
  if (failed) throw Refusal(Exit::WriteFailed, "cannot write " + path + ": " + failed.message());
}

/// Reads every profile that is named, so that what would fail for every file is refused at once.
void PrepareColors(const Settings& settings, ColorStore& colors) {
  std::vector<std::string> names;
  if (settings.request.profile) names.push_back(*settings.request.profile);
  if (settings.request.assume) names.push_back(*settings.request.assume);
  if (settings.map) {
    for (const std::string& name : settings.map->Profiles()) names.push_back(name);
  }
  for (const std::string& name : names) colors.From(colors.Named(name), "profile " + name);
}

class FileSource {
 public:
  FileSource(const BatchRequest& request, const Shard& shard)
      : request_(request), base_(request.from.empty() ? "." : request.from), shard_(shard) {
    struct stat status;
    if (!request.from.empty() && stat(base_.c_str(), &status) != 0) {
      throw Refusal(Exit::InputUnreadable, base_ + ": " + std::strerror(errno));
    }
    if (!request.from.empty() && !S_ISDIR(status.st_mode)) {
      throw Refusal(Exit::InputUnreadable, base_ + ": is no folder; --list takes a file of names");
    }
    if (!request.list.empty() && request.list != "-") OpenInput(request.list);
    std::error_code ignored;
    if (request.list.empty() && fs::equivalent(base_, request.toDir, ignored)) {
      RefuseUsage("--to-dir is --from: results would be taken for images; name another folder");
    }
  }

  /// Tells every file of the shard. @return false if `take` did, or the waiting was stopped
  bool Each(const TakeFile& take, const std::function<bool()>& isStopped) const {
    const TakeFile ofShard = [&](ListedFile file) {
      return !shard_.Holds(file.path) || take(std::move(file));
    };
    if (request_.list.empty()) {
      return WalkFolder(base_, {request_.toDir, request_.quarantine}, ofShard);
    }
    const char end = request_.isNulEnded ? '\0' : '\n';
    if (request_.list == "-") {
      return ReadList(STDIN_FILENO, "standard input", end, base_, ofShard, isStopped);
    }
    const Stream stream = OpenInput(request_.list);
    return ReadList(fileno(stream.get()), request_.list, end, base_, ofShard, isStopped);
  }

  /// How many there are; none where that cannot be known before.
  std::optional<std::uint64_t> Count() const {
    struct stat status;
    if (!request_.list.empty() &&
        (request_.list == "-" || stat(request_.list.c_str(), &status) != 0 ||
         !S_ISREG(status.st_mode))) {
      return std::nullopt;
    }
    std::uint64_t count = 0;
    const bool isAll = Each(
        [&count](const ListedFile&) {
          ++count;
          return StopSignals::Count() == 0;
        },
        [] { return StopSignals::Count() > 0; });
    return isAll ? std::optional(count) : std::nullopt;
  }

 private:
  const BatchRequest& request_;
  const std::string base_;
  const Shard shard_;
};

Form FormOf(const BatchRequest& request) {
  const ProgressWord word = Meaning(kProgress, "--progress", request.progress);
  if (word == ProgressWord::kJson) return Form::kJson;
  if (request.conversion.request.isQuiet) return Form::kNone;
  return word == ProgressWord::kAuto && isatty(STDERR_FILENO) == 1 ? Form::kTerminal : Form::kPlain;
}

}  // namespace

CLI::App* AddBatch(CLI::App& app, BatchRequest& request) {
  CLI::App* batch = AddCommand(app, "batch", "Convert the images of a folder or a list");
  const OptionGroup files(*batch, option_group::kFiles);
  files.Option("--from", request.from, "folder of the images, with those below it");
  files.Option("--list", request.list, "file of their names, one a line; - for standard input");
  files.Flag("-0,--null", request.isNulEnded, "names of the list end with a zero byte");
  files.Option("--to-dir", request.toDir, "folder for the results, at the same paths");
  files.Option("--journal", request.journal,
               "file for records of what was done (default: kxcms-journal.jsonl in the folder "
               "of results)");
  files.Option("--shard", request.shard, "I/N: the part I of N of all files, I from 0");
  files.Option("--quarantine", request.quarantine, "folder for links to files that failed");
  AddConversionOptions(*batch, request.conversion);
  const OptionGroup colors(*batch, option_group::kColors);
  colors.Option("--profile-map", request.profileMap,
                "table of profiles: a glob or device:MAKE/MODEL, tabulator, profile");
  const OptionGroup running(*batch, option_group::kRunning);
  running.Number("--jobs", request.jobs, "files at once (default: one per processor)");
  running.Option(
      "--hash", request.hash,
      ChoiceOf(kHashes) + ": SHA-256 of outputs, or of inputs and pixels too (default: all)");
  running.Flag("--rehash", request.isRehash, "recognise what is done by SHA-256 too");
  running.Option("--min-free", request.minFree,
                 "stop when less is free for the results; bytes, or with K, M, G, T");
  running.Number("--max-failures", request.maxFailures, "stop when so many have failed");
  running.Flag("--dry-run", request.isDryRun, "look at all files and write nothing");
  running.Flag("--selftest", request.isSelfTest,
               "check first, and not only quickly, that this machine computes right");
  running.Option("--progress", request.progress, ChoiceOf(kProgress) + " (default: auto)");
  return batch;
}

Exit RunBatch(const BatchRequest& request) {
  Check(request);
  const Shard shard = ShardOf(request.shard);
  Limits limits;
  if (!request.minFree.empty()) limits.minFreeBytes = SizeOf(request.minFree);
  if (request.maxFailures) limits.maxFailures = static_cast<std::uint64_t>(*request.maxFailures);
  const Hashes hashes = Meaning(kHashes, "--hash", request.hash);
  const Form form = FormOf(request);
  Settings settings{request.conversion, CheckedConversion(request.conversion), std::nullopt,
                    request.profileMap};
  if (!request.profileMap.empty()) settings.map.emplace(request.profileMap);
  const FileSource source(request, shard);

  const int jobs = request.jobs > 0
                       ? request.jobs
                       : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  // Enough for files of many devices in any order, beside those that are at work.
  constexpr std::size_t kSparePipelines = 8;
  ColorStore colors(settings.request, static_cast<std::size_t>(jobs) + kSparePipelines, true);
  PrepareColors(settings, colors);
  RequireQuickSelfTest(settings.request.isFixed);
  if (request.isSelfTest) RequireSelfTest();
  const Json settingsJson = JsonOf(settings, colors);

  StopSignals signals;
  if (!request.isDryRun) MakeFolder(request.toDir, settings.request.isDurable);
  std::optional<Journal> journal;
  try {
    journal.emplace(JournalPath(request, shard), DigestOf(settingsJson), request.isDryRun,
                    request.conversion.request.isDurable);
    const std::optional<std::uint64_t> count = source.Count();
    if (count) journal->ExpectOutputs(*count);
    const std::string id = journal->id().empty() ? NewId() : journal->id();
    if (!request.isDryRun) journal->Append(Header(request, settingsJson, id, jobs));

    BatchContext context{settings,         colors,
                         *journal,         id,
                         request.toDir,    request.quarantine,
                         hashes,           request.isRehash,
                         request.isDryRun, [] { return StopSignals::Count() > 1; }};
    BatchProgress progress(form, count);
    signals.Block();
    Crew crew(context, limits, progress, jobs);
    signals.Unblock();
    const bool isAll = source.Each([&crew](ListedFile file) { return crew.Take(std::move(file)); },
                                   [&crew] { return crew.IsStopped(); });
    crew.Join();
    progress.Finish();
    if (request.isDryRun && form != Form::kNone) progress.Tell("dry run: nothing was written");
    if (crew.hasJournalFailed()) throw JournalFailure(crew.reason());
    if (!isAll || crew.HasLeftFiles()) {
      throw Refusal(Exit::StoppedEarly,
                    "stopped early: " + (crew.reason().empty() ? "by a signal" : crew.reason()) +
                        "; the same command goes on");
    }
    return progress.failed() > 0 ? Exit::SomeFailed : Exit::Done;
  } catch (const JournalFailure& failure) {
    throw Refusal(Exit::WriteFailed, failure.what());
  }
}
