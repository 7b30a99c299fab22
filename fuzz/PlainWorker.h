#ifndef KXCMS_FUZZ_PLAINWORKER_H
#define KXCMS_FUZZ_PLAINWORKER_H

#include <cstdint>
#include <cstring>

#include "engine/CIccEngineS.h"
#include "engine/EnginePipeline.h"
#include "fuzz/FuzzSupport.h"

// A second account of buffer conversion, written straight from the per-pixel rule over the
// engine's public tables: three lookups, one of six tetrahedra, three sums, three lookups.

namespace fuzz {

using ICC40::ICC_ENG_S4::CIccEngineS;

inline unsigned SampleAt(const Bytes& bytes, std::size_t index, std::size_t width) {
  if (width == 1) return bytes[index];
  unsigned short sample;
  std::memcpy(&sample, bytes.data() + 2 * index, 2);
  return sample;
}

inline void PutSample(Bytes& bytes, std::size_t index, std::size_t width, unsigned value) {
  const auto sample = static_cast<unsigned short>(value & 0xFFFF);
  if (width == 1) {
    bytes[index] = static_cast<unsigned char>(value & 0xFF);
  } else {
    std::memcpy(bytes.data() + 2 * index, &sample, 2);
  }
}

/// Index of the tetrahedron by the fractions' order, ties as the cells are built.
inline int PlainTetrahedron(std::int64_t r, std::int64_t g, std::int64_t b) {
  if (r > g && g > b) return 0;
  if (r > b && b >= g) return 1;
  if (b >= r && r > g) return 2;
  if (g >= r && r > b) return 3;
  if (g > b && b >= r) return 4;
  return 5;
}

/// Converts all pixels of `source` into `destination` (as many samples).
inline void ConvertStandard(const CIccEngineS& engine, std::size_t sourceWidth,
                            std::size_t destinationWidth, const Bytes& source, Bytes& destination) {
  const auto input = TablesOf(engine).input;
  const std::size_t samples = source.size() / sourceWidth;
  for (std::size_t p = 0; p + 3 <= samples; p += 3) {
    std::int64_t fraction[3];
    unsigned cell[3];
    for (std::size_t c = 0; c < 3; ++c) {
      // Samples past 256-entry tables read the last entry.
      const std::size_t level =
          std::min<std::size_t>(SampleAt(source, p + c, sourceWidth), input[c].size() - 1);
      cell[c] = input[c][level] >> 16;
      fraction[c] = input[c][level] & 0xFFFF;
    }
    const int tetrahedron = PlainTetrahedron(fraction[0], fraction[1], fraction[2]);
    const unsigned* k = engine.cells[cell[0]][cell[1]][cell[2]][tetrahedron];
    for (std::size_t c = 0; c < 3; ++c, k += 4) {
      std::int64_t sum = static_cast<std::int32_t>(k[0]);
      for (std::size_t axis = 0; axis < 3; ++axis) {
        sum += std::int64_t{static_cast<std::int32_t>(k[axis + 1])} * fraction[axis];
      }
      const auto value = static_cast<std::size_t>(sum >> 12 & 0xFFFF);
      PutSample(destination, p + c, destinationWidth, engine.outLut[c][value]);
    }
  }
}

/// As `ConvertStandard`; a profile of the manufacturer "none" gives the output tables' contents
/// when source and destination samples have the same width.
inline void ConvertPlainly(const CIccEngineS& engine, std::size_t sourceWidth,
                           std::size_t destinationWidth, const Bytes& source, Bytes& destination) {
  constexpr unsigned kNone = 0x6E6F6E65;
  if (sourceWidth != destinationWidth || engine.iccFile.header.manufacturer != kNone) {
    return ConvertStandard(engine, sourceWidth, destinationWidth, source, destination);
  }
  const std::size_t samples = source.size() / sourceWidth / 3 * 3;
  for (std::size_t i = 0; i < std::min<std::size_t>(samples, 65536); ++i) {
    PutSample(destination, i, destinationWidth, engine.outLut[i % 3][i]);
  }
}

}  // namespace fuzz

#endif
