#include "tools/commands/Verify.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

#include "tools/OneLine.h"
#include "tools/OutputFile.h"
#include "tools/Sha256.h"
#include "tools/batch/BatchSettings.h"
#include "tools/batch/JournalReader.h"
#include "tools/commands/Conversion.h"
#include "tools/image/ImageError.h"

namespace {

namespace fs = std::filesystem;
using namespace kxcms::batch;
using kxcms::image::ImageError;
using kxcms::image::ImageSource;

/// What a record turns out to be. The names are those of the JSON form.
enum class Verdict {
  kGood,
  kNotDone,     ///< the record says so; there is nothing to hold against it
  kMissing,     ///< the output, or the input of a second conversion
  kUnreadable,  ///< the same
  kMetadata,    ///< other bytes, and the same pixels
  kPixels,      ///< other pixels
  kDiffers,     ///< other bytes, and nothing is known of the pixels
  kOther,       ///< a second conversion cannot be held against it: its input or a profile differs
};

const char* NameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kGood:
      return "good";
    case Verdict::kNotDone:
      return "not-done";
    case Verdict::kMissing:
      return "missing";
    case Verdict::kUnreadable:
      return "unreadable";
    case Verdict::kMetadata:
      return "metadata-differ";
    case Verdict::kPixels:
      return "pixels-differ";
    case Verdict::kDiffers:
      return "differs";
    case Verdict::kOther:
      break;
  }
  return "other-input";
}

struct Finding {
  Verdict verdict;
  std::string text;
};

/// An open file with what the system says of it; `error` is errno if it cannot be opened.
struct OpenFile {
  explicit OpenFile(const std::string& path)
      : fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (fd < 0 || fstat(fd, &status) != 0) error = errno;
    if (error == 0 && !S_ISREG(status.st_mode)) error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  }
  ~OpenFile() {
    if (fd >= 0) close(fd);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int fd;
  int error = 0;
  struct stat status = {};
};

Finding CannotOpen(const char* what, int error) {
  return {error == ENOENT || error == ENOTDIR ? Verdict::kMissing : Verdict::kUnreadable,
          std::string(what) + ": " + std::strerror(error)};
}

/// Looks what differs in an output that is not the one that was written.
Finding Difference(const OpenFile& file, const Json& output) {
  const std::string pixels = StringIn(output, "pixel_sha256");
  if (pixels.empty()) return {Verdict::kDiffers, "the file differs"};
  try {
    const auto source = ImageSource::Open(file.fd, static_cast<std::uint64_t>(file.status.st_size));
    if (PixelDigestOf(*source) == pixels) {
      return {Verdict::kMetadata, "the file differs in metadata; its pixels are the same"};
    }
    return {Verdict::kPixels, "its pixels differ"};
  } catch (const ImageError& error) {
    return {Verdict::kDiffers,
            std::string("the file differs, and cannot be decoded: ") + error.what()};
  }
}

Finding CheckOutput(const Json& record, bool isRehash) {
  const Json& output = Member(record, "output");
  const OpenFile file(NameIn(output, "path"));
  if (file.error != 0) return CannotOpen("the output", file.error);
  const bool isSameSize = file.status.st_size == NumberIn(output, "size");
  const std::int64_t mtime =
      std::int64_t{file.status.st_mtim.tv_sec} * 1'000'000'000 + file.status.st_mtim.tv_nsec;
  const std::string sha256 = StringIn(output, "sha256");
  // What has the size and the time of then is taken to be the same, unless more is asked for.
  const bool isTouched = mtime != NumberIn(output, "mtime");
  if (isSameSize && ((!isRehash && !isTouched) || sha256.empty())) return {Verdict::kGood, ""};
  if (isSameSize) {
    const std::string now = Sha256OfFile(file.fd);
    if (now.empty()) return CannotOpen("the output", errno);
    if (now == sha256) return {Verdict::kGood, ""};
  }
  return Difference(file, output);
}

/// Converts inputs once more with the settings of a header.
class Reconversion {
 public:
  explicit Reconversion(const Json& header)
      : header_(header),
        directory_(NameIn(Member(header, "run"), "directory")),
        options_(OptionsOf(Member(header, "settings"))) {
    request_ = CheckedConversion(options_);
    request_.threads = 1;
    request_.exists = ConvertRequest::Exists::kReplace;
    const Json& map = Member(Member(header, "settings"), "profile_map");
    if (map.is_object()) map_.emplace(NameIn(map, "path"));
    colors_.emplace(request_, kPipelines, true);
  }

