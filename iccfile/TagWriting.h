#ifndef KXCMS_ICCFILE_TAGWRITING_H
#define KXCMS_ICCFILE_TAGWRITING_H

#include <cstdint>
#include <cstdio>

#include "../base/Limits.h"

namespace ICC40 {
namespace ICCFILE {

/// Most zeros written in the place of bytes that an object claims but does not hold. A damaged
/// profile may claim gigabytes; a reader would not hold more of them either.
constexpr std::uint64_t kMaxStandInBytes = kReaderFloorBytes;

/// Writes `count` zero bytes, at most `kMaxStandInBytes`.
void WriteZeros(FILE* stream, std::uint64_t count);

/// Writes `count` bytes: the first `held` of them from `bytes` (borrowed, null holds none), zeros
/// for the rest.
void WriteHeld(FILE* stream, const void* bytes, std::uint64_t held, std::uint64_t count);

}  // namespace ICCFILE
}  // namespace ICC40

#endif
