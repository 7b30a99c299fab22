#include <algorithm>
#include <cstring>

#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Pixels of one step within a phase.
constexpr int kStepPixels = 8;
// Interpolated values per pixel.
constexpr int kValueStride = 3;
// How far ahead of a block its buffers are fetched.
constexpr int kPrefetchBytes = 3072;

#include "engine/kernels/BlockLookups.inl"

void Coordinates8(const WorkerTables& tables, const unsigned char* samples, int pixels,
                  PixelBlock& block) {
  LookUpCoordinates<std::uint8_t>(tables, samples, pixels, block);
}

// A node's three channels stand in 21-bit fields of a 64-bit word. A weighted sum of node bytes
// with weights that add up to 4096 stays below 2^20, so that four multiplications interpolate all
// three channels at once.
constexpr int kFieldBits = 21;

// Distances between neighbouring nodes along the three axes.
constexpr std::int16_t kStride0 = 17 * 17;
constexpr std::int16_t kStride1 = 17;
constexpr std::int16_t kStride2 = 1;

// The three first nodes of each pixel's path from the base corner to the far corner, and the four
// nodes' weights.
struct alignas(64) Paths {
  std::uint16_t node[3][kBlockPixels];
  std::uint16_t weight[4][kBlockPixels];
};

// A loop that compilers turn into vector instructions: 16-bit lanes, selections and no branch.
void SortFractions(const PixelBlock& block, int pixels, Paths& paths) {
  for (int p = 0; p < pixels; ++p) {
    const auto fx = static_cast<std::int16_t>(block.x[p] & 0xFFF);
    const auto fy = static_cast<std::int16_t>(block.y[p] & 0xFFF);
    const auto fz = static_cast<std::int16_t>(block.z[p] & 0xFFF);
    const std::int16_t lowXy = std::min(fx, fy);
    const std::int16_t highXy = std::max(fx, fy);
    const std::int16_t max = std::max(highXy, fz);
    const std::int16_t mid = std::max(lowXy, std::min(highXy, fz));
    const std::int16_t min = std::min(lowXy, fz);
    const auto base = static_cast<std::int16_t>((block.x[p] >> 12) * kStride0 +
                                                (block.y[p] >> 12) * kStride1 + (block.z[p] >> 12));
    const std::int16_t first = fx == max ? kStride0 : fy == max ? kStride1 : kStride2;
    const std::int16_t last = fz == min ? kStride2 : fy == min ? kStride1 : kStride0;
    paths.node[0][p] = static_cast<std::uint16_t>(base);
    paths.node[1][p] = static_cast<std::uint16_t>(base + first);
    paths.node[2][p] = static_cast<std::uint16_t>(base + kStride0 + kStride1 + kStride2 - last);
    paths.weight[0][p] = static_cast<std::uint16_t>(4096 - max);
    paths.weight[1][p] = static_cast<std::uint16_t>(max - mid);
    paths.weight[2][p] = static_cast<std::uint16_t>(mid - min);
    paths.weight[3][p] = static_cast<std::uint16_t>(min);
  }
}

void Interpolate(const WorkerTables& tables, PixelBlock& block, int pixels) {
  Paths paths;
  SortFractions(block, pixels, paths);
  const std::uint64_t* const nodes = tables.nodes;
  const std::uint64_t* const farNodes = nodes + kStride0 + kStride1 + kStride2;
#pragma GCC unroll 2
  for (int p = 0; p < pixels; ++p) {
    const std::uint64_t sum = nodes[paths.node[0][p]] * paths.weight[0][p] +
                              nodes[paths.node[1][p]] * paths.weight[1][p] +
                              nodes[paths.node[2][p]] * paths.weight[2][p] +
                              farNodes[paths.node[0][p]] * paths.weight[3][p];
    std::uint16_t* value = block.values + kValueStride * p;
    value[0] = static_cast<std::uint16_t>(sum >> 4);
    value[1] = static_cast<std::uint16_t>(sum >> (kFieldBits + 4));
    value[2] = static_cast<std::uint16_t>(sum >> (2 * kFieldBits + 4));
  }
}

void Output8(const WorkerTables& tables, const PixelBlock& block, int pixels,
             unsigned char* samples) {
  LookUpBytes(tables.output8, block, pixels, samples);
}

#include "engine/kernels/BlockKernel.inl"

}  // namespace

const KernelSet kPortableKernels = {Convert<1, 1>, Convert<1, 2>, Convert<2, 2>};

}  // namespace ICC_ENG_S4
}  // namespace ICC40
