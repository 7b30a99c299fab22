#include "pipeline/precise/FunctionTables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "pipeline/precise/Power.h"

namespace kxcms {

namespace {

constexpr int kFloatFractionBits = 23;
constexpr int kFloatBias = 127;

float TwoToThe(int exponent) {
  return std::bit_cast<float>(static_cast<std::uint32_t>(exponent + kFloatBias)
                              << kFloatFractionBits);
}

// Segments of the octaves [2^low, 2^high), 2^bits to each; before them one that reaches down to 0,
// after them one that goes on.
struct Segments {
  int low, high, bits;

  unsigned PerOctave() const { return 1u << bits; }
  std::size_t Count() const { return static_cast<std::size_t>(high - low) * PerOctave() + 2; }
  // The upper bits of floats in the first one.
  std::int32_t First() const { return ((low + kFloatBias) << bits) - 1; }
  float Lowest() const {
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(TwoToThe(low)) - 1);
  }
  float Highest() const { return TwoToThe(high); }
};

// The ends of a segment and its middle, and powers of these.
struct Span {
  double start, middle, end;
  double powers[3];
};

// Calls use(n, span) for all segments but the first, n from 1.
template <typename Use>
void ForEachSegment(const Segments& segments, double exponent, Use use) {
  // What the powers are in one octave, they are in the others times a factor.
  const unsigned points = 2 * segments.PerOctave();
  std::vector<double> powers;
  for (unsigned n = 0; n <= points; ++n) {
    powers.push_back(Power(1 + n / static_cast<double>(points), exponent));
  }
  std::size_t n = 1;
  for (int octave = segments.low; octave <= segments.high; ++octave) {
    const double from = TwoToThe(octave), factor = Power(2, octave * exponent);
    for (unsigned part = 0; part < points && n < segments.Count(); part += 2, ++n) {
      Span span;
      span.start = from * (1 + part / static_cast<double>(points));
      span.middle = from * (1 + (part + 1) / static_cast<double>(points));
      span.end = from * (1 + (part + 2) / static_cast<double>(points));
      for (int i = 0; i < 3; ++i) {
        span.powers[i] = factor * powers[part + i];
      }
      use(n, span);
    }
  }
}

// ---- Parabolas ----------------------------------------------------------------------------------

constexpr double kLargestPower = 0x1p40;

// u from 0 to the segment's length. Where the power is so steep that a parabola would turn within
// the segment, and lead below 0, the line from end to end.
Parabola ThroughThree(const Span& span) {
  double y[3];
  for (int i = 0; i < 3; ++i) y[i] = std::min(span.powers[i], kLargestPower);
  const double length = span.end - span.start;
  const double slopeAtStart = 4 * y[1] - 3 * y[0] - y[2];
  const double slopeAtEnd = y[0] - 4 * y[1] + 3 * y[2];
  if (slopeAtStart * slopeAtEnd < 0) {
    return {static_cast<float>(y[0]), static_cast<float>((y[2] - y[0]) / length), 0, 0};
  }
  return {static_cast<float>(y[0]), static_cast<float>((4 * y[1] - 3 * y[0] - y[2]) / length),
          static_cast<float>(2 * (y[0] - 2 * y[1] + y[2]) / (length * length)), 0};
}

// The first segment: a line to 0, where the power is 0 there, and reaches 0 exactly.
Parabola ToZero(const Segments& segments, double exponent) {
  const double value = std::min(Power(TwoToThe(segments.low), exponent), kLargestPower);
  if (exponent <= 0) return {static_cast<float>(value), 0, 0, 0};
  const std::uint32_t startBits = static_cast<std::uint32_t>(segments.First())
                                  << (kFloatFractionBits - segments.bits);
  const float slope = static_cast<float>(value / TwoToThe(segments.low));
  return {slope * std::bit_cast<float>(startBits), slope, 0, 0};
}

void Fill(const Segments& segments, double exponent, Parabola* parabolas) {
  parabolas[0] = ToZero(segments, exponent);
  ForEachSegment(segments, exponent,
                 [&](std::size_t n, const Span& span) { parabolas[n] = ThroughThree(span); });
}

// The least e with x <= 2^e, within the range of what power tables serve.
int OctaveAbove(double x) {
  int octave = -8;
  while (octave < 24 && TwoToThe(octave) < x) ++octave;
  return octave;
}

ParabolaTable TableOf(const Segments& segments, const Parabola* parabolas) {
  return {parabolas, segments.First(), segments.Lowest(), segments.Highest()};
}

// ---- Lines --------------------------------------------------------------------------------------

// toeSlope x up to `toe`, above it scale x^exponent - shift.
struct Formula {
  double toe, toeSlope, scale, exponent, shift;
  int low;  // octave: the whole toe, or as far down as a power without toe needs
};

// The published formulas. Between two given parameters, the third follows from them.
Formula FormulaOf(Transfer transfer) {
  switch (transfer) {
    case Transfer::kLinear:
      break;
    case Transfer::kSRgb:  // IEC 61966-2-1:1999, 5.2
      return {0.0031308, 12.92, 1.055, 1 / 2.4, 0.055, -9};
    case Transfer::kAdobeRgb:  // Adobe RGB (1998), 4.3.1.2: gamma 2 + 51/256
      return {0, 0, 1, 256.0 / 563, 0, -24};
    case Transfer::kGamma18:
      return {0, 0, 1, 1 / 1.8, 0, -24};
    case Transfer::kRomm:  // ISO 22028-2
      return {1.0 / 512, 16, 1, 1 / 1.8, 0, -9};
    case Transfer::kLStar:  // CIE 15:2004, 8.2.1
      return {216.0 / 24389, 24389.0 / 2700, 1.16, 1.0 / 3, 0.16, -7};
    case Transfer::kRec2020:  // ITU-R BT.2020-2, table 4, note 2
      return {0.018053968510807, 4.5, 1.09929682680944, 0.45, 0.09929682680944, -6};
  }
  return {0, 1, 1, 1, 0, -1};
}

constexpr int kEncodingHigh = 16;

// Below 1, where results are rounded to integers, in the middle of the curve's deviation; above,
// from end to end, so that 1 gives 1.
Line LineThrough(const Span& span, const Formula& formula) {
  const auto value = [&](double x, double power) {
    return x <= formula.toe ? formula.toeSlope * x : formula.scale * power - formula.shift;
  };
  const double y0 = value(span.start, span.powers[0]), y1 = value(span.end, span.powers[2]);
  const auto slope = static_cast<float>((y1 - y0) / (span.end - span.start));
  if (span.start >= 1) return {static_cast<float>(y0 - slope * span.start), slope};
  const double middle = (value(span.middle, span.powers[1]) + (y0 + y1) / 2) / 2;
  return {static_cast<float>(middle - slope * span.middle), slope};
}

// The table and what it borrows.
struct OwnedLines {
  std::vector<Line> lines;
  LineTable table;
};

OwnedLines MakeEncoding(Transfer transfer) {
  const Formula formula = FormulaOf(transfer);
  const Segments segments = {formula.low, kEncodingHigh, kLineBits};
  OwnedLines owned;
  owned.lines.resize(segments.Count());
  ForEachSegment(segments, formula.exponent, [&](std::size_t n, const Span& span) {
    if (n == 1 && formula.toeSlope == 0) {
      owned.lines[0] = {0, static_cast<float>(formula.scale * span.powers[0] / span.start)};
    }
    owned.lines[n] = LineThrough(span, formula);
  });
  if (formula.toeSlope != 0) owned.lines[0] = {0, static_cast<float>(formula.toeSlope)};
  owned.table = {owned.lines.data(), segments.First(), segments.Lowest(), segments.Highest()};
  return owned;
}

template <Transfer kTransfer>
const LineTable& SharedEncoding() {
  static const OwnedLines owned = MakeEncoding(kTransfer);
  return owned.table;
}

}  // namespace

