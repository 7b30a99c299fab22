#include "units/InputTable33.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>

#include "units/InputConversion.h"
#include "units/InputLevels.h"
#include "units/ToneCurve.h"

namespace ICC40 {
namespace ICC_UNIT {

using ICCFILE::CLut16Type;
using ICCFILE::ColorSpaceSignature;

namespace {

constexpr int kInputs = 3;
// Output classes of three-channel conversion types: 1 (8-bit) and 2 (16-bit).
constexpr int kOutputClass = 1;

void FillIdentity(InputTable33& table, int channels) {
  table.step = kIdentityStep;
  for (int c = 0; c < channels; ++c) {
    FillIdentityCurve(table.curves[c]);
    std::iota(table.lookup[c], table.lookup[c] + kLevels, 0u);
  }
}

// A curve of more entries than a table holds: the rest of it stands in the lookups alone.
bool IsLongCurve(double step) {
  return step < kIdentityStep;
}

// Value of a channel's curve at a level. Past the entries that are held it is the lookup's own.
unsigned short CurveLevel(const InputTable33& table, int channel, unsigned short level) {
  const CurvePosition position = PositionOn(kCurveEntries, table.step, table.step, level);
  if (IsLongCurve(table.step) && position.entry == kCurveEntries - 1) {
    return static_cast<unsigned short>(table.lookup[channel][level]);
  }
  return static_cast<unsigned short>(
      TruncateToInt64(RoundedAt(table.curves[channel], kCurveEntries, position)));
}

// Fills the lookups of all three channels, through the virtual conversion: a derived table's own
// interpolation counts. The top level takes the last entry itself.
void ExpandCurves(InputTable33& table, int entries) {
  for (int v = 0; v < kTopLevel; ++v) {
    unsigned short c[kInputs], unused[4] = {};
    std::fill_n(c, kInputs, static_cast<unsigned short>(v));
    table.Conversion(c[0], c[1], c[2], unused[0], unused[1], unused[2], unused[3]);
    for (int channel = 0; channel < kInputs; ++channel) table.lookup[channel][v] = c[channel];
  }
  if (entries > kCurveEntries) return;
  for (int c = 0; c < kInputs; ++c) table.lookup[c][kTopLevel] = table.curves[c][entries - 1];
}

}  // namespace

InputTable33::InputTable33() : step(0.0), curves{}, lookup{}, depth(16) {
  name = "InputTable33";
}

InputTable33::~InputTable33() = default;

int InputTable33::Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2,
                             unsigned short&, unsigned short&, unsigned short&, unsigned short&) {
  if (step == 0.0) return 0;
  unsigned short* const samples[kInputs] = {&c0, &c1, &c2};
  for (int c = 0; c < kInputs; ++c) {
    *samples[c] = CurveLevel(*this, c, *samples[c]);
  }
  return 0;
}

int InputTable33::Conversion(unsigned char*, int) {
  return 0;
}

int InputTable33::Conversion(Info* info) {
  return FillWorkingBuffer(lookup, info, kInputs, kOutputClass);
}

int InputTable33::Initial(CLut16Type* lut, ColorSpaceSignature inputColor) {
  if (lut == nullptr) return 0;
  const int channels = std::min<int>(lut->inputChannels, kInputs);
  if (lut->inputEntries < kMinCurveEntries) {
    FillIdentity(*this, channels);
  } else {
    if (channels > 0 && lut->inputTables == nullptr) return 0;
    const int entries = lut->inputEntries;
    step = CurveStep(entries);
    CopyCurves(lut->inputTables, channels, entries, curves);
    for (int c = 0; c < channels; ++c) {
      ExpandUnheldLevels(lut->inputTables + static_cast<std::size_t>(c) * entries, entries, step,
                         lookup[c]);
    }
    ExpandCurves(*this, entries);
  }
  switch (inputColor) {
    case ICCFILE::RGB_16:
      return 0;
    case ICCFILE::Lab:
      return Change_Lut16_To_Lab8();
    case ICCFILE::Lab_16:
      return Change_Lut16_To_Lab16();
    default:
      return Change_Lut16_To_Lut8();
  }
}

int InputTable33::Initial(InputTable33* other) {
  if (other == nullptr) return 0;
  std::memmove(lookup, other->lookup, sizeof lookup);
  depth = other->depth;
  return 0;
}

int InputTable33::Change_Lut16_To_Lut8() {
  IndexBy8BitSamples(lookup);
  depth = 8;
  return 0;
}

int InputTable33::Change_Lut16_To_Lab8() {
  IndexBy8BitLab(lookup);
  depth = 8;
  return 0;
}

int InputTable33::Change_Lut16_To_Lab16() {
  IndexBy16BitLab(lookup);
  depth = 16;
  return 0;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
