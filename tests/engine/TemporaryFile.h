#ifndef KXCMS_TESTS_ENGINE_TEMPORARYFILE_H
#define KXCMS_TESTS_ENGINE_TEMPORARYFILE_H

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// A file of its own for one test, removed at the end.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& name)
      : path_((std::filesystem::temp_directory_path() /
               ("kxcms-" + std::to_string(getpid()) + "-" + std::to_string(count_++) + "-" + name))
                  .string()) {}
  TemporaryFile(const std::string& name, const std::vector<unsigned char>& bytes)
      : TemporaryFile(name) {
    Write(bytes);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::filesystem::remove(path_); }

  void Write(const std::vector<unsigned char>& bytes) const {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  bool Exists() const { return std::filesystem::exists(path_); }
  const char* Path() const { return path_.c_str(); }

 private:
  inline static int count_ = 0;
  std::string path_;
};

#endif
