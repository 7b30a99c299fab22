#include <array>
#include <optional>

#include "codes/ColorCodes.h"
#include "codes/ResultCodes.h"
#include "fuzz/FuzzSupport.h"
#include "fuzz/ProfileView.h"
#include "fuzz/SampleFiles.h"
#include "interface/EngineSlots.h"
#include "interface/kxcms.h"

// Calls of the C interface in any order over the three slots, against a model of what each slot
// must report. This program is an application with its own configuration hooks, and sees the
// shared library from outside.
//
// Input: length of a profile (2 bytes), the profile, then calls of 12 bytes.

namespace {

using namespace ICC40::ICCFILE;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::MemoryFile;
using ICC40::ICC_ENG_S4::CIccEngineS;

constexpr std::size_t kCallBytes = 12;
constexpr unsigned kMaxCalls = 12;
constexpr int kNotSet = KX_RESULT_NOT_SET;

// ---- The application's configuration

struct Hooks {
  bool controls = false;
  int intent = 0, input = 0, output = 12, L = 0, c = 0, h = 0;
  std::vector<std::string> reports;
} hooks;

std::string Report(const char* section, const char* key, const char* value) {
  return std::string(section) + "." + key + "=" + (value == nullptr ? "(null)" : value);
}

// ---- Files

struct Files {
  MemoryFile scanner{fuzz::ScannerProfile()};
  MemoryFile plain{fuzz::PlainProfile()};
  MemoryFile matrix{fuzz::MatrixProfile()};
  MemoryFile fuzzed;
  MemoryFile tiff8{fuzz::PlainTiff(3, 2, 3, 8)};
  MemoryFile tiff16{fuzz::PlainTiff(3, 2, 3, 16)};
  MemoryFile output;
};
Files& TheFiles() {
  static Files files;
  return files;
}

enum class Kind { kUnreadable, kUsable, kNoLookup, kUnknown };

struct Profile {
  const char* path;
  Kind kind;
};

Profile ChooseProfile(Input& call) {
  const unsigned drawn = call.U8() % 16;
  if (drawn < 5) return {TheFiles().scanner.path(), Kind::kUsable};
  if (drawn < 8) return {TheFiles().plain.path(), Kind::kUsable};
  if (drawn < 10) return {TheFiles().matrix.path(), Kind::kNoLookup};
  if (drawn < 13) return {TheFiles().fuzzed.path(), Kind::kUnknown};
  if (drawn == 13) return {"/nonexistent/profile.icc", Kind::kUnreadable};
  if (drawn == 14) return {"", Kind::kUnreadable};
  return {nullptr, Kind::kUnreadable};
}

bool IsOutputCode(int code) {
  return (code >= 8 && code <= 13) || (code >= 20 && code <= 31) || (code >= 34 && code <= 39);
}

constexpr int kOddCodes[] = {-1, 2,    3,     4,     18,         32,
                             40, 1000, 65534, 65535, 2147483647, -2147483647 - 1};

int ChooseOutput(Input& call) {
  const unsigned drawn = call.U8();
  if (drawn >= 220) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn % 40);
}
int ChooseInput(Input& call) {
  const unsigned drawn = call.U8();
  if (drawn >= 230) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn % 2);
}
int ChooseIntent(Input& call) {
  const unsigned drawn = call.U8();
  if (drawn >= 240) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn % 4);
}

// ---- The model of a slot

class SlotModel {
 public:
  explicit SlotModel(CIccEngineS& engine) : engine_(engine) {}

  int output() const { return output_; }
  bool IsUnusable() const { return output_ == kNotSet; }

  void Forget() {
    engine_.Reset();
    engine_.CheckCurrentProfile(nullptr, nullptr);
    engine_.iccFile.Reset();
    engine_.iccFile.header = {};
    engine_.engineStatus = IccResultNotSet;
    engine_.intent = Percepture;
    *this = SlotModel(engine_);
  }

  /// Whether SetProfile reports success.
  bool WillSucceed(const Profile& profile, int intent, int input, int output) const {
    if (IsSame(profile, intent, input, output)) return true;
    return IsInput(input) && profile.kind != Kind::kUnreadable;
  }

  /// To be called after the call was made: for fuzzed profiles the tables tell.
  void SetProfile(const Profile& profile, int intent, int input, int output) {
    const bool same = IsSame(profile, intent, input, output);
    if (profile.path == nullptr || *profile.path == '\0') {
      path_.reset();
    } else {
      path_ = profile.path;
    }
    if (same) return;
    intent_ = intent;
    input_ = input;
    held_ = Kind::kNoLookup;
    hasTables_ = false;
    widthFrom8_ = 0;
    output_ = kNotSet;
    if (!IsInput(input) || profile.kind == Kind::kUnreadable) return;
    held_ = profile.kind;
    output_ = output;
    Build(output);
    if (input == KX_COLOR_RGB && HasThreeChannels(output_)) widthFrom8_ = output_ % 2 + 1;
  }

