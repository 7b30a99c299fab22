#include "ProfileSource.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Refusal.h"

namespace {

// Far above every real profile (the largest lookup tables take a few megabytes); keeps an endless
// device file from filling the memory.
constexpr std::size_t kLargestProfile = 256u << 20;

struct Descriptor {
  ~Descriptor() { close(fd); }
  int fd;
};

[[noreturn]] void RefuseProfile(const std::string& name, const std::string& reason) {
  throw Refusal(Exit::ProfileUnusable, name + ": " + reason);
}

[[noreturn]] void RefuseCopy(const std::string& reason) {
  throw Refusal(Exit::WriteFailed, "no private copy of the profile can be made: " + reason);
}

}  // namespace

std::vector<unsigned char> ReadProfile(int fd, const std::string& name) {
  std::vector<unsigned char> bytes;
  unsigned char block[65536];
  for (;;) {
    const ssize_t got = read(fd, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) RefuseProfile(name, std::strerror(errno));
    if (got == 0) return bytes;
    if (bytes.size() > kLargestProfile) RefuseProfile(name, "too large for a profile");
    bytes.insert(bytes.end(), block, block + got);
  }
}

std::vector<unsigned char> ReadProfileFile(const std::string& path) {
  const std::string name = "profile " + path;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) RefuseProfile(name, std::strerror(errno));
  const Descriptor closing{fd};
  return ReadProfile(fd, name);
}

PrivateProfile::PrivateProfile(std::span<const unsigned char> bytes)
    : fd_(memfd_create("kxcms-profile", MFD_CLOEXEC)) {
  while (fd_ >= 0 && !bytes.empty()) {
    const ssize_t put = write(fd_, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) break;
    bytes = bytes.subspan(static_cast<std::size_t>(put));
  }
  if (fd_ < 0 || !bytes.empty()) {
    const std::string reason = std::strerror(errno);
    if (fd_ >= 0) close(fd_);
    RefuseCopy(reason);
  }
  path_ = "/proc/self/fd/" + std::to_string(fd_);
  // Where /proc is not mounted, the library would find no profile.
  if (access(path_.c_str(), R_OK) != 0) {
    const std::string reason = std::strerror(errno);
    close(fd_);
    RefuseCopy(path_ + ": " + reason);
  }
}

PrivateProfile::~PrivateProfile() {
  close(fd_);
}
