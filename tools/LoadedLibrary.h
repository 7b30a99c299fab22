#ifndef KXCMS_TOOLS_LOADEDLIBRARY_H
#define KXCMS_TOOLS_LOADEDLIBRARY_H

#include <string>

/// SHA-256 of the file that the loader has taken libKXPipeline from, in hexadecimal digits; empty if
/// it cannot be read.
std::string LoadedLibrarySha256();

#endif
