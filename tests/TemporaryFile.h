#ifndef KXCMS_TESTS_TEMPORARYFILE_H
#define KXCMS_TESTS_TEMPORARYFILE_H

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/// A path of its own for one test. What stands there at the end is removed.
class TemporaryFile {
 public:
  /// Nothing stands there until somebody writes it.
  TemporaryFile() : path_(NewPath()) {}
  explicit TemporaryFile(const std::vector<unsigned char>& bytes) : TemporaryFile() {
    Write(bytes);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::remove(path_.c_str()); }

  const char* Path() const { return path_.c_str(); }
  /// For the functions that take a path as `char*`.
  char* MutablePath() { return path_.data(); }

  bool Exists() const { return std::filesystem::exists(path_); }
  void Write(const std::vector<unsigned char>& bytes) const {
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  std::vector<unsigned char> Read() const {
    std::ifstream file(path_, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(file), {});
  }

 private:
  static std::string NewPath() {
    static int number = 0;
    const std::string name = "kxcms_" + std::to_string(getpid()) + "_" + std::to_string(number++);
    return (std::filesystem::temp_directory_path() / name).string();
  }

  std::string path_;
};

#endif
