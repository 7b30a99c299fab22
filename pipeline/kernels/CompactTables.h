#ifndef KXCMS_PIPELINE_KERNELS_COMPACTTABLES_H
#define KXCMS_PIPELINE_KERNELS_COMPACTTABLES_H

#include <cstdint>

// Included by the sources of the instruction-set levels: plain declarations only, no inline
// functions, which the linker could keep in their widest form for every CPU.

namespace ICC40 {
namespace ICC_ENG_S4 {

constexpr int kCells = 16 * 16 * 16;

/// One tetrahedron of a cell as bytes: four path nodes per output channel, `value[c][n]`, in the
/// order of the path from the base corner to the far corner. A node byte stands for 256 times its
/// value. The fourth row is 0.
struct alignas(16) TetrahedronRecord {
  std::uint8_t value[4][4];
};

/// An output curve 16-bit value -> byte as segments that each rise by at most one level: the byte
/// is `base`, plus one when the position within the segment exceeds `last`.
struct alignas(64) StepCurve {
  std::uint8_t first[256];  ///< the bytes of values 0..255 themselves
  // Segments of 16 values below 2048, of 64 below 16384, of 256 above; by value / segment length.
  // Segments whose values the row before serves are not set.
  std::uint8_t base[3][256];
  std::uint8_t last[3][256];
};

/// What the fast workers read: compact forms of a pipeline's tables, which WorkerTables makes and
/// owns. The output tables are set for the sample width that is converted to.
struct CompactTables {
  const std::uint16_t* coordinates[3];  ///< by input level: cell index << 12 | fraction
  /// 8-bit input only: low and high bytes of the coordinates, [channel][low, high][level].
  const std::uint8_t (*coordinateBytes)[2][256];
  /// 8-bit input only: coordinates of the first two channels, the first one in the lower 16 bits,
  /// by their two levels, the first one in the lower 8 bits. Set for the workers that read it.
  const std::uint32_t* coordinatePairs;
  const TetrahedronRecord* records;  ///< [kCells][6]
  const std::uint8_t* output8[3];    ///< by interpolated value; the three may be the same
  const std::uint16_t* output16[3];
  const StepCurve* steps;  ///< of output8, where one such curve serves all channels, or null
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif
