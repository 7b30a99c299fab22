#ifndef KXCMS_UNITS_INPUTCONVERSION_H
#define KXCMS_UNITS_INPUTCONVERSION_H

#include "units/Info.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Fills a run state's working buffer from its source buffer: per pixel the looked-up values of
/// three samples, then zeros up to `samplesPerPixel` (at least 3).
///
/// Accepted are the two output classes `outputClass` (8-bit output) and `outputClass` + 1 (16-bit
/// output) with either input class. Without run state, buffers or pixels nothing is written.
/// @return 0; 65535 for any other conversion type, or without run state.
int FillWorkingBuffer(const unsigned int (&lookup)[3][65536], const Info* info, int samplesPerPixel,
                      int outputClass);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
