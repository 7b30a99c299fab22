#include "InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "Refusal.h"

Stream OpenInput(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  FILE* stream = fd < 0 ? nullptr : fdopen(fd, "rb");
  if (stream == nullptr) {
    throw Refusal(Exit::InputUnreadable, path + ": " + std::strerror(errno));
  }
  return Stream(stream);
}

std::uint64_t RegularFileSize(int fd, const std::string& name) {
  const auto refuse = [&name](const std::string& reason) {
    throw Refusal(Exit::InputUnreadable, name + ": " + reason);
  };
  struct stat status;
  if (fstat(fd, &status) != 0) refuse(std::strerror(errno));
  if (S_ISDIR(status.st_mode)) refuse("is a directory");
  if (!S_ISREG(status.st_mode)) refuse("not a regular file");
  if (status.st_size == 0) refuse("empty file");
  return static_cast<std::uint64_t>(status.st_size);
}
