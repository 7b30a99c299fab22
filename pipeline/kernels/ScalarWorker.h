#ifndef KXCMS_PIPELINE_KERNELS_SCALARWORKER_H
#define KXCMS_PIPELINE_KERNELS_SCALARWORKER_H

#include <cstdint>

#include "pipeline/FixedTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Converts the pixels [begin, end) of interleaved three-sample buffers. This routine defines the
/// result of a conversion. `Source` and `Destination` are the sample types, unsigned 8 or 16 bits;
/// the buffers need no alignment, and may be the same when the types are.
template <typename Source, typename Destination>
void ConvertPixels(const FixedTables& tables, const unsigned char* source,
                   unsigned char* destination, std::int64_t begin, std::int64_t end);

/// Writes the own contents of the output tables, [3], position by position to the pixels
/// [begin, end); positions past the tables' end are left as they are.
template <typename Destination>
void FillPixels(const std::uint32_t (*output)[kLevels16], unsigned char* destination,
                std::int64_t begin, std::int64_t end);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