ParabolaTable MakePowerTable(double exponent, double highest, Arena& arena) {
  constexpr int kOctaves = 24;
  const int high = OctaveAbove(highest);
  const Segments segments = {high - kOctaves, high, kParabolaBits};
  auto* const parabolas = arena.New<Parabola>(segments.Count());
  Fill(segments, exponent, parabolas);
  return TableOf(segments, parabolas);
}

const ParabolaTable& CubeRootTable() {
  static constexpr Segments kSegments = {-7, 8, kParabolaBits};
  static const std::vector<Parabola> kParabolas = [] {
    std::vector<Parabola> parabolas(kSegments.Count());
    Fill(kSegments, 1.0 / 3, parabolas.data());
    return parabolas;
  }();
  static const ParabolaTable kTable = TableOf(kSegments, kParabolas.data());
  return kTable;
}

const LineTable& EncodingTable(Transfer transfer) {
  switch (transfer) {
    case Transfer::kLinear:
    case Transfer::kSRgb:
      break;
    case Transfer::kAdobeRgb:
      return SharedEncoding<Transfer::kAdobeRgb>();
    case Transfer::kGamma18:
      return SharedEncoding<Transfer::kGamma18>();
    case Transfer::kRomm:
      return SharedEncoding<Transfer::kRomm>();
    case Transfer::kLStar:
      return SharedEncoding<Transfer::kLStar>();
    case Transfer::kRec2020:
      return SharedEncoding<Transfer::kRec2020>();
  }
  return SharedEncoding<Transfer::kSRgb>();
}

}  // namespace kxcms
