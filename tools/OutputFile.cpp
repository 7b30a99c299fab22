#include "OutputFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

namespace {

namespace fs = std::filesystem;

// For the signal handler: the temporary file, whose name carries our process number, so that
// removing it too early or twice hurts nobody.
char gTemporary[PATH_MAX];
volatile std::sig_atomic_t gHasTemporary = 0;
constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU};

void RemoveTemporaryAndDie(int signal) {
  if (gHasTemporary != 0) unlink(gTemporary);
  raise(signal);  // SA_RESETHAND has put the default action back
}

void RememberForSignals(const std::string& path) {
  gHasTemporary = 0;
  std::memcpy(gTemporary, path.c_str(), path.size() + 1);
  gHasTemporary = 1;
  struct sigaction action = {};
  action.sa_handler = RemoveTemporaryAndDie;
  action.sa_flags = SA_RESETHAND;
  for (const int signal : kSignals) {
    struct sigaction current;
    // A signal that the caller ignores (nohup, say) stays ignored.
    if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
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

mode_t CurrentUmask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

}  // namespace

void IgnoreFileSizeSignal() {
  signal(SIGXFSZ, SIG_IGN);
}

OutputFile::OutputFile(const std::string& path) : OutputFile() {
  shown_ = path;
  target_ = FollowLinks(path);
  const fs::path parent = fs::path(target_).parent_path();
  directory_ = parent.empty() ? "." : parent.string();
  struct stat existing;
  const bool exists = stat(path.c_str(), &existing) == 0;
  if (!exists && errno == ELOOP) Refuse(std::strerror(errno));
  // What /proc shows of an open file that has no name leads to another one, or to none.
  struct stat named;
  if (exists && (stat(target_.c_str(), &named) != 0 || named.st_dev != existing.st_dev ||
                 named.st_ino != existing.st_ino)) {
    Refuse("it has no name in a folder");
  }
  if (exists && S_ISDIR(existing.st_mode)) Refuse("is a directory");
  if (exists && !S_ISREG(existing.st_mode)) Refuse("is not a regular file");
  if (exists && access(target_.c_str(), W_OK) != 0) Refuse(std::strerror(errno));

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
    fchmod(fd_, 0666 & ~CurrentUmask());
  }
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
  gHasTemporary = 0;
}

void OutputFile::Refuse(const std::string& reason) const {
  throw Refusal(Exit::WriteFailed, "cannot write " + shown_ + ": " + reason);
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
  for (unsigned attempt = 0;; ++attempt) {
    std::string name =
        directory_ + "/.kxcms-" + std::to_string(getpid()) + "-" + std::to_string(attempt);
    if (name.size() >= PATH_MAX) Refuse(std::strerror(ENAMETOOLONG));
    RememberForSignals(name);
    if (make(name.c_str())) {
      temporary_ = std::move(name);  // without an allocation: the file exists by now
      return;
    }
    if (errno != EEXIST) Refuse(std::strerror(errno));
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
  if (close(fd) != 0 && errno != EINTR) Refuse(std::strerror(errno));
}

void OutputFile::Commit(bool isDurable) {
  if (isDurable && fsync(fd_) != 0) Refuse(std::strerror(errno));
  if (temporary_.empty()) {
    // Linking cannot replace an existing file, renaming can.
    const std::string unnamed = "/proc/self/fd/" + std::to_string(fd_);
    MakeNamed([&unnamed](const char* name) {
      return linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    });
  }
  Close();
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) Refuse(std::strerror(errno));
  temporary_.clear();
  if (!isDurable) return;
  const int folder = open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool isSynced = folder >= 0 && fsync(folder) == 0;
  const int reason = errno;
  if (folder >= 0) close(folder);
  if (!isSynced) Refuse(std::string("its folder may not be on the disk: ") + std::strerror(reason));
}
