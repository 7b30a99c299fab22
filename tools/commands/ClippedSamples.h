#ifndef KXCMS_TOOLS_COMMANDS_CLIPPEDSAMPLES_H
#define KXCMS_TOOLS_COMMANDS_CLIPPEDSAMPLES_H

#include <array>
#include <cstddef>
#include <cstdint>

/// Adds how many samples of R, G and B are 0 or full scale.
/// @param samples   interleaved, those of 16 bits aligned and in the machine's byte order
/// @param perPixel  at least 3; the first three count
/// @param bits      of a sample, 8 or 16
void CountClipped(const unsigned char* samples, std::size_t pixels, unsigned perPixel,
                  unsigned bits, std::array<std::uint64_t, 3>& counts);

#endif
