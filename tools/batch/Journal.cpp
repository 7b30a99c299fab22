#include "tools/batch/Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "tools/Sha256.h"
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

std::uint64_t KeyOf(const std::string& name) {
  const std::uint64_t key = std::stoull(Sha256Of(name).substr(0, 16), nullptr, 16);
  return key == 0 ? 1 : key;
}

bool IsHeader(const Json& record) {
  return StringIn(record, "type") == "header" && StringIn(record, "schema") == kJournalSchema;
}

Journal::Journal(const std::string& path, const std::string& settings, bool isDryRun,
                 bool isDurable)
    : path_(path), isDurable_(isDurable), entries_(64) {
  const int flags = isDryRun ? O_RDONLY : O_RDWR | O_CREAT | O_APPEND;
  fd_ = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
  if (fd_ < 0 && isDryRun && errno == ENOENT) return;
  if (fd_ < 0) Fail(std::strerror(errno));
  struct stat status;
  if (fstat(fd_, &status) != 0) Fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) Fail("is not a regular file");
  if (!isDryRun && flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    Fail(errno == EWOULDBLOCK ? "another batch is writing it" : std::strerror(errno));
  }
  CheckBeginning();
  try {
    size_ = ReadLines(fd_, true,
                      [&](std::uint64_t at, const Json& record) { Learn(at, record, settings); });
  } catch (const std::system_error& error) {
    Fail(error.code().message());
  }
  if (isDryRun) return;
  if (fstat(fd_, &status) != 0) Fail(std::strerror(errno));
  if (static_cast<std::uint64_t>(status.st_size) != size_ &&
      ftruncate(fd_, static_cast<off_t>(size_)) != 0) {
    Fail(std::strerror(errno));
  }
  if (isDurable_) {
    // A journal that is new has to be there after a power loss too.
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (const std::error_code failed = SyncFolder(folder.empty() ? "." : folder)) {
      Fail(failed.message());
    }
  }
}

Journal::~Journal() {
  if (fd_ >= 0) close(fd_);
}

void Journal::Fail(const std::string& reason) const {
  const int fd = fd_;
  if (fd >= 0) close(fd);
  throw JournalFailure("journal " + path_ + ": " + reason);
}

// A file that was named by mistake is not to lose its end.
void Journal::CheckBeginning() const {
  char start[kFirstBytes.size()];
  const ssize_t got = pread(fd_, start, sizeof start, 0);
  if (got < 0) Fail(std::strerror(errno));
  const std::string_view there(start, static_cast<std::size_t>(got));
  if (there != kFirstBytes.substr(0, there.size())) Fail("is no journal");
}

void Journal::Learn(std::uint64_t at, const Json& record, const std::string& settings) {
  if (IsHeader(record)) {
    isAlike_ = StringIn(record, "settings_sha256") == settings;
    if (id_.empty()) id_ = StringIn(record, "id");
    return;
  }
  const std::string target = NameIn(record, "target");
  if (target.empty()) return;
  Known& known = EntryOf(KeyOf(target));
  if (StringIn(record, "type") == "begun") {
    known.begun = at;
    known.isBegunAlike = isAlike_ ? 1 : 0;
    return;
  }
  const std::string status = StringIn(record, "status");
  known.isFailed = status == "failed" || status == "refused" ? 1 : 0;
  if (status == "done") {
    known.begun = 0;
    known.done = at;
    known.isDoneAlike = isAlike_ ? 1 : 0;
  }
}

void Journal::Append(const Json& record) {
  const std::string line = TextOf(record) + "\n";
  const std::lock_guard<std::mutex> guard(lock_);
  const ssize_t put = write(fd_, line.data(), line.size());
  if (put == static_cast<ssize_t>(line.size())) {
    size_ += line.size();
    if (!isDurable_ || fdatasync(fd_) == 0) return;
  }
  const int reason = put < 0 || put == static_cast<ssize_t>(line.size()) ? errno : ENOSPC;
  // Whatever of the line is there would be torn; the next batch would cut it off too.
  if (put > 0 && put < static_cast<ssize_t>(line.size())) {
    (void)!ftruncate(fd_, static_cast<off_t>(size_));
  }
  throw JournalFailure("journal " + path_ + ": " + std::strerror(reason));
}

Known& Journal::EntryOf(std::uint64_t key) {
  if (used_ * 4 >= entries_.size() * 3) {
    std::vector<Entry> old(entries_.size() * 2);
    old.swap(entries_);
    used_ = 0;
    for (const Entry& entry : old) {
      if (entry.key != 0) EntryOf(entry.key) = entry.known;
    }
  }
  std::size_t i = key % entries_.size();
  while (entries_[i].key != key && entries_[i].key != 0) i = (i + 1) % entries_.size();
  if (entries_[i].key == 0) ++used_;
  entries_[i].key = key;
  return entries_[i].known;
}

Known Journal::Claim(const std::string& output) {
  const std::uint64_t key = KeyOf(output);
  const std::lock_guard<std::mutex> guard(lock_);
  Known& known = EntryOf(key);
  const Known before = known;
  known.isClaimed = 1;
  return before;
}

}  // namespace kxcms::batch