  void SetIntent(int intent, int input, int output) {
    if (input_ == input && intent_ == intent && output_ == output) return;
    intent_ = intent;
    input_ = input;
    output_ = output;
    // With a fuzzed profile, older tables stay when there is no tag for the intent.
    if (held_ == Kind::kUnknown) {
      output_ = engine_.outputColor;
      FUZZ_CHECK(output_ == output || (output_ == kNotSet && !IsOutputCode(output)));
      hasTables_ = engine_.inLut0 != nullptr;
      return;
    }
    Build(output);
  }

  void Check() const {
    FUZZ_CHECK(engine_.outputColor == output_);
    FUZZ_CHECK((engine_.inLut0 != nullptr) == hasTables_);
  }

  /// Bytes per sample of the destination; 0 where a conversion writes nothing.
  std::size_t DestinationWidth() const {
    if (!hasTables_) return 0;
    return static_cast<std::size_t>(input_ == KX_COLOR_RGB ? widthFrom8_ : 2);
  }
  std::size_t SourceWidth() const { return input_ == KX_COLOR_RGB ? 1 : 2; }

 private:
  SlotModel& operator=(const SlotModel& other) {
    path_ = other.path_;
    intent_ = other.intent_;
    input_ = other.input_;
    output_ = other.output_;
    held_ = other.held_;
    hasTables_ = other.hasTables_;
    widthFrom8_ = other.widthFrom8_;
    return *this;
  }

  static bool HasThreeChannels(int output) {
    return output >= 0 && output < 40 && !(output >= 4 && output <= 7) &&
           !(output >= 14 && output <= 19) && output != 32 && output != 33;
  }

  static bool IsInput(int input) { return input == KX_COLOR_RGB || input == KX_COLOR_RGB_16; }

  bool IsSame(const Profile& profile, int intent, int input, int output) const {
    // An empty path is never the remembered one; without one, null changes nothing.
    const bool samePath = profile.path == nullptr ? !path_
                          : *profile.path == '\0' ? false
                                                  : path_ == std::string(profile.path);
    return samePath && output_ != kNotSet && intent_ == intent && input_ == input &&
           output_ == output;
  }

  void Build(int output) {
    if (held_ == Kind::kUnknown) hasTables_ = engine_.inLut0 != nullptr;
    const bool builds = held_ == Kind::kUsable || (held_ == Kind::kUnknown && hasTables_);
    if (!builds) return;
    hasTables_ = true;
    if (!IsOutputCode(output)) output_ = kNotSet;
  }

  CIccEngineS& engine_;
  std::optional<std::string> path_;
  int intent_ = 0, input_ = kNotSet, output_ = kNotSet;
  Kind held_ = Kind::kNoLookup;
  bool hasTables_ = false;
  /// Sample width of converted 8-bit pixels, which only SetProfile decides; 0 for none.
  int widthFrom8_ = 0;
};

