#ifndef KXCMS_UNITS_COLORGRID_H
#define KXCMS_UNITS_COLORGRID_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "codes/ColorCodeTable.h"
#include "colormath/CLCH.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CXYZType.h"
#include "units/LabEncoding.h"
#include "units/Tetrahedra.h"
#include "units/Truncation.h"

// The colour grid of a lookup tag: what `ColorTable33` and the tables derived from it do, on nodes
// in any array. Nothing here is parallel or virtual.

namespace ICC40 {
namespace ICC_UNIT {

// ---- Nodes --------------------------------------------------------------------------------------

/// Nodes of a grid, `points` per axis, in an array that somebody else owns.
template <typename Value>
struct GridNodes {
  Value* first;
  std::array<std::ptrdiff_t, 3> stride;  ///< between neighbours along each input, in values
  int points;

  Value* At(int i, int j, int k) const {
    return first + i * stride[0] + j * stride[1] + k * stride[2];
  }
  operator GridNodes<const Value>() const { return {first, stride, points}; }
};

/// Calls take(node) for every node, first input slowest.
template <typename Value, typename Take>
void ForEachNode(const GridNodes<Value>& nodes, const Take& take) {
  for (int i = 0; i < nodes.points; ++i) {
    for (int j = 0; j < nodes.points; ++j) {
      for (int k = 0; k < nodes.points; ++k) take(nodes.At(i, j, k));
    }
  }
}

constexpr int kMinGridPoints = 2;
constexpr int kMaxGridPoints = 33;
/// Any other lookup tag is resampled to this size; its nodes stand at multiples of 4096.
constexpr int kResampledGridPoints = 17;

constexpr bool HasPowerOfTwoSpacing(int gridPoints) {
  return gridPoints == 9 || gridPoints == 17 || gridPoints == 33;
}

// ---- Reference interpolation --------------------------------------------------------------------

/// Distance between the nodes of a table straight from a lookup tag.
constexpr double NodeStep(int gridPoints) {
  return 65536.0 / (gridPoints - 1);
}

/// Input values of the nodes along an axis.
struct GridAxis {
  double step;
  const int* positions;
};

/// Where the nodes of a table straight from a lookup tag stand.
void FillNodePositions(int gridPoints, int* positions);
/// Where those of a table are sampled that is made from another one: the last sample is 65535, so
/// that it lies inside the old grid. It stays the node's position, where a table straight from a
/// lookup tag has 65536: kept so that results stay identical.
void FillSamplePositions(int gridPoints, int* positions);

/// The corners along a tetrahedron's path, in the cell whose base corner is `node`.
inline std::array<const int*, 4> PathNodes(const GridNodes<const int>& nodes, const int (&node)[3],
                                           const Tetrahedron& tetrahedron) {
  std::array<const int*, 4> path;
  for (std::size_t p = 0; p < path.size(); ++p) {
    const int corner = tetrahedron.path[p];
    path[p] =
        nodes.At(node[0] + (corner >> 2), node[1] + (corner >> 1 & 1), node[2] + (corner & 1));
  }
  return path;
}

/// Difference of two node values, which may be any int: it wraps.
inline std::uint32_t Difference(int high, int low) {
  return static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low);
}

/// Interpolates in double precision, for inputs 0..65535 in place: truncated toward zero, not
/// limited. Other inputs change nothing.
template <std::size_t kChannels>
void InterpolateReference(const GridNodes<const int>& nodes, const GridAxis& axisNodes,
                          const std::array<int*, kChannels>& values) {
  int node[3];
  double fraction[3];
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const int x = *values[axis];
    if (x < 0 || x > 65535) return;
    // At most 65535 * (n - 1) / 65536: always a node with a next one.
    node[axis] = static_cast<int>(x / axisNodes.step);
    fraction[axis] = (x - axisNodes.positions[node[axis]]) / axisNodes.step;
  }
  const Tetrahedron& tetrahedron =
      kTetrahedra[TetrahedronOf(fraction[0], fraction[1], fraction[2])];
  const std::array<const int*, 4> path = PathNodes(nodes, node, tetrahedron);
  for (std::size_t c = 0; c < kChannels; ++c) {
    double product[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto edge = static_cast<std::size_t>(tetrahedron.edge[axis]);
      product[axis] =
          static_cast<std::int32_t>(Difference(path[edge + 1][c], path[edge][c])) * fraction[axis];
    }
    const auto rise =
        static_cast<std::uint32_t>(TruncateToInt64(product[0] + product[1] + product[2]));
    *values[c] = static_cast<std::int32_t>(static_cast<std::uint32_t>(path[0][c]) + rise);
  }
}

