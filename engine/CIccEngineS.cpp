#include "engine/CIccEngineS.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "base/CpuLevel.h"
#include "base/Diagnostics.h"
#include "codes/ResultCodes.h"
#include "engine/EnginePipeline.h"
#include "iccfile/CXYZType.h"
#include "pipeline/FixedStages.h"
#include "pipeline/LookupTag.h"
#include "units/OutputTable33.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using namespace ICCFILE;
using ICC_UNIT::OutputTable33;

namespace {

constexpr int kThreads = 8;

// Truncates an offset toward zero; NaN counts as 0, and what no int holds as the nearest that one
// does.
int WholeUnits(double offset) {
  constexpr double kMost = std::numeric_limits<int>::max();
  if (std::isnan(offset)) return 0;
  return static_cast<int>(std::clamp(offset, -kMost, kMost));
}

// Leaves an engine that converts nothing. @return the result of the selection that failed.
int Refuse(CIccEngineS& engine, int result) {
  ReleaseInputArrays(engine);
  engine.engineStatus = engine.outputColor = IccResultNotSet;
  return result;
}

// The lookup tag of what is selected. A failed allocation is reported and counts as no tag.
struct SelectedTag {
  explicit SelectedTag(CIccEngineS& engine) {
    try {
      tag = LookupTag(engine.GetMft2());
    } catch (const std::bad_alloc& failure) {
      ReportBadAlloc(failure);
      ranOutOfMemory = true;
    }
  }
  CLut16Type* Get() const { return tag.Get(); }

  LookupTag tag;
  bool ranOutOfMemory = false;
};

// Whether the tables are those of the codes that the engine holds: a build that ran out of memory
// leaves none, and the next selection of the same codes has to build again.
bool IsBuilt(CIccEngineS& engine) {
  if (engine.inLut0 != nullptr) return true;
  const SelectedTag tag(engine);
  return tag.Get() == nullptr && !tag.ranOutOfMemory;
}

// @return whether there was memory for it; the cells are left as they were if not.
bool BuildColorStage(CIccEngineS& engine, CLut16Type* lut, double L, double c, double h) {
  if (lut == nullptr || !HasColorTable(*lut)) return false;
  try {
    std::shared_ptr<iccTagBase> mediaWhite;
    if (engine.intent == Absolute) mediaWhite = engine.iccFile.GetTag(ICC4_HEADER::wtpt);
    PipelineOf(engine).FillCells(*lut, {static_cast<ColorSpaceSignature>(engine.outputColor),
                                        dynamic_cast<CXYZType*>(mediaWhite.get()), L, c, h});
    return true;
  } catch (const std::bad_alloc& failure) {
    ReportBadAlloc(failure);
    return false;
  }
}

// Builds all three stages. Without memory for the colour stage the input tables go too: the
// conversions then do nothing, rather than mix old tables with new ones.
int BuildPipeline(CIccEngineS& engine, CLut16Type* lut, double L, double c, double h) {
  engine.Set1DLutIn(lut);
  if (!BuildColorStage(engine, lut, L, c, h)) ReleaseInputArrays(engine);
  engine.Set1DLutOut(lut);
  return engine.outputColor;
}

}  // namespace

CIccEngineS::CIccEngineS()
    : inLutAux0(nullptr),
      inLut0(nullptr),
      inLutAux1(nullptr),
      inLut1(nullptr),
      inLutAux2(nullptr),
      inLut2(nullptr),
      fractionBits(kFractionBits) {
  // Of an engine that stood here and never ended.
  DropPipeline(*this);
  // For parallel regions of this thread; other threads keep their own settings.
  omp_set_num_threads(kThreads);
  omp_set_dynamic(1);  // on
  // The first engine settles the level of the pixel workers, when the library is loaded.
  ChosenCpuLevel();
}

CIccEngineS::~CIccEngineS() {
  Reset();
  DropPipeline(*this);
}

void CIccEngineS::Reset() {
  Info::Reset();
  ReleaseInputArrays(*this);
}

int CIccEngineS::Initial(int) {
  return IccResultUnused;
}

int CIccEngineS::DeleteWorkingBuf() {
  return IccResultUnused;
}

int CIccEngineS::SetProfile(char const* path, Intent newIntent, ColorSpaceSignature in,
                            ColorSpaceSignature out, double L, double c, double h) {
  try {
    const bool newPath = CheckCurrentProfile(path, nullptr) != 0;
    if (!newPath && outputColor != kNoColorCode && intent == newIntent && inputColor == in &&
        outputColor == out && IsBuilt(*this)) {
      return IccResultOk;
    }
    // Not Reset(): new tables are filled into the arrays of the old ones. The heap would return
    // these to the system and get them back, which takes longer than to fill them.
    Info::Reset();
    intent = newIntent;
    inputColor = in;
    outputColor = out;
    iccFile.Reset();
    profileState = 0;
    if (in != RGB && in != RGB_16) return Refuse(*this, IccResultInputColor);
    if (iccFile.ReadFile(path) != 0) return Refuse(*this, IccResultProfileRead);
  } catch (const std::bad_alloc& failure) {
    ReportBadAlloc(failure);
    Info::Reset();
    iccFile.Reset();
    return Refuse(*this, IccResultProfileRead);
  }
  const SelectedTag tag(*this);
  if (tag.Get() == nullptr) {
    ReleaseInputArrays(*this);
    engineStatus = IccResultNotSet;
  } else {
    engineStatus = BuildPipeline(*this, tag.Get(), L, c, h);
  }
  CheckConversionType();
  return IccResultOk;
}

