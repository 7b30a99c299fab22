#include "OutputFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "Refusal.h"

/// Handlers walk the list of them: `path` is only written while `isThere` is false.
struct TemporaryName {
  char path[PATH_MAX];
  std::atomic<bool> isThere = false;  ///< the path is that of a temporary file, or about to be
  std::atomic<bool> isTaken = false;
  TemporaryName* next = nullptr;
};
static_assert(std::atomic<bool>::is_always_lock_free);

namespace {

namespace fs = std::filesystem;

constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU};

/// The temporary files with a name that there are, for the signal handler: a list that only grows,
/// by as many entries as there are such files at one time, so that it can be walked at any moment.
std::atomic<TemporaryName*> gTemporaries = nullptr;

void RemoveTemporariesAndDie(int signal) {
  for (TemporaryName* name = gTemporaries; name != nullptr; name = name->next) {
    if (name->isThere) unlink(name->path);
  }
  raise(signal);  // SA_RESETHAND has put the default action back
}

void HandleSignals() {
  struct sigaction action = {};
  action.sa_handler = RemoveTemporariesAndDie;
  action.sa_flags = SA_RESETHAND;
  for (const int signal : kSignals) {
    struct sigaction current;
    // A signal that the caller ignores (nohup, say) stays ignored, and one that the command handles
    // stays with it.
    if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
      sigaction(signal, &action, nullptr);
    }
  }
}

/// An entry that nobody uses, or a new one.
TemporaryName* TakeTemporaryName() {
  for (TemporaryName* name = gTemporaries; name != nullptr; name = name->next) {
    if (!name->isTaken.exchange(true)) return name;
  }
  auto* const name = new TemporaryName;
  name->isTaken = true;
  name->next = gTemporaries;
  while (!gTemporaries.compare_exchange_weak(name->next, name)) {
  }
  return name;
}

std::string FollowLinks(const std::string& path) {
  constexpr int kMostLinks = 40;  // what the kernel follows
  fs::path target = path;
  std::error_code failed;
  for (int i = 0; i < kMostLinks && fs::is_symlink(target, failed); ++i) {
    const fs::path next = fs::read_symlink(target, failed);
    if (failed) break;
    target = next.is_absolute() ? next : target.parent_path() / next;
  }
  return target.string();
}

/// Where programs put temporary files.
std::string TemporaryFolder() {
  std::error_code failed;
  const fs::path folder = fs::temp_directory_path(failed);
  return failed ? "/tmp" : folder.string();
}

class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_;
};

/// A part of a name that no other process takes.
std::string NameOfAttempt(unsigned attempt) {
  return std::to_string(getpid()) + "-" + std::to_string(attempt);
}

std::string HiddenName(const std::string& folder, const std::string& name) {
  return folder + "/.kxcms-" + name;
}

/// That of the process when it began to write: it can only be asked for by changing it, which other
/// threads must not see.
mode_t FirstUmask() {
  static const mode_t mask = [] {
    const mode_t current = umask(0);
    umask(current);
    return current;
  }();
  return mask;
}

}  // namespace

void IgnoreFileSizeSignal() {
  signal(SIGXFSZ, SIG_IGN);
}

std::string FolderOf(const std::string& path) {
  if (path == kStandardStream) return TemporaryFolder();
  const fs::path parent = fs::path(FollowLinks(path)).parent_path();
  return parent.empty() ? "." : parent.string();
}

int OpenUnnamed(const std::string& folder) {
  int fd = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd >= 0) return fd;
  // It has a name for a moment, in which no signal ends the process.
  int reason = EEXIST;
  for (unsigned attempt = 0; fd < 0 && reason == EEXIST; ++attempt) {
    const std::string name = HiddenName(folder, NameOfAttempt(attempt));
    const BlockedSignals blocked;
    fd = open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    reason = errno;
    if (fd >= 0) unlink(name.c_str());
  }
  errno = reason;
  return fd;
}

OutputFile::OutputFile(const std::string& path, const std::string& ownName) : OutputFile() {
  shown_ = path;
  ownName_ = ownName;
  directory_ = FolderOf(path);
  if (path == kStandardStream) {
    fd_ = OpenUnnamed(directory_);
    if (fd_ < 0) Refuse(directory_ + ": " + std::strerror(errno));
    // A reader that goes away is an error like every other.
    signal(SIGPIPE, SIG_IGN);
    return;
  }
  target_ = FollowLinks(path);
  struct stat existing;
  const bool exists = stat(path.c_str(), &existing) == 0;
  if (!exists && errno == ELOOP) RefuseBy(errno);
  // What /proc shows of an open file that has no name leads to another one, or to none.
  struct stat named;
  if (exists && (stat(target_.c_str(), &named) != 0 || named.st_dev != existing.st_dev ||
                 named.st_ino != existing.st_ino)) {
    Refuse("it has no name in a folder");
  }
  if (exists && S_ISDIR(existing.st_mode)) Refuse("is a directory; name a file in it");
  if (exists && !S_ISREG(existing.st_mode)) Refuse("is not a regular file");
  if (exists && access(target_.c_str(), W_OK) != 0) RefuseBy(errno);

  Open();
  if (exists) {
    // Only the superuser can give files away; for others the file becomes their own.
    const bool ownerKept = fchown(fd_, existing.st_uid, existing.st_gid) == 0;
    constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
    const bool groupKept = ownerKept || fchown(fd_, kSameOwner, existing.st_gid) == 0;
    // Bits that were meant for another group would let that of the process in.
    fchmod(fd_, existing.st_mode & (ownerKept ? 07777 : groupKept ? 0777 : 0707));
    KeepAttributes(target_);
  } else {
    fchmod(fd_, 0666 & ~FirstUmask());
  }
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
  ForgetName();
}

