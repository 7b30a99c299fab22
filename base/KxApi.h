#ifndef KXCMS_BASE_KXAPI_H
#define KXCMS_BASE_KXAPI_H

/// @file
/// The export macro of the C++ interface. kxcms.h, which includes nothing, has its own.

/// Marks a class, function or datum as part of the library's exported interface. Everything
/// without it is hidden (the library is compiled with hidden visibility).
#define KX_API __attribute__((visibility("default")))

#endif
