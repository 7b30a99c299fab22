#include "OutputFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "Refusal.h"

namespace {

namespace fs = std::filesystem;

// For the signal handler: the temporary file, whose name carries our process number, so that
// removing it too early or twice hurts nobody.
char gTemporary[PATH_MAX];
volatile std::sig_atomic_t gHasTemporary = 0;
constexpr const char* kIncomplete = "not everything could be written";
constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

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
  const bool exists = stat(target_.c_str(), &existing) == 0;
  if (exists && S_ISDIR(existing.st_mode)) Refuse("is a directory");
  if (exists && !S_ISREG(existing.st_mode)) Refuse("is not a regular file");
  if (exists && access(target_.c_str(), W_OK) != 0) Refuse(std::strerror(errno));

  Open();
  if (exists) {
    // Only the superuser can give files away; for others the file becomes their own.
    const bool ownerKept = fchown(fd_, existing.st_uid, existing.st_gid) == 0;
    fchmod(fd_, existing.st_mode & (ownerKept ? 07777 : 0777));
  } else {
    fchmod(fd_, 0666 & ~CurrentUmask());
  }
  stream_ = fdopen(fd_, "wb+");
  if (stream_ == nullptr) Refuse(std::strerror(errno));
}

OutputFile::~OutputFile() {
  if (stream_ != nullptr) {
    std::fclose(stream_);
  } else if (fd_ >= 0) {
    close(fd_);
  }
  if (!temporary_.empty()) unlink(temporary_.c_str());
  gHasTemporary = 0;
}

void OutputFile::Refuse(const std::string& reason) const {
  throw Refusal(Exit::WriteFailed, "cannot write " + shown_ + ": " + reason);
}

void OutputFile::Open() {
  fd_ = open(directory_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd_ >= 0) return;
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

void OutputFile::Flush() {
  const bool flushed = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
  // A write that failed some time ago has left its reason in errno.
  if (!flushed) Refuse(errno != 0 ? std::strerror(errno) : kIncomplete);
}

void OutputFile::Expect(std::uint64_t offset, std::span<const unsigned char> bytes) {
  Flush();
  unsigned char block[65536];
  while (!bytes.empty()) {
    const std::size_t most = std::min(bytes.size(), sizeof block);
    const ssize_t got = pread(fd_, block, most, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Refuse(std::strerror(errno));
    if (got == 0 || !std::equal(block, block + got, bytes.begin())) Refuse(kIncomplete);
    offset += static_cast<std::uint64_t>(got);
    bytes = bytes.subspan(static_cast<std::size_t>(got));
  }
}

void OutputFile::Commit(std::uint64_t size) {
  Flush();
  struct stat written;
  if (fsync(fd_) != 0 || fstat(fd_, &written) != 0) Refuse(std::strerror(errno));
  if (static_cast<std::uint64_t>(written.st_size) != size) {
    Refuse("it came out with " + std::to_string(written.st_size) + " bytes instead of " +
           std::to_string(size));
  }
  if (temporary_.empty()) {
    // Linking cannot replace an existing file, renaming can.
    const std::string unnamed = "/proc/self/fd/" + std::to_string(fd_);
    MakeNamed([&unnamed](const char* name) {
      return linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    });
  }
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) Refuse(std::strerror(errno));
  temporary_.clear();
}