  Finding Check(const Json& record) {
    const Json& input = Member(record, "input");
    const std::string path = NameIn(input, "path");
    const OpenFile file(path);
    if (file.error != 0) return CannotOpen("the input", file.error);
    const std::string sha256 = StringIn(input, "sha256");
    if (file.status.st_size != NumberIn(input, "size") ||
        (!sha256.empty() && Sha256OfFile(file.fd) != sha256)) {
      return {Verdict::kOther, "the input has changed"};
    }
    ConvertRequest request = request_;
    request.input = path;
    // Only its folder and its suffix are used: the file never gets a name.
    std::error_code failed;
    const fs::path folder = fs::temp_directory_path(failed);
    request.output = ((failed ? fs::path("/tmp") : folder) /
                      ("kxcms-verify" + fs::path(NameIn(record, "target")).extension().string()))
                         .string();
    try {
      return Compare(request, record);
    } catch (const Refusal& refusal) {
      return {Verdict::kOther, std::string("cannot be converted again: ") + refusal.what()};
    }
  }

 private:
  static constexpr std::size_t kPipelines = 16;

  Finding Compare(const ConvertRequest& request, const Json& record) {
    const Json& output = Member(record, "output");
    Conversion conversion(request, {false, true});
    conversion.Open();
    if (map_) {
      const std::string* const profile =
          map_->Find(NameIn(record, "file"), conversion.source().pages().front().metadata);
      if (profile != nullptr) conversion.UseProfile(Resolved(*profile), "map");
    }
    conversion.Choose(*colors_);
    const Json& to = Member(Member(header_, "settings"), "to");
    if (conversion.record().pages.front().profile.sha256 !=
            StringIn(Member(record, "profile"), "sha256") ||
        Sha256Of(colors_->destination().bytes) != StringIn(to, "sha256") ||
        colors_->tagSha256() != StringIn(output, "icc_sha256")) {
      return {Verdict::kOther, "a profile has changed"};
    }
    OutputFile result(request.output);
    conversion.Write(result, [](std::uint64_t) {});
    const std::string pixels = StringIn(output, "pixel_sha256");
    const std::string sha256 = StringIn(output, "sha256");
    const bool isSame = !pixels.empty() ? conversion.record().pixelSha256 == pixels
                                        : sha256.empty() || Sha256OfFile(result.fd()) == sha256;
    if (isSame) return {Verdict::kGood, ""};
    return {Verdict::kPixels, "converting the input again gives another result"};
  }

  std::string Resolved(const std::string& profile) const {
    return IsImageSpace(profile) ? profile : (fs::path(directory_) / profile).string();
  }

  const Json& header_;
  const std::string directory_;
  const ConvertOptions options_;
  ConvertRequest request_;
  std::optional<ProfileMap> map_;
  std::optional<ColorStore> colors_;
};

/// Which of the records are converted again: a part of them that stays the same.
bool IsInShare(const Json& record, double share) {
  constexpr double kHashes = 18446744073709551616.0;  // 2^64
  return static_cast<double>(Fnv1a64(NameIn(record, "file"))) < share * kHashes;
}

double ShareOf(const std::string& text) {
  if (text.empty()) return 0;
  char* end = nullptr;
  double share = std::strtod(text.c_str(), &end);
  if (*end == '%') {
    share /= 100;
    ++end;
  }
  // Written so that NaN fails too.
  if (end == text.c_str() || *end != '\0' || !(share >= 0 && share <= 1)) {
    throw Refusal(Exit::Usage, "--reconvert must be 0 to 1, or 0 % to 100 %");
  }
  return share;
}

/// Goes through journals on several threads, and prints what it finds.
class Verification {
 public:
  Verification(const VerifyRequest& request, double share) : request_(request), share_(share) {}

