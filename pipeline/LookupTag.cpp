#include "pipeline/LookupTag.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::CLut;
using ICCFILE::CLut16Type;

namespace {

constexpr int kInputs = 3;
constexpr int kOutputs = 3;
// A grid node of the colour tables has seven values, and 33 points per axis.
constexpr int kMaxOutputs = 7;
constexpr int kMinGridPoints = 2;
constexpr int kMaxGridPoints = 33;
// Shorter tables stand for identity and are not read.
constexpr int kMinEntries = 3;

bool GridIsUsable(int gridPoints) {
  return gridPoints >= kMinGridPoints && gridPoints <= kMaxGridPoints;
}

// Tables of as many channels as are there: those of none hold nothing.
bool HasCurves(const unsigned short* tables, int channels, int entries) {
  return entries < kMinEntries || channels == 0 || tables != nullptr;
}

}  // namespace

bool HasColorTable(const CLut16Type& lut) {
  return lut.outputChannels == 0 || lut.colorTable != nullptr;
}

bool IsUsable(const CLut16Type& lut) {
  return lut.inputChannels <= kInputs && lut.outputChannels <= kMaxOutputs &&
         GridIsUsable(lut.gridPoints) && HasColorTable(lut) &&
         HasCurves(lut.inputTables, lut.inputChannels, lut.inputEntries) &&
         HasCurves(lut.outputTables, lut.outputChannels, lut.outputEntries);
}

bool IsConvertible(const CLut& lut) {
  if (lut.grid == nullptr || lut.grid->precision != 2 || lut.grid->values == nullptr) return false;
  const unsigned char* points = lut.grid->gridPoints;
  if (lut.inputChannels != kInputs || lut.outputChannels < kOutputs ||
      lut.outputChannels > kMaxOutputs || !GridIsUsable(points[0])) {
    return false;
  }
  if (points[1] * points[2] < points[0] * points[0]) return false;
  // With three inputs and as many outputs or more, either side has at least three curves.
  for (int c = 0; c < kInputs; ++c) {
    if (lut.curvesA[c] == nullptr || lut.curvesB[c] == nullptr) return false;
  }
  return true;
}

LookupTag::LookupTag(ICCFILE::iccTagBase* tag) {
  auto* lut = dynamic_cast<CLut16Type*>(tag);
  if (auto* curvesAndClut = dynamic_cast<CLut*>(tag);
      curvesAndClut != nullptr && IsConvertible(*curvesAndClut)) {
    converted_ = std::make_unique<CLut16Type>(curvesAndClut);
    lut = converted_.get();
  }
  if (lut != nullptr && IsUsable(*lut)) lut_ = lut;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
