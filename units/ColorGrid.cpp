#include "units/ColorGrid.h"

#include <algorithm>
#include <utility>

namespace ICC40 {
namespace ICC_UNIT {

using ColorLch::CLCH;
using ICCFILE::CLut16Type;
using ICCFILE::CXYZType;

namespace {

constexpr int kMostOutputs = 7;

constexpr double kD50White16[3] = {63195.0, 65535.0, 54073.0};
// The same for scaling in XYZ, relative to 1; rounded differently, and used exactly so.
constexpr double kD50X = 0.9642;
constexpr double kD50Z = 0.8249;

void DecodeNode(const int* node, CLCH& color) {
  color.PutData_Lab(DecodeL(node[0]), DecodeAb(node[1]), DecodeAb(node[2]));
}

void EncodeNode(const CLCH& color, int* node) {
  node[0] = EncodeL(color.L);
  node[1] = EncodeAb(color.a);
  node[2] = EncodeAb(color.b);
}

}  // namespace

void FillNodePositions(int gridPoints, int* positions) {
  const double step = NodeStep(gridPoints);
  for (int k = 0; k < gridPoints; ++k) positions[k] = static_cast<int>(k * step);
}

void FillSamplePositions(int gridPoints, int* positions) {
  FillNodePositions(gridPoints, positions);
  positions[gridPoints - 1] = 65535;
}

CLCH D50Color() {
  return CLCH(kD50White16[0], kD50White16[1], kD50White16[2]);
}

void AdjustLch(const GridNodes<int>& nodes, double L, double c, double h) {
  CLCH color = D50Color();
  ForEachNode(nodes, [&](int* node) {
    DecodeNode(node, color);
    color.Adjust(L, c, h);
    EncodeNode(color, node);
  });
}

void AdjustWhitePoint(const GridNodes<int>& nodes, const CXYZType& white) {
  const double kx = white.X / kD50X;
  const double ky = white.Y;
  const double kz = white.Z / kD50Z;
  CLCH color = D50Color();
  ForEachNode(nodes, [&](int* node) {
    DecodeNode(node, color);
    color.PutData_XYZ(kx * color.X, ky * color.Y, kz * color.Z);
    EncodeNode(color, node);
  });
}

ColorLch::ColorSpace WorkingSpaceOf(kxcms::Primaries primaries) {
  switch (primaries) {
    case kxcms::Primaries::kNone:
    case kxcms::Primaries::kSRgb:
      break;
    case kxcms::Primaries::kAdobeRgb:
      return ColorLch::kColorSpaceAdobeRgb;
    case kxcms::Primaries::kAppleRgb:
      return ColorLch::kColorSpaceAppleRgb;
    case kxcms::Primaries::kColorMatchRgb:
      return ColorLch::kColorSpaceColorMatchRgb;
  }
  return ColorLch::kColorSpaceSRgb;
}

namespace {

constexpr std::size_t Cube(std::size_t n) {
  return n * n * n;
}

}  // namespace

ColorGrid::ColorGrid(int gridPoints)
    : points_(gridPoints),
      step_(NodeStep(gridPoints)),
      values_(std::make_unique_for_overwrite<int[]>(kChannels *
                                                    Cube(static_cast<std::size_t>(gridPoints)))) {}

ColorGrid::ColorGrid(const CLut16Type& lut) {
  const int outputs = lut.outputChannels;
  const bool isFilled = outputs == 0 || lut.colorTable != nullptr;
  if (!isFilled || outputs > kMostOutputs || lut.gridPoints < kMinGridPoints ||
      lut.gridPoints > kMaxGridPoints) {
    return;
  }
  ColorGrid grid(lut.gridPoints);
  FillNodePositions(grid.points_, grid.positions_.data());
  const unsigned short* values = lut.colorTable;
  const int copied = std::min(outputs, kChannels);
  ForEachNode(grid.nodes(), [&](int* node) {
    std::copy_n(values, copied, node);
    std::fill(node + copied, node + kChannels, 0);
    values += outputs;
  });
  if (!HasPowerOfTwoSpacing(grid.points_)) grid.Resize(kResampledGridPoints);
  *this = std::move(grid);
}

void ColorGrid::Resize(int gridPoints) {
  if (gridPoints == points_ || values_ == nullptr) return;
  ColorGrid resized(gridPoints);
  FillSamplePositions(gridPoints, resized.positions_.data());
  const GridNodes<const int> old = nodes();
  int* value = resized.values_.get();
  ForEachSample(gridPoints, resized.positions_.data(), [&](int r, int g, int b) {
    value[0] = r;
    value[1] = g;
    value[2] = b;
    InterpolateReference(old, {step_, positions_.data()},
                         std::array{&value[0], &value[1], &value[2]});
    value += kChannels;
  });
  *this = std::move(resized);
}

GridNodes<int> ColorGrid::nodes() {
  return {values_.get(), {points_ * points_ * kChannels, points_ * kChannels, kChannels}, points_};
}

}  // namespace ICC_UNIT
}  // namespace ICC40
