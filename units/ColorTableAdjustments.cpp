#include "codes/ColorCodeTable.h"
#include "colormath/CLCH.h"
#include "units/ColorTable33.h"
#include "units/LabEncoding.h"
#include "units/LutCurves.h"
#include "units/OutputTable33.h"

// The operations of ColorTable33 that rewrite the nodes of a Lab table in place.

namespace ICC40 {
namespace ICC_UNIT {

using ColorLch::CLCH;
using ICCFILE::CLut16Type;
using ICCFILE::ColorSpaceSignature;
using ICCFILE::CXYZType;

namespace {

// ICC PCS white, D50, on the 16-bit scale of CLCH.
constexpr double kD50White16[3] = {63195.0, 65535.0, 54073.0};
// The same for scaling in XYZ, relative to 1; rounded differently, and used exactly so.
constexpr double kD50X = 0.9642;
constexpr double kD50Z = 0.8249;

CLCH D50Color() {
  return CLCH(kD50White16[0], kD50White16[1], kD50White16[2]);
}

// Calls rewrite(node) for every node in use.
template <typename Rewrite>
void ForEachNode(ColorTable33& table, const Rewrite& rewrite) {
  for (int i = 0; i < table.gridPoints; ++i) {
    for (int j = 0; j < table.gridPoints; ++j) {
      for (int k = 0; k < table.gridPoints; ++k) rewrite(table.grid[i][j][k]);
    }
  }
}

void DecodeNode(const int* node, CLCH& color) {
  color.PutData_Lab(DecodeL(node[0]), DecodeAb(node[1]), DecodeAb(node[2]));
}

void EncodeNode(const CLCH& color, int* node) {
  node[0] = EncodeL(color.L);
  node[1] = EncodeAb(color.a);
  node[2] = EncodeAb(color.b);
}

// Linear 0..255 as whole 8-bit levels times 256. The 256 levels are all that a table of RGB has:
// kept so that results stay identical. NaN becomes 0.
int EncodeRgb(double value) {
  return static_cast<int>(TruncateToInt64(value)) * 256;
}

struct WorkingSpace {
  ColorLch::ColorSpace space;
  int code;  // that the table then reports
};

// ColorMatch reports its 16-bit gamma member, Adobe and Apple their 16-bit linear ones: kept so
// that results stay identical.
WorkingSpace WorkingSpaceOf(int cs) {
  const kxcms::ColorCode* code = kxcms::FindColorCode(cs);
  switch (code == nullptr ? kxcms::Primaries::kNone : code->primaries) {
    case kxcms::Primaries::kNone:
    case kxcms::Primaries::kSRgb:
      break;
    case kxcms::Primaries::kAdobeRgb:
      return {ColorLch::kColorSpaceAdobeRgb, ICCFILE::Adobe100_16};
    case kxcms::Primaries::kAppleRgb:
      return {ColorLch::kColorSpaceAppleRgb, ICCFILE::Apple100_16};
    case kxcms::Primaries::kColorMatchRgb:
      return {ColorLch::kColorSpaceColorMatchRgb, ICCFILE::ColorMatch_16};
  }
  return {ColorLch::kColorSpaceSRgb, cs};
}

// Replaces every node by RGB; outputLevel(channel, level) is the output curves' value.
template <typename OutputLevel>
int LabToRgb(ColorTable33& table, ColorSpaceSignature cs, const CXYZType* white,
             const OutputLevel& outputLevel) {
  const WorkingSpace target = WorkingSpaceOf(cs);
  CLCH color = D50Color();
  color.SetColorSpace(target.space);
  // s15Fixed16 words as plain numbers: 1.0 comes as 65536 on a scale that ends at 65535.
  if (white != nullptr) color.SetWhite(white->fixedX, white->fixedY, white->fixedZ);
  ForEachNode(table, [&](int* node) {
    color.L = DecodeL(outputLevel(0, LowWord(node[0])));
    color.a = DecodeAb(outputLevel(1, LowWord(node[1])));
    color.b = DecodeAb(outputLevel(2, LowWord(node[2])));
    color.LAB2XYZ();
    color.XYZ2RGB();
    node[0] = EncodeRgb(color.R);
    node[1] = EncodeRgb(color.G);
    node[2] = EncodeRgb(color.B);
  });
  return target.code;
}

}  // namespace

int ColorTable33::Adjust_Lch(double L, double c, double h) {
  CLCH color = D50Color();
  ForEachNode(*this, [&](int* node) {
    DecodeNode(node, color);
    color.Adjust(L, c, h);
    EncodeNode(color, node);
  });
  return 0;
}

int ColorTable33::Adjust_WhitePoint(CXYZType* white) {
  if (white == nullptr) return 0;
  const double kx = white->X / kD50X;
  const double ky = white->Y;
  const double kz = white->Z / kD50Z;
  CLCH color = D50Color();
  ForEachNode(*this, [&](int* node) {
    DecodeNode(node, color);
    color.PutData_XYZ(kx * color.X, ky * color.Y, kz * color.Z);
    EncodeNode(color, node);
  });
  return 0;
}

int ColorTable33::Lab2RGB100_16_1D(OutputTable33* out, ColorSpaceSignature cs, CXYZType* white) {
  if (out == nullptr) return WorkingSpaceOf(cs).code;
  return LabToRgb(*this, cs, white,
                  [&](int c, int level) { return static_cast<int>(out->lookup[c][level]); });
}

int ColorTable33::Lab2RGB100_16(CLut16Type* lut, ColorSpaceSignature cs, CXYZType* white) {
  if (lut == nullptr) return WorkingSpaceOf(cs).code;
  // The values that an output table made from the tag would hold, at the nodes' levels only.
  const LutCurves curves = LutCurves::Output(*lut);
  return LabToRgb(*this, cs, white, [&](int c, int level) { return curves.At(c, level); });
}

}  // namespace ICC_UNIT
}  // namespace ICC40
