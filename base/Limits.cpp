#include "base/Limits.h"

#include <sys/stat.h>

std::uint64_t FileSize(char const* path) {
  struct stat status;
  const bool isThere = path != nullptr && stat(path, &status) == 0;
  return isThere && status.st_size > 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::uint64_t StreamSize(FILE* stream) {
  const off_t position = ftello(stream);
  if (position < 0 || fseeko(stream, 0, SEEK_END) != 0) return 0;
  const off_t end = ftello(stream);
  if (fseeko(stream, position, SEEK_SET) != 0 || end < 0) return 0;
  return static_cast<std::uint64_t>(end);
}
