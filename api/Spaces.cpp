#include "api/Spaces.h"

#include <iterator>

namespace kxcms {

namespace {

// What has no primaries and curve of its own: further names that the fixed interface has for sRGB
// and for what it renders into sRGB, and destinations for measuring.
struct OtherSpace {
  const char* name;
  const char* description;
  ProfileKind kind;
  const char* space;  // name of the RGB space, or null
};
constexpr OtherSpace kOthers[] = {
    {"srgb-220", "sRGB (IEC 61966-2-1), by another name: the same as srgb", ProfileKind::kRgbSpace,
     "srgb"},
    {"srgb-kodak-photo", "sRGB, rendered by the Kodak tone curve for photographs (fixed only)",
     ProfileKind::kRendered, "srgb"},
    {"srgb-kodak-mix", "sRGB, rendered by the Kodak tone curve for mixed originals (fixed only)",
     ProfileKind::kRendered, "srgb"},
    {"srgb-kodak-text", "sRGB, rendered by the Kodak tone curve for text (fixed only)",
     ProfileKind::kRendered, "srgb"},
    {"lab", "CIE Lab, D50 (float, or 16 bits as ICC.1 encodes it)", ProfileKind::kLab, nullptr},
    {"xyz", "CIE XYZ, D50 (float, or 16 bits as ICC.1 encodes it)", ProfileKind::kXyz, nullptr},
};

}  // namespace

std::size_t SpaceCount() {
  return RgbSpaces().size() + std::size(kOthers);
}

NamedSpace SpaceAt(std::size_t index) {
  const auto spaces = RgbSpaces();
  if (index >= spaces.size()) {
    const OtherSpace& other = kOthers[index - spaces.size()];
    return {other.name, other.description, other.kind,
            other.space != nullptr ? FindRgbSpace(other.space) : nullptr};
  }
  return {spaces[index].name, spaces[index].description, ProfileKind::kRgbSpace, &spaces[index]};
}

}  // namespace kxcms

size_t kxp_space_count(void) {
  return kxcms::SpaceCount();
}

const char* kxp_space_name(size_t index) {
  return index < kxcms::SpaceCount() ? kxcms::SpaceAt(index).name : nullptr;
}

const char* kxp_space_description(size_t index) {
  return index < kxcms::SpaceCount() ? kxcms::SpaceAt(index).description : nullptr;
}
