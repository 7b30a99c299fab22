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

[[noreturn]] void RefuseProfile(const std::string& path, const std::string& reason) {
  throw Refusal(Exit::ProfileUnusable, "profile " + path + ": " + reason);
}

}  // namespace

std::vector<unsigned char> ReadProfileFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) RefuseProfile(path, std::strerror(errno));
  std::vector<unsigned char> bytes;
  unsigned char block[65536];
  ssize_t got = 0;
  int failure = 0;
  for (;;) {
    got = read(fd, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) failure = errno;
    if (got <= 0 || bytes.size() > kLargestProfile) break;
    bytes.insert(bytes.end(), block, block + got);
  }
  close(fd);
  if (failure != 0) RefuseProfile(path, std::strerror(failure));
  if (bytes.size() > kLargestProfile) RefuseProfile(path, "too large for a profile");
  return bytes;
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
    throw Refusal(Exit::WriteFailed, "no private copy of the profile can be made: " + reason);
  }
  path_ = "/proc/self/fd/" + std::to_string(fd_);
}

PrivateProfile::~PrivateProfile() {
  close(fd_);
}
