#ifndef KXCMS_TESTS_DEBIANPROFILES_H
#define KXCMS_TESTS_DEBIANPROFILES_H

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// The profiles that Debian packages bring: material that nobody here made.

namespace debian {

/// What a shell command prints; empty when it fails.
inline std::string OutputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {};
  std::string output;
  for (int c; (c = std::fgetc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
  return pclose(pipe) == 0 ? output : std::string();
}

/// The paths of the profiles of an installed package; links are left out.
inline std::vector<std::string> ProfilesOf(const std::string& package) {
  std::istringstream lines(OutputOf("dpkg -L " + package));
  std::vector<std::string> paths;
  for (std::string path; std::getline(lines, path);) {
    std::string extension = std::filesystem::path(path).extension();
    std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
    if ((extension == ".icc" || extension == ".icm") && !std::filesystem::is_symlink(path)) {
      paths.push_back(path);
    }
  }
  return paths;
}

inline std::vector<unsigned char> ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(file), {});
}

}  // namespace debian

#endif
