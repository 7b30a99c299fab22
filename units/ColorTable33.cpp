#include "units/ColorTable33.h"

#include <algorithm>
#include <cstddef>
#include <memory>

#include "units/TetrahedralInterpolation.h"

const int MaxLutSize = 33;

namespace ICC40 {
namespace ICC_UNIT {

using ICCFILE::CLut16Type;

namespace {

// Node spacing of the 16-bit conversion. Grid points other than 9 and 17 take that of 33, which
// keeps every index within the grid.
void SetSpacing(ColorTable33& table, int gridPoints) {
  table.shift = gridPoints == 9 ? 13 : gridPoints == 17 ? 12 : 11;
  table.mask = (1 << table.shift) - 1;
}

void TakePositions(ColorTable33& table, std::unique_ptr<int[]> positions) {
  table.nodeStep = NodeStep(table.gridPoints);
  delete[] table.nodePositions;
  table.nodePositions = positions.release();
}

// Copies packed nodes of `channels` values each.
template <typename Value>
void CopyNodes(const Value* values, int channels, const GridNodes<int>& nodes) {
  ForEachNode(nodes, [&](int* node) {
    std::copy_n(values, channels, node);
    values += channels;
  });
}

}  // namespace

const int ColorTable33::LUT_Cell = 2048;
const int ColorTable33::LUT_Size33 = 33;

ColorTable33::ColorTable33()
    : nodePositions(nullptr),
      nodeStep(0.0),
      shift(0),
      mask(0),
      gridPoints(0),
      inputChannels(0),
      outputChannels(0),
      grid{} {
  name = "ColorTable33";
}

ColorTable33::~ColorTable33() {
  delete[] nodePositions;
}

int ColorTable33::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short&, unsigned short&, unsigned short&, unsigned short&) {
  Interpolate(*this, std::array{&c0, &c1, &c2});
  return 0;
}

int ColorTable33::Conversion(unsigned char*, int) {
  return 0;
}

int ColorTable33::Conversion(Info* info) {
  ConvertWorkingBuffer<3>(*this, info);
  return 0;
}

int ColorTable33::Conversion(int& c0, int& c1, int& c2, int&, int&, int&, int&) {
  InterpolateReference(*this, std::array{&c0, &c1, &c2});
  return 0;
}

int ColorTable33::Initial(CLut16Type* lut) {
  if (lut == nullptr || lut->outputChannels > kTableChannels || lut->gridPoints < kMinGridPoints ||
      lut->gridPoints > kMaxGridPoints) {
    return 0;
  }
  // The colour table of a tag without outputs holds nothing.
  if (lut->colorTable == nullptr && lut->outputChannels > 0) return 0;
  auto positions = std::make_unique<int[]>(lut->gridPoints);
  FillNodePositions(lut->gridPoints, positions.get());

  gridPoints = lut->gridPoints;
  inputChannels = lut->inputChannels;
  outputChannels = lut->outputChannels;
  SetSpacing(*this, gridPoints);
  CopyNodes(lut->colorTable, outputChannels, NodesOf(*this));
  TakePositions(*this, std::move(positions));
  if (!HasPowerOfTwoSpacing(gridPoints)) TableResize(kResampledGridPoints);
  return 0;
}

int ColorTable33::Initial(CLut16Type*, ICCFILE::iccTagBase*) {
  return 0;
}

int ColorTable33::SetColorTable(int* cells, int newGridPoints) {
  if (newGridPoints > kMaxGridPoints || (newGridPoints > 0 && cells == nullptr)) return 0;
  gridPoints = newGridPoints;
  SetSpacing(*this, gridPoints);
  CopyNodes(cells, kTableChannels, NodesOf(*this));
  return 0;
}

int ColorTable33::TableResize(int newGridPoints) {
  if (newGridPoints == gridPoints || newGridPoints < kMinGridPoints ||
      newGridPoints > kMaxGridPoints || nodePositions == nullptr) {
    return 0;
  }
  const auto points = static_cast<std::size_t>(newGridPoints);
  auto positions = std::make_unique<int[]>(points);
  FillSamplePositions(newGridPoints, positions.get());
  const auto cells = std::make_unique<int[]>(points * points * points * kTableChannels);

  SetSpacing(*this, newGridPoints);
  // Outputs past the third are not reset between nodes: a derived table fills those it has.
  int o[4] = {};
  int* cell = cells.get();
  ForEachSample(newGridPoints, positions.get(), [&](int r, int g, int b) {
    int c[3] = {r, g, b};
    Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
    cell = std::copy_n(c, 3, cell);
    cell = std::copy_n(o, 4, cell);
  });
  SetColorTable(cells.get(), newGridPoints);
  TakePositions(*this, std::move(positions));
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
