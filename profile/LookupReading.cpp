#include <algorithm>
#include <cmath>
#include <utility>

#include "profile/TagBytes.h"

// lut16Type, lut8Type, lutAToBType, lutBToAType (ICC.1:2010 10.8 to 10.11).

namespace kxcms {

namespace {

constexpr Signature kLut16 = MakeSignature("mft2");
constexpr Signature kLut8 = MakeSignature("mft1");
constexpr Signature kAToB = MakeSignature("mAB ");
constexpr Signature kBToA = MakeSignature("mBA ");

void NeedThreeChannels(const TagBytes& tag) {
  for (const std::uint64_t at : {8u, 9u}) {
    const std::uint64_t channels = tag.bytes.U8(at);
    if (channels == 3) continue;
    tag.Refuse(at, Sentence("The tag ", tag.signature, " has ", channels,
                            at == 8 ? " input" : " output", " channels, not 3."));
  }
}

void NeedGridPoints(const TagBytes& tag, std::uint64_t at) {
  const std::uint64_t points = tag.bytes.U8(at);
  if (points >= 2) return;
  tag.Refuse(at, Sentence("The grid of the tag ", tag.signature, " has ", points,
                          points == 1 ? " point" : " points", " along an axis, not 2 or more."));
}

// `count` values of one or two bytes, all there.
std::vector<std::uint16_t> ReadValues(const TagBytes& tag, std::uint64_t at, std::uint64_t count,
                                      int valueBytes, ReadBudget& budget) {
  tag.Charge(2 * count, budget);
  std::vector<std::uint16_t> values(static_cast<std::size_t>(count));
  if (valueBytes == 1) {
    for (std::uint16_t& value : values) value = tag.bytes.U8(at++);
  } else {
    BigEndianReader reader(tag.bytes.data(), tag.bytes.size());
    reader.Seek(at);
    reader.Read(values.data(), values.size());
  }
  return values;
}

constexpr int MaximumOf(int valueBytes) {
  return valueBytes == 1 ? 255 : 65535;
}

Matrix3 ReadMatrix(const TagBytes& tag, std::uint64_t at) {
  Matrix3 matrix;
  for (std::size_t n = 0; n < matrix.size(); ++n) matrix[n] = tag.S15Fixed16(at + 4 * n);
  if (IsSingular(matrix)) {
    tag.Refuse(at, Sentence("The matrix of the tag ", tag.signature, " cannot be inverted."));
  }
  return matrix;
}

// Three tables of `entries` values each, one behind the other.
CurveSet ReadTables(const TagBytes& tag, std::uint64_t at, std::uint64_t entries, int valueBytes,
                    ReadBudget& budget) {
  CurveSet set;
  for (Curve& curve : set.curves) {
    curve = SampledCurve{ReadValues(tag, at, entries, valueBytes, budget), MaximumOf(valueBytes)};
    at += entries * static_cast<unsigned>(valueBytes);
  }
  return set;
}

// lut8Type and lut16Type: matrix, input tables, grid, output tables, one behind the other.
std::vector<Element> ReadTableElements(const TagBytes& tag, bool hasMatrix, ReadBudget& budget) {
  const bool isLut16 = tag.Type() == kLut16;
  const std::uint64_t headBytes = isLut16 ? 52 : 48;
  tag.Need(0, headBytes, "its head");
  NeedThreeChannels(tag);
  NeedGridPoints(tag, 10);
  const int valueBytes = isLut16 ? 2 : 1;
  std::uint64_t entries[2] = {256, 256};
  if (isLut16) {
    for (const std::size_t side : {0u, 1u}) {
      const std::uint64_t at = 48 + 2 * side;
      entries[side] = tag.bytes.U16(at);
      if (entries[side] >= 2 && entries[side] <= 4096) continue;
      tag.Refuse(
          at, Sentence("The ", side == 0 ? "input" : "output", " tables of the tag ", tag.signature,
                       " have ", entries[side], " entries, which is not 2 to 4096."));
    }
  }
  const int points = tag.bytes.U8(10);
  const std::uint64_t gridValues = 3 * static_cast<std::uint64_t>(points) *
                                   static_cast<std::uint64_t>(points) *
                                   static_cast<std::uint64_t>(points);
  const std::uint64_t width = static_cast<std::uint64_t>(valueBytes);
  const std::uint64_t gridAt = headBytes + 3 * entries[0] * width;
  const std::uint64_t outputAt = gridAt + gridValues * width;
  tag.Need(headBytes, outputAt - headBytes + 3 * entries[1] * width, "its tables");

  std::vector<Element> elements;
  if (hasMatrix) elements.push_back(MatrixElement{ReadMatrix(tag, 12), {}});
  elements.push_back(ReadTables(tag, headBytes, entries[0], valueBytes, budget));
  elements.push_back(ColorGrid{{points, points, points},
                               ReadValues(tag, gridAt, gridValues, valueBytes, budget),
                               MaximumOf(valueBytes)});
  elements.push_back(ReadTables(tag, outputAt, entries[1], valueBytes, budget));
  return elements;
}

// ---- lutAToBType, lutBToAType -------------------------------------------------------------------

constexpr std::uint64_t kHeadBytes = 32;
constexpr std::uint64_t kOffsetB = 12, kOffsetMatrix = 16, kOffsetM = 20, kOffsetClut = 24,
                        kOffsetA = 28;

// The place of an element in the tag; it is known to be there.
std::uint64_t ElementAt(const TagBytes& tag, std::uint64_t offsetAt) {
  const std::uint64_t at = tag.bytes.U32(offsetAt);
  if (at >= kHeadBytes && at % 4 == 0) return at;
  tag.Refuse(offsetAt, Sentence("An element of the tag ", tag.signature, " is at byte ", at,
                                ", which is not a multiple of 4 from 32 on."));
}

// Each curve begins at a multiple of four bytes.
CurveSet ReadCurveSet(const TagBytes& tag, std::uint64_t offsetAt, ReadBudget& budget) {
  std::uint64_t at = ElementAt(tag, offsetAt);
  CurveSet set;
  for (Curve& curve : set.curves) {
    CurveAndSize read = ReadCurve(tag, at, budget);
    curve = std::move(read.curve);
    at += (read.sizeBytes + 3) / 4 * 4;
  }
  return set;
}

MatrixElement ReadMatrixElement(const TagBytes& tag) {
  const std::uint64_t at = ElementAt(tag, kOffsetMatrix);
  tag.Need(at, 48, "its matrix");
  MatrixElement element{ReadMatrix(tag, at), {}};
  for (std::size_t n = 0; n < 3; ++n) element.offset[n] = tag.S15Fixed16(at + 36 + 4 * n);
  return element;
}

ColorGrid ReadClut(const TagBytes& tag, ReadBudget& budget) {
  const std::uint64_t at = ElementAt(tag, kOffsetClut);
  tag.Need(at, 20, "the head of its CLUT");
  ColorGrid grid;
  std::uint64_t count = 3;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    NeedGridPoints(tag, at + axis);
    grid.points[axis] = tag.bytes.U8(at + axis);
    count *= tag.bytes.U8(at + axis);
  }
  const int valueBytes = tag.bytes.U8(at + 16);
  if (valueBytes != 1 && valueBytes != 2) {
    tag.Refuse(at + 16, Sentence("The CLUT of the tag ", tag.signature, " has a precision of ",
                                 std::uint64_t(valueBytes), " bytes, not 1 or 2."));
  }
  tag.Need(at + 20, count * static_cast<unsigned>(valueBytes), "its CLUT");
  grid.values = ReadValues(tag, at + 20, count, valueBytes, budget);
  grid.maximum = MaximumOf(valueBytes);
  return grid;
}

// A curves and CLUT, M curves and matrix come in pairs; B curves always (ICC.1:2010 10.10.1).
std::vector<Element> ReadCurvesAndGrid(const TagBytes& tag, ReadBudget& budget) {
  tag.Need(0, kHeadBytes, "its head");
  NeedThreeChannels(tag);
  const auto has = [&](std::uint64_t offsetAt) { return tag.bytes.U32(offsetAt) != 0; };
  if (!has(kOffsetB))
    tag.Refuse(kOffsetB, Sentence("The tag ", tag.signature, " has no B curves."));
  if (has(kOffsetM) != has(kOffsetMatrix)) {
    tag.Refuse(has(kOffsetM) ? kOffsetMatrix : kOffsetM,
               Sentence("The tag ", tag.signature,
                        has(kOffsetM) ? " has M curves without a matrix."
                                      : " has a matrix without M curves."));
  }
  if (has(kOffsetA) != has(kOffsetClut)) {
    tag.Refuse(has(kOffsetA) ? kOffsetClut : kOffsetA,
               Sentence("The tag ", tag.signature,
                        has(kOffsetA) ? " has A curves without a CLUT."
                                      : " has a CLUT without A curves."));
  }

  std::vector<Element> elements;
  if (has(kOffsetA)) {
    elements.push_back(ReadCurveSet(tag, kOffsetA, budget));
    elements.push_back(ReadClut(tag, budget));
  }
  if (has(kOffsetM)) {
    elements.push_back(ReadCurveSet(tag, kOffsetM, budget));
    elements.push_back(ReadMatrixElement(tag));
  }
  elements.push_back(ReadCurveSet(tag, kOffsetB, budget));
  if (tag.Type() == kBToA) std::reverse(elements.begin(), elements.end());
  return elements;
}

PcsEncoding EncodingOf(Signature type, PcsSpace pcs) {
  if (pcs == PcsSpace::kXyz) return PcsEncoding::kXyz;
  return type == kLut16 ? PcsEncoding::kLegacyLab : PcsEncoding::kLab;
}

}  // namespace

