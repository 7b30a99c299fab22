#ifndef KXCMS_PIPELINE_KERNELS_SCALARWORKER_H
#define KXCMS_PIPELINE_KERNELS_SCALARWORKER_H

#include <cstddef>
#include <cstdint>

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Bits of the fraction within a cell.
constexpr int kFractionBits = 12;

/// Coefficients of one cell: six tetrahedra of three output channels of (base, three slopes).
using Cell = std::uint32_t[6][12];

/// The tables that a pixel goes through: the engine's own fields, borrowed.
struct ContractTables {
  const std::uint32_t* input[3];  ///< cell index << 16 | fraction, by input level
  std::uint32_t inputLevels;      ///< entries of each input table; larger samples read the last one
  const Cell (*cells)[16][16];    ///< [16][16][16]
  const std::uint32_t (*output)[65536];  ///< [3][65536]
};

/// Converts the pixels [begin, end) of interleaved three-sample buffers. This routine defines the
/// result of a conversion. `Source` and `Destination` are the sample types, unsigned 8 or 16 bits;
/// the buffers need no alignment, and may be the same when the types are.
template <typename Source, typename Destination>
void ConvertPixels(const ContractTables& tables, const unsigned char* source,
                   unsigned char* destination, std::int64_t begin, std::int64_t end);

/// Writes the output tables' own contents, position by position, to the pixels [begin, end);
/// positions past the tables' end are left as they are.
template <typename Destination>
void FillPixels(const ContractTables& tables, unsigned char* destination, std::int64_t begin,
                std::int64_t end);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
