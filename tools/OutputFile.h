#ifndef KXCMS_TOOLS_OUTPUTFILE_H
#define KXCMS_TOOLS_OUTPUTFILE_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <span>
#include <string>

/// A file that appears under its name only when it is complete.
///
/// It is written beside its target, without a name where the file system can do that, and renamed
/// over it by `Commit`. Before that, whatever happens, the target stays as it was: a target that is
/// also the input may be read meanwhile. A symbolic link is followed, so that it keeps pointing at
/// the result; an existing file's permissions (and owner, where allowed) are kept.
///
/// SIGINT, SIGTERM and SIGHUP remove a named temporary file; one object at a time.
class OutputFile {
 public:
  /// Refuses a target that is not a regular file, or that cannot be written.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  FILE* stream() { return stream_; }

  /// Refuses unless the file holds these bytes at `offset`: one that lost a write in the middle has
  /// the right size all the same.
  void Expect(std::uint64_t offset, std::span<const unsigned char> bytes);

  /// Forces everything to the disk and gives the file its name. Refuses if anything that was
  /// written to `stream()` is missing.
  /// @param size  bytes that the file must have
  void Commit(std::uint64_t size);

 private:
  OutputFile() = default;
  [[noreturn]] void Refuse(const std::string& reason) const;
  void Open();
  void Flush();
  /// Calls `make` with free names beside the target until it succeeds.
  void MakeNamed(const std::function<bool(const char*)>& make);

  std::string shown_;      ///< the path as the user gave it
  std::string target_;     ///< with links followed
  std::string directory_;  ///< of the target
  std::string temporary_;  ///< empty while the file has no name
  FILE* stream_ = nullptr;
  int fd_ = -1;
};

/// A write past the file size limit shall fail like one on a full disk instead of killing.
void IgnoreFileSizeSignal();

#endif
