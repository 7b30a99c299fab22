#ifndef KXCMS_TOOLS_PROFILECHECK_H
#define KXCMS_TOOLS_PROFILECHECK_H

#include <span>
#include <string>

#include "interface/ColorCodes.h"

/// Passes a profile through which this library converts RGB rightly with this intent, and refuses
/// every other one, saying why. The library itself never complains: it reads what it can and
/// converts with that.
/// @param bytes  the whole profile file, of which nothing is trusted
/// @param name   how messages call it
void CheckProfile(std::span<const unsigned char> bytes, ICC40::ICCFILE::Intent intent,
                  const std::string& name);

#endif
