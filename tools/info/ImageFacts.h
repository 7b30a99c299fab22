#ifndef KXCMS_TOOLS_INFO_IMAGEFACTS_H
#define KXCMS_TOOLS_INFO_IMAGEFACTS_H

#include <cstdint>
#include <string>

#include "tools/info/ProfileFacts.h"

namespace kxcms::info {

/// What is to be known of an image file, as the manual page kxcms-info(1) lists it. Throws an
/// `ImageError` for what cannot be read, and `std::bad_alloc`.
/// @param fd         an open regular file, which the caller keeps open
/// @param sizeBytes  its size
Json FactsOfImage(int fd, std::uint64_t sizeBytes);

/// The same in lines, each indented and ended.
std::string LinesOfImage(const Json& facts, const std::string& indent);

}  // namespace kxcms::info

#endif
