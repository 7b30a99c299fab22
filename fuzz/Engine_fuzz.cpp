#include <array>
#include <cmath>

#include "base/CpuLevel.h"
#include "codes/ResultCodes.h"
#include "engine/CIccEngineS.h"
#include "engine/EnginePipeline.h"
#include "fuzz/FuzzSupport.h"
#include "fuzz/PlainWorker.h"
#include "fuzz/ProfileView.h"
#include "pipeline/kernels/Kernels.h"

// A profile's bytes, codes and a few calls: the engine says what it promises to say, converts as
// the plain per-pixel rule does, in place as elsewhere, and never outside the buffers.
//
// Input: 40 bytes of choices (see Choices), then the profile.

namespace {

using namespace ICC40::ICCFILE;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::MemoryFile;
using namespace ICC40::ICC_ENG_S4;
using ICC40::CpuLevel;
using ICC40::SupportedCpuLevel;

constexpr std::size_t kChoiceBytes = 40;

constexpr int kOddCodes[] = {2,  3,  4,  6,  14,  16,    18,    32,         33,
                             40, -1, 41, 99, 256, 65534, 65535, 2147483647, -2147483647};

bool IsOutputCode(int code) {
  return (code >= 8 && code <= 13) || (code >= 20 && code <= 31) || (code >= 34 && code <= 39);
}

int ChooseOutput(Input& choices) {
  const unsigned drawn = choices.U8();
  if (drawn >= 224) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn % 40);
}

int ChooseInput(Input& choices) {
  const unsigned drawn = choices.U8();
  if (drawn >= 240) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn & 1);
}

int ChooseIntent(Input& choices) {
  const unsigned drawn = choices.U8();
  if (drawn >= 248) return kOddCodes[drawn % std::size(kOddCodes)];
  return static_cast<int>(drawn & 3);
}

CIccEngineS& TheEngine() {
  // Constructed once: it takes megabytes. `Forget` makes every run begin alike.
  static CIccEngineS engine;
  return engine;
}

/// As newly constructed, but for the inline tables: nothing reads those while there are no input
/// tables.
void Forget(CIccEngineS& engine) {
  engine.Reset();
  engine.CheckCurrentProfile(nullptr, nullptr);
  engine.iccFile.Reset();
  engine.iccFile.header = {};
  engine.engineStatus = IccResultNotSet;
  engine.intent = Percepture;
}

void CheckInputTables(const CIccEngineS& engine) {
  const bool present = engine.inLut0 != nullptr;
  FUZZ_CHECK(present == (engine.inLut1 != nullptr) && present == (engine.inLut2 != nullptr));
  if (!present) return;
  for (const std::span<const unsigned> table : TablesOf(engine).input) {
    FUZZ_CHECK(table.size() == 256 || table.size() == 65536);
    for (std::size_t level = 0; level < table.size(); level += table.size() == 256 ? 1 : 61) {
      FUZZ_CHECK(table[level] >> 16 < 16 && (table[level] & 0xFFFF) < 4096);
    }
  }
}

/// Sample widths in bytes of what a conversion reads and writes; 0 where it does nothing.
struct Widths {
  std::size_t source, destination;
};

Widths WidthsOf(const CIccEngineS& engine) {
  if (engine.inLut0 == nullptr) return {0, 0};
  if (engine.inputColor != RGB) return {2, 2};
  if (engine.conversionType == 257) return {1, 1};
  if (engine.conversionType == 258) return {1, 2};
  return {0, 0};
}

