#include <algorithm>
#include <cmath>

#include "profile/TagBytes.h"

// curveType (ICC.1:2010 10.5) and parametricCurveType (10.16).

namespace kxcms {

namespace {

constexpr Signature kCurveType = MakeSignature("curv");
constexpr Signature kParametricType = MakeSignature("para");
// Type, four zeros, and the count or function.
constexpr std::uint64_t kHeadBytes = 12;

CurveAndSize ReadCurveType(const TagBytes& tag, std::uint64_t at, ReadBudget& budget) {
  const std::uint64_t count = tag.bytes.U32(at + 8);
  const std::uint64_t sizeBytes = kHeadBytes + 2 * count;
  tag.Need(at, sizeBytes, "a curve");
  if (count == 0) return {IdentityCurve{}, sizeBytes};
  if (count == 1) return {GammaCurve{tag.bytes.U16(at + kHeadBytes) / 256.0}, sizeBytes};
  tag.Charge(2 * count, budget);
  SampledCurve curve{std::vector<std::uint16_t>(static_cast<std::size_t>(count)), 65535};
  BigEndianReader reader(tag.bytes.data(), tag.bytes.size());
  reader.Seek(at + kHeadBytes);
  reader.Read(curve.values.data(), curve.values.size());
  return {std::move(curve), sizeBytes};
}

// Whether the function is no number for a range of its domain: a X + b, which is raised to g, is
// negative there. The parameters are rounded to 1/65536, so that what should be 0 where the power
// begins may lie a little below it.
bool IsUndefined(const ParametricCurve& curve) {
  constexpr double kRounding = 3.0 / 65536;
  if (curve.function == 0 || curve.g == std::floor(curve.g)) return false;
  const double threshold = curve.function <= 2 ? -curve.b / curve.a : curve.d;
  if (threshold > 1) return false;
  const double first = curve.a * std::max(threshold, 0.0) + curve.b;
  return std::min(first, curve.a + curve.b) < -kRounding;
}

CurveAndSize ReadParametricType(const TagBytes& tag, std::uint64_t at) {
  constexpr int kParameterCounts[] = {1, 3, 4, 5, 7};
  const int function = tag.bytes.U16(at + 8);
  if (function > 4) {
    tag.Refuse(at + 8,
               Sentence("A parametric curve of the tag ", tag.signature, " has the function ",
                        std::uint64_t(function), ", which is none of 0 to 4."));
  }
  const int parameterCount = kParameterCounts[function];
  const std::uint64_t sizeBytes = kHeadBytes + 4 * static_cast<std::uint64_t>(parameterCount);
  tag.Need(at, sizeBytes, "a parametric curve");

  double p[7] = {};
  for (int n = 0; n < parameterCount; ++n) {
    p[n] = tag.S15Fixed16(at + kHeadBytes + 4 * static_cast<std::uint64_t>(n));
  }
  const ParametricCurve curve{function, p[0], p[1], p[2], p[3], p[4], p[5], p[6]};
  if ((function == 1 || function == 2) && curve.a == 0) {
    tag.Refuse(at + kHeadBytes + 4, Sentence("A parametric curve of the tag ", tag.signature,
                                             " divides by its parameter a, which is 0."));
  }
  if (IsUndefined(curve)) {
    tag.Refuse(at + kHeadBytes, Sentence("A parametric curve of the tag ", tag.signature,
                                         " raises negative numbers to a broken power."));
  }
  return {curve, sizeBytes};
}

}  // namespace

CurveAndSize ReadCurve(const TagBytes& tag, std::uint64_t at, ReadBudget& budget) {
  tag.Need(at, kHeadBytes, "a curve");
  const Signature type = tag.bytes.U32(at);
  if (type == kCurveType) return ReadCurveType(tag, at, budget);
  if (type == kParametricType) return ReadParametricType(tag, at);
  tag.Refuse(at, Sentence("A curve of the tag ", tag.signature, " is of type ", type,
                          ", not 'curv' or 'para'."));
}

}  // namespace kxcms
