#include "tools/commands/Names.h"

#include "tools/Refusal.h"
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

kxcms::RenderingIntent IntentNamed(const std::string& name) {
  std::string known;
  for (const kxcms::RenderingIntent intent : kxcms::report::kIntents) {
    if (name == kxcms::report::NameOf(intent)) return intent;
    known += (known.empty() ? "" : ", ") + std::string(kxcms::report::NameOf(intent));
  }
  throw Refusal(Exit::Usage, "unknown intent " + name + "; known: " + known);
}
