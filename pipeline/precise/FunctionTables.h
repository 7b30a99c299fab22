#ifndef KXCMS_PIPELINE_PRECISE_FUNCTIONTABLES_H
#define KXCMS_PIPELINE_PRECISE_FUNCTIONTABLES_H

#include "pipeline/precise/Arena.h"
#include "pipeline/precise/Stages.h"
#include "profile/RgbSpaces.h"

/// @file
/// Tables of functions in pieces, for single-precision evaluation. Computed in double precision
/// without the maths library, so that they are the same on every machine.

namespace kxcms {

/// t^exponent for t from 0 to `highest`, above 0: the relative error is at most 4e-8 for exponents
/// between 0 and 2.4, 2e-7 up to 3, from 2^-24 of `highest` on; below, a line goes to 0. Values are
/// limited to 2^40.
ParabolaTable MakePowerTable(double exponent, double highest, Arena& arena);

/// The cube root, from 2^-7 to 256. Made at the first call, which is safe from several threads.
/// May throw bad_alloc, then again makes it at the next call.
const ParabolaTable& CubeRootTable();

/// The encoding of a transfer function, of linear values in [0, 65536]; beyond, a line goes on. The
/// error is at most 1.2e-6 (0.08 levels of 65535) in [0, 1], for pure powers from 2^-24 on. Made at
/// the first call for each, as above. Not of `kLinear`.
const LineTable& EncodingTable(Transfer transfer);

}  // namespace kxcms

#endif
