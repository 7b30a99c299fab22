#ifndef KXCMS_TOOLS_OUTPUTFILE_H
#define KXCMS_TOOLS_OUTPUTFILE_H

#include <functional>
#include <string>

struct TemporaryName;

/// The path that stands for standard input or output.
inline const std::string kStandardStream = "-";

/// A file that appears under its name only when it is complete.
///
/// It is written beside its target, without a name where the file system can do that, and renamed
/// over it by `Commit`. Before that, whatever happens, the target stays as it was: a target that is
/// also the input may be read meanwhile. A symbolic link is followed, so that it keeps pointing at
/// the result; what leads to no name (a loop, the descriptor of a deleted file) is refused. Of an
/// existing file permissions, owner, group and extended attributes are kept where that is allowed;
/// its other hard links keep the old contents.
///
/// Standard output, the path "-", gets the file when it is complete, copied from where programs put
/// temporary files; what it takes may be a part when that fails.
///
/// The signals that end a process by default, as far as they come from outside, remove the named
/// temporary files of all objects, unless the command handles them itself. Each object is for one
/// thread; any number of threads may have some.
class OutputFile {
 public:
  /// Refuses a target that is not a regular file, or that cannot be written.
  /// @param ownName  end of the temporary file's name, if the caller knows one that nobody else
  /// uses
  ///                 in this folder: what bears it was left behind by a killed process, and goes
  explicit OutputFile(const std::string& path, const std::string& ownName = "");
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// The file, empty at first; whoever writes to it looks whether that succeeds.
  int fd() const { return fd_; }

  /// Gives the file its name, or copies it to standard output.
  /// @param isDurable  forces file and folder to the disk
  void Commit(bool isDurable);

 private:
  OutputFile() = default;
  [[noreturn]] void Refuse(const std::string& reason) const;
  /// @param error  errno
  [[noreturn]] void RefuseBy(int error) const;
  void Open();
  void Close();
  void CopyToStandardOutput() const;
  void KeepAttributes(const std::string& existing) const;
  /// Calls `make` with free names beside the target until it succeeds.
  void MakeNamed(const std::function<bool(const char*)>& make);
  void ForgetName();

  std::string shown_;      ///< the path as the user gave it
  std::string target_;     ///< with links followed
  std::string directory_;  ///< of the target
  std::string ownName_;
  std::string temporary_;          ///< empty while the file has no name
  TemporaryName* name_ = nullptr;  ///< what the signal handler knows of it
  int fd_ = -1;
};

/// The folder in which a file of this path is made: temporary files beside it lie there.
std::string FolderOf(const std::string& path);

/// A new file without a name in a folder, to write and read.
/// @return its descriptor; negative, with errno: it cannot be made
int OpenUnnamed(const std::string& folder);

/// A write past the file size limit shall fail like one on a full disk instead of killing.
void IgnoreFileSizeSignal();

#endif
