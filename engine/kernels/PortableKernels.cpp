#include <cstring>

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// A node's three channels stand in 21-bit fields of a 64-bit word. A weighted sum of node bytes
// with weights that add up to 4096 stays below 2^20, so that four multiplications interpolate all
// three channels at once.
constexpr int kFieldBits = 21;

// Distances between neighbouring nodes along the three axes.
constexpr std::uint32_t kStride0 = 17 * 17;
constexpr std::uint32_t kStride1 = 17;
constexpr std::uint32_t kStride2 = 1;

struct FarNear {
  std::uint32_t far, near;
};

// Two selections and not one branch: fractions come in no predictable order.
FarNear Order(std::uint32_t a, std::uint32_t b) {
  return {a > b ? a : b, a > b ? b : a};
}

// The interpolated fields, 16 times each channel's 16-bit value.
std::uint64_t InterpolateFields(const std::uint64_t* nodes, std::uint32_t x, std::uint32_t y,
                                std::uint32_t z) {
  // Fraction and axis in one word: sorting by fraction gives the tetrahedron's path. Tied fractions
  // give a node the weight 0, so their order does not matter.
  const std::uint32_t kx = (x & 0xFFF) << 16 | kStride0;
  const std::uint32_t ky = (y & 0xFFF) << 16 | kStride1;
  const std::uint32_t kz = (z & 0xFFF) << 16 | kStride2;
  const FarNear xy = Order(kx, ky);
  const FarNear high = Order(xy.far, kz);
  const FarNear low = Order(xy.near, high.near);
  const std::uint64_t* node = nodes + (x >> 12) * kStride0 + (y >> 12) * kStride1 + (z >> 12);
  const std::uint32_t f0 = high.far >> 16;
  const std::uint32_t f1 = low.far >> 16;
  const std::uint32_t f2 = low.near >> 16;
  std::uint64_t sum = *node * (4096 - f0);
  node += high.far & 0xFFFF;
  sum += *node * (f0 - f1);
  node += low.far & 0xFFFF;
  sum += *node * (f1 - f2);
  node += low.near & 0xFFFF;
  return sum + *node * f2;
}

template <typename Source, typename Destination>
void Convert(const WorkerTables& tables, const Destination* const (&output)[3],
             const unsigned char* source, unsigned char* destination, std::int64_t begin,
             std::int64_t end) {
  source += 3 * begin * std::int64_t{sizeof(Source)};
  destination += 3 * begin * std::int64_t{sizeof(Destination)};
  for (std::int64_t p = begin; p < end; ++p) {
    Source in[3];
    std::memcpy(in, source, sizeof in);
    const std::uint64_t sum =
        InterpolateFields(tables.nodes, tables.coordinates[0][in[0]], tables.coordinates[1][in[1]],
                          tables.coordinates[2][in[2]]);
    const Destination out[3] = {output[0][sum >> 4 & 0xFFFF],
                                output[1][sum >> (kFieldBits + 4) & 0xFFFF],
                                output[2][sum >> (2 * kFieldBits + 4) & 0xFFFF]};
    std::memcpy(destination, out, sizeof out);
    source += sizeof in;
    destination += sizeof out;
  }
}

void Convert8To8(const WorkerTables& tables, const unsigned char* source,
                 unsigned char* destination, std::int64_t begin, std::int64_t end) {
  Convert<std::uint8_t>(tables, tables.output8, source, destination, begin, end);
}

void Convert8To16(const WorkerTables& tables, const unsigned char* source,
                  unsigned char* destination, std::int64_t begin, std::int64_t end) {
  Convert<std::uint8_t>(tables, tables.output16, source, destination, begin, end);
}

void Convert16To16(const WorkerTables& tables, const unsigned char* source,
                   unsigned char* destination, std::int64_t begin, std::int64_t end) {
  Convert<std::uint16_t>(tables, tables.output16, source, destination, begin, end);
}

}  // namespace

const KernelSet kPortableKernels = {Convert8To8, Convert8To16, Convert16To16};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
