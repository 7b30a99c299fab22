#ifndef KXCMS_TOOLS_COMMANDS_NAMES_H
#define KXCMS_TOOLS_COMMANDS_NAMES_H

#include <memory>
#include <string>
#include <vector>

#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"
#include "tools/report/Target.h"

/// The built-in space of a name; refuses an unknown one with the list of them.
const kxcms::RgbSpace& SpaceNamed(const std::string& name);

/// Where colours are to go.
struct NamedTarget {
  std::unique_ptr<kxcms::report::Target> target;
  std::vector<unsigned char> bytes;  ///< of the profile; empty for a built-in space
};

/// The built-in space of a name, or the ICC profile in a file of this name. Refuses a name that is
/// neither, as `SpaceNamed` does, and a profile that cannot be used.
NamedTarget TargetNamed(const std::string& name);

/// The intent of a name; refuses an unknown one likewise.
kxcms::RenderingIntent IntentNamed(const std::string& name);

#endif
