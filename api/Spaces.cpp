#include "api/Spaces.h"

#include <iterator>

namespace kxcms {

namespace {

// Destinations for measuring.
constexpr NamedSpace kMeasures[] = {
    {"lab", "CIE Lab, D50 (float, or 16 bits as ICC.1 encodes it)", ProfileKind::kLab, nullptr},
    {"xyz", "CIE XYZ, D50 (float, or 16 bits as ICC.1 encodes it)", ProfileKind::kXyz, nullptr},
};

}  // namespace

std::size_t SpaceCount() {
  return RgbSpaces().size() + std::size(kMeasures);
}

NamedSpace SpaceAt(std::size_t index) {
  const auto spaces = RgbSpaces();
  if (index >= spaces.size()) return kMeasures[index - spaces.size()];
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
