#ifndef KXCMS_CODES_RESULTCODES_H
#define KXCMS_CODES_RESULTCODES_H

#include "../base/KxApi.h"
#include "CodeLists.h"

/// @file
/// Integer results, and the names under which they are reported.

#define KX_ROW(value, name, c, doc) \
  constexpr int name = value;       \
  doc
#define KX_CLASS_ROW(value, name, doc) \
  constexpr int name = value;          \
  doc
KX_RESULTS(KX_ROW)
KX_CLASS_RESULTS(KX_CLASS_ROW)
#undef KX_ROW
#undef KX_CLASS_ROW

/// Names of the results reported to the configuration hooks: 7 texts, then 33 nulls. Static
/// storage.
extern KX_API const char* const strErr[40];

#endif