/// Calls take(r, g, b) for the samples of a new grid, in the order of its nodes.
template <typename Take>
void ForEachSample(int gridPoints, const int* positions, const Take& take) {
  for (int i = 0; i < gridPoints; ++i) {
    for (int j = 0; j < gridPoints; ++j) {
      for (int k = 0; k < gridPoints; ++k) take(positions[i], positions[j], positions[k]);
    }
  }
}

// ---- Lab nodes, rewritten in place --------------------------------------------------------------

/// Offsets L*, C* and hue in degrees; see `CLCH::Adjust`.
void AdjustLch(const GridNodes<int>& nodes, double L, double c, double h);
/// Scales XYZ by white / D50 (0.9642, 1, 0.8249).
void AdjustWhitePoint(const GridNodes<int>& nodes, const ICCFILE::CXYZType& white);

/// ICC PCS white, D50, on the 16-bit scale of CLCH.
ColorLch::CLCH D50Color();

/// Linear 0..255 as whole 8-bit levels times 256. The 256 levels are all that a table of RGB has:
/// kept so that results stay identical. NaN becomes 0.
inline int EncodeRgb(double value) {
  return static_cast<int>(TruncateToInt64(value)) * 256;
}

/// The working space with such primaries; sRGB where there are none.
ColorLch::ColorSpace WorkingSpaceOf(kxcms::Primaries primaries);

/// Replaces every node, read as Lab through output curves, by linear RGB.
/// @param white        its words in host order become the reference white; null stands for D50
/// @param outputLevel  (channel, level): the curves' value
template <typename OutputLevel>
void LabToRgb(const GridNodes<int>& nodes, ColorLch::ColorSpace space,
              const ICCFILE::CXYZType* white, const OutputLevel& outputLevel) {
  ColorLch::CLCH color = D50Color();
  color.SetColorSpace(space);
  // s15Fixed16 words as plain numbers: 1.0 comes as 65536 on a scale that ends at 65535.
  if (white != nullptr) color.SetWhite(white->fixedX, white->fixedY, white->fixedZ);
  ForEachNode(nodes, [&](int* node) {
    color.L = DecodeL(outputLevel(0, LowWord(node[0])));
    color.a = DecodeAb(outputLevel(1, LowWord(node[1])));
    color.b = DecodeAb(outputLevel(2, LowWord(node[2])));
    color.LAB2XYZ();
    color.XYZ2RGB();
    node[0] = EncodeRgb(color.R);
    node[1] = EncodeRgb(color.G);
    node[2] = EncodeRgb(color.B);
  });
}

// ---- A grid as a value --------------------------------------------------------------------------

/// The first three outputs of a lookup tag's grid, as `ColorTable33` would hold them.
class ColorGrid {
 public:
  /// Empty.
  ColorGrid() = default;
  /// Filled from a lookup tag as `ColorTable33::Initial` does; empty where that would change
  /// nothing. Outputs that the tag lacks are 0. May throw bad_alloc.
  explicit ColorGrid(const ICCFILE::CLut16Type& lut);

  /// Resamples it to 2..33 points. May throw bad_alloc; nothing has changed then.
  void Resize(int gridPoints);

  /// None of an empty grid.
  GridNodes<int> nodes();

 private:
  static constexpr int kChannels = 3;

  explicit ColorGrid(int gridPoints);

  int points_ = 0;
  double step_ = 0;
  std::array<int, kMaxGridPoints> positions_{};
  std::unique_ptr<int[]> values_;
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif
