#include "pipeline/precise/StageBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <variant>

#include "pipeline/precise/CurveStages.h"
#include "pipeline/precise/FunctionTables.h"
#include "pipeline/precise/PipelineError.h"

namespace kxcms {

namespace {

float ToFloat(double number) {
  const auto rounded = static_cast<float>(number);
  if (!std::isfinite(rounded)) {
    throw PipelineError(PipelineFault::kNotFinite, 0,
                        "the numbers of the profiles lead beyond what can be computed");
  }
  return rounded;
}

Matrix ToMatrix(const AffineMap& map, bool clips) {
  Matrix matrix;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      matrix.rows[row][column] = ToFloat(map.matrix[3 * row + column]);
    }
    matrix.rows[row][3] = ToFloat(map.offset[row]);
  }
  matrix.clips = clips;
  return matrix;
}

// Row n of a map that mixes nothing.
void SetRow(float (&row)[2], const AffineMap& map, std::size_t n) {
  row[0] = ToFloat(map.matrix[4 * n]);
  row[1] = ToFloat(map.offset[n]);
}

// Two rows along the third axis side by side, point by point. Where the second axis has an odd
// number of points, zeros lie beside its last row.
const Node* CopyInPairs(const ColorGrid& grid, Grid& stage, Arena& arena) {
  const auto [r, g, b] = grid.points;
  const int rows = 2 * b, layer = (g + 1) / 2 * rows;
  const auto count = static_cast<std::size_t>(r) * static_cast<std::size_t>(layer);
  auto* const nodes = arena.New<Node>(count);
  std::fill_n(nodes, count, Node{});
  const std::uint16_t* from = grid.values.data();
  for (int i = 0; i < r; ++i) {
    for (int j = 0; j < g; ++j) {
      Node* to = nodes + i * layer + j / 2 * rows + j % 2;
      for (int k = 0; k < b; ++k, from += 3, to += 2) {
        *to = {from[0] | std::uint32_t{from[1]} << 16, static_cast<float>(from[2])};
      }
    }
  }
  stage.stride[0] = static_cast<float>(layer);
  stage.stride[1] = static_cast<float>(b);
  stage.stride[2] = 2;
  stage.ifOdd = 1 - b;
  return nodes;
}

constexpr Signature kCurveTags[] = {MakeSignature("rTRC"), MakeSignature("gTRC"),
                                    MakeSignature("bTRC")};

}  // namespace

AffineMap Diagonal(const std::array<double, 3>& factors, const std::array<double, 3>& offset) {
  return {{factors[0], 0, 0, 0, factors[1], 0, 0, 0, factors[2]}, offset};
}

AffineMap Product(const AffineMap& outer, const AffineMap& inner) {
  AffineMap product = {Product(outer.matrix, inner.matrix), Product(outer.matrix, inner.offset)};
  for (std::size_t n = 0; n < 3; ++n) product.offset[n] += outer.offset[n];
  return product;
}

template <typename Parameters>
Parameters* StageBuilder::Append(StageKind kind, const Parameters* Stage::*member,
                                 const Parameters& parameters) {
  auto* const own = arena_->New<Parameters>(1);
  *own = parameters;
  Stage stage;
  stage.kind = kind;
  stage.*member = own;
  stages_.push_back(stage);
  clips_ = nullptr;
  return own;
}

// Of the numbers as they stand.
AffineMap StageBuilder::WithUnits(const AffineMap& map) const {
  return Product(map, Diagonal(unit_));
}

void StageBuilder::ClipWhatComesIn() {
  if (clips_ != nullptr) *clips_ = true;
}

void StageBuilder::Add(const std::vector<Element>& elements) {
  for (const Element& element : elements) Add(element);
}

void StageBuilder::Add(const Element& element) {
  if (const auto* set = std::get_if<CurveSet>(&element)) {
    Add(*set);
  } else if (const auto* matrix = std::get_if<MatrixElement>(&element)) {
    Add(AffineMap{matrix->matrix, matrix->offset}, false);
  } else {
    Add(std::get<ColorGrid>(element));
  }
}

