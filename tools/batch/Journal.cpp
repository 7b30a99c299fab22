#include "tools/batch/Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "tools/OutputFile.h"
#include "tools/batch/Folders.h"

namespace kxcms::batch {

namespace {

constexpr std::string_view kFirstBytes = R"({"type":"header","schema":"kxcms-journal-)";
constexpr std::size_t kBlockBytes = 1u << 18;

Json RecordOf(std::string_view line) {
  Json record = Json::parse(line.begin(), line.end(), nullptr, false);
  return record.is_object() ? record : Json();
}

Json BriefRecordOf(std::string_view line) {
  // Inside a text, a quotation mark has a backslash before it.
  const std::size_t end = line.find(R"(,"exit":)");
  if (end == std::string_view::npos || !line.ends_with('}')) return RecordOf(line);
  return RecordOf(std::string(line.substr(0, end)) + "}");
}

}  // namespace

std::uint64_t ReadLines(int fd, bool isBrief,
                        const std::function<void(std::uint64_t, const Json&)>& each) {
  std::string waiting;  // a line whose end has not been read
  std::vector<char> block(kBlockBytes);
  std::uint64_t lineAt = 0;
  for (std::uint64_t at = 0;;) {
    const ssize_t got = pread(fd, block.data(), block.size(), static_cast<off_t>(at));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw std::system_error(errno, std::generic_category());
    if (got == 0) return lineAt;
    at += static_cast<std::uint64_t>(got);
    std::string_view rest(block.data(), static_cast<std::size_t>(got));
    for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
      waiting.append(rest.substr(0, end));
      rest.remove_prefix(end + 1);
      each(lineAt, isBrief ? BriefRecordOf(waiting) : RecordOf(waiting));
      lineAt += waiting.size() + 1;
      waiting.clear();
    }
    waiting.append(rest);
  }
}

Json ReadLine(int fd, std::uint64_t at) {
  std::string line;
  char block[2048];
  for (;;) {
    const ssize_t got = pread(fd, block, sizeof block, static_cast<off_t>(at + line.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return {};
    const std::string_view part(block, static_cast<std::size_t>(got));
    const std::size_t end = part.find('\n');
    line.append(part.substr(0, end));
    if (end != std::string_view::npos) return RecordOf(line);
  }
}

bool IsHeader(const Json& record) {
  return StringIn(record, "type") == "header" && StringIn(record, "schema") == kJournalSchema;
}

void Journal::Fail(const std::string& reason) const {
  throw JournalFailure("journal " + path_ + ": " + reason);
}

template <typename Use>
auto Journal::WithOutputs(const Use& use) {
  try {
    return use();
  } catch (const std::system_error& error) {
    Fail("cannot keep what is known of outputs: " + error.code().message());
  }
}

Journal::Journal(const std::string& path, const std::string& settings, bool isDryRun,
                 bool isDurable)
    : path_(path), isDurable_(isDurable) {
  const int flags = isDryRun ? O_RDONLY : O_RDWR | O_CREAT | O_APPEND;
  file_ = Descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666));
  const bool isThere = file_.get() >= 0;
  if (!isThere && !(isDryRun && errno == ENOENT)) Fail(std::strerror(errno));
  // A dry run leaves the folder alone, which may not be there.
  const std::string folder = FolderOf(isDryRun ? kStandardStream : path);
  WithOutputs([&] { outputs_.emplace(folder); });
  if (isThere) Open(settings, isDryRun);
}

void Journal::Open(const std::string& settings, bool isDryRun) {
  const int fd = file_.get();
  struct stat status;
  if (fstat(fd, &status) != 0) Fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) Fail("is not a regular file");
  if (!isDryRun && flock(fd, LOCK_EX | LOCK_NB) != 0) {
    Fail(errno == EWOULDBLOCK ? "another batch is writing it" : std::strerror(errno));
  }
  CheckBeginning();
  try {
    size_ = ReadLines(fd, true,
                      [&](std::uint64_t at, const Json& record) { Learn(at, record, settings); });
  } catch (const std::system_error& error) {
    Fail(error.code().message());
  }
  if (isDryRun) return;
  if (fstat(fd, &status) != 0) Fail(std::strerror(errno));
  if (static_cast<std::uint64_t>(status.st_size) != size_ &&
      ftruncate(fd, static_cast<off_t>(size_)) != 0) {
    Fail(std::strerror(errno));
  }
  if (isDurable_) {
    // A journal that is new has to be there after a power loss too.
    if (const std::error_code failed = SyncFolder(FolderOf(path_))) Fail(failed.message());
  }
}

// A file that was named by mistake is not to lose its end.
void Journal::CheckBeginning() const {
  char start[kFirstBytes.size()];
  const ssize_t got = pread(file_.get(), start, sizeof start, 0);
  if (got < 0) Fail(std::strerror(errno));
  const std::string_view there(start, static_cast<std::size_t>(got));
  if (there != kFirstBytes.substr(0, there.size())) Fail("is no journal; name another file");
}

void Journal::Learn(std::uint64_t at, const Json& record, const std::string& settings) {
  if (IsHeader(record)) {
    isAlike_ = StringIn(record, "settings_sha256") == settings;
    if (id_.empty()) id_ = StringIn(record, "id");
    return;
  }
  const std::string target = NameIn(record, "target");
  if (target.empty()) return;
  const std::string type = StringIn(record, "type"), status = StringIn(record, "status");
  WithOutputs([&] {
    outputs_->Change(KeyOf(target), [&](Known& known) {
      if (type == "begun") {
        known.begun = at;
        known.isBegunAlike = isAlike_ ? 1 : 0;
        return;
      }
      known.isFailed = status == "failed" || status == "refused" ? 1 : 0;
      if (status == "done") {
        known.begun = 0;
        known.done = at;
        known.isDoneAlike = isAlike_ ? 1 : 0;
      }
    });
  });
}

void Journal::Append(const Json& record) {
  const std::string line = TextOf(record) + "\n";
  const std::lock_guard<std::mutex> guard(lock_);
  const ssize_t put = write(file_.get(), line.data(), line.size());
  if (put == static_cast<ssize_t>(line.size())) {
    size_ += line.size();
    if (!isDurable_ || fdatasync(file_.get()) == 0) return;
  }
  const int reason = put < 0 || put == static_cast<ssize_t>(line.size()) ? errno : ENOSPC;
  // Whatever of the line is there would be torn; the next batch would cut it off too.
  if (put > 0 && put < static_cast<ssize_t>(line.size())) {
    (void)!ftruncate(file_.get(), static_cast<off_t>(size_));
  }
  throw JournalFailure("journal " + path_ + ": " + std::strerror(reason));
}

void Journal::ExpectOutputs(std::uint64_t outputs) {
  WithOutputs([&] { outputs_->Reserve(outputs); });
}

Known Journal::Claim(const std::string& output) {
  const std::uint64_t key = KeyOf(output);
  const std::lock_guard<std::mutex> guard(lock_);
  return WithOutputs(
      [&] { return outputs_->Change(key, [](Known& known) { known.isClaimed = 1; }); });
}

}  // namespace kxcms::batch
