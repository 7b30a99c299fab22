#include "InputFile.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "Refusal.h"

void RefuseInput(const std::string& name, const std::string& reason) {
  throw Refusal(Exit::InputUnreadable, name + ": " + reason);
}

struct stat InputStatus(int fd, const std::string& name) {
  struct stat status;
  if (fstat(fd, &status) != 0) RefuseInput(name, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) RefuseInput(name, "is a directory");
  return status;
}

Stream OpenInput(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  FILE* stream = fd < 0 ? nullptr : fdopen(fd, "rb");
  if (stream == nullptr) RefuseInput(path, std::strerror(errno));
  return Stream(stream);
}

std::uint64_t RegularFileSize(int fd, const std::string& name) {
  const struct stat status = InputStatus(fd, name);
  if (!S_ISREG(status.st_mode)) RefuseInput(name, "not a regular file");
  if (status.st_size == 0) RefuseInput(name, "empty file");
  return static_cast<std::uint64_t>(status.st_size);
}
