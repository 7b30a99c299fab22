#include <dlfcn.h>

#include <cstring>
#include <map>
#include <vector>

#include "checks.h"
#include "declarations.h"
#include "engine_model.h"

using namespace ICC40::ICCFILE;
using namespace client;

// ---------------------------------------------------------------------------------------------
// The application's own hooks. The library's calls must arrive here.

namespace {

std::vector<std::string> reports;
std::map<std::string, int> settings;

std::string Text(char const* text) {
  return text ? text : "(null)";
}

}  // namespace

extern "C" {

int ConfigGetInt(char const* section, char const* key, int fallback) {
  reports.push_back("get " + Text(section) + ' ' + Text(key) + ' ' + std::to_string(fallback));
  const auto found = settings.find(Text(key));
  return found == settings.end() ? 0 : found->second;
}

int ConfigSetInt(char const* section, char const* key, int value) {
  reports.push_back("set " + Text(section) + ' ' + Text(key) + ' ' + std::to_string(value));
  return 0;
}

int ConfigSetString(char const* section, char const* key, char const* value) {
  reports.push_back("set " + Text(section) + ' ' + Text(key) + " \"" + Text(value) + '"');
  return 0;
}
}

namespace {

/// What was reported since the last call, one report a line.
std::string Reports() {
  std::string lines;
  for (const std::string& report : reports) {
    lines += report + '\n';
  }
  reports.clear();
  return lines;
}

template <class Function>
Function* LibrarysOwn(Function*, const char* name) {
  void* symbol = dlsym(RTLD_NEXT, name);
  Function* function = nullptr;
  std::memcpy(&function, &symbol, sizeof(function));
  return function;
}

void Hooks() {
  CHECK_EQ(ConfigFile("x"), 0);
  CHECK(ConfigGetString("s", "k", "d") == nullptr);
  CHECK_EQ(ConfigFile2("x"), 0);
  CHECK_EQ(ConfigGetInt2("s", "k", 5), 0);
  CHECK(ConfigGetString2("s", "k", "d") == nullptr);
  CHECK_EQ(ConfigSetInt2("s", "k", 5), 0);
  CHECK_EQ(ConfigSetString2("s", "k", "v"), 0);
  // The three that this program replaces are in the library as well.
  const auto getInt = LibrarysOwn(&ConfigGetInt, "ConfigGetInt");
  const auto setInt = LibrarysOwn(&ConfigSetInt, "ConfigSetInt");
  const auto setString = LibrarysOwn(&ConfigSetString, "ConfigSetString");
  CHECK(getInt && getInt != &ConfigGetInt && getInt("s", "k", 5) == 0);
  CHECK(setInt && setInt != &ConfigSetInt && setInt("s", "k", 5) == 0);
  CHECK(setString && setString != &ConfigSetString && setString("s", "k", "v") == 0);
  CHECK(reports.empty());
}

void Names() {
  CHECK_TEXT(Name(), "Icc");
  const char* const kColors[40] = {"RGB",
                                   "RGB_16",
                                   "Lab",
                                   "Lab_16",
                                   "CMYK",
                                   "CMYK_16",
                                   "XYZ",
                                   "XYZ_16",
                                   "sRGB220",
                                   "sRGB220_16",
                                   "sRGB100",
                                   "sRGB100_16",
                                   "sRGB",
                                   "sRGB_16",
                                   "CMY",
                                   "CMY_16",
                                   "CLR6",
                                   "CLR6_16",
                                   "CLR7",
                                   "CLR7_16",
                                   "Adobe100",
                                   "Adobe100_16",
                                   "Adobe",
                                   "Adobe_16",
                                   "Apple100",
                                   "Apple100_16",
                                   "Apple",
                                   "Apple_16",
                                   "ColorMatch100",
                                   "ColorMatch100_16",
                                   "ColorMatch",
                                   "ColorMatch_16",
                                   "Ycc",
                                   "Ycc_16",
                                   "sRGB_KodakPhoto",
                                   "sRGB_KodakPhoto_16",
                                   "sRGB_KodakMix",
                                   "sRGB_KodakMix_16",
                                   "sRGB_KodakText",
                                   "sRGB_KodakText_16"};
  for (int i = 0; i < 40; ++i) {
    CHECK_TEXT(strColor[i], kColors[i]);
  }
  const char* const kIntents[4] = {"Percepture", "Relative", "Saturation", "Absolute"};
  for (int i = 0; i < 4; ++i) {
    CHECK_TEXT(strIntent[i], kIntents[i]);
  }
  const char* const kErrors[7] = {"IccNoError",       "InputColorError", "NotInputProfile",
                                  "NotOutputProfile", "UnUsedFun",       "UnDefinedError",
                                  "UnKnownErrorCode"};
  for (int i = 0; i < 40; ++i) {
    if (i < 7) {
      CHECK_TEXT(strErr[i], kErrors[i]);
    } else {
      CHECK(strErr[i] == nullptr);
    }
  }
}

void BeforeUse() {
  const ICC40::ICC_ENG_S4::CIccEngineS* const kSlots[] = {&IccEngine, &IccEngine_2nd,
                                                          &IccEngine_3rd};
  for (const auto* slot : kSlots) {
    CHECK_EQ(slot->out, 65535);
    CHECK_EQ(slot->bitsOfFraction, 12);
  }
  unsigned char src[3] = {1, 2, 3}, dst[3] = {9, 9, 9};
  CHECK_EQ(KX_Icc_Convert2(src, dst, 1), -1);
  CHECK_EQ(KX_Icc_Convert2_2nd(src, dst, 1), -1);
  CHECK_EQ(KX_Icc_Convert2_3rd(src, dst, 1), -1);
  CHECK_EQ(KX_Icc_Convert(src, dst, 1), -1);
  CHECK_EQ(dst[0], 9);
  CHECK_EQ(KX_Icc_Initial(1), 65535);
  CHECK_EQ(KX_Icc_DeleteWorkingBuf(), 65535);
  CHECK_EQ(KX_Icc_ConvertFile("a", "b"), 65535);
  CHECK_EQ(KX_Icc_ConvertFile_2nd("a", "b"), 65535);
  CHECK_EQ(KX_Icc_ConvertFile_3rd("a", "b"), 65535);
}

void FirstSlot() {
  const std::string path = ScanProfile();
  int result = 0;
  CHECK_TEXT(
      Printed(1,
              [&] { result = KX_Icc_SetProfile(path.c_str(), "second", Relative, NoColor, sRGB); }),
      "SetProfile : " + path + ", intent : 1, Input : 0, Output : 12\n");
  CHECK_EQ(result, 12);
  // The program reads the object that the library works on, copied into the program or not.
  CHECK_EQ(IccEngine.in, 0);
  CHECK_EQ(IccEngine.out, 12);
  CHECK_EQ(IccEngine.intentCode, 1);
  CHECK_EQ(IccEngine.path1, path);
  CHECK_EQ(IccEngine.in0[0x12], 0x10200);
  CHECK_EQ(IccEngine.outTable[2][65535], 255);
  CHECK_EQ(IccEngine_2nd.out, 65535);
  CHECK_EQ(KX_Icc_Initial(1), 65533);
  CHECK_EQ(KX_Icc_DeleteWorkingBuf(), 65535);
  CHECK_EQ(Reports(), std::string());

  unsigned char src[6] = {10, 100, 200, 255, 0, 128}, dst[6] = {}, again[6] = {};
  CHECK_EQ(KX_Icc_Convert2(src, dst, 2), 0);
  for (int i = 0; i < 6; ++i) {
    const unsigned char* p = src + i / 3 * 3;
    CHECK_EQ(dst[i], ModelSample(IccEngine, p[0], p[1], p[2], i % 3) & 0xFF);
  }
  CHECK_EQ(KX_Icc_Convert(src, again, 2), 0);
  CHECK(std::memcmp(dst, again, 6) == 0);

  CHECK_EQ(KX_Icc_SetIntent(Saturation, NoColor, Adobe), 22);
  CHECK_EQ(IccEngine.in, 0);
  CHECK_EQ(IccEngine.intentCode, 2);
  unsigned char curve[256];
  for (int i = 0; i < 256; ++i) {
    curve[i] = static_cast<unsigned char>(i);
  }
  CHECK_EQ(KX_Icc_Adjust(curve, curve, curve, 256, 3.9, -2.9, 0), 22);
  CHECK_EQ(IccEngine.dL, 3);
  CHECK_EQ(IccEngine.dC, -2);
  CHECK_EQ(IccEngine.outTable[0][25700], 100);
  CHECK_EQ(Reports(), std::string("get Icc Control 0\n"));

  settings = {{"Control", 1},  {"Intent", 3},   {"InputColor", 0}, {"OutputColor", 26},
              {"Adjust_L", 7}, {"Adjust_c", 8}, {"Adjust_h", 9}};
  CHECK_EQ(KX_Icc_Adjust(curve, curve, curve, 256, 1, 1, 1), 26);
  CHECK_EQ(IccEngine.intentCode, 3);
  CHECK_EQ(IccEngine.dL, 7);
  CHECK_EQ(IccEngine.dC, 8);
  CHECK_EQ(IccEngine.dH, 9);
  CHECK_EQ(Reports(), std::string("get Icc Control 0\nget Icc Intent 0\nget Icc InputColor 0\n"
                                  "get Icc OutputColor 12\nget Icc Adjust_L 0\nget Icc Adjust_c 0\n"
                                  "get Icc Adjust_h 0\n"));
  settings.clear();

  // The section belongs to the third slot.
  CHECK_EQ(KX_Icc_SetProfileF(path.c_str(), nullptr, Percepture, RGB, sRGB), 12);
  CHECK_EQ(Reports(), std::string());
  CHECK_EQ(KX_Icc_SetProfileF("/no/such.icc", nullptr, Percepture, RGB, sRGB), 65535);
  CHECK_EQ(Reports(), std::string("set Current3 Result \"\"\n"));
  CHECK_EQ(KX_Icc_Convert2(src, dst, 2), -1);
}

void OtherSlot(const char* section, ICC40::ICC_ENG_S4::CIccEngineS& engine,
               int (*setProfile)(char const*, char const*, KxIntent, KxColor, KxColor),
               int (*setIntent)(KxIntent, KxColor, KxColor),
               int (*adjust)(unsigned char*, unsigned char*, unsigned char*, int, double, double,
                             double),
               int (*convert)(unsigned char*, unsigned char*, int)) {
  const std::string path = ScanProfile(), set = std::string("set ") + section + ' ';
  const auto request = [&](const std::string& in, const std::string& out, const std::string& intent,
                           const std::string& file) {
    return set + "InputColor \"" + in + "\"\n" + set + "OutputColor \"" + out + "\"\n" + set +
           "intent \"" + intent + "\"\n" + set + "Adjust_L 0\n" + set + "Adjust_c 0\n" + set +
           "Adjust_h 0\n" + set + "InputProfile \"" + file + "\"\n";
  };
  std::string printed;
  printed =
      Printed(1, [&] { CHECK_EQ(setProfile(path.c_str(), nullptr, Absolute, RGB, sRGB_16), 13); });
  CHECK_EQ(printed, std::string());
  // Success is reported as "UnKnownColorSpace".
  CHECK_EQ(Reports(),
           request("RGB", "sRGB_16", "Absolute", path) + set + "Result \"UnKnownColorSpace\"\n");
  CHECK_EQ(engine.out, 13);
  CHECK_EQ(engine.type, 258);
  CHECK_EQ(engine.path1, path);

  unsigned char src[3] = {17, 170, 85};
  unsigned short dst[3] = {};
  CHECK_EQ(convert(src, reinterpret_cast<unsigned char*>(dst), 1), 0);
  for (int c = 0; c < 3; ++c) {
    CHECK_EQ(dst[c], ModelSample(engine, src[0], src[1], src[2], c));
  }
  unsigned char curve[2] = {0, 255};
  CHECK_EQ(adjust(curve, curve, curve, 0, 5, 0, 0), 13);
  CHECK_EQ(engine.dL, 5);
  CHECK_EQ(setIntent(Percepture, NoColor, sRGB), 12);
  CHECK_EQ(engine.in, 0);
  CHECK_EQ(Reports(), std::string());

  // No default for the input code here: 65535 is passed on and refused.
  CHECK_EQ(setProfile(path.c_str(), nullptr, Percepture, NoColor, sRGB), 65535);
  CHECK_EQ(Reports(), request("", "sRGB", "Percepture", path) + set + "Result \"\"\n");
}

/// The three lines with their seconds taken out.
std::string WithoutSeconds(std::string lines) {
  for (std::size_t at = 0; (at = lines.find("(count : ", at)) != std::string::npos;) {
    at += 9;
    while (at < lines.size() && lines[at] >= '0' && lines[at] <= '9') {
      lines.erase(at, 1);
    }
  }
  return lines;
}

void Files() {
  const std::string profile = ScanProfile(), in = Scratch::Path("in.tif"),
                    out = Scratch::Path("out.tif");
  KX_Tiff_STL3::CTiff image(20, 10, 150, 3, 8, 1);
  for (int i = 0; i < 600; ++i) {
    image.GetImageBuf()[i] = static_cast<unsigned char>(i * 37);
  }
  CHECK_EQ(image.SaveFile(in.c_str()), 0);

  int result = 0;
  Printed(1, [&] { KX_Icc_SetProfile(profile.c_str(), "", Percepture, RGB, sRGB); });
  const std::string kLines =
      "Start Conversion(Start) : New ID\n"
      "Start Conversion(Pause) : End Conversion(count : )\n"
      "Start Conversion(Stop) :  End Conversion(count : )\n";
  std::string printed = Printed(1, [&] { result = KX_Icc_ConvertFile(in.c_str(), out.c_str()); });
  CHECK_EQ(WithoutSeconds(printed), kLines);
  CHECK_EQ(result, 12);
  KX_Tiff_STL3::CTiff converted(out.c_str());
  CHECK_EQ(converted.list.size(), 14);  // without the profile
  CHECK_EQ(converted.dpi, 150);
  std::vector<unsigned char> expected(600);
  CHECK_EQ(KX_Icc_Convert2(image.GetImageBuf(), expected.data(), 200), 0);
  CHECK(converted.GetImageBuf() && std::memcmp(converted.GetImageBuf(), expected.data(), 600) == 0);

  // An unreadable image still gives the output code.
  printed = Printed(1, [&] { result = KX_Icc_ConvertFile("/no/such.tif", out.c_str()); });
  CHECK_EQ(printed, std::string("/no/such.tif Open fail.\n"));
  CHECK_EQ(result, 12);

  // 16 bits in both files, through the second and third slot.
  KX_Tiff_STL3::CTiff deep(20, 10, 150, 3, 16, 1);
  for (int i = 0; i < 600; ++i) {
    const unsigned short sample = static_cast<unsigned short>(i * 977);
    std::memcpy(deep.GetImageBuf() + 2 * i, &sample, 2);
  }
  CHECK_EQ(deep.SaveFile(in.c_str()), 0);
  const struct {
    decltype(&KX_Icc_SetProfile_2nd) setProfile;
    decltype(&KX_Icc_ConvertFile_2nd) convertFile;
    decltype(&KX_Icc_Convert2_2nd) convert;
  } kSlots[] = {{KX_Icc_SetProfile_2nd, KX_Icc_ConvertFile_2nd, KX_Icc_Convert2_2nd},
                {KX_Icc_SetProfile_3rd, KX_Icc_ConvertFile_3rd, KX_Icc_Convert2_3rd}};
  for (const auto& slot : kSlots) {
    CHECK_EQ(slot.setProfile(profile.c_str(), nullptr, Percepture, RGB_16, sRGB_16), 13);
    printed = Printed(1, [&] { result = slot.convertFile(in.c_str(), out.c_str()); });
    CHECK_EQ(WithoutSeconds(printed), kLines);
    CHECK_EQ(result, 13);
    KX_Tiff_STL3::CTiff back(out.c_str());
    CHECK_EQ(back.list.size(), 15);
    CHECK_EQ(back.dpi, 300);
    std::vector<unsigned char> expected16(1200);
    CHECK_EQ(slot.convert(deep.GetImageBuf(), expected16.data(), 200), 0);
    CHECK(back.GetImageBuf() && std::memcmp(back.GetImageBuf(), expected16.data(), 1200) == 0);
  }
}

}  // namespace

void CheckInterface() {
  Hooks();
  Names();
  BeforeUse();
  FirstSlot();
  OtherSlot("Current2", IccEngine_2nd, KX_Icc_SetProfile_2nd, KX_Icc_SetIntent_2nd,
            KX_Icc_Adjust_2nd, KX_Icc_Convert2_2nd);
  OtherSlot("Current3", IccEngine_3rd, KX_Icc_SetProfile_3rd, KX_Icc_SetIntent_3rd,
            KX_Icc_Adjust_3rd, KX_Icc_Convert2_3rd);
  Files();
}
