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

constexpr int kMinGridPoints = 2;
constexpr int kMaxGridPoints = 33;
constexpr int kChannels = 7;
// Any other lookup tag is resampled to this size; its nodes stand at multiples of 4096.
constexpr int kResampledGridPoints = 17;

bool HasPowerOfTwoSpacing(int gridPoints) {
  return gridPoints == 9 || gridPoints == 17 || gridPoints == 33;
}

// Node spacing of the 16-bit conversion. Grid points other than 9 and 17 take that of 33, which
// keeps every index within the grid.
void SetSpacing(ColorTable33& table, int gridPoints) {
  table.shift = gridPoints == 9 ? 13 : gridPoints == 17 ? 12 : 11;
  table.mask = (1 << table.shift) - 1;
}

double NodeStep(int gridPoints) {
  return 65536.0 / (gridPoints - 1);
}

std::unique_ptr<int[]> NodePositions(int gridPoints, double nodeStep) {
  auto positions = std::make_unique<int[]>(static_cast<std::size_t>(gridPoints));
  for (int k = 0; k < gridPoints; ++k) positions[k] = static_cast<int>(k * nodeStep);
  return positions;
}

void TakePositions(ColorTable33& table, std::unique_ptr<int[]> positions, double nodeStep) {
  table.nodeStep = nodeStep;
  delete[] table.nodePositions;
  table.nodePositions = positions.release();
}

// Copies the packed nodes of a grid, first input slowest, `channels` values each.
template <typename Value>
void CopyNodes(const Value* values, int gridPoints, int channels,
               int (&grid)[kMaxGridPoints][kMaxGridPoints][kMaxGridPoints][kChannels]) {
  for (int i = 0; i < gridPoints; ++i) {
    for (int j = 0; j < gridPoints; ++j) {
      for (int k = 0; k < gridPoints; ++k) {
        std::copy_n(values, channels, grid[i][j][k]);
        values += channels;
      }
    }
  }
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
  if (lut == nullptr || lut->outputChannels > kChannels || lut->gridPoints < kMinGridPoints ||
      lut->gridPoints > kMaxGridPoints) {
    return 0;
  }
  // The colour table of a tag without outputs holds nothing.
  if (lut->colorTable == nullptr && lut->outputChannels > 0) return 0;
  const double step = NodeStep(lut->gridPoints);
  std::unique_ptr<int[]> positions = NodePositions(lut->gridPoints, step);

  gridPoints = lut->gridPoints;
  inputChannels = lut->inputChannels;
  outputChannels = lut->outputChannels;
  SetSpacing(*this, gridPoints);
  CopyNodes(lut->colorTable, gridPoints, outputChannels, grid);
  TakePositions(*this, std::move(positions), step);
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
  CopyNodes(cells, gridPoints, kChannels, grid);
  return 0;
}

int ColorTable33::TableResize(int newGridPoints) {
  if (newGridPoints == gridPoints || newGridPoints < kMinGridPoints ||
      newGridPoints > kMaxGridPoints || nodePositions == nullptr) {
    return 0;
  }
  const double newStep = NodeStep(newGridPoints);
  // The last sample is 65535 so that it lies inside the old grid. It stays the node's position,
  // where a table straight from a lookup tag has 65536: kept so that results stay identical.
  std::unique_ptr<int[]> positions = NodePositions(newGridPoints, newStep);
  positions[newGridPoints - 1] = 65535;
  const auto nodes = static_cast<std::size_t>(newGridPoints) * newGridPoints * newGridPoints;
  const auto cells = std::make_unique<int[]>(nodes * kChannels);

  SetSpacing(*this, newGridPoints);
  // Outputs past the third are not reset between nodes: a derived table fills those it has.
  int o[4] = {};
  int* cell = cells.get();
  for (int i = 0; i < newGridPoints; ++i) {
    for (int j = 0; j < newGridPoints; ++j) {
      for (int k = 0; k < newGridPoints; ++k) {
        int c[3] = {positions[i], positions[j], positions[k]};
        Conversion(c[0], c[1], c[2], o[0], o[1], o[2], o[3]);
        cell = std::copy_n(c, 3, cell);
        cell = std::copy_n(o, 4, cell);
      }
    }
  }
  SetColorTable(cells.get(), newGridPoints);
  TakePositions(*this, std::move(positions), newStep);
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
