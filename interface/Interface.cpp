#include <string>

#include "base/Diagnostics.h"
#include "codes/CodeNames.h"
#include "codes/ColorCodes.h"
#include "codes/ResultCodes.h"
#include "interface/EngineSlots.h"
#include "interface/kxcms.h"

namespace {

using ICC40::ICC_ENG_S4::CIccEngineS;
using ICC40::ICCFILE::ColorSpaceSignature;
using ICC40::ICCFILE::Intent;

constexpr const char* kSection2nd = "Current2";
constexpr const char* kSection3rd = "Current3";

bool IsUnusable(const CIccEngineS& engine) {
  return engine.outputColor == IccResultNotSet;
}

int DefaultToRgb(int input) {
  return input == ICC40::ICCFILE::kNoColorCode ? ICC40::ICCFILE::RGB : input;
}

// ---- Profile selection

void PrintRequest(const char* path, int intent, int input, int output) {
  PrintLine({"SetProfile : ", path == nullptr ? "" : path, ", intent : ", Decimal(intent),
             ", Input : ", Decimal(input), ", Output : ", Decimal(output)});
}

void ReportRequest(const char* section, const char* path, int intent, int input, int output) {
  ConfigSetString(section, "InputColor", NameOf(strColor, input));
  ConfigSetString(section, "OutputColor", NameOf(strColor, output));
  ConfigSetString(section, "intent", NameOf(strIntent, intent));
  ConfigSetInt(section, "Adjust_L", 0);
  ConfigSetInt(section, "Adjust_c", 0);
  ConfigSetInt(section, "Adjust_h", 0);
  ConfigSetString(section, "InputProfile", path);
}

// The codes of failures (65530, 65531) lie outside the table of names: the text is empty.
void ReportFailure(const char* section, int result) {
  ConfigSetString(section, "Result", NameOf(strErr, result));
}

int SelectProfile(CIccEngineS& engine, const char* path, const char* second, int intent, int input,
                  int output) {
  return engine.SetProfile(path, second, static_cast<Intent>(intent),
                           static_cast<ColorSpaceSignature>(input),
                           static_cast<ColorSpaceSignature>(output), 0.0, 0.0, 0.0);
}

int SelectProfileReported(CIccEngineS& engine, const char* section, const char* path,
                          const char* second, int intent, int input, int output) {
  ReportRequest(section, path, intent, input, output);
  const int result = SelectProfile(engine, path, second, intent, input, output);
  if (result == IccResultOk) {
    // Success is reported by the name of a failure: kept so that results stay identical.
    ConfigSetString(section, "Result", "UnKnownColorSpace");
  } else {
    ReportFailure(section, result);
  }
  return engine.outputColor;
}

// ---- Intent and adjustment

void SelectIntent(CIccEngineS& engine, int intent, int input, int output) {
  engine.SetIntent(static_cast<Intent>(intent), static_cast<ColorSpaceSignature>(input),
                   static_cast<ColorSpaceSignature>(output), 0.0, 0.0, 0.0);
}

int SelectIntentOrRgb(CIccEngineS& engine, int intent, int input, int output) {
  SelectIntent(engine, intent, DefaultToRgb(input), output);
  return engine.outputColor;
}

int Adjust(CIccEngineS& engine, unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
           int count, double L, double c, double h) {
  engine.Adjust_Lch(L, c, h);
  engine.Adjust_Output(curveR, curveG, curveB, count);
  return engine.outputColor;
}

// ---- Conversion

int ConvertBuffer(CIccEngineS& engine, unsigned char* src, unsigned char* dst, int pixelCount) {
  if (IsUnusable(engine)) return IccResultFail;
  return engine.Conversion(src, dst, pixelCount);
}

// The conversion's own result is not passed on: an unreadable file gives the output code too.
int ConvertFile(CIccEngineS& engine, const char* inPath, const char* outPath) {
  if (IsUnusable(engine)) return IccResultNotSet;
  engine.Conversion(inPath, outPath);
  return engine.outputColor;
}

}  // namespace

int KX_Icc_SetProfile(const char* path, const char* second, int intent, int input, int output) {
  input = DefaultToRgb(input);
  PrintRequest(path, intent, input, output);
  SelectProfile(IccEngine, path, second, intent, input, output);
  return IccEngine.outputColor;
}

