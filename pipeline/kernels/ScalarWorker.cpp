#include "pipeline/kernels/ScalarWorker.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "units/Tetrahedra.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

template <typename Sample>
Sample Load(const unsigned char* buffer, std::int64_t index) {
  Sample sample;
  std::memcpy(&sample, buffer + index * std::int64_t{sizeof(Sample)}, sizeof sample);
  return sample;
}

template <typename Sample>
void Store(unsigned char* buffer, std::int64_t index, std::uint32_t value) {
  const auto sample = static_cast<Sample>(value);
  std::memcpy(buffer + index * std::int64_t{sizeof(Sample)}, &sample, sizeof sample);
}

}  // namespace

template <typename Source, typename Destination>
void ConvertPixels(const FixedTables& tables, const unsigned char* source,
                   unsigned char* destination, std::int64_t begin, std::int64_t end) {
  const std::uint32_t* const input[3] = {tables.input[0].data(), tables.input[1].data(),
                                         tables.input[2].data()};
  const std::size_t lastLevel = tables.input[0].size() - 1;
  for (std::int64_t pixel = begin; pixel < end; ++pixel) {
    std::uint32_t entry[3];
    for (int c = 0; c < 3; ++c) {
      const std::size_t level = Load<Source>(source, 3 * pixel + c);
      entry[c] = input[c][std::min(level, lastLevel)];
    }
    const std::uint32_t fx = entry[0] & 0xFFFF;
    const std::uint32_t fy = entry[1] & 0xFFFF;
    const std::uint32_t fz = entry[2] & 0xFFFF;
    const Cell& cell = tables.cells[entry[0] >> 16][entry[1] >> 16][entry[2] >> 16];
    const std::uint32_t* k = cell[ICC_UNIT::TetrahedronOf(fx, fy, fz)];
    for (int c = 0; c < 3; ++c, k += 4) {
      // Slopes are two's complement, so the unsigned sum is the signed one.
      const auto sum = static_cast<std::int32_t>(k[0] + k[1] * fx + k[2] * fy + k[3] * fz);
      // Tables of the engine's make give 0 to 65280; the mask bounds those of a program.
      Store<Destination>(destination, 3 * pixel + c,
                         tables.output[c][(sum >> kFractionBits) & 0xFFFF]);
    }
  }
}

template <typename Destination>
void FillPixels(const std::uint32_t (*output)[kLevels16], unsigned char* destination,
                std::int64_t begin, std::int64_t end) {
  const std::int64_t last = std::min<std::int64_t>(3 * end, kLevels16);
  for (std::int64_t position = 3 * begin; position < last; ++position) {
    Store<Destination>(destination, position, output[position % 3][position]);
  }
}

template void ConvertPixels<std::uint8_t, std::uint8_t>(const FixedTables&, const unsigned char*,
                                                        unsigned char*, std::int64_t, std::int64_t);
template void ConvertPixels<std::uint8_t, std::uint16_t>(const FixedTables&, const unsigned char*,
                                                         unsigned char*, std::int64_t,
                                                         std::int64_t);
template void ConvertPixels<std::uint16_t, std::uint16_t>(const FixedTables&, const unsigned char*,
                                                          unsigned char*, std::int64_t,
                                                          std::int64_t);
template void FillPixels<std::uint8_t>(const std::uint32_t (*)[kLevels16], unsigned char*,
                                       std::int64_t, std::int64_t);
template void FillPixels<std::uint16_t>(const std::uint32_t (*)[kLevels16], unsigned char*,
                                        std::int64_t, std::int64_t);

}  // namespace ICC_ENG_S4
}  // namespace ICC40