/// Every worker that this processor runs, not only the one that a conversion chooses.
void CheckWorkers(const CIccEngineS& engine, PixelFormat format, const Bytes& source,
                  const Bytes& expected, int pixels) {
  if (pixels < 1) return;
  constexpr struct {
    CpuLevel level;
    const KernelSet* kernels;
  } kSets[] = {
    {CpuLevel::kPortable, &kPortableKernels},
#if defined(__x86_64__)
    {CpuLevel::kAvx2, &kAvx2Kernels},
    {CpuLevel::kAvx512, &kAvx512Kernels},
#endif
  };
  for (const auto& set : kSets) {
    if (SupportedCpuLevel() < set.level) continue;
    const auto tables =
        WorkerTables::Make(TablesOf(engine), {}, format, set.kernels->readsCoordinatePairs);
    if (tables->compact() == nullptr) return;
    const PixelWorker convert(*tables->compact(), format, *set.kernels);
    // A copy of its own, so that a sanitizer sees where the pixels end.
    const Bytes exact = source;
    fuzz::GuardedBuffer destination(expected.size());
    convert(exact.data(), destination.data(), 0, pixels);
    FUZZ_CHECK(destination.GuardsHold() && destination.Contents() == expected);
  }
}

/// Programs may write into the auxiliary tables, which are as large as the input tables.
void WriteAuxiliaries(const CIccEngineS& engine, std::uint32_t seed) {
  unsigned int* const arrays[] = {engine.inLutAux0, engine.inLutAux1, engine.inLutAux2};
  for (unsigned int* array : arrays) FUZZ_CHECK((array != nullptr) == (engine.inLut0 != nullptr));
  if (engine.inLut0 == nullptr || seed % 2 == 0) return;
  const Bytes words = fuzz::SomePixels(4 * 256, seed);
  std::memcpy(arrays[seed / 2 % 3], words.data(), words.size());
}

void CheckConversion(CIccEngineS& engine, int pixels, std::uint32_t seed) {
  WriteAuxiliaries(engine, seed);
  const Widths widths = WidthsOf(engine);
  const std::size_t samples = 3 * static_cast<std::size_t>(std::max(pixels, 0));
  const Bytes source = fuzz::SomePixels(2 * samples, seed);
  Bytes given(source.begin(),
              source.begin() +
                  static_cast<std::ptrdiff_t>(samples * std::max<std::size_t>(widths.source, 1)));
  const Bytes unchanged = given;

  fuzz::GuardedBuffer separate(2 * samples);
  const Bytes before = separate.Contents();
  FUZZ_CHECK(engine.Conversion(given.data(), separate.data(), pixels) == 0);
  FUZZ_CHECK(given == unchanged && separate.GuardsHold());
  Bytes expected = before;
  if (widths.source != 0) {
    fuzz::ConvertPlainly(engine, widths.source, widths.destination, given, expected);
  }
  FUZZ_CHECK(separate.Contents() == expected);

  if (widths.source == widths.destination && widths.source != 0) {
    fuzz::GuardedBuffer inPlace(given.size());
    std::copy(given.begin(), given.end(), inPlace.data());
    FUZZ_CHECK(engine.Conversion(inPlace.data(), inPlace.data(), pixels) == 0);
    FUZZ_CHECK(inPlace.GuardsHold());
    FUZZ_CHECK(std::equal(given.begin(), given.end(), inPlace.data(),
                          [&, i = std::size_t{0}](unsigned char, unsigned char now) mutable {
                            return now == expected[i++];
                          }));
  }

  // From 8 to 16 bits by the overload, whatever the codes say.
  fuzz::GuardedBuffer wide(2 * samples);
  Bytes narrow(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(samples));
  auto* words = reinterpret_cast<unsigned short*>(wide.data());
  FUZZ_CHECK(engine.Conversion(narrow.data(), words, pixels) == 0);
  FUZZ_CHECK(wide.GuardsHold());
  Bytes expectedWide = before;
  if (engine.inLut0 != nullptr) {
    fuzz::ConvertStandard(engine, 1, 2, narrow, expectedWide);
    CheckWorkers(engine, PixelFormat::k8To16, narrow, expectedWide, pixels);
    Bytes expectedNarrow(samples);
    fuzz::ConvertStandard(engine, 1, 1, narrow, expectedNarrow);
    CheckWorkers(engine, PixelFormat::k8To8, narrow, expectedNarrow, pixels);
    Bytes expected16(2 * samples);
    fuzz::ConvertStandard(engine, 2, 2, source, expected16);
    CheckWorkers(engine, PixelFormat::k16To16, source, expected16, pixels);
  }
  FUZZ_CHECK(wide.Contents() == expectedWide);

  FUZZ_CHECK(engine.Conversion(nullptr, separate.data(), pixels) == 0);
  FUZZ_CHECK(engine.Conversion(given.data(), static_cast<unsigned char*>(nullptr), pixels) == 0);
  FUZZ_CHECK(separate.Contents() == expected);
}