struct Slot {
  SlotModel model;
  int (*setProfile)(const char*, const char*, int, int, int);
  int (*setIntent)(int, int, int);
  int (*adjust)(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
  int (*convert)(unsigned char*, unsigned char*, int);
  int (*convertFile)(const char*, const char*);
  const char* section;
};

std::array<Slot, 3>& Slots() {
  static std::array<Slot, 3> slots = {
      Slot{SlotModel(IccEngine), KX_Icc_SetProfile, KX_Icc_SetIntent, KX_Icc_Adjust,
           KX_Icc_Convert2, KX_Icc_ConvertFile, nullptr},
      Slot{SlotModel(IccEngine_2nd), KX_Icc_SetProfile_2nd, KX_Icc_SetIntent_2nd, KX_Icc_Adjust_2nd,
           KX_Icc_Convert2_2nd, KX_Icc_ConvertFile_2nd, "Current2"},
      Slot{SlotModel(IccEngine_3rd), KX_Icc_SetProfile_3rd, KX_Icc_SetIntent_3rd, KX_Icc_Adjust_3rd,
           KX_Icc_Convert2_3rd, KX_Icc_ConvertFile_3rd, "Current3"}};
  return slots;
}

// ---- Calls

template <std::size_t kCount>
const char* NameOrEmpty(const char* const (&names)[kCount], int code) {
  return code >= 0 && static_cast<std::size_t>(code) < kCount ? names[code] : "";
}

std::vector<std::string> ExpectedReports(const char* section, const Profile& profile, int intent,
                                         int input, int output, bool succeeds) {
  return {Report(section, "InputColor", NameOrEmpty(strColor, input)),
          Report(section, "OutputColor", NameOrEmpty(strColor, output)),
          Report(section, "intent", NameOrEmpty(strIntent, intent)),
          Report(section, "Adjust_L", "0"), Report(section, "Adjust_c", "0"),
          Report(section, "Adjust_h", "0"), Report(section, "InputProfile", profile.path),
          // Success is reported by the name of a failure.
          Report(section, "Result", succeeds ? "UnKnownColorSpace" : "")};
}

void CallSetProfile(Slot& slot, Input& call) {
  const Profile profile = ChooseProfile(call);
  const int intent = ChooseIntent(call), input = ChooseInput(call), output = ChooseOutput(call);
  const bool withoutReport = slot.section == nullptr && call.U8() % 4 == 0;
  const int used =
      slot.section == nullptr && !withoutReport && input == kNotSet ? KX_COLOR_RGB : input;
  const bool succeeds = slot.model.WillSucceed(profile, intent, used, output);

  hooks.reports.clear();
  const int result = (withoutReport ? KX_Icc_SetProfileF : slot.setProfile)(profile.path, "second",
                                                                            intent, input, output);
  if (slot.section != nullptr) {
    FUZZ_CHECK(hooks.reports ==
               ExpectedReports(slot.section, profile, intent, input, output, succeeds));
  } else if (withoutReport && !succeeds) {
    FUZZ_CHECK(hooks.reports == std::vector{Report("Current3", "Result", "")});
  } else {
    FUZZ_CHECK(hooks.reports.empty());
  }
  slot.model.SetProfile(profile, intent, used, output);
  FUZZ_CHECK(result == slot.model.output());
}

void CallSetIntent(Slot& slot, Input& call) {
  const int intent = ChooseIntent(call), input = ChooseInput(call), output = ChooseOutput(call);
  const int result = slot.setIntent(intent, input, output);
  slot.model.SetIntent(intent, input == kNotSet ? KX_COLOR_RGB : input, output);
  FUZZ_CHECK(result == slot.model.output());
}

void CallAdjust(Slot& slot, Input& call) {
  constexpr int kCounts[] = {0, 1, 2, 3, 255, 256, 257, 4096, 5000, -1};
  const int count = call.OneOf(kCounts);
  const double L = call.Offset(), c = call.Offset(), h = call.Offset();
  const unsigned shape = call.U8();
  const auto entries = static_cast<std::size_t>(std::clamp(count, 1, 4096));
  Bytes curves[3] = {fuzz::SomePixels(entries, shape), fuzz::SomePixels(entries, shape + 1),
                     fuzz::SomePixels(entries, shape + 2)};
  unsigned char* const r = shape % 8 == 0 ? nullptr : curves[0].data();
  hooks.controls = shape % 8 == 1;
  hooks.intent = ChooseIntent(call);
  hooks.input = ChooseInput(call);
  hooks.output = ChooseOutput(call);
  hooks.L = static_cast<int>(shape) - 128;
  const int result = slot.adjust(r, curves[1].data(), curves[2].data(), count, L, c, h);
  if (slot.section == nullptr && hooks.controls) {
    slot.model.SetIntent(hooks.intent, hooks.input, hooks.output);
  }
  FUZZ_CHECK(result == slot.model.output());
}

void CallConvert(Slot& slot, Input& call) {
  constexpr int kCounts[] = {0, -1, -2147483647 - 1, 1, 2, 3, 5, 17, 40};
  const int pixels = call.OneOf(kCounts);
  const std::size_t samples = 3 * static_cast<std::size_t>(std::max(pixels, 0));
  Bytes source = fuzz::SomePixels(2 * samples, call.U8());
  const Bytes sourceBefore = source;
  fuzz::GuardedBuffer destination(2 * samples);
  const Bytes before = destination.Contents();
  const unsigned way = call.U8() % 8;
  const auto convert = slot.section == nullptr && way % 2 == 0 ? KX_Icc_Convert : slot.convert;
  unsigned char* const from = way == 6 ? nullptr : source.data();
  unsigned char* const to = way == 7 ? nullptr : destination.data();
  const int result = convert(from, to, pixels);
  FUZZ_CHECK(result == (slot.model.IsUnusable() ? KX_RESULT_FAIL : KX_RESULT_OK));
  FUZZ_CHECK(source == sourceBefore && destination.GuardsHold());
  const bool runs = !slot.model.IsUnusable() && to != nullptr && pixels > 0;
  const std::size_t width = runs ? slot.model.DestinationWidth() : 0;
  const Bytes after = destination.Contents();
  FUZZ_CHECK(std::equal(after.begin() + static_cast<std::ptrdiff_t>(width * samples), after.end(),
                        before.begin() + static_cast<std::ptrdiff_t>(width * samples)));
  // Only what needs no source comes from none.
  if (from == nullptr && after != before) {
    fuzz::GuardedBuffer again(2 * samples);
    FUZZ_CHECK(convert(source.data(), again.data(), pixels) == result);
    FUZZ_CHECK(again.Contents() == after);
  }
  // In place the same comes out.
  if (width != slot.model.SourceWidth() || way >= 6) return;
  FUZZ_CHECK(convert(source.data(), source.data(), pixels) == result);
  FUZZ_CHECK(std::equal(after.begin(), after.begin() + static_cast<std::ptrdiff_t>(width * samples),
                        source.begin()));
}

void CallConvertFile(Slot& slot, Input& call) {
  const unsigned which = call.U8() % 5;
  Files& files = TheFiles();
  const char* const inputs[] = {files.tiff8.path(), files.tiff16.path(), files.scanner.path(),
                                "/nonexistent/scan.tif", nullptr};
  const Bytes marker = {'o', 'l', 'd'};
  files.output.Write(marker);
  const bool toNowhere = call.U8() % 8 == 0;
  const int result =
      slot.convertFile(inputs[which], toNowhere ? "/nonexistent/out.tif" : files.output.path());
  FUZZ_CHECK(result == slot.model.output());
  const bool unreadable = which >= 2 || toNowhere;
  if (slot.model.IsUnusable() || unreadable) FUZZ_CHECK(files.output.Contents() == marker);
}

void CallOther(Slot& slot, Input& call) {
  FUZZ_CHECK(KX_Icc_DeleteWorkingBuf() == kNotSet);
  const int initial = KX_Icc_Initial(call.Position());
  FUZZ_CHECK(initial == (Slots()[0].model.IsUnusable() ? kNotSet : KX_RESULT_UNUSED));
  FUZZ_CHECK(std::string(Name()) == "Icc");
  slot.model.Check();
}

}  // namespace

