#ifndef KXCMS_TOOLS_COMMANDS_NAMES_H
#define KXCMS_TOOLS_COMMANDS_NAMES_H

#include <string>

#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

/// The built-in space of a name; refuses an unknown one with the list of them.
const kxcms::RgbSpace& SpaceNamed(const std::string& name);

/// The intent of a name; refuses an unknown one likewise.
kxcms::RenderingIntent IntentNamed(const std::string& name);

#endif
