#include "units/InputTable43.h"

#include <algorithm>

#include "units/ToneCurve.h"

namespace ICC40 {
namespace ICC_UNIT {

namespace {

constexpr int kInputs = 4;

}  // namespace

InputTable43::InputTable43() : step(0.0), curves{}, depth(16) {
  name = "InputTable43";
}

InputTable43::~InputTable43() = default;

int InputTable43::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short& o0, unsigned short&, unsigned short&,
                             unsigned short&) {
  if (step == 0.0) return 0;
  unsigned short* const samples[kInputs] = {&c0, &c1, &c2, &o0};
  for (int c = 0; c < kInputs; ++c) {
    *samples[c] = static_cast<unsigned short>(InterpolateCurve(curves[c], step, step, *samples[c]));
  }
  return 0;
}

int InputTable43::Conversion(unsigned char*, int) {
  return 0;
}

int InputTable43::Conversion(Info*) {
  return 0;
}

int InputTable43::Initial(ICCFILE::CLut16Type* lut) {
  if (lut == nullptr) return 0;
  const int channels = std::min<int>(lut->inputChannels, kInputs);
  if (lut->inputEntries > 0 && channels > 0 && lut->inputTables == nullptr) return 0;
  // Short curves are taken as they are: one entry has no spacing and converts everything to 0.
  step = CurveStep(lut->inputEntries);
  if (lut->inputEntries == 0) return 0;
  CopyCurves(lut->inputTables, channels, lut->inputEntries, curves);
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
