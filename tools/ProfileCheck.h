#ifndef KXCMS_TOOLS_PROFILECHECK_H
#define KXCMS_TOOLS_PROFILECHECK_H

#include <span>
#include <vector>

#include "Finding.h"

/// Everything that is wrong with a profile, and who cannot use it: damage, by the rules of ICC.1
/// and by the strict reader that `convert` has; forms that nobody here converts; and forms that
/// libKXCMS, which never complains, would misread. Throws `std::bad_alloc`.
/// @param bytes  the whole profile file, of which nothing is trusted
std::vector<Finding> InspectProfile(std::span<const unsigned char> bytes);

#endif
