#include "units/LutCurves.h"

#include <array>

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr std::array<unsigned short, kCurveEntries> MakeIdentityCurve() {
  std::array<unsigned short, kCurveEntries> curve{};
  for (int i = 0; i < kCurveEntries; ++i) curve[i] = static_cast<unsigned short>(16 * i);
  return curve;
}
constexpr std::array<unsigned short, kCurveEntries> kIdentityCurve = MakeIdentityCurve();

}  // namespace

LutCurves::LutCurves(const unsigned short* tables, int channels, int entries, double divisor)
    : tables_(tables),
      channels_(tables == nullptr ? 0 : channels),
      stride_(entries),
      entries_(entries),
      step_(CurveStep(entries)),
      divisor_(divisor) {}

LutCurves LutCurves::Input(const ICCFILE::CLut16Type& lut) {
  const int entries = lut.inputEntries;
  if (entries < kMinCurveEntries) return LutCurves(nullptr, 0, kCurveEntries, kIdentityStep);
  return LutCurves(lut.inputTables, lut.inputChannels, entries, CurveStep(entries));
}

LutCurves LutCurves::Output(const ICCFILE::CLut16Type& lut) {
  const int entries = lut.outputEntries;
  if (entries < kMinCurveEntries) {
    LutCurves identity(kIdentityCurve.data(), lut.outputChannels, kCurveEntries, kIdentityDivisor);
    identity.stride_ = 0;  // one curve for all channels
    return identity;
  }
  return LutCurves(lut.outputTables, lut.outputChannels, entries, OutputDivisor(entries));
}

}  // namespace ICC_UNIT
}  // namespace ICC40
