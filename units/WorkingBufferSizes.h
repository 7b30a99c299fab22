#ifndef KXCMS_UNITS_WORKINGBUFFERSIZES_H
#define KXCMS_UNITS_WORKINGBUFFERSIZES_H

#include <optional>

#include "units/Info.h"

// How large the working buffers are that run states have allocated. The fields of `Info` do not
// always tell: a count that `CheckWorkingBuf` refuses leaves `workingSize` 0 and keeps the buffer
// of an earlier count. For several threads, each with run states of its own.

namespace ICC40 {
namespace ICC_UNIT {

/// To be called when `info.workingBuf` has been allocated, with room for `samples` 16-bit samples.
/// May throw bad_alloc.
void NoteWorkingBuffer(const Info& info, int samples);

/// To be called when it is released.
void ForgetWorkingBuffer(const Info& info);

/// @return the 16-bit samples that `info.workingBuf` has room for; none for a buffer that a program
///         has put there itself.
std::optional<int> WorkingBufferSamples(const Info& info);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
