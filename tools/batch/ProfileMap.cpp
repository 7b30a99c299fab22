#include "tools/batch/ProfileMap.h"

#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string_view>

#include "tools/InputFile.h"
#include "tools/Refusal.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::batch {

namespace {

constexpr std::string_view kDevice = "device:";
constexpr std::size_t kLargestMap = 64u << 20;

std::string ReadText(const std::string& path) {
  const Stream stream = OpenInput(path);
  std::string text;
  char block[4096];
  while (const std::size_t got = std::fread(block, 1, sizeof block, stream.get())) {
    if (text.size() > kLargestMap) RefuseInput(path, "too large");
    text.append(block, got);
  }
  if (std::ferror(stream.get()) != 0) {
    RefuseInput(path, std::strerror(errno));
  }
  return text;
}

std::string TrimmedText(const image::Tag* tag) {
  if (tag == nullptr || tag->type != image::kAscii) return {};
  const std::string text(tag->bytes.begin(), std::find(tag->bytes.begin(), tag->bytes.end(), 0));
  const std::size_t start = text.find_first_not_of(' ');
  if (start == std::string::npos) return {};
  return text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

}  // namespace

std::string DeviceOf(const image::Metadata& metadata) {
  constexpr std::uint16_t kMake = 271, kModel = 272;
  return TrimmedText(metadata.directory.Find(kMake)) + "/" +
         TrimmedText(metadata.directory.Find(kModel));
}

ProfileMap::ProfileMap(const std::string& path) {
  std::istringstream text(ReadText(path));
  std::string line;
  for (std::size_t number = 1; std::getline(text, line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos || tab == 0 || tab + 1 == line.size() ||
        line.find('\t', tab + 1) != std::string::npos) {
      throw Refusal(Exit::Usage, path + ": line " + std::to_string(number) +
                                     " is no pattern, tabulator and profile");
    }
    const std::string pattern = line.substr(0, tab);
    const bool isDevice = pattern.starts_with(kDevice);
    rows_.push_back(
        {isDevice, isDevice ? pattern.substr(kDevice.size()) : pattern, line.substr(tab + 1)});
  }
}

std::vector<std::string> ProfileMap::Profiles() const {
  std::vector<std::string> profiles;
  for (const Row& row : rows_) {
    if (std::find(profiles.begin(), profiles.end(), row.profile) == profiles.end()) {
      profiles.push_back(row.profile);
    }
  }
  return profiles;
}

const std::string* ProfileMap::Find(const std::string& path,
                                    const image::Metadata& firstPage) const {
  for (const Row& row : rows_) {
    const std::string subject = row.isDevice ? DeviceOf(firstPage) : path;
    if (fnmatch(row.pattern.c_str(), subject.c_str(), 0) == 0) return &row.profile;
  }
  return nullptr;
}

}  // namespace kxcms::batch