// Curves that are alike share a table: what is read is in the cache more often.
void StageBuilder::Add(const CurveSet& set) {
  ClipWhatComesIn();
  Curves stage;
  bool isNeeded = false;
  const std::array<double, 3> unitBefore = unit_;
  for (std::size_t n = 0; n < 3; ++n) {
    std::size_t twin = 0;
    while (unitBefore[twin] != unitBefore[n] || !AreAlike(set.curves[twin], set.curves[n])) ++twin;
    if (twin < n) {
      stage.curve[n] = stage.curve[twin];
      unit_[n] = unit_[twin];
    } else {
      stage.curve[n] = MakeCurve(set.curves[n], unit_[n], *arena_);
    }
    isNeeded = isNeeded || stage.curve[n].kind != CurveKind::kNone;
  }
  if (isNeeded) Append(StageKind::kCurves, &Stage::curves, stage);
}

void StageBuilder::Add(const ColorGrid& grid) {
  ClipWhatComesIn();
  Grid stage;
  stage.nodes = CopyInPairs(grid, stage, *arena_);
  for (std::size_t n = 0; n < 3; ++n) {
    const auto last = static_cast<float>(grid.points[n] - 1);
    stage.factor[n] = static_cast<float>(last * unit_[n]);
    stage.belowLast[n] = std::nextafter(last, 0.0f);
    unit_[n] = 1.0 / grid.maximum;
  }
  Append(StageKind::kGrid, &Stage::grid, stage);
}

void StageBuilder::Add(const AffineMap& map, bool clips) {
  Matrix* const matrix =
      Append(StageKind::kMatrix, &Stage::matrix, ToMatrix(WithUnits(map), clips));
  unit_ = {1, 1, 1};
  clips_ = &matrix->clips;
}

void StageBuilder::AddLabToXyz(const AffineMap& lab, const AffineMap& then, bool clips) {
  LabMatrix stage;
  const AffineMap decoding = WithUnits(lab);
  SetRow(stage.lightness, decoding, 0);
  SetRow(stage.a, decoding, 1);
  SetRow(stage.b, decoding, 2);
  stage.matrix = ToMatrix(then, clips);
  clips_ = &Append(StageKind::kLabMatrix, &Stage::labMatrix, stage)->matrix.clips;
  unit_ = {1, 1, 1};
}

void StageBuilder::AddXyzToLab(const AffineMap& before, const AffineMap& lab, bool clips) {
  MatrixLab stage;
  stage.matrix = ToMatrix(WithUnits(before), false);
  stage.cubeRoot = CubeRootTable();
  SetRow(stage.lightness, lab, 0);
  SetRow(stage.a, lab, 1);
  SetRow(stage.b, lab, 2);
  stage.clips = clips;
  clips_ = &Append(StageKind::kMatrixLab, &Stage::matrixLab, stage)->clips;
  unit_ = {1, 1, 1};
}

void StageBuilder::AddInverse(const std::array<Curve, 3>& curves) {
  Curves stage;
  bool isNeeded = false;
  for (std::size_t n = 0; n < 3; ++n) {
    std::size_t twin = 0;
    while (!AreAlike(curves[twin], curves[n])) ++twin;
    stage.curve[n] = twin < n ? stage.curve[twin] : MakeInverse(curves[n], kCurveTags[n], *arena_);
    isNeeded = isNeeded || stage.curve[n].kind != CurveKind::kNone;
  }
  if (isNeeded) Append(StageKind::kCurves, &Stage::curves, stage);
}

void StageBuilder::AddEncoding(Transfer transfer, bool isOdd) {
  if (transfer == Transfer::kLinear) return;
  Append(StageKind::kEncoding, &Stage::encoding, Encoding{EncodingTable(transfer), isOdd});
}

void StageBuilder::AddScaling() {
  Scaling scaling;
  for (std::size_t n = 0; n < 3; ++n) scaling.factor[n] = static_cast<float>(unit_[n]);
  Append(StageKind::kScaling, &Stage::scaling, scaling);
  unit_ = {1, 1, 1};
}

}  // namespace kxcms
