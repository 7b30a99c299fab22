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
    tag.Refuse(at, Sentence("The number of ", at == 8 ? "input" : "output", " channels of the tag ",
                            tag.signature, " is ", channels, ", not 3."));
  }
}

// @return the number of grid points along an axis, from the byte at `at`.
int ReadGridPoints(const TagBytes& tag, std::uint64_t at) {
  const std::uint64_t points = tag.bytes.U8(at);
  if (points < 2) {
    tag.Refuse(at, Sentence("The number of grid points along an axis of the tag ", tag.signature,
                            " is ", points, ", not 2 or more."));
  }
  return static_cast<int>(points);
}

// @return the number of entries of each input or output table of a lut16Type.
std::uint64_t ReadEntryCount(const TagBytes& tag, std::uint64_t at, const char* side) {
  const std::uint64_t entries = tag.bytes.U16(at);
  if (entries < 2 || entries > 4096) {
    tag.Refuse(at, Sentence("The number of ", side, " table entries of the tag ", tag.signature,
                            " is ", entries, ", not 2 to 4096."));
  }
  return entries;
}

// `count` values of one or two bytes, all there.
std::vector<std::uint16_t> ReadValues(const TagBytes& tag, std::uint64_t at, std::uint64_t count,
                                      std::uint64_t valueBytes, ReadBudget& budget) {
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

constexpr int MaximumOf(std::uint64_t valueBytes) {
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
CurveSet ReadTables(const TagBytes& tag, std::uint64_t at, std::uint64_t entries,
                    std::uint64_t valueBytes, ReadBudget& budget) {
  CurveSet set;
  for (Curve& curve : set.curves) {
    curve = SampledCurve{ReadValues(tag, at, entries, valueBytes, budget), MaximumOf(valueBytes)};
    at += entries * valueBytes;
  }
  return set;
}

// lut8Type and lut16Type: matrix, input tables, grid, output tables, one behind the other.
std::vector<Element> ReadTableElements(const TagBytes& tag, bool hasMatrix, ReadBudget& budget) {
  const bool isLut16 = tag.Type() == kLut16;
  const std::uint64_t headBytes = isLut16 ? 52 : 48;
  const std::uint64_t valueBytes = isLut16 ? 2 : 1;
  tag.Need(0, headBytes, "its head");
  NeedThreeChannels(tag);
  const int points = ReadGridPoints(tag, 10);
  const std::uint64_t inputEntries = isLut16 ? ReadEntryCount(tag, 48, "input") : 256;
  const std::uint64_t outputEntries = isLut16 ? ReadEntryCount(tag, 50, "output") : 256;
  const std::uint64_t gridValues = 3 * static_cast<std::uint64_t>(points * points * points);
  tag.Need(headBytes, (3 * inputEntries + gridValues + 3 * outputEntries) * valueBytes,
           "its tables");
  const std::uint64_t gridAt = headBytes + 3 * inputEntries * valueBytes;
  const std::uint64_t outputAt = gridAt + gridValues * valueBytes;

  std::vector<Element> elements;
  if (hasMatrix) elements.emplace_back(MatrixElement{ReadMatrix(tag, 12), {}});
  elements.emplace_back(ReadTables(tag, headBytes, inputEntries, valueBytes, budget));
  elements.emplace_back(ColorGrid{{points, points, points},
                               ReadValues(tag, gridAt, gridValues, valueBytes, budget),
                               MaximumOf(valueBytes)});
  elements.emplace_back(ReadTables(tag, outputAt, outputEntries, valueBytes, budget));
  return elements;
}

// ---- lutAToBType, lutBToAType -------------------------------------------------------------------

constexpr std::uint64_t kHeadBytes = 32;
constexpr std::uint64_t kOffsetB = 12, kOffsetMatrix = 16, kOffsetM = 20, kOffsetClut = 24,
                        kOffsetA = 28;

// The place in the tag of an element that it has.
std::uint64_t ElementAt(const TagBytes& tag, std::uint64_t offsetAt) {
  const std::uint64_t at = tag.bytes.U32(offsetAt);
  if (at < kHeadBytes) {
    tag.Refuse(offsetAt, Sentence("An element of the tag ", tag.signature, " begins at byte ", at,
                                  ", within the head of 32 bytes."));
  }
  return at;
}

// Each curve begins at a multiple of four bytes. From another place on, it would be a matter of
// opinion where the second one is.
CurveSet ReadCurveSet(const TagBytes& tag, std::uint64_t offsetAt, ReadBudget& budget) {
  std::uint64_t at = ElementAt(tag, offsetAt);
  if (at % 4 != 0) {
    tag.Refuse(offsetAt, Sentence("The curves of the tag ", tag.signature, " begin at byte ", at,
                                  ", which is not a multiple of 4."));
  }
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
    grid.points[axis] = ReadGridPoints(tag, at + axis);
    count *= tag.bytes.U8(at + axis);
  }
  const std::uint64_t valueBytes = tag.bytes.U8(at + 16);
  if (valueBytes != 1 && valueBytes != 2) {
    tag.Refuse(at + 16, Sentence("The CLUT of the tag ", tag.signature, " has a precision of ",
                                 valueBytes, " bytes, not 1 or 2."));
  }
  tag.Need(at + 20, count * valueBytes, "its CLUT");
  grid.values = ReadValues(tag, at + 20, count, valueBytes, budget);
  grid.maximum = MaximumOf(valueBytes);
  return grid;
}

bool Has(const TagBytes& tag, std::uint64_t offsetAt) {
  return tag.bytes.U32(offsetAt) != 0;
}

// Refuses one element without the other.
void NeedBothOrNone(const TagBytes& tag, std::uint64_t oneAt, const char* one,
                    std::uint64_t otherAt, const char* other) {
  if (Has(tag, oneAt) == Has(tag, otherAt)) return;
  if (Has(tag, otherAt)) {
    std::swap(oneAt, otherAt);
    std::swap(one, other);
  }
  tag.Refuse(otherAt, Sentence("The tag ", tag.signature, " has ", one, " without ", other, "."));
}

// A curves and CLUT, M curves and matrix come in pairs; B curves always (ICC.1:2010 10.10).
std::vector<Element> ReadCurvesAndGrid(const TagBytes& tag, ReadBudget& budget) {
  tag.Need(0, kHeadBytes, "its head");
  NeedThreeChannels(tag);
  if (!Has(tag, kOffsetB)) {
    tag.Refuse(kOffsetB, Sentence("The tag ", tag.signature, " has no B curves."));
  }
  NeedBothOrNone(tag, kOffsetM, "M curves", kOffsetMatrix, "a matrix");
  NeedBothOrNone(tag, kOffsetA, "A curves", kOffsetClut, "a CLUT");

  std::vector<Element> elements;
  if (Has(tag, kOffsetA)) {
    elements.emplace_back(ReadCurveSet(tag, kOffsetA, budget));
    elements.emplace_back(ReadClut(tag, budget));
  }
  if (Has(tag, kOffsetM)) {
    elements.emplace_back(ReadCurveSet(tag, kOffsetM, budget));
    elements.emplace_back(ReadMatrixElement(tag));
  }
  elements.emplace_back(ReadCurveSet(tag, kOffsetB, budget));
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
    const double* v = &m[3 * row];
    lengths *= std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
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
