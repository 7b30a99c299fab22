#include "tools/batch/Folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace kxcms::batch {

namespace {

namespace fs = std::filesystem;

std::error_code LastError() {
  return {errno, std::generic_category()};
}

std::string ParentOf(const std::string& path) {
  const fs::path parent = fs::path(path).parent_path();
  return parent.empty() ? "." : parent.string();
}

bool IsFolder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  std::error_code failed;
  const fs::path absolute = fs::absolute(path, failed);
  if (failed) return path;
  const fs::path normal = absolute.lexically_normal();
  // Of a folder without the slash behind it.
  return (normal.has_filename() ? normal : normal.parent_path()).string();
}

std::error_code MakeFolders(const std::string& path, bool isDurable) {
  if (path.empty() || IsFolder(path)) return {};
  const std::string parent = ParentOf(path);
  if (parent != path && parent != ".") {
    if (const std::error_code failed = MakeFolders(parent, isDurable)) return failed;
  }
  if (mkdir(path.c_str(), 0777) != 0) {
    // Another thread may have been first.
    const std::error_code failed = LastError();
    if (!IsFolder(path)) return failed;
  }
  return isDurable ? SyncFolder(parent) : std::error_code();
}

std::error_code SyncFolder(const std::string& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return LastError();
  std::error_code failed;
  if (fsync(folder) != 0) failed = LastError();
  close(folder);
  return failed;
}

}  // namespace kxcms::batch
