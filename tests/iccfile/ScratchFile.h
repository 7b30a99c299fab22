#ifndef KXCMS_TESTS_ICCFILE_SCRATCHFILE_H
#define KXCMS_TESTS_ICCFILE_SCRATCHFILE_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

/// A file for one test, removed at its end.
class ScratchFile {
 public:
  ScratchFile() {
    const char* folder = std::getenv("TMPDIR");
    path_ = std::string(folder != nullptr ? folder : "/tmp") + "/kxcms_XXXXXX";
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) throw std::runtime_error("no scratch file " + path_);
    close(descriptor);
  }
  explicit ScratchFile(const std::vector<unsigned char>& contents) : ScratchFile() {
    FILE* stream = std::fopen(path(), "wb");
    std::fwrite(contents.data(), 1, contents.size(), stream);
    std::fclose(stream);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { std::remove(path()); }

  const char* path() const { return path_.c_str(); }

  std::vector<unsigned char> Contents() const {
    std::vector<unsigned char> bytes;
    FILE* stream = std::fopen(path(), "rb");
    if (stream == nullptr) return bytes;
    for (int c; (c = std::fgetc(stream)) != EOF;) bytes.push_back(static_cast<unsigned char>(c));
    std::fclose(stream);
    return bytes;
  }

 private:
  std::string path_;
};

#endif
