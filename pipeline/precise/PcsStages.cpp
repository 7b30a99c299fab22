#include "pipeline/precise/PcsStages.h"

#include <cstddef>

namespace kxcms {

namespace {

// Undoes a map that mixes nothing.
AffineMap InverseOfDiagonal(const AffineMap& map) {
  std::array<double, 3> factors, offset;
  for (std::size_t n = 0; n < 3; ++n) {
    factors[n] = 1 / map.matrix[4 * n];
    offset[n] = -map.offset[n] / map.matrix[4 * n];
  }
  return Diagonal(factors, offset);
}

AffineMap MapOf(const Adaptation& adaptation) {
  return Diagonal(adaptation.scale, adaptation.offset);
}

bool IsNone(const Adaptation& adaptation) {
  return adaptation.scale == Xyz{1, 1, 1} && adaptation.offset == Xyz{0, 0, 0};
}

}  // namespace

AffineMap LabOfParts() {
  return Diagonal({116, 500, 200}, {-16, 0, 0});
}

AffineMap EncodingOf(PcsEncoding encoding) {
  switch (encoding) {
    case PcsEncoding::kLab:  // ICC.1:2010 6.3.4.2, tables 12 and 13
      return Product(Diagonal({1 / 100.0, 1 / 255.0, 1 / 255.0}, {0, 128 / 255.0, 128 / 255.0}),
                     LabOfParts());
    case PcsEncoding::kLegacyLab:  // ICC.1:2010 10.8, tables 39 and 40
      return Product(Diagonal({652.8 / 65535, 256.0 / 65535, 256.0 / 65535},
                              {0, 32768.0 / 65535, 32768.0 / 65535}),
                     LabOfParts());
    case PcsEncoding::kXyz:  // ICC.1:2010 6.3.4.2, table 11
      break;
  }
  return Diagonal({32768.0 / 65535, 32768.0 / 65535, 32768.0 / 65535});
}

PcsValues AddDeviceToPcs(const Model& model, StageBuilder& builder) {
  if (model.table == nullptr) {
    builder.Add(CurveSet{model.matrixTrc->curves});
    return {false, {model.matrixTrc->matrix, {}}};
  }
  builder.Add(model.table->elements);
  return {model.table->pcs != PcsEncoding::kXyz, InverseOfDiagonal(EncodingOf(model.table->pcs))};
}

void AddPcsToXyz(const PcsValues& pcs, const Adaptation& adaptation, const AffineMap& then,
                 bool clips, StageBuilder& builder) {
  const AffineMap onward = Product(then, MapOf(adaptation));
  if (pcs.isLab) {
    builder.AddLabToXyz(pcs.map, Product(onward, Diagonal(kPcsWhite)), clips);
  } else {
    builder.Add(Product(onward, pcs.map), clips);
  }
}

void AddPcsToLab(const PcsValues& pcs, const Adaptation& adaptation, const AffineMap& then,
                 bool clips, StageBuilder& builder) {
  if (pcs.isLab && IsNone(adaptation)) return builder.Add(Product(then, pcs.map), clips);
  const AffineMap relative = Product(InverseOfDiagonal(Diagonal(kPcsWhite)), MapOf(adaptation));
  if (pcs.isLab) {
    builder.AddLabToXyz(pcs.map, Product(relative, Diagonal(kPcsWhite)), false);
    builder.AddXyzToLab(Diagonal({1, 1, 1}), then, clips);
  } else {
    builder.AddXyzToLab(Product(relative, pcs.map), then, clips);
  }
}

}  // namespace kxcms