extern "C" {

int ConfigGetInt(const char* section, const char* key, int defaultValue) {
  const struct {
    const char* key;
    int value, defaultValue;
  } kKnown[] = {{"Control", hooks.controls ? 1 : 0, 0},
                {"Intent", hooks.intent, 0},
                {"InputColor", hooks.input, 0},
                {"OutputColor", hooks.output, 12},
                {"Adjust_L", hooks.L, 0},
                {"Adjust_c", hooks.c, 0},
                {"Adjust_h", hooks.h, 0}};
  FUZZ_CHECK(std::strcmp(section, "Icc") == 0);
  for (const auto& known : kKnown) {
    if (std::strcmp(key, known.key) != 0) continue;
    FUZZ_CHECK(defaultValue == known.defaultValue);
    return known.value;
  }
  std::fprintf(stderr, "undocumented key %s\n", key);
  std::abort();
}

int ConfigSetInt(const char* section, const char* key, int value) {
  hooks.reports.push_back(Report(section, key, std::to_string(value).c_str()));
  return 0;
}

int ConfigSetString(const char* section, const char* key, const char* value) {
  hooks.reports.push_back(Report(section, key, value));
  return 0;
}

int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input all(data, size);
  const std::size_t profileBytes = all.U16();
  const Bytes profile = all.Take(std::min(profileBytes, all.left()));
  const std::uint64_t claimed = fuzz::ClaimedBytes(fuzz::FileView(profile.data(), profile.size()));
  if (fuzz::IsLeftOut(data, size, claimed)) return 0;
  TheFiles().fuzzed.Write(profile);
  for (Slot& slot : Slots()) slot.model.Forget();

  for (unsigned calls = 0; all.left() > 0 && calls < kMaxCalls; ++calls) {
    const Bytes bytes = all.Take(kCallBytes);
    Input call(bytes.data(), bytes.size());
    const unsigned what = call.U8();
    Slot& slot = Slots()[what / 16 % 3];
    switch (what % 16) {
      case 0:
      case 1:
      case 2:
      case 3:
        CallSetProfile(slot, call);
        break;
      case 4:
      case 5:
        CallSetIntent(slot, call);
        break;
      case 6:
        CallAdjust(slot, call);
        break;
      case 7:
      case 8:
        CallConvertFile(slot, call);
        break;
      case 9:
        CallOther(slot, call);
        break;
      default:
        CallConvert(slot, call);
    }
    for (const Slot& each : Slots()) each.model.Check();
  }
  return 0;
}

}  // extern "C"