/// What an engine that was just given these codes may report.
void CheckStatus(const CIccEngineS& engine, int input, int output, bool built) {
  FUZZ_CHECK(engine.inputColor == input);
  if (built) {
    FUZZ_CHECK(engine.outputColor == (IsOutputCode(output) ? output : IccResultNotSet));
  } else {
    FUZZ_CHECK(engine.outputColor == output);
  }
}

void SelectIntent(CIccEngineS& engine, Input& choices) {
  const int intent = ChooseIntent(choices);
  const int input = ChooseInput(choices);
  const int output = ChooseOutput(choices);
  const bool same =
      engine.inputColor == input && engine.intent == intent && engine.outputColor == output;
  const int result =
      engine.SetIntent(static_cast<Intent>(intent), static_cast<ColorSpaceSignature>(input),
                       static_cast<ColorSpaceSignature>(output), 1.0, 2.0, 3.0);
  FUZZ_CHECK(engine.intent == intent);
  if (same) {
    FUZZ_CHECK(result == output && engine.outputColor == output);
    return;
  }
  const bool built = result != IccResultNotSet || engine.outputColor == IccResultNotSet;
  if (built && output != IccResultNotSet) {
    CheckStatus(engine, input, output, true);
  } else {
    CheckStatus(engine, input, output, false);
  }
}

void AdjustColors(CIccEngineS& engine, Input& choices) {
  const double L = choices.Offset(), c = choices.Offset(), h = choices.Offset();
  const int output = engine.outputColor;
  const int result = engine.Adjust_Lch(L, c, h);
  FUZZ_CHECK(result == output || result == IccResultNotSet);
  FUZZ_CHECK(engine.outputColor == output);
  if (std::abs(L) < 2147483647.0) FUZZ_CHECK(engine.adjustL == static_cast<int>(L));
  if (std::abs(c) < 2147483647.0) FUZZ_CHECK(engine.adjustC == static_cast<int>(c));
  if (std::abs(h) < 2147483647.0) FUZZ_CHECK(engine.adjustH == static_cast<int>(h));
  // Nothing changes the second time.
  const unsigned first = engine.cells[3][7][11][2][5];
  FUZZ_CHECK(engine.Adjust_Lch(L, c, h) == output);
  FUZZ_CHECK(engine.cells[3][7][11][2][5] == first);
}

void AdjustOutput(CIccEngineS& engine, Input& choices) {
  constexpr int kCounts[] = {1,    2,    3,    4,    16,    255, 256, 257,
                             1024, 4095, 4096, 5000, 65536, -1,  -300};
  const int count = choices.OneOf(kCounts);
  // Exactly the entries that may be read.
  const auto entries = static_cast<std::size_t>(std::clamp(count, 0, 4096));
  std::array<Bytes, 3> curves;
  const unsigned shape = choices.U8();
  for (std::size_t c = 0; c < 3; ++c) {
    curves[c] = fuzz::SomePixels(entries, shape + static_cast<unsigned>(c));
    if ((shape & 3) == 0) std::sort(curves[c].begin(), curves[c].end());
  }
  const auto copies = curves;
  const int output = engine.outputColor;
  const int result = engine.Adjust_Output(curves[0].data(), curves[1].data(), curves[2].data(),
                                          entries == 0 && count > 0 ? 0 : count);
  FUZZ_CHECK(result == output || result == IccResultNotSet);
  FUZZ_CHECK(engine.outputColor == output && curves == copies);
}

