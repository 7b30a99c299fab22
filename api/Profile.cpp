#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "api/Failure.h"
#include "api/Objects.h"
#include "api/Spaces.h"
#include "base/Bytes.h"
#include "profile/ProfileReader.h"
#include "profile/SpaceProfile.h"

using namespace kxcms;

namespace {

// Larger files are no profiles that anybody has.
constexpr std::uint64_t kMostFileBytes = std::uint64_t{1} << 30;
// Header and tag count: with less a file is no profile, whatever it says.
constexpr std::uint64_t kHeaderBytes = 132;

[[noreturn]] void RefuseFile(const char* what, int number) {
  // In English, whatever the locale. Null for numbers that the system does not know.
  const char* const why = strerrordesc_np(number);
  throw Failure{KXP_ERROR_FILE, {what, ": ", why != nullptr ? why : "unknown error", "."}};
}

struct Descriptor {
  explicit Descriptor(int opened) : number(opened) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number >= 0) close(number);
  }
  int number;
};

// The first bytes of a file into all of `bytes`, as far as there are any.
void ReadBeginning(const Descriptor& file, std::vector<unsigned char>& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count =
        pread(file.number, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) RefuseFile("The file cannot be read", errno);
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
}

std::vector<unsigned char> ReadFile(const char* path) {
  // Not blocking: a pipe is refused, not waited for.
  const Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.number < 0) RefuseFile("The file cannot be opened", errno);
  struct stat status;
  if (fstat(file.number, &status) != 0) RefuseFile("The file cannot be examined", errno);
  if (!S_ISREG(status.st_mode)) {
    throw Failure{KXP_ERROR_FILE, {"This is no regular file, and no profile can be read from it."}};
  }
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (size > kMostFileBytes) {
    throw Failure{KXP_ERROR_FILE, {"The file is larger than 1 GiB, which no profile is."}};
  }
  // As much as the profile says that it has, which its first four bytes tell: a large file that is
  // none takes no memory.
  std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min(size, kHeaderBytes)));
  ReadBeginning(file, bytes);
  const std::uint64_t claimed = BigEndianView(bytes).U32(0);
  if (bytes.size() == kHeaderBytes && claimed > kHeaderBytes) {
    bytes.resize(static_cast<std::size_t>(std::min(size, claimed)));
    ReadBeginning(file, bytes);
  }
  return bytes;
}

kxp_status StatusOf(ProfileFault fault) {
  switch (fault) {
    case ProfileFault::kDamaged:
      return KXP_ERROR_DAMAGED;
    case ProfileFault::kUnsupported:
      return KXP_ERROR_UNSUPPORTED;
    case ProfileFault::kOutOfProportion:
      break;
  }
  return KXP_ERROR_DAMAGED;
}

kxp_profile* NewProfile(std::span<const unsigned char> bytes) {
  auto profile = std::make_unique<kxp_profile>();
  try {
    profile->device = std::make_shared<const DeviceProfile>(ReadProfile(bytes));
  } catch (const ProfileError& error) {
    throw Failure{StatusOf(error.fault), {error.what()}, error.tag, error.offset};
  }
  return profile.release();
}

kxp_profile* NewBuiltIn(const char* name) {
  for (std::size_t index = 0; index < SpaceCount(); ++index) {
    const NamedSpace space = SpaceAt(index);
    if (std::strcmp(name, space.name) != 0) continue;
    auto profile = std::make_unique<kxp_profile>();
    profile->kind = space.kind;
    profile->name = space.name;
    profile->space = space.space;
    if (space.space != nullptr) {
      DeviceProfile model = SpaceProfile(*space.space);
      if (space.kind == ProfileKind::kRendered) model.matrixTrc.reset();
      profile->device = std::make_shared<const DeviceProfile>(std::move(model));
    }
    return profile.release();
  }
  // What the fixed interface calls so has another curve than everybody expects by that name.
  if (std::strcmp(name, "adobe") == 0) {
    throw Failure{
        KXP_ERROR_ARGUMENT,
        {"There is no space \"adobe\": it is either \"adobe-rgb\", which is Adobe RGB (1998) "
         "with gamma 2.2, or \"adobe-18\", its primaries with gamma 1.8."}};
  }
  throw Failure{KXP_ERROR_ARGUMENT, {"There is no built-in space of this name."}};
}

}  // namespace

kxp_status kxp_profile_from_memory(const void* bytes, size_t size, kxp_profile** profile,
                                   kxp_error* error) {
  return Guarded(error, [&] {
    Require(profile != nullptr, "The pointer that is to receive the profile is null.");
    *profile = nullptr;
    Require(bytes != nullptr, "The pointer to the profile's bytes is null.");
    *profile = NewProfile({static_cast<const unsigned char*>(bytes), size});
  });
}

kxp_status kxp_profile_open(const char* path, kxp_profile** profile, kxp_error* error) {
  return Guarded(error, [&] {
    Require(profile != nullptr, "The pointer that is to receive the profile is null.");
    *profile = nullptr;
    Require(path != nullptr, "The path is null.");
    *profile = NewProfile(ReadFile(path));
  });
}

kxp_status kxp_profile_builtin(const char* name, kxp_profile** profile, kxp_error* error) {
  return Guarded(error, [&] {
    Require(profile != nullptr, "The pointer that is to receive the profile is null.");
    *profile = nullptr;
    Require(name != nullptr, "The name is null.");
    *profile = NewBuiltIn(name);
  });
}

kxp_profile* kxp_profile_retain(kxp_profile* profile) {
  if (profile != nullptr) profile->references.Add();
  return profile;
}

void kxp_profile_release(kxp_profile* profile) {
  if (profile != nullptr && profile->references.Remove()) delete profile;
}
