#ifndef KXCMS_CODES_CODENAMES_H
#define KXCMS_CODES_CODENAMES_H

#include <cstddef>

/// The text of a code in one of the name tables; the empty string for a code outside the table and
/// for an entry without text.
template <std::size_t N>
const char* NameOf(const char* const (&names)[N], int code) {
  if (code < 0 || static_cast<std::size_t>(code) >= N || names[code] == nullptr) return "";
  return names[code];
}

#endif
