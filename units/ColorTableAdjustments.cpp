#include "codes/ColorCodeTable.h"
#include "units/ColorGrid.h"
#include "units/ColorTable33.h"
#include "units/ColorTableNodes.h"
#include "units/LutCurves.h"
#include "units/OutputTable33.h"

// The operations of ColorTable33 that rewrite the nodes of a Lab table in place.

namespace ICC40 {
namespace ICC_UNIT {

using ICCFILE::CLut16Type;
using ICCFILE::ColorSpaceSignature;
using ICCFILE::CXYZType;

namespace {

kxcms::Primaries PrimariesOf(int cs) {
  const kxcms::ColorCode* code = kxcms::FindColorCode(cs);
  return code == nullptr ? kxcms::Primaries::kNone : code->primaries;
}

// The code that a table of RGB reports. ColorMatch reports its 16-bit gamma member, Adobe and Apple
// their 16-bit linear ones: kept so that results stay identical.
int ReportedCode(ColorSpaceSignature cs) {
  switch (PrimariesOf(cs)) {
    case kxcms::Primaries::kNone:
    case kxcms::Primaries::kSRgb:
      break;
    case kxcms::Primaries::kAdobeRgb:
      return ICCFILE::Adobe100_16;
    case kxcms::Primaries::kAppleRgb:
      return ICCFILE::Apple100_16;
    case kxcms::Primaries::kColorMatchRgb:
      return ICCFILE::ColorMatch_16;
  }
  return cs;
}

}  // namespace

int ColorTable33::Adjust_Lch(double L, double c, double h) {
  AdjustLch(NodesOf(*this), L, c, h);
  return 0;
}

int ColorTable33::Adjust_WhitePoint(CXYZType* white) {
  if (white != nullptr) AdjustWhitePoint(NodesOf(*this), *white);
  return 0;
}

int ColorTable33::Lab2RGB100_16_1D(OutputTable33* out, ColorSpaceSignature cs, CXYZType* white) {
  if (out != nullptr) {
    LabToRgb(NodesOf(*this), WorkingSpaceOf(PrimariesOf(cs)), white,
             [&](int c, int level) { return static_cast<int>(out->lookup[c][level]); });
  }
  return ReportedCode(cs);
}

int ColorTable33::Lab2RGB100_16(CLut16Type* lut, ColorSpaceSignature cs, CXYZType* white) {
  if (lut != nullptr) {
    // The values that an output table made from the tag would hold, at the nodes' levels only.
    LabToRgb(NodesOf(*this), WorkingSpaceOf(PrimariesOf(cs)), white,
             [curves = LutCurves::Output(*lut)](int c, int level) { return curves.At(c, level); });
  }
  return ReportedCode(cs);
}

}  // namespace ICC_UNIT
}  // namespace ICC40
