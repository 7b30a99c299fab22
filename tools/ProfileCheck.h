#ifndef KXCMS_TOOLS_PROFILECHECK_H
#define KXCMS_TOOLS_PROFILECHECK_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "Finding.h"
#include "codes/ColorCodes.h"

/// Everything that is wrong with a profile, in itself and for conversions with this library. The
/// library itself never complains: it reads what it can and converts with that.
/// @param bytes  the whole profile file, of which nothing is trusted
std::vector<Finding> InspectProfile(std::span<const unsigned char> bytes);

/// Passes a profile through which this library converts RGB rightly with this intent; refuses
/// every other one with the first error that concerns the intent.
/// @param name  how messages call it
void CheckProfile(std::span<const unsigned char> bytes, ICC40::ICCFILE::Intent intent,
                  const std::string& name);

/// How many tags the profile's table lists.
std::size_t ProfileTagCount(std::span<const unsigned char> bytes);

#endif
