#ifndef KXCMS_TOOLS_COMMANDS_PROFILEUSE_H
#define KXCMS_TOOLS_COMMANDS_PROFILEUSE_H

#include <stdexcept>
#include <string>

#include "api/pipeline.hpp"
#include "profile/ProfileReader.h"
#include "tools/ProfileSource.h"
#include "tools/Refusal.h"

/// Returns what `use` returns. Refuses a profile that it finds unusable.
/// @param name  how messages call the profile
template <typename Use>
auto WithProfileBytes(const std::string& name, const Use& use) {
  const auto refusal = [&name](const std::exception& reason) {
    return Refusal(Exit::ProfileUnusable, name + ": " + reason.what());
  };
  try {
    return use();
  } catch (const kxcms::ProfileError& reason) {
    throw refusal(reason);
  } catch (const kxcms::Error& reason) {
    throw refusal(reason);
  } catch (const std::invalid_argument& reason) {
    throw refusal(reason);
  }
}

/// Hands the bytes of a profile file to `use` and returns what that returns. Refuses a file that
/// cannot be read, and a profile that `use` finds unusable.
template <typename Use>
auto WithProfile(const std::string& path, const Use& use) {
  const std::vector<unsigned char> bytes = ReadProfileFile(path);
  return WithProfileBytes("profile " + path, [&] { return use(bytes); });
}

#endif
