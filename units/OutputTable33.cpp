#include "units/OutputTable33.h"
#include "units/OpenMpLoop.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "units/EncodingCurves.h"
#include "units/ToneCurve.h"
#include "units/WorkingBuffer.h"

namespace ICC40 {
namespace ICC_UNIT {

using ICCFILE::CLut16Type;
using ICCFILE::CLut8Type;
using ICCFILE::ColorSpaceSignature;

namespace {

constexpr int kMaxChannels = 7;
constexpr int kRgbChannels = 3;
constexpr int kByteLevels = 256;

// Curves of 256 bytes have a step of 65535 / 255 and the divisor 65536 / 256.
constexpr double kByteCurveStep = 257.0;
constexpr double kByteCurveDivisor = 256.0;

enum OutputMode : unsigned int {
  kMode3x16 = 0,
  kMode3x8 = 1,
  kModeCmyk16 = 2,
  kModeCmyk8 = 3,
  kModeClr6x16 = 4,
  kModeClr6x8 = 5,
  kModeClr7x16 = 6,
  kModeClr7x8 = 7,
};

void Reduce(OutputTable33& table, int channels) {
  for (int c = 0; c < channels; ++c) {
    for (unsigned int& value : table.lookup[c]) value = ReduceTo8(value);
  }
}

// Gives channels 0 to 2 the same curve, for the first `levels` levels.
template <typename Curve>
void SetRgbCurve(OutputTable33& table, int levels, const Curve& curve) {
  for (int v = 0; v < levels; ++v) {
    const std::uint32_t value = curve(v);
    for (int c = 0; c < kRgbChannels; ++c) table.lookup[c][v] = value;
  }
}

// The top level keeps its value, and the 8-bit builders then reduce the old one: kept so that
// results stay identical.
void SetKodakCurve(OutputTable33& table, const KodakToneCurve& curve) {
  SetRgbCurve(table, kTopLevel, [&](int v) { return curve.At(v); });
}

// Writes `channels` samples per pixel. The destination may lie at any address; 8-bit samples take
// the low byte of what should be an 8-bit lookup.
template <typename Sample>
void WritePixels(const OutputTable33& table, const Info& info, int channels) {
  const std::int64_t pixels = WorkingPixels(&info, channels);
  const unsigned short* working = info.workingBuf;
  unsigned char* destination = info.dstBuf;
  for (std::int64_t p = 0; p < pixels; ++p) {
    for (int c = 0; c < channels; ++c) {
      const auto sample = static_cast<Sample>(table.lookup[c][*working++]);
      std::memcpy(destination, &sample, sizeof sample);
      destination += sizeof sample;
    }
  }
}

}  // namespace

OutputTable33::OutputTable33()
    : step(0.0), divisor(0.0), channels(0), entries(0), outputMode(kMode3x16) {
  name = "OutputTable33";
  ResetTable();
}

OutputTable33::~OutputTable33() = default;

int OutputTable33::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                              unsigned short&, unsigned short&, unsigned short&, unsigned short&) {
  c0 = static_cast<unsigned short>(lookup[0][c0]);
  c1 = static_cast<unsigned short>(lookup[1][c1]);
  c2 = static_cast<unsigned short>(lookup[2][c2]);
  return 0;
}

int OutputTable33::Conversion(unsigned char*, int) {
  return 0;
}

int OutputTable33::Conversion(Info* info) {
  if (info == nullptr || info->dstBuf == nullptr) return 0;
  const int inputClass = info->conversionType >> 8;
  const int outputClass = info->conversionType & 0xFF;
  // The seven-colour classes 7 and 8 write nothing: kept so that results stay identical.
  constexpr int kChannelsOfClass[] = {0, 3, 3, 4, 4, 6, 6};
  if (inputClass < 1 || inputClass > 2 || outputClass < 1 || outputClass > 6) return 0;
  if (outputClass % 2 == 1) {
    WritePixels<std::uint8_t>(*this, *info, kChannelsOfClass[outputClass]);
  } else {
    WritePixels<std::uint16_t>(*this, *info, kChannelsOfClass[outputClass]);
  }
  return 0;
}

int OutputTable33::Interpolation1D(int c) {
  if (c < 0 || c >= kMaxChannels) return 0;
  // Past the entries that are held the lookup keeps what it has: Initial put it there.
  const bool isLong = entries > kCurveEntries;
  const int levels = isLong ? kTopLevel : kLevels;
  ForEachBlock(levels, [&](std::int64_t begin, std::int64_t end) {
    for (auto v = static_cast<int>(begin); v < end; ++v) {
      const CurvePosition position = PositionOn(kCurveEntries, step, divisor, v);
      if (isLong && position.entry == kCurveEntries - 1) return;
      lookup[c][v] =
          static_cast<unsigned int>(TruncateToInt64(RoundedAt(curves[c], kCurveEntries, position)));
    }
  });
  if (entries >= 1 && !isLong) lookup[c][kTopLevel] = curves[c][entries - 1];
  return 0;
}

int OutputTable33::Initial(CLut16Type* lut) {
  if (lut == nullptr) return 0;
  const bool isIdentity = lut->outputEntries < kMinCurveEntries;
  if (!isIdentity && lut->outputChannels > 0 && lut->outputTables == nullptr) return 0;
  channels = lut->outputChannels;
  const int used = std::min(channels, kMaxChannels);
  if (isIdentity) {
    entries = kCurveEntries;
    step = kIdentityStep;
    divisor = kIdentityDivisor;
    for (int c = 0; c < used; ++c) FillIdentityCurve(curves[c]);
  } else {
    entries = lut->outputEntries;
    step = CurveStep(entries);
    divisor = OutputDivisor(entries);
    CopyCurves(lut->outputTables, used, entries, curves);
    for (int c = 0; c < used; ++c) {
      ExpandUnheldLevels(lut->outputTables + static_cast<std::size_t>(c) * entries, entries,
                         divisor, lookup[c]);
    }
  }
  for (int c = 0; c < used; ++c) Interpolation1D(c);
  return 0;
}

int OutputTable33::Initial(CLut8Type* lut) {
  if (lut == nullptr || lut->outputTables == nullptr) return 0;
  // 256 bytes per channel whatever the entry count says: a shorter table runs on into the next one,
  // and past the last one there are zeros.
  const std::size_t tableSize = lut->outputEntries;
  const std::size_t total = tableSize * lut->outputChannels;
  for (std::size_t c = 0; c < std::min<std::size_t>(lut->outputChannels, kMaxChannels); ++c) {
    for (std::size_t x = 0; x < kByteLevels; ++x) {
      const std::size_t at = c * tableSize + x;
      lookup[c][x] = at < total ? lut->outputTables[at] : 0u;
    }
  }
  return 0;
}

int OutputTable33::Initial(unsigned char* r, unsigned char* g, unsigned char* b, int count) {
  const unsigned char* const sources[kRgbChannels] = {r, g, b};
  if (count > 0 && (r == nullptr || g == nullptr || b == nullptr)) return 0;
  for (int c = 0; c < kRgbChannels; ++c) {
    for (int i = 0; i < std::min(count, kCurveEntries); ++i) curves[c][i] = sources[c][i] * 256u;
  }
  step = kByteCurveStep;
  divisor = kByteCurveDivisor;
  // The entry count, which decides the top level, stays that of the last lookup tag: kept so that
  // results stay identical.
  for (int c = 0; c < kRgbChannels; ++c) Interpolation1D(c);
  return 0;
}

int OutputTable33::ResetTable() {
  for (auto& curve : curves) std::iota(std::begin(curve), std::end(curve), 0u);
  for (auto& channel : lookup) std::iota(std::begin(channel), std::end(channel), 0u);
  return kLevels;
}

int OutputTable33::OutputRGB8() {
  Reduce(*this, 3);
  outputMode = kMode3x8;
  return ICCFILE::RGB;
}

int OutputTable33::OutputGamma100(ColorSpaceSignature cs) {
  OutputRGB8();
  return cs;
}

int OutputTable33::OutputCMYK_8() {
  Reduce(*this, 4);
  outputMode = kModeCmyk8;
  return ICCFILE::CMYK;
}

int OutputTable33::OutputCMYK_16() {
  outputMode = kModeCmyk16;
  return ICCFILE::CMYK_16;
}

int OutputTable33::OutputCLR6_8() {
  Reduce(*this, 6);
  outputMode = kModeClr6x8;
  return ICCFILE::CLR6;
}

int OutputTable33::OutputCLR6_16() {
  outputMode = kModeClr6x16;
  return ICCFILE::CLR6_16;
}

int OutputTable33::OutputCLR7_8() {
  Reduce(*this, 7);
  outputMode = kModeClr7x8;
  return ICCFILE::CLR7;
}

int OutputTable33::OutputCLR7_16() {
  outputMode = kModeClr7x16;
  return ICCFILE::CLR7_16;
}

int OutputTable33::OutputLab_8() {
  // L* adds 128 where every other reduction adds 127; a* and b* are not rounded and become signed
  // bytes.
  for (int v = 0; v < kLevels; ++v) {
    const int L = static_cast<int>(lookup[0][v] + 128) >> 8;
    lookup[0][v] = static_cast<unsigned int>(std::min(L, 255));
    for (int c = 1; c < 3; ++c) {
      lookup[c][v] = static_cast<unsigned int>(static_cast<int>(lookup[c][v]) >> 8) ^ 0x80u;
    }
  }
  outputMode = kMode3x8;
  return ICCFILE::Lab;
}

int OutputTable33::OutputLab_16() {
  for (int c = 1; c < 3; ++c) {
    for (unsigned int& value : lookup[c]) value ^= 0x8000u;
  }
  outputMode = kMode3x16;
  return ICCFILE::Lab_16;
}

int OutputTable33::OutputGamma_sRGB() {
  SetRgbCurve(*this, kLevels, SRgbLevel8);
  outputMode = kMode3x8;
  return ICCFILE::sRGB220;
}

int OutputTable33::OutputGamma_sRGB_16() {
  SetRgbCurve(*this, kLevels, SRgbLevel16);
  outputMode = kMode3x16;
  return ICCFILE::sRGB220_16;
}

int OutputTable33::OutputGamma180(ColorSpaceSignature cs) {
  SetRgbCurve(*this, kLevels, Gamma180Level8);
  outputMode = kMode3x8;
  return cs;
}

int OutputTable33::OutputGamma180_16(ColorSpaceSignature cs) {
  SetRgbCurve(*this, kLevels, Gamma180Level16);
  outputMode = kMode3x16;
  return cs;
}

int OutputTable33::OutputGamma_KodakPhoto() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakPhoto, 8));
  OutputRGB8();
  return ICCFILE::sRGB_KodakPhoto;
}

int OutputTable33::OutputGamma_KodakPhoto_16() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakPhoto, 16));
  outputMode = kMode3x16;
  return ICCFILE::sRGB_KodakPhoto_16;
}

int OutputTable33::OutputGamma_KodakMix() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakMix, 8));
  OutputRGB8();
  return ICCFILE::sRGB_KodakMix;
}

int OutputTable33::OutputGamma_KodakMix_16() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakMix, 16));
  outputMode = kMode3x16;
  return ICCFILE::sRGB_KodakMix_16;
}

int OutputTable33::OutputGamma_KodakText() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakText, 8));
  OutputRGB8();
  return ICCFILE::sRGB_KodakText;
}

int OutputTable33::OutputGamma_KodakText_16() {
  SetKodakCurve(*this, KodakCurveOf(kxcms::EncodingCurve::kKodakText, 16));
  outputMode = kMode3x16;
  return ICCFILE::sRGB_KodakText_16;
}

int OutputTable33::KodakCurve(int x0, int x1, double g, double d, double gd) {
  SetKodakCurve(*this, KodakToneCurve(x0, x1, g, d, gd));
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
