#include "tools/batch/FileJob.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <new>
#include <optional>

#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/Sha256.h"
#include "tools/batch/Folders.h"
#include "tools/batch/Quarantine.h"
#include "tools/commands/Conversion.h"

namespace kxcms::batch {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// A refusal with what records have for it.
struct CodedRefusal : Refusal {
  CodedRefusal(Exit exitStatus, const char* recordStatus, const char* reasonCode,
               const std::string& line)
      : Refusal(exitStatus, line), recordedAs(recordStatus), code(reasonCode) {}
  const char* recordedAs;  ///< "refused" or "failed"
  const char* code;
};

/// The files at hand are to be given up.
struct GivenUp {};

const char* CodeOf(Exit status) {
  switch (status) {
    case Exit::Usage:
      return "usage";
    case Exit::ProfileUnusable:
      return "profile";
    case Exit::WouldBeWrong:
      return "unsupported";
    case Exit::WriteFailed:
      return "unwritable";
    default:
      return "unreadable";
  }
}

/// What is wrong with the file or its settings is refused; what could not be read or written
/// failed.
const char* StatusOf(Exit status) {
  const bool isRefused =
      status == Exit::Usage || status == Exit::ProfileUnusable || status == Exit::WouldBeWrong;
  return isRefused ? "refused" : "failed";
}

std::int64_t NanosecondsOf(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

bool IsSame(const struct stat& status, const Json& file) {
  return status.st_size == NumberIn(file, "size") &&
         NanosecondsOf(status.st_mtim) == NumberIn(file, "mtime");
}

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

bool HasDigest(const std::string& path, const std::string& sha256) {
  const Descriptor file(path);
  return file.fd() >= 0 && Sha256OfFile(file.fd()) == sha256;
}

Json TextOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

class FileJob {
 public:
  FileJob(const BatchContext& context, const ListedFile& file)
      : context_(context),
        file_(file),
        target_(TargetOf(file.path, context.settings.request)),
        output_(JoinedPath(context.outputFolder, target_)) {
    record_["type"] = "result";
    PutName(record_, "file", file.path);
    PutName(record_, "target", target_);
    for (const char* key : {"status", "exit", "reason"}) record_[key] = nullptr;
    record_["input"] = Json::object();
    PutName(record_["input"], "path", AbsolutePath(file.source));
    for (const char* key : {"size", "mtime", "sha256"}) record_["input"][key] = nullptr;
    record_["profile"] = nullptr;
    record_["output"] = Json::object();
    PutName(record_["output"], "path", AbsolutePath(output_));
    for (const char* key : {"size", "mtime", "sha256", "pixel_sha256", "icc_sha256"}) {
      record_["output"][key] = nullptr;
    }
    for (const char* key : {"pages", "dropped", "notes"}) record_[key] = Json::array();
    record_["clipped"] = nullptr;
  }

  FileResult Run() {
    try {
      return Try();
    } catch (const GivenUp&) {
      return {FileResult::Kind::kUndone, ""};
    } catch (const CodedRefusal& refusal) {
      return Failed(refusal, refusal.recordedAs, refusal.code);
    } catch (const Refusal& refusal) {
      if (refusal.systemError == ENOSPC || refusal.systemError == EDQUOT) {
        return {FileResult::Kind::kDiskFull, refusal.what()};
      }
      return Failed(refusal, StatusOf(refusal.status), CodeOf(refusal.status));
    } catch (const std::bad_alloc&) {
      return Failed(Refusal(Exit::InputUnreadable, file_.source + ": not enough memory for it"),
                    "failed", "memory");
    }
  }

 private:
  FileResult Try() {
    if (!file_.refusal.empty()) {
      throw CodedRefusal(Exit::InputUnreadable, "refused", "name",
                         file_.source + ": " + file_.refusal);
    }
    const Known known = context_.journal.Claim(target_);
    if (known.isClaimed) {
      throw CodedRefusal(Exit::WriteFailed, "refused", "same-target",
                         file_.source + ": another input has the output " + output_);
    }
    wasFailed_ = known.isFailed;
    RefuseOwnOutput();
    const Json done = known.done != 0 ? context_.journal.Line(known.done) : Json();
    if (known.isDoneAlike && IsDone(done)) return {FileResult::Kind::kDoneBefore, ""};
    const Json begun = known.begun != 0 ? context_.journal.Line(known.begun) : Json();
    if (known.isBegunAlike && IsComplete(begun)) return Finish(begun);
    // One that this journal tells of may be made anew.
    const bool isOurs = IsOfThisFile(done);
    struct stat status;
    const bool exists = lstat(output_.c_str(), &status) == 0;
    if (exists && !isOurs && context_.settings.request.exists != ConvertRequest::Exists::kReplace) {
      if (context_.settings.request.exists == ConvertRequest::Exists::kSkip) return Skip();
      throw CodedRefusal(Exit::WriteFailed, "refused", "exists",
                         "cannot write " + output_ + ": it exists; --exists replace replaces it");
    }
    return Convert();
  }

  /// What was converted once would be taken for an input that has changed, and be converted again.
  void RefuseOwnOutput() const {
    struct stat input, output;
    if (stat(file_.source.c_str(), &input) == 0 && stat(output_.c_str(), &output) == 0 &&
        input.st_dev == output.st_dev && input.st_ino == output.st_ino) {
      throw CodedRefusal(Exit::WriteFailed, "refused", "same-file",
                         "cannot write " + output_ + ": it is the input");
    }
  }

  bool IsOfThisFile(const Json& line) const {
    return line.is_object() && NameIn(line, "file") == file_.path &&
           NameIn(Member(line, "input"), "path") == NameIn(record_["input"], "path") &&
           NameIn(Member(line, "output"), "path") == NameIn(record_["output"], "path");
  }

  bool IsInputSame(const Json& line) const {
    struct stat status;
    return stat(file_.source.c_str(), &status) == 0 && IsSame(status, Member(line, "input"));
  }

  /// Whether what has the output's name is what the line tells of, by its size and its digest.
  bool IsOutput(const Json& line, bool byDigest) const {
    const Json& output = Member(line, "output");
    struct stat status;
    if (stat(output_.c_str(), &status) != 0 || status.st_size != NumberIn(output, "size")) {
      return false;
    }
    if (!byDigest) return true;
    const std::string sha256 = StringIn(output, "sha256");
    return sha256.empty() ? IsSame(status, output) : HasDigest(output_, sha256);
  }

  bool IsDone(const Json& line) const {
    if (!IsOfThisFile(line) || !IsInputSame(line) || !IsOutput(line, context_.isRehash)) {
      return false;
    }
    const std::string sha256 = StringIn(Member(line, "input"), "sha256");
    return !context_.isRehash || sha256.empty() || HasDigest(file_.source, sha256);
  }

  /// Whether the output that was begun has got its name.
  bool IsComplete(const Json& line) const {
    return IsOfThisFile(line) && IsInputSame(line) && IsOutput(line, true);
  }

  FileResult Finish(const Json& begun) {
    if (context_.isDryRun) return {FileResult::Kind::kDoneBefore, ""};
    record_ = begun;
    record_["type"] = "result";
    record_["status"] = "done";
    context_.journal.Append(record_);
    return {FileResult::Kind::kDone, ""};
  }

  FileResult Skip() {
    record_["status"] = "skipped";
    record_["exit"] = static_cast<int>(Exit::Done);
    record_["reason"] = {{"code", "exists"}, {"text", output_ + " exists"}};
    WriteDown();
    return {FileResult::Kind::kSkipped, ""};
  }

  FileResult Failed(const Refusal& refusal, const char* status, const char* code) {
    record_["type"] = "result";
    record_["status"] = status;
    // What was written down of an output that did not get its name is nothing to rely on.
    for (const char* key : {"size", "mtime", "sha256", "pixel_sha256", "icc_sha256"}) {
      record_["output"][key] = nullptr;
    }
    record_["exit"] = static_cast<int>(refusal.status);
    record_["reason"] = {{"code", code}, {"text", refusal.what()}};
    struct stat input;
    if (stat(file_.source.c_str(), &input) == 0) DescribeInput(input);
    WriteDown();
    std::string line = refusal.what();
    if (!context_.quarantine.empty() && !context_.isDryRun) {
      try {
        PutIntoQuarantine(context_.quarantine, file_, TextOf(record_) + "\n");
      } catch (const Refusal& second) {
        line += std::string("; ") + second.what();
      }
    }
    return {FileResult::Kind::kFailed, line};
  }

  FileResult Convert() {
    ConvertRequest request = context_.settings.request;
    request.input = file_.source;
    request.output = output_;
    request.threads = 1;
    Conversion conversion(request, {true, context_.hashes == Hashes::kAll});
    conversion.Open();
    struct stat before;
    if (fstat(conversion.inputFd(), &before) != 0) RefuseInput(std::strerror(errno));
    DescribeInput(before);
    if (context_.settings.map) {
      const std::string* const profile =
          context_.settings.map->Find(file_.path, conversion.source().pages().front().metadata);
      if (profile != nullptr) conversion.UseProfile(*profile, "map");
    }
    conversion.Choose(context_.colors);
    if (context_.isDryRun) return {FileResult::Kind::kDone, ""};

    MakeFolder();
    OutputFile output(output_, context_.journalId + "-" + Hexadecimal(Fnv1a64(target_)));
    conversion.Write(output, [this](std::uint64_t) {
      if (context_.isUndone()) throw GivenUp();
    });
    Describe(conversion, output.fd());
    if (context_.hashes == Hashes::kAll) {
      const std::string digest = Sha256OfFile(conversion.inputFd());
      if (digest.empty()) RefuseInput(std::strerror(errno));
      record_["input"]["sha256"] = digest;
    }
    struct stat after;
    if (fstat(conversion.inputFd(), &after) != 0 || !IsSame(after, record_["input"])) {
      throw CodedRefusal(Exit::InputUnreadable, "failed", "changed",
                         file_.source + ": changed while it was read");
    }
    record_["type"] = "begun";
    record_["status"] = "begun";
    record_["exit"] = static_cast<int>(Exit::Done);
    WriteDown();
    output.Commit(request.isDurable);
    record_["type"] = "result";
    record_["status"] = "done";
    WriteDown();
    if (wasFailed_ && !context_.quarantine.empty()) {
      RemoveFromQuarantine(context_.quarantine, file_);
    }
    return {FileResult::Kind::kDone, ""};
  }

  void DescribeInput(const struct stat& status) {
    record_["input"]["size"] = status.st_size;
    record_["input"]["mtime"] = NanosecondsOf(status.st_mtim);
  }

  [[noreturn]] void RefuseInput(const std::string& reason) const {
    throw Refusal(Exit::InputUnreadable, file_.source + ": " + reason);
  }

  void MakeFolder() const {
    const std::error_code failed =
        MakeFolders(fs::path(output_).parent_path().string(), context_.settings.request.isDurable);
    if (failed) {
      throw Refusal(Exit::WriteFailed, "cannot write " + output_ + ": " + failed.message(),
                    failed.value());
    }
  }

  void Describe(const Conversion& conversion, int fd) {
    const ConversionRecord& found = conversion.record();
    struct stat status;
    if (fstat(fd, &status) != 0) {
      throw Refusal(Exit::WriteFailed, "cannot write " + output_ + ": " + std::strerror(errno));
    }
    Json& output = record_["output"];
    output["size"] = status.st_size;
    output["mtime"] = NanosecondsOf(status.st_mtim);
    if (context_.hashes != Hashes::kNone) {
      const std::string digest = Sha256OfFile(fd);
      if (digest.empty()) {
        throw Refusal(Exit::WriteFailed, "cannot write " + output_ + ": it cannot be read again");
      }
      output["sha256"] = digest;
    }
    output["pixel_sha256"] = TextOrNull(found.pixelSha256);
    output["icc_sha256"] = TextOrNull(context_.colors.tagSha256());
    const ProfileRecord& profile = found.pages.front().profile;
    record_["profile"] = {{"source", profile.source},
                          {"sha256", profile.sha256},
                          {"description", profile.description},
                          {"tag", profile.tag},
                          {"fallback", profile.isFallback}};
    for (const PageRecord& page : found.pages) {
      record_["pages"].push_back({{"page", page.page},
                                  {"width", page.width},
                                  {"height", page.height},
                                  {"bits", page.bits},
                                  {"samples", page.samples},
                                  {"profile_sha256", page.profile.sha256}});
    }
    record_["dropped"] = found.dropped;
    record_["notes"] = found.notes;
    // Millionths are enough to be told, and write alike everywhere.
    record_["clipped"] = Json::array();
    for (const double share : found.clipped) {
      record_["clipped"].push_back(std::round(share * 1e6) / 1e6);
    }
  }

  void WriteDown() {
    if (context_.isDryRun) return;
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_).count();
    record_["seconds"] = static_cast<double>(microseconds) / 1e6;
    context_.journal.Append(record_);
  }

  const BatchContext& context_;
  const ListedFile& file_;
  const std::string target_;
  const std::string output_;
  const Clock::time_point start_ = Clock::now();
  Json record_ = Json::object();
  bool wasFailed_ = false;
};

}  // namespace

std::string TargetOf(const std::string& path, const ConvertRequest& request) {
  if (!request.format) return path;
  ConvertRequest plain;
  plain.output = path;
  try {
    if (FormatOf(plain) == *request.format) return path;
  } catch (const Refusal&) {
    // A suffix of no format goes like one of another format.
  }
  const char* suffix = ".tif";
  if (*request.format == image::Format::kJpeg) suffix = ".jpg";
  if (*request.format == image::Format::kPng) suffix = ".png";
  return fs::path(path).replace_extension(suffix).string();
}

FileResult ConvertListed(const BatchContext& context, const ListedFile& file) {
  return FileJob(context, file).Run();
}

}  // namespace kxcms::batch
