#include "tools/batch/FileList.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "tools/Refusal.h"
#include "tools/batch/Folders.h"
#include "tools/batch/RecordText.h"

namespace kxcms::batch {

namespace {

namespace fs = std::filesystem;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

bool IsImageName(const std::string& name) {
  constexpr std::array<const char*, 5> kSuffixes = {".tif", ".tiff", ".jpg", ".jpeg", ".png"};
  std::string suffix = fs::path(name).extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return std::any_of(kSuffixes.begin(), kSuffixes.end(),
                     [&suffix](const char* known) { return suffix == known; });
}

using Identity = std::pair<dev_t, ino_t>;

class Walk {
 public:
  Walk(const std::string& folder, const std::vector<std::string>& except, const TakeFile& take)
      : top_(folder), take_(take) {
    for (const std::string& path : except) {
      struct stat status;
      if (stat(path.c_str(), &status) == 0) except_.emplace_back(status.st_dev, status.st_ino);
    }
  }

  /// @param below  of the top, "" or ended by a slash
  bool Folder(const std::string& below) {
    const std::string path = top_ + "/" + below;
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
    if (folder == nullptr) return Refuse(below, errno);
    struct stat status;
    if (fstat(dirfd(folder.get()), &status) != 0) return Refuse(below, errno);
    if (std::find(except_.begin(), except_.end(), Identity(status.st_dev, status.st_ino)) !=
        except_.end()) {
      return true;
    }
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(folder.get());
      if (entry == nullptr) return errno == 0 || Refuse(below, errno);
      if (!Entry(folder.get(), *entry, below)) return false;
    }
  }

 private:
  bool Entry(DIR* folder, const dirent& entry, const std::string& below) {
    const std::string name = entry.d_name;
    if (name == "." || name == "..") return true;
    unsigned char type = entry.d_type;
    struct stat status;
    if (type == DT_UNKNOWN &&
        fstatat(dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      type = IFTODT(status.st_mode);
    }
    if (type == DT_DIR) return Folder(below + name + "/");
    if (!IsImageName(name)) return true;
    if (type == DT_LNK && fstatat(dirfd(folder), entry.d_name, &status, 0) == 0 &&
        S_ISDIR(status.st_mode)) {
      return true;
    }
    return take_({below + name, JoinedPath(top_, below + name), ""});
  }

  bool Refuse(const std::string& below, int error) const {
    const std::string name = below.empty() ? "." : below.substr(0, below.size() - 1);
    return take_({name, JoinedPath(top_, name), std::strerror(error)});
  }

  const std::string top_;
  const TakeFile& take_;
  std::vector<Identity> except_;
};

}  // namespace

std::string JoinedPath(const std::string& folder, const std::string& below) {
  return folder == "." ? below : folder + (folder.ends_with('/') ? "" : "/") + below;
}

bool Shard::Holds(const std::string& path) const {
  return Fnv1a64(path) % count == index;
}

bool WalkFolder(const std::string& folder, const std::vector<std::string>& except,
                const TakeFile& take) {
  return Walk(folder, except, take).Folder("");
}

ListedFile FileNamed(const std::string& name, const std::string& base) {
  if (name.find('\0') != std::string::npos) return {name, "", "a zero byte is in its name"};
  fs::path path = fs::path(name).lexically_normal();
  std::string source;
  if (path.is_absolute()) {
    source = path.string();
    const fs::path below = path.lexically_relative(AbsolutePath(base));
    const bool isBelow = !below.empty() && *below.begin() != "..";
    path = isBelow ? below : path.relative_path();
  }
  const std::string text = path.string();
  if (text.empty() || text == "." || text.ends_with('/')) return {name, name, "names no file"};
  if (*path.begin() == "..") {
    return {name, name, "leads out of the folder that the batch is from"};
  }
  return {text, source.empty() ? JoinedPath(base, text) : source, ""};
}

bool ReadList(int fd, const std::string& name, char end, const std::string& base,
              const TakeFile& take, const std::function<bool()>& isStopped) {
  constexpr std::size_t kLongestName = 1u << 20;
  std::string waiting;
  char block[65536];
  const auto takeName = [&] {
    const bool isWanted = waiting.empty() || take(FileNamed(waiting, base));
    waiting.clear();
    return isWanted;
  };
  constexpr int kPatienceMs = 200;
  for (;;) {
    pollfd input = {fd, POLLIN, 0};
    if (isStopped()) return false;
    if (poll(&input, 1, kPatienceMs) <= 0) continue;
    const ssize_t got = read(fd, block, sizeof block);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got < 0) throw Refusal(Exit::InputUnreadable, name + ": " + std::strerror(errno));
    if (got == 0) return takeName();
    for (ssize_t i = 0; i < got; ++i) {
      if (block[i] == end) {
        if (!takeName()) return false;
      } else {
        waiting += block[i];
      }
    }
    if (waiting.size() > kLongestName) {
      throw Refusal(Exit::InputUnreadable, name + ": a name of more than a million bytes");
    }
  }
}

}  // namespace kxcms::batch
