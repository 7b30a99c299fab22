#include "ProfileSource.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Descriptor.h"
#include "Refusal.h"

namespace {

// Far above every real profile (the largest lookup tables take a few megabytes); keeps an endless
// device file from filling the memory.
constexpr std::size_t kLargestProfile = 64u << 20;

/// Whether bytes begin as every profile does (ICC.1:2010, 7.2.11).
bool HasSignature(const std::vector<unsigned char>& bytes) {
  constexpr std::size_t kSignatureAt = 36;
  return bytes.size() >= kSignatureAt + 4 &&
         std::memcmp(bytes.data() + kSignatureAt, "acsp", 4) == 0;
}

[[noreturn]] void RefuseProfile(const std::string& name, const std::string& reason) {
  throw Refusal(Exit::ProfileUnusable, name + ": " + reason);
}

/// Refuses what a system call has failed for. That descriptors or memory have run out is not the
/// profile's fault.
[[noreturn]] void RefuseReading(const std::string& name, int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM) {
    throw Refusal(Exit::InputUnreadable, name + " cannot be read now: " + std::strerror(error));
  }
  RefuseProfile(name, std::strerror(error));
}

[[noreturn]] void RefuseCopy(const std::string& reason) {
  throw Refusal(Exit::WriteFailed, "no private copy of the profile can be made: " + reason);
}

/// @param isSure  whether the bytes are wanted even if they begin like no profile
std::vector<unsigned char> ReadBytes(int fd, const std::string& name, bool isSure) {
  std::vector<unsigned char> bytes;
  unsigned char block[65536];
  for (;;) {
    const ssize_t got = read(fd, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) RefuseReading(name, errno);
    if (got == 0) return bytes;
    if (bytes.size() > kLargestProfile) RefuseProfile(name, "too large for a profile");
    bytes.insert(bytes.end(), block, block + got);
    if (!isSure && bytes.size() >= sizeof block && !HasSignature(bytes)) return bytes;
  }
}

}  // namespace

std::vector<unsigned char> ReadProfile(int fd, const std::string& name) {
  return ReadBytes(fd, name, true);
}

std::vector<unsigned char> ReadProfileFile(const std::string& path) {
  const std::string name = "profile " + path;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) RefuseReading(name, errno);
  const Descriptor closing(fd);
  return ReadBytes(fd, name, false);
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
