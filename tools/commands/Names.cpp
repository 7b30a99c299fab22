#include "tools/commands/Names.h"

#include <filesystem>
#include <system_error>

#include "tools/Refusal.h"
#include "tools/commands/ProfileUse.h"
#include "tools/report/ProfileNumbers.h"

const kxcms::RgbSpace& SpaceNamed(const std::string& name) {
  const kxcms::RgbSpace* found = kxcms::FindRgbSpace(name);
  if (found != nullptr) return *found;
  std::string known;
  for (const kxcms::RgbSpace& space : kxcms::RgbSpaces()) {
    known += (known.empty() ? "" : ", ") + std::string(space.name);
  }
  throw Refusal(Exit::Usage, "unknown space " + name + "; known: " + known);
}

NamedTarget TargetNamed(const std::string& name) {
  using kxcms::report::Target;
  std::error_code ignored;
  if (kxcms::FindRgbSpace(name) != nullptr || !std::filesystem::exists(name, ignored)) {
    return {std::make_unique<Target>(SpaceNamed(name)), {}};
  }
  return WithProfile(name, [&](const std::vector<unsigned char>& bytes) {
    const std::string shown = std::filesystem::path(name).filename().string();
    return NamedTarget{std::make_unique<Target>(shown, bytes), bytes};
  });
}

kxcms::RenderingIntent IntentNamed(const std::string& name) {
  std::string known;
  for (const kxcms::RenderingIntent intent : kxcms::report::kIntents) {
    if (name == kxcms::report::NameOf(intent)) return intent;
    known += (known.empty() ? "" : ", ") + std::string(kxcms::report::NameOf(intent));
  }
  throw Refusal(Exit::Usage, "unknown intent " + name + "; known: " + known);
}
