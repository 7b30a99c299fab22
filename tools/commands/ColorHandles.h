#ifndef KXCMS_TOOLS_COMMANDS_COLORHANDLES_H
#define KXCMS_TOOLS_COMMANDS_COLORHANDLES_H

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "api/pipeline.h"

struct ReleaseProfile {
  void operator()(kxp_profile* profile) const { kxp_profile_release(profile); }
};
using ProfileHandle = std::unique_ptr<kxp_profile, ReleaseProfile>;

struct ReleasePipeline {
  void operator()(kxp_pipeline* pipeline) const { kxp_pipeline_release(pipeline); }
};
using PipelineHandle = std::unique_ptr<kxp_pipeline, ReleasePipeline>;

/// A profile that is read. Refuses what cannot be used.
/// @param name  how messages call it
ProfileHandle ReadProfileBytes(std::span<const unsigned char> bytes, const std::string& name);

/// The bytes of the profile in a file, or of the one that describes a built-in space of this name.
std::vector<unsigned char> NamedProfile(const std::string& name);

/// Where pixels go: a built-in space, or the profile in a file.
struct Destination {
  ProfileHandle profile;
  std::string name;  ///< of the space, or the path
  bool isBuiltIn = false;
  std::vector<unsigned char> bytes;  ///< of the profile that describes the result
};

/// The built-in space of this name, or the ICC profile in the file of this name. Refuses a name
/// that is neither.
Destination OpenDestination(const std::string& name);

/// Whether a name is that of a built-in space that images can have.
bool IsImageSpace(const std::string& name);

/// Prints the built-in spaces that images can have, with what they are.
void ListDestinations();

/// A sentence of the library's as it stands behind a name and a colon: without a capital and a full
/// stop.
std::string ClauseOf(std::string_view sentence);

/// Throws what a call that failed has said of a profile, or `std::bad_alloc`.
[[noreturn]] void RefuseProfile(const std::string& name, const kxp_error& error);

#endif