int KX_Icc_SetProfile_2nd(const char* path, const char* second, int intent, int input, int output) {
  return SelectProfileReported(IccEngine_2nd, kSection2nd, path, second, intent, input, output);
}

int KX_Icc_SetProfile_3rd(const char* path, const char* second, int intent, int input, int output) {
  return SelectProfileReported(IccEngine_3rd, kSection3rd, path, second, intent, input, output);
}

int KX_Icc_SetProfileF(const char* path, const char* second, int intent, int input, int output) {
  const int result = SelectProfile(IccEngine, path, second, intent, input, output);
  // The first engine reports under the third slot's section: kept so that results stay identical.
  if (result != IccResultOk) ReportFailure(kSection3rd, result);
  return IccEngine.outputColor;
}

int KX_Icc_SetIntent(int intent, int input, int output) {
  return SelectIntentOrRgb(IccEngine, intent, input, output);
}

int KX_Icc_SetIntent_2nd(int intent, int input, int output) {
  return SelectIntentOrRgb(IccEngine_2nd, intent, input, output);
}

int KX_Icc_SetIntent_3rd(int intent, int input, int output) {
  return SelectIntentOrRgb(IccEngine_3rd, intent, input, output);
}

// Only the first slot can be controlled through the hooks; its input code is taken as it comes.
int KX_Icc_Adjust(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB, int count,
                  double L, double c, double h) {
  if (ConfigGetInt(Name(), "Control", 0) == 1) {
    const int intent = ConfigGetInt(Name(), "Intent", ICC40::ICCFILE::Percepture);
    const int input = ConfigGetInt(Name(), "InputColor", ICC40::ICCFILE::RGB);
    const int output = ConfigGetInt(Name(), "OutputColor", ICC40::ICCFILE::sRGB);
    L = ConfigGetInt(Name(), "Adjust_L", 0);
    c = ConfigGetInt(Name(), "Adjust_c", 0);
    h = ConfigGetInt(Name(), "Adjust_h", 0);
    SelectIntent(IccEngine, intent, input, output);
  }
  return Adjust(IccEngine, curveR, curveG, curveB, count, L, c, h);
}

int KX_Icc_Adjust_2nd(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
                      int count, double L, double c, double h) {
  return Adjust(IccEngine_2nd, curveR, curveG, curveB, count, L, c, h);
}

int KX_Icc_Adjust_3rd(unsigned char* curveR, unsigned char* curveG, unsigned char* curveB,
                      int count, double L, double c, double h) {
  return Adjust(IccEngine_3rd, curveR, curveG, curveB, count, L, c, h);
}

int KX_Icc_Convert2(unsigned char* src, unsigned char* dst, int pixelCount) {
  return ConvertBuffer(IccEngine, src, dst, pixelCount);
}

int KX_Icc_Convert2_2nd(unsigned char* src, unsigned char* dst, int pixelCount) {
  return ConvertBuffer(IccEngine_2nd, src, dst, pixelCount);
}

int KX_Icc_Convert2_3rd(unsigned char* src, unsigned char* dst, int pixelCount) {
  return ConvertBuffer(IccEngine_3rd, src, dst, pixelCount);
}

int KX_Icc_Convert(unsigned char* src, unsigned char* dst, int pixelCount) {
  return ConvertBuffer(IccEngine, src, dst, pixelCount);
}

// A thrown text is printed for the first slot only; from the other two it leaves the function.
int KX_Icc_ConvertFile(const char* inPath, const char* outPath) {
  try {
    return ConvertFile(IccEngine, inPath, outPath);
  } catch (const std::string& text) {
    PrintLine({text});
  }
  return IccEngine.outputColor;
}

int KX_Icc_ConvertFile_2nd(const char* inPath, const char* outPath) {
  return ConvertFile(IccEngine_2nd, inPath, outPath);
}

int KX_Icc_ConvertFile_3rd(const char* inPath, const char* outPath) {
  return ConvertFile(IccEngine_3rd, inPath, outPath);
}

int KX_Icc_Initial(int value) {
  if (IsUnusable(IccEngine)) return IccResultNotSet;
  return IccEngine.Initial(value);
}

int KX_Icc_DeleteWorkingBuf() {
  return IccResultNotSet;
}