void OutputFile::ForgetName() {
  if (name_ == nullptr) return;
  name_->isThere = false;
  name_->isTaken = false;
  name_ = nullptr;
}

void OutputFile::Refuse(const std::string& reason) const {
  throw Refusal(Exit::WriteFailed, "cannot write " + shown_ + ": " + reason);
}

void OutputFile::RefuseBy(int error) const {
  const bool hasFolder = error != ENOENT || access(directory_.c_str(), F_OK) == 0;
  throw Refusal(Exit::WriteFailed,
                "cannot write " + shown_ + ": " +
                    (hasFolder ? std::strerror(error) : "its folder does not exist"),
                error);
}

void OutputFile::Open() {
  // A file without a name gets one through /proc alone.
  if (access("/proc/self/fd", X_OK) == 0) {
    fd_ = open(directory_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd_ >= 0) return;
  }
  MakeNamed([this](const char* name) {
    fd_ = open(name, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    return fd_ >= 0;
  });
}

void OutputFile::MakeNamed(const std::function<bool(const char*)>& make) {
  HandleSignals();
  name_ = TakeTemporaryName();
  for (unsigned attempt = 0;; ++attempt) {
    std::string name = HiddenName(directory_, ownName_.empty() ? NameOfAttempt(attempt) : ownName_);
    if (name.size() >= PATH_MAX) RefuseBy(ENAMETOOLONG);
    name_->isThere = false;
    std::memcpy(name_->path, name.c_str(), name.size() + 1);
    name_->isThere = true;
    if (make(name.c_str())) {
      temporary_ = std::move(name);  // without an allocation: the file exists by now
      return;
    }
    const bool isLeftBehind = errno == EEXIST && !ownName_.empty() && attempt == 0;
    if (isLeftBehind) {
      unlink(name.c_str());
    } else if (errno != EEXIST || !ownName_.empty()) {
      RefuseBy(errno);
    }
  }
}

void OutputFile::KeepAttributes(const std::string& existing) const {
  constexpr std::size_t kMostBytes = 65536;  // XATTR_LIST_MAX, XATTR_SIZE_MAX
  std::vector<char> names(kMostBytes), value(kMostBytes);
  const ssize_t listed = listxattr(existing.c_str(), names.data(), names.size());
  for (ssize_t at = 0; at < listed; at += static_cast<ssize_t>(std::strlen(&names[at])) + 1) {
    const ssize_t size = getxattr(existing.c_str(), &names[at], value.data(), value.size());
    // A system may forbid some of them; the file is right without.
    if (size >= 0) fsetxattr(fd_, &names[at], value.data(), static_cast<std::size_t>(size), 0);
  }
}

void OutputFile::Close() {
  const int fd = fd_;
  fd_ = -1;
  // Some network file systems tell only now what they could not write.
  if (close(fd) != 0 && errno != EINTR) RefuseBy(errno);
}

void OutputFile::CopyToStandardOutput() const {
  constexpr std::size_t kBlockBytes = 1u << 20;
  std::vector<char> block(kBlockBytes);
  for (off_t at = 0;;) {
    const ssize_t got = pread(fd_, block.data(), block.size(), at);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) RefuseBy(errno);
    if (got == 0) return;
    at += got;
    for (ssize_t from = 0; from < got;) {
      const ssize_t put = write(STDOUT_FILENO, &block[static_cast<std::size_t>(from)],
                                static_cast<std::size_t>(got - from));
      if (put < 0 && errno == EINTR) continue;
      if (put <= 0) RefuseBy(errno);
      from += put;
    }
  }
}

void OutputFile::Commit(bool isDurable) {
  if (target_.empty()) {
    CopyToStandardOutput();
    return;
  }
  if (isDurable && fsync(fd_) != 0) RefuseBy(errno);
  if (temporary_.empty()) {
    // Linking cannot replace an existing file, renaming can.
    const std::string unnamed = "/proc/self/fd/" + std::to_string(fd_);
    MakeNamed([&unnamed](const char* name) {
      return linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    });
  }
  Close();
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) RefuseBy(errno);
  temporary_.clear();
  ForgetName();
  if (!isDurable) return;
  const int folder = open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool isSynced = folder >= 0 && fsync(folder) == 0;
  const int reason = errno;
  if (folder >= 0) close(folder);
  if (!isSynced) Refuse(std::string("its folder may not be on the disk: ") + std::strerror(reason));
}
