#ifndef KXCMS_TOOLS_BATCH_FILELIST_H
#define KXCMS_TOOLS_BATCH_FILELIST_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kxcms::batch {

/// A file that a batch is to convert.
struct ListedFile {
  std::string path;     ///< below the folder that the batch is from, without "." and ".."
  std::string source;   ///< what is to be opened
  std::string refusal;  ///< why it cannot be looked at; empty as a rule
};

/// Which part of all files: those whose FNV-1a hash of the path leaves `index` when divided.
struct Shard {
  std::uint64_t index = 0;
  std::uint64_t count = 1;
  bool Holds(const std::string& path) const;
};

/// A path below a folder, without the folder ".".
std::string JoinedPath(const std::string& folder, const std::string& below);

/// What is told of each file; no longer wanted when it returns false.
using TakeFile = std::function<bool(ListedFile)>;

/// The images in a folder and in those below it, by their suffix (.tif, .tiff, .jpg, .jpeg, .png),
/// in the order in which the file system lists them. Links to files are followed, links to folders
/// are not. A folder that cannot be read is told as a file with a refusal.
/// @param except  folders that are left out: outputs, say, below the inputs
/// @return false if `take` did
bool WalkFolder(const std::string& folder, const std::vector<std::string>& except,
                const TakeFile& take);

/// The names in an open list, each ended by `end`; empty ones are left out. Memory is that of one
/// name.
/// @param base       the folder that the batch is from; a path below it loses it
/// @param isStopped  asked while there is nothing to be read yet
/// @return false if `take` did, or `isStopped` is true
bool ReadList(int fd, const std::string& name, char end, const std::string& base,
              const TakeFile& take, const std::function<bool()>& isStopped);

/// A name of a list as a file: its path below `base`, without "." and with each ".." taken; that of
/// an absolute name outside `base` is the name without its first slash. With a refusal if a
/// relative name leads out of there.
ListedFile FileNamed(const std::string& name, const std::string& base);

}  // namespace kxcms::batch

#endif