bool IsSingular(const Matrix3& m) {
  double lengths = 1;
  for (std::size_t row = 0; row < 3; ++row) {
    lengths *= std::hypot(m[3 * row], m[3 * row + 1], m[3 * row + 2]);
  }
  const double determinant = m[0] * (m[4] * m[8] - m[5] * m[7]) -
                             m[1] * (m[3] * m[8] - m[5] * m[6]) +
                             m[2] * (m[3] * m[7] - m[4] * m[6]);
  return std::fabs(determinant) <= lengths / 65536;
}

LookupTable ReadLookupTable(const TagBytes& tag, bool fromPcs, PcsSpace pcs, ReadBudget& budget) {
  const Signature type = tag.Type();
  const Signature curvesAndGrid = fromPcs ? kBToA : kAToB;
  LookupTable table{tag.signature, type, EncodingOf(type, pcs), {}};
  if (type == curvesAndGrid) {
    table.elements = ReadCurvesAndGrid(tag, budget);
  } else if (type == kLut8 && pcs == PcsSpace::kXyz) {
    tag.Refuse(0,
               Sentence("The tag ", tag.signature,
                        " is of type 'mft1', which has no encoding for the PCS 'XYZ '."),
               ProfileFault::kUnsupported);
  } else if (type == kLut8 || type == kLut16) {
    table.elements = ReadTableElements(tag, fromPcs && pcs == PcsSpace::kXyz, budget);
  } else {
    tag.Refuse(0, Sentence("The tag ", tag.signature, " is of type ", type,
                           ", not 'mft1', 'mft2' or ", curvesAndGrid, "."));
  }
  return table;
}

}  // namespace kxcms