  void Check(const std::string& path) {
    const JournalReader journal(path);
    if (journal.damagedLines() > 0) {
      Tell(path, Json(),
           {Verdict::kUnreadable, std::to_string(journal.damagedLines()) + " lines are damaged"});
    }
    const Again again = ReconversionsOf(journal);
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
      for (std::size_t i = next++; i < journal.lines().size(); i = next++) {
        const std::uint64_t at = journal.lines()[i];
        Json record;
        Finding finding = {Verdict::kUnreadable, "not enough memory for it"};
        try {
          record = journal.Line(at);
          finding = FindingOf(record);
          if (finding.verdict == Verdict::kGood && share_ > 0 && IsInShare(record, share_)) {
            finding = again.at(&journal.HeaderOf(at))(record);
          }
        } catch (const std::bad_alloc&) {
          finding.verdict = Verdict::kUnreadable;
        }
        Tell(path, record, finding);
      }
    };
    const unsigned jobs = request_.jobs > 0 ? static_cast<unsigned>(request_.jobs)
                                            : std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    try {
      for (unsigned i = 1; i < jobs; ++i) threads.emplace_back(work);
    } catch (const std::system_error&) {
      // Those that there are do the work.
    }
    work();
    for (std::thread& thread : threads) thread.join();
  }

  void Finish() const {
    if (request_.isJson) return;
    std::string line;
    for (const auto& [verdict, count] : counts_) {
      line += (line.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(verdict);
    }
    std::cout << (line.empty() ? "nothing to verify" : line) << '\n';
  }

  Exit Outcome() const {
    const auto has = [this](Verdict verdict) { return counts_.contains(verdict); };
    if (has(Verdict::kMetadata) || has(Verdict::kPixels) || has(Verdict::kDiffers) ||
        has(Verdict::kOther)) {
      return Exit::WouldBeWrong;
    }
    return has(Verdict::kMissing) || has(Verdict::kUnreadable) ? Exit::InputUnreadable : Exit::Done;
  }

 private:
  /// By header: what converts again, or says why it cannot.
  using Again = std::map<const Json*, std::function<Finding(const Json&)>>;

  Again ReconversionsOf(const JournalReader& journal) const {
    Again again;
    if (share_ == 0) return again;
    for (const auto& [at, header] : journal.headers()) {
      try {
        const auto made = std::make_shared<Reconversion>(header);
        again[&header] = [made](const Json& record) { return made->Check(record); };
      } catch (const Refusal& refusal) {
        const std::string reason = std::string("cannot be converted again: ") + refusal.what();
        again[&header] = [reason](const Json&) { return Finding{Verdict::kOther, reason}; };
      }
    }
    return again;
  }

  Finding FindingOf(const Json& record) const {
    const std::string status = StringIn(record, "status");
    if (status == "done") return CheckOutput(record, request_.isRehash);
    if (status == "begun") return {Verdict::kMissing, "it was begun, and no result is there"};
    return {Verdict::kNotDone, status + ": " + StringIn(Member(record, "reason"), "text")};
  }

  void Tell(const std::string& journal, const Json& record, const Finding& finding) {
    const std::string output = NameIn(Member(record, "output"), "path");
    const std::lock_guard<std::mutex> guard(lock_);
    ++counts_[finding.verdict];
    if (request_.isJson) {
      Json line = Json::object();
      PutName(line, "journal", journal);
      PutName(line, "file", NameIn(record, "file"));
      PutName(line, "output", output);
      line["verdict"] = NameOf(finding.verdict);
      line["text"] = finding.text;
      std::cout << TextOf(line) << '\n';
    } else if (finding.verdict != Verdict::kGood && finding.verdict != Verdict::kNotDone) {
      const std::string& name = output.empty() ? journal : output;
      std::cout << OneLine(name + ": " + NameOf(finding.verdict) + ": " + finding.text) << '\n';
    }
  }

  const VerifyRequest& request_;
  const double share_;
  std::mutex lock_;
  std::map<Verdict, std::uint64_t> counts_;
};

}  // namespace

CLI::App* AddVerify(CLI::App& app, VerifyRequest& request) {
  CLI::App* command =
      AddCommand(app, "verify", "Hold the results of batches against their journals");
  AddArgument(*command, "JOURNAL", request.journals, "journals");
  const OptionGroup running(*command, option_group::kRunning);
  running.Flag("--rehash", request.isRehash,
               "read every file, also where size and time are those of then");
  running.Option("--reconvert", request.reconvert,
                 "convert a share of the inputs again and compare: 0 to 1, or a percentage");
  running.Flag("--json", request.isJson, "print a JSON object for each file");
  running.Number("--jobs", request.jobs, "files at once (default: one per processor)");
  return command;
}

Exit VerifyJournals(const VerifyRequest& request) {
  constexpr int kMostJobs = 1024;
  if (request.journals.empty()) throw Refusal(Exit::Usage, "verify needs at least one journal");
  if (request.jobs < 0 || request.jobs > kMostJobs) {
    throw Refusal(Exit::Usage,
                  "--jobs must be 1 to " + std::to_string(kMostJobs) + ", or 0 for all processors");
  }
  Verification verification(request, ShareOf(request.reconvert));
  for (const std::string& journal : request.journals) verification.Check(journal);
  verification.Finish();
  return verification.Outcome();
}
