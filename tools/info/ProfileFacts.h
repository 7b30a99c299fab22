#ifndef KXCMS_TOOLS_INFO_PROFILEFACTS_H
#define KXCMS_TOOLS_INFO_PROFILEFACTS_H

#include <nlohmann/json.hpp>
#include <span>
#include <string>

namespace kxcms::info {

/// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;

struct ProfileFacts {
  std::string damage;      ///< why nothing can be told of it; empty: `facts` can
  std::string notASource;  ///< why pixels cannot be converted by it; empty: they can
  Json facts;
};

/// What is to be known of an ICC profile, as the manual page kxcms-info(1) lists it. Throws
/// `std::bad_alloc`.
ProfileFacts FactsOfProfile(std::span<const unsigned char> bytes);

/// The same in lines, each indented and ended.
std::string LinesOfProfile(const Json& facts, const std::string& indent);

}  // namespace kxcms::info

#endif
