#include <algorithm>
#include <vector>

#include "api/Failure.h"
#include "api/Objects.h"
#include "profile/ProfileWriter.h"

using namespace kxcms;

namespace {

ProfileVersion CheckedVersion(std::uint32_t version) {
  Require(version == 0 || version == 2 || version == 4,
          "The version of the profile is none of 0, 2 and 4.");
  return version == 2 ? ProfileVersion::k2 : ProfileVersion::k4;
}

std::vector<unsigned char> BytesOf(const kxp_profile& profile, ProfileVersion version) {
  switch (profile.kind) {
    case ProfileKind::kDevice:
      break;
    case ProfileKind::kRgbSpace:
    case ProfileKind::kRendered:
      return WriteProfile(*profile.space, version);
    case ProfileKind::kLab:
    case ProfileKind::kXyz:
      if (version == ProfileVersion::k4) {
        return WritePcsProfile(profile.kind == ProfileKind::kLab ? PcsSpace::kLab : PcsSpace::kXyz);
      }
      throw Failure{KXP_ERROR_UNSUPPORTED,
                    {"Pixels of ", profile.name,
                     " are described in version 4 only: the tables of version 2 encode Lab in "
                     "another way, and "
                     "always have a grid."}};
  }
  throw Failure{
      KXP_ERROR_UNSUPPORTED,
      {"Only built-in spaces are written: a profile that was read has its bytes already."}};
}

}  // namespace

kxp_status kxp_profile_write(const kxp_profile* profile, uint32_t version, void* bytes,
                             size_t capacity, size_t* size, kxp_error* error) {
  return Guarded(error, [&] {
    Require(size != nullptr, "The pointer that is to receive the size is null.");
    *size = 0;
    Require(profile != nullptr, "The profile is null.");
    Require(bytes != nullptr || capacity == 0, "The pointer to the room for the bytes is null.");
    const std::vector<unsigned char> written = BytesOf(*profile, CheckedVersion(version));
    *size = written.size();
    if (capacity == 0) return;
    Require(capacity >= written.size(), "The room is too small for the bytes of the profile.");
    std::copy(written.begin(), written.end(), static_cast<unsigned char*>(bytes));
  });
}
