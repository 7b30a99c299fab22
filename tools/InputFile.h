#ifndef KXCMS_TOOLS_INPUTFILE_H
#define KXCMS_TOOLS_INPUTFILE_H

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

struct CloseStream {
  void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

/// Ends with a line about an input that cannot be read.
[[noreturn]] void RefuseInput(const std::string& name, const std::string& reason);

/// Opens a file for reading; refuses what cannot be opened. Does not wait for a pipe's writer.
Stream OpenInput(const std::string& path);

/// Refuses an open file that is not a regular one, or that is empty.
/// @param name  how messages call it
/// @return its size in bytes
std::uint64_t RegularFileSize(int fd, const std::string& name);

/// What the system tells of an open file; refuses a folder.
/// @param name  how messages call it
struct stat InputStatus(int fd, const std::string& name);

#endif
