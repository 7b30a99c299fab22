#ifndef KXCMS_CODES_RESULTCODES_H
#define KXCMS_CODES_RESULTCODES_H

#include "../base/KxApi.h"

/// @file
/// Integer results, and the names under which they are reported.

/// Selection succeeded or nothing changed; a conversion ran.
constexpr int IccResultOk = 0;
/// The engine is unusable, or the profile has no lookup tag that it can use.
constexpr int IccResultNotSet = 65535;
/// No known conversion type for the pair of colour codes.
constexpr int IccResultNoConversionType = 65534;
/// The operation exists for compatibility and does nothing.
constexpr int IccResultUnused = 65533;
/// The ICC file could not be opened.
constexpr int IccResultProfileRead = 65531;
/// The input colour code is neither `RGB` nor `RGB_16`.
constexpr int IccResultInputColor = 65530;
/// All ones (0xFFFFFFFF): a conversion was refused, or its file could not be read.
constexpr int IccResultFail = -1;

/// Names of the results reported to the configuration hooks: 7 texts, then 33 nulls. Static
/// storage.
extern KX_API const char* const strErr[40];

#endif
