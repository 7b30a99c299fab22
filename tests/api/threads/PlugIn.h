#ifndef KXCMS_TESTS_API_THREADS_PLUGIN_H
#define KXCMS_TESTS_API_THREADS_PLUGIN_H

#include <cstddef>
#include <cstdint>

// What a plug-in offers its host; only the plug-in knows of the library.

/// Converts 8-bit RGB pixels in place, from ProPhoto RGB to the space that the plug-in stands for,
/// on so many threads. @return 0, or -1.
using PlugInConvert = int(unsigned char* pixels, std::size_t count, std::uint32_t threads);
constexpr const char* kPlugInConvert = "plug_in_convert";

#endif
