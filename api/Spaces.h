#ifndef KXCMS_API_SPACES_H
#define KXCMS_API_SPACES_H

#include <span>
#include <string_view>

#include "api/Objects.h"

namespace kxcms {

/// A built-in space by the name under which the interface lists it.
struct NamedSpace {
  const char* name;
  const char* description;
  ProfileKind kind;
  const RgbSpace* space;  ///< of kRgbSpace, and what describes kRendered; null for others
};

/// Number of built-in spaces.
std::size_t SpaceCount();
/// `index` below that.
NamedSpace SpaceAt(std::size_t index);

}  // namespace kxcms

#endif
