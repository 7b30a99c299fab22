#include "profile/Models.h"

#include <algorithm>

namespace kxcms {

namespace {

using Tables = std::array<std::optional<LookupTable>, 3>;

Model Choose(const Tables& tables, const std::optional<MatrixTrc>& matrixTrc,
             RenderingIntent intent) {
  const std::size_t own = TagIndex(intent);
  if (tables[own]) return {&*tables[own], nullptr, false};
  if (tables[0]) return {&*tables[0], nullptr, true};
  if (matrixTrc) {
    const bool isFallback = std::any_of(tables.begin(), tables.end(),
                                        [](const auto& table) { return table.has_value(); });
    return {nullptr, &*matrixTrc, isFallback};
  }
  for (const auto& table : tables) {
    if (table) return {&*table, nullptr, true};
  }
  return {};
}

}  // namespace

std::size_t TagIndex(RenderingIntent intent) {
  switch (intent) {
    case RenderingIntent::kPerceptual:
      return 0;
    case RenderingIntent::kRelative:
    case RenderingIntent::kAbsolute:
      return 1;
    case RenderingIntent::kSaturation:
      return 2;
  }
  return 0;
}

Model ModelFor(const DeviceProfile& profile, RenderingIntent intent) {
  return Choose(profile.deviceToPcs, profile.matrixTrc, intent);
}

Model DestinationModelFor(const DeviceProfile& profile, RenderingIntent intent) {
  return Choose(profile.pcsToDevice, profile.matrixTrc, intent);
}

}  // namespace kxcms
