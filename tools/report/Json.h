#ifndef KXCMS_TOOLS_REPORT_JSON_H
#define KXCMS_TOOLS_REPORT_JSON_H

#include <nlohmann/json.hpp>
#include <span>

#include "tools/report/ProfileNumbers.h"

namespace kxcms::report {

/// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;

/// A profile's numbers, of six decimals at most; what is not finite is null.
Json JsonOf(const ProfileNumbers& numbers);

/// The whole document.
/// @param version  of the command
Json Document(std::span<const ProfileNumbers> profiles, const char* version);

}  // namespace kxcms::report

#endif