void RunCall(CIccEngineS& engine, Input choices) {
  switch (choices.U8() % 4) {
    case 0:
      return SelectIntent(engine, choices);
    case 1:
      return AdjustColors(engine, choices);
    case 2:
      return AdjustOutput(engine, choices);
    default: {
      unsigned char curve[1] = {7};
      const int output = engine.outputColor;
      FUZZ_CHECK(engine.Adjust_Output(nullptr, curve, curve, 1) == output);
      FUZZ_CHECK(engine.Adjust_Output(curve, curve, curve, 0) == output);
      FUZZ_CHECK(engine.Initial(choices.Position()) == IccResultUnused);
      FUZZ_CHECK(engine.DeleteWorkingBuf() == IccResultUnused);
      if (choices.U8() % 2 == 0) return;
      // The codes that it leaves are not built for.
      engine.Reset();
      FUZZ_CHECK(engine.SetIntent(static_cast<Intent>(engine.intent),
                                  static_cast<ColorSpaceSignature>(kNoColorCode),
                                  static_cast<ColorSpaceSignature>(kNoColorCode), 0.0, 0.0,
                                  0.0) == IccResultNotSet);
      FUZZ_CHECK(engine.inLut0 == nullptr && engine.outputColor == kNoColorCode);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  TheEngine();
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile profile;
  Input all(data, size);
  const Bytes head = all.Take(kChoiceBytes);
  const Bytes file = all.Rest();
  const std::uint64_t claimed = fuzz::ClaimedBytes(fuzz::FileView(file.data(), file.size()));
  if (fuzz::IsLeftOut(data, size, claimed)) return 0;
  profile.Write(file);

  Input choices(head.data(), head.size());
  const int intent = ChooseIntent(choices);
  const int input = ChooseInput(choices);
  const int output = ChooseOutput(choices);
  const bool withOffsets = choices.U8() % 4 == 0;
  const double L = choices.Offset(), c = choices.Offset(), h = choices.Offset();
  const int pixels = static_cast<int>(choices.U8() % 80) - 1;
  const std::uint32_t seed = choices.U8();
  const unsigned calls = choices.U8() % 3;

  CIccEngineS& engine = TheEngine();
  Forget(engine);
  const auto select = [&] {
    return engine.SetProfile(profile.path(), static_cast<Intent>(intent),
                             static_cast<ColorSpaceSignature>(input),
                             static_cast<ColorSpaceSignature>(output), withOffsets ? L : 0.0,
                             withOffsets ? c : 0.0, withOffsets ? h : 0.0);
  };
  const int result = select();
  const bool accepted = input == RGB || input == RGB_16;
  FUZZ_CHECK(result == (accepted ? IccResultOk : IccResultInputColor));
  if (accepted) {
    CheckStatus(engine, input, output, engine.inLut0 != nullptr);
    // Without a usable lookup tag the status tells, and only that.
    FUZZ_CHECK(engine.inLut0 != nullptr || engine.engineStatus == IccResultNotSet);
  } else {
    FUZZ_CHECK(engine.outputColor == IccResultNotSet && engine.inLut0 == nullptr);
  }
  CheckInputTables(engine);
  CheckConversion(engine, pixels, seed);

  // The same selection again changes nothing while the engine is usable.
  const unsigned* const tables = engine.inLut0;
  if (engine.outputColor != IccResultNotSet) {
    FUZZ_CHECK(select() == IccResultOk && engine.inLut0 == tables);
  }

  constexpr std::size_t kCallBytes = 12;
  for (unsigned i = 0; i < calls; ++i) {
    const std::size_t at = 12 + i * kCallBytes;
    RunCall(engine, Input(head.data() + at, kCallBytes));
    CheckInputTables(engine);
    CheckConversion(engine, pixels, seed + i + 1);
  }
  return 0;
}
