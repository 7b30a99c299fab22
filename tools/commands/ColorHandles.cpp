#include "tools/commands/ColorHandles.h"

#include <sys/stat.h>

#include <cctype>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <new>
#include <string_view>
#include <system_error>

#include "tools/ProfileSource.h"
#include "tools/Refusal.h"

namespace {

// Destinations for measuring, whose numbers no image format of this command holds.
bool IsForImages(std::string_view space) {
  return space != "lab" && space != "xyz";
}

ProfileHandle OpenSpace(const std::string& name) {
  kxp_error error = {};
  error.size = sizeof error;
  kxp_profile* space = nullptr;
  if (kxp_profile_builtin(name.c_str(), &space, &error) != KXP_OK) RefuseProfile(name, error);
  return ProfileHandle(space);
}

std::vector<unsigned char> BytesOfSpace(const kxp_profile* space, const std::string& name) {
  kxp_error error = {};
  error.size = sizeof error;
  std::size_t size = 0;
  if (kxp_profile_write(space, 0, nullptr, 0, &size, &error) != KXP_OK) RefuseProfile(name, error);
  std::vector<unsigned char> bytes(size);
  if (kxp_profile_write(space, 0, bytes.data(), bytes.size(), &size, &error) != KXP_OK) {
    RefuseProfile(name, error);
  }
  return bytes;
}

}  // namespace

bool IsImageSpace(const std::string& name) {
  for (std::size_t i = 0; i < kxp_space_count(); ++i) {
    if (name == kxp_space_name(i)) return IsForImages(name);
  }
  return false;
}

std::string ClauseOf(std::string_view sentence) {
  std::string clause(sentence);
  if (clause.ends_with('.')) clause.pop_back();
  const bool isWord = clause.size() > 1 && (std::islower(static_cast<unsigned char>(clause[1])) ||
                                            (clause[0] == 'A' && clause[1] == ' '));
  if (isWord) clause[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(clause[0])));
  return clause;
}

void RefuseProfile(const std::string& name, const kxp_error& error) {
  if (error.status == KXP_ERROR_MEMORY) throw std::bad_alloc();
  throw Refusal(Exit::ProfileUnusable, name + ": " + ClauseOf(error.message));
}

ProfileHandle ReadProfileBytes(std::span<const unsigned char> bytes, const std::string& name) {
  kxp_error error = {};
  error.size = sizeof error;
  kxp_profile* profile = nullptr;
  if (kxp_profile_from_memory(bytes.data(), bytes.size(), &profile, &error) != KXP_OK) {
    RefuseProfile(name, error);
  }
  return ProfileHandle(profile);
}

std::vector<unsigned char> NamedProfile(const std::string& name) {
  if (IsImageSpace(name)) return BytesOfSpace(OpenSpace(name).get(), name);
  std::error_code unknown;
  if (!std::filesystem::exists(name, unknown) && !unknown) {
    throw Refusal(
        Exit::ProfileUnusable,
        "profile " + name + ": no such file, and no built-in space, which convert --list shows");
  }
  return ReadProfileFile(name);
}

Destination OpenDestination(const std::string& name) {
  Destination destination;
  destination.name = name;
  destination.isBuiltIn = IsImageSpace(name);
  if (destination.isBuiltIn) {
    destination.profile = OpenSpace(name);
    destination.bytes = BytesOfSpace(destination.profile.get(), name);
    return destination;
  }
  struct stat status;
  if (stat(name.c_str(), &status) != 0) {
    if (name == "adobe") {
      throw Refusal(
          Exit::Usage,
          "unknown output space adobe; adobe-rgb is Adobe RGB (1998), and adobe-18 has its "
          "primaries with gamma 1.8");
    }
    throw Refusal(Exit::Usage, "unknown output space " + name +
                                   "; convert --list shows them, and a file of this name there "
                                   "is not");
  }
  destination.bytes = ReadProfileFile(name);
  destination.profile = ReadProfileBytes(destination.bytes, "profile " + name);
  return destination;
}

void ListDestinations() {
  constexpr int kNameWidth = 20;
  for (std::size_t i = 0; i < kxp_space_count(); ++i) {
    if (!IsForImages(kxp_space_name(i))) continue;
    std::cout << std::left << std::setw(kNameWidth) << kxp_space_name(i) << kxp_space_description(i)
              << '\n';
  }
}
