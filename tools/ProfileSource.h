#ifndef KXCMS_TOOLS_PROFILESOURCE_H
#define KXCMS_TOOLS_PROFILESOURCE_H

#include <span>
#include <string>
#include <vector>

/// All bytes of a profile file, or the first ones of what is none; refuses what cannot be read.
std::vector<unsigned char> ReadProfileFile(const std::string& path);

/// All bytes of an open file from its position on, whatever they are; refuses what cannot be read.
/// @param name  how messages call it
std::vector<unsigned char> ReadProfile(int fd, const std::string& name);

/// A private copy of a profile that the library can open by path: what was checked is what is
/// converted with, whatever happens to the file meanwhile. It lives in memory and leaves nothing
/// behind, however the command ends.
class PrivateProfile {
 public:
  explicit PrivateProfile(std::span<const unsigned char> bytes);
  ~PrivateProfile();
  PrivateProfile(const PrivateProfile&) = delete;
  PrivateProfile& operator=(const PrivateProfile&) = delete;

  const std::string& path() const { return path_; }

 private:
  int fd_;
  std::string path_;
};

#endif