int CIccEngineS::SetProfile(char const* path, char const*, Intent newIntent, ColorSpaceSignature in,
                            ColorSpaceSignature out, double L, double c, double h) {
  return SetProfile(path, newIntent, in, out, L, c, h);
}

int CIccEngineS::SetIntent(Intent newIntent, ColorSpaceSignature in, ColorSpaceSignature out,
                           double, double, double) {
  // Nothing is built for no output code, so that nothing can be missing.
  const bool isSame = inputColor == in && intent == newIntent && outputColor == out;
  if (isSame && (out == kNoColorCode || IsBuilt(*this))) return outputColor;
  // No check of the input code, no new conversion type: kept so that results stay identical.
  inputColor = in;
  outputColor = out;
  intent = newIntent;
  const SelectedTag tag(*this);
  if (tag.ranOutOfMemory) ReleaseInputArrays(*this);
  if (tag.Get() == nullptr) return IccResultNotSet;
  return BuildPipeline(*this, tag.Get(), adjustL, adjustC, adjustH);
}

int CIccEngineS::ConstructEngine(double L, double c, double h) {
  if (profileState == IccResultNotSet) return IccResultNotSet;
  return InputColorSpace2RGB(L, c, h);
}

int CIccEngineS::InputColorSpace2RGB(double L, double c, double h) {
  const SelectedTag tag(*this);
  if (tag.Get() == nullptr) return IccResultNotSet;
  return BuildPipeline(*this, tag.Get(), L, c, h);
}

iccTagBase* CIccEngineS::GetMft2() {
  auto signature = ICC4_HEADER::A2B0;
  if (intent == Relative || intent == Absolute) signature = ICC4_HEADER::A2B1;
  if (intent == Saturation) signature = ICC4_HEADER::A2B2;
  // The profile keeps the tag alive.
  iccTagBase* tag = iccFile.GetTag(signature).get();
  return tag != nullptr ? tag : iccFile.GetTag(ICC4_HEADER::A2B0).get();
}

void CIccEngineS::Set1DLutIn(CLut16Type* lut) {
  if (lut == nullptr) return;
  try {
    ProvideInputArrays(*this, static_cast<std::size_t>(InputLevelsOf(inputColor)));
    PipelineOf(*this).FillInputTables(*lut, static_cast<ColorSpaceSignature>(inputColor));
  } catch (const std::bad_alloc& failure) {
    // Rather than tables of other codes.
    ReleaseInputArrays(*this);
    ReportBadAlloc(failure);
  }
}

void CIccEngineS::Set3DLut(CLut16Type* lut, double L, double c, double h) {
  BuildColorStage(*this, lut, L, c, h);
}

int CIccEngineS::Set1DLutOut(CLut16Type*) {
  try {
    engineStatus =
        PipelineOf(*this).FillOutputTables(static_cast<ColorSpaceSignature>(outputColor));
  } catch (const std::bad_alloc& failure) {
    ReportBadAlloc(failure);
    engineStatus = IccResultNotSet;
  }
  if (engineStatus == IccResultNotSet) outputColor = IccResultNotSet;
  return engineStatus;
}

int CIccEngineS::Adjust_Lch(double L, double c, double h) {
  const int previous[3] = {adjustL, adjustC, adjustH};
  if (CheckLch(WholeUnits(L), WholeUnits(c), WholeUnits(h)) == 0) return outputColor;
  const SelectedTag tag(*this);
  const bool isBuilt = tag.Get() != nullptr && BuildColorStage(*this, tag.Get(), L, c, h);
  // Without memory the old colours stay, and so do their offsets: the next call tries again.
  if (!isBuilt && (tag.Get() != nullptr || tag.ranOutOfMemory)) {
    CheckLch(previous[0], previous[1], previous[2]);
  }
  return tag.Get() != nullptr ? outputColor : IccResultNotSet;
}

int CIccEngineS::Adjust_Output(unsigned char* R, unsigned char* G, unsigned char* B, int count) {
  if (count == 0 || R == nullptr || G == nullptr || B == nullptr) return outputColor;
  const SelectedTag tag(*this);
  if (tag.Get() == nullptr) return IccResultNotSet;
  try {
    const auto table = std::make_unique<OutputTable33>();
    table->Initial(tag.Get());
    table->Initial(R, G, B, count);
    // Only 8-bit input gets its curves reduced to 8 bits.
    if (inputColor == RGB) {
      engineStatus = table->OutputGamma100(static_cast<ColorSpaceSignature>(outputColor));
    }
    PipelineOf(*this).CopyOutputTables(table->lookup);
  } catch (const std::bad_alloc& failure) {
    ReportBadAlloc(failure);
  }
  return outputColor;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
