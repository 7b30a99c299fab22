#include <array>
#include <memory>

#include "codes/ResultCodes.h"
#include "engine/FileConversion.h"
#include "fuzz/FuzzSupport.h"
#include "fuzz/ProfileView.h"
#include "fuzz/SampleFiles.h"
#include "fuzz/TiffView.h"
#include "tiff/CTiff.h"
#include "tiff/ImageBytes.h"
#include "tiff/PixelData.h"
#include "tiff/TagData.h"

// A TIFF file and a profile: the conversion says 0 or all ones; with all ones nothing is written,
// with 0 the output is readable and holds what the buffer conversion makes of the pixels. It is the
// same file whether the image is held as a whole or passed in pieces of any size.
//
// Input: intent and codes, way; length of the profile (2 bytes, 0 = a built-in one); the profile;
// the TIFF file.

namespace {

using namespace ICC40::ICCFILE;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::MemoryFile;
using ICC40::ICC_ENG_S4::CIccEngineS;
using KX_Tiff_STL3::CTiff;

constexpr std::size_t kChoiceBytes = 4;
constexpr unsigned kMaxEntries = 39;

struct Selection {
  int intent = -1, input = -1, output = -1;
  Bytes profile;
  bool operator==(const Selection&) const = default;
};

/// Engines set up before, so that only a new selection takes the time of a set-up.
CIccEngineS& EngineFor(const Selection& selection) {
  struct Slot {
    Selection selection;
    std::unique_ptr<CIccEngineS> engine;
  };
  static std::array<Slot, 48> slots;
  static std::size_t next = 0;
  for (Slot& slot : slots) {
    if (slot.engine && slot.selection == selection) return *slot.engine;
  }
  Slot& slot = slots[next++ % slots.size()];
  slot.selection = selection;
  if (!slot.engine) {
    slot.engine = std::make_unique<CIccEngineS>();
    omp_set_dynamic(0);
    omp_set_num_threads(1);
  }
  slot.engine->CheckCurrentProfile(nullptr, nullptr);
  slot.engine->iccFile.header = {};
  const MemoryFile profile(selection.profile);
  slot.engine->SetProfile(profile.path(), static_cast<Intent>(selection.intent),
                          static_cast<ColorSpaceSignature>(selection.input),
                          static_cast<ColorSpaceSignature>(selection.output), 0.0, 0.0, 0.0);
  return *slot.engine;
}

std::size_t ProfileBytesIn(const std::uint8_t* data, std::size_t size) {
  return size < kChoiceBytes ? 0 : data[2] + std::size_t{data[3]} * 256;
}

/// What the engine makes of the pixels in one buffer of 16-bit samples at most; as much of it as
/// the source buffer, the rest 0.
Bytes Converted(CIccEngineS& engine, const CTiff& source, std::uint64_t pixels, bool inPlace,
                std::size_t bufferBytes) {
  // As large as either side of a conversion can be.
  Bytes from(std::max<std::size_t>(pixels * 6, bufferBytes));
  std::copy_n(source.ImageBuf, bufferBytes, from.begin());
  Bytes to(inPlace ? 0 : pixels * 6);
  unsigned char* destination = inPlace ? from.data() : to.data();
  FUZZ_CHECK(engine.Conversion(from.data(), destination, static_cast<int>(pixels)) == 0);
  return inPlace ? from : to;
}

/// Saving reserves room, never written, for inline values of types 6..9: what follows is shifted.
/// A StripByteCounts among them loses the size of the pixels.
bool IsLaidOutAsDescribed(const CTiff& image) {
  return std::none_of(image.tags.begin(), image.tags.end(), [](const auto& tag) {
    return KX_Tiff_STL3::AlwaysGetsOffset(tag->type) && !KX_Tiff_STL3::IsOutOfLine(*tag) &&
           (tag->count > 0 || tag->tag == KX_Tiff_STL3::StripByteCounts);
  });
}

/// The tags of the source but for the first profile; reading may have appended RowsPerStrip.
void CheckTagsWithoutProfile(CTiff& source, CTiff& output) {
  source.RemoveIcc();
  FUZZ_CHECK(output.tags.size() >= source.tags.size());
  for (std::size_t i = 0; i < source.tags.size(); ++i) {
    FUZZ_CHECK(output.tags[i]->tag == source.tags[i]->tag);
    FUZZ_CHECK(output.tags[i]->count == source.tags[i]->count);
  }
  FUZZ_CHECK(output.tags.size() <= source.tags.size() + 1);
}

void CheckOutput(CIccEngineS& engine, CTiff& source, const MemoryFile& written) {
  CTiff output;
  const int result = output.ReadFile(written.path());
  const std::uint64_t width = source.GetTagValue(KX_Tiff_STL3::ImageWidth);
  const std::uint64_t length = source.GetTagValue(KX_Tiff_STL3::ImageLength);
  const bool inPlace = source.GetTagValue(KX_Tiff_STL3::BitsPerSample) == 8;
  const unsigned stripBytes = source.GetTagValue(KX_Tiff_STL3::StripByteCounts);
  if (inPlace) {
    // Files that the TIFF classes write otherwise than they describe them.
    if (source.tags.size() > kMaxEntries + 1 || result != 0 || !IsLaidOutAsDescribed(source))
      return;
    CheckTagsWithoutProfile(source, output);
    const Bytes expected = Converted(engine, source, width * length, true, stripBytes);
    // Of a strip that claims more than the pixels take, only those are read.
    const std::uint64_t kept =
        std::min<std::uint64_t>({stripBytes, output.GetTagValue(KX_Tiff_STL3::StripByteCounts),
                                 ChunkyBytes(KX_Tiff_STL3::GeometryOf(output))});
    if (source.GetTagValue(KX_Tiff_STL3::PlanarConfiguration) > 1) return;
    FUZZ_CHECK(std::equal(output.ImageBuf, output.ImageBuf + kept, expected.begin()));
    return;
  }
  FUZZ_CHECK(result == 0);
  FUZZ_CHECK(static_cast<std::uint64_t>(output.Width) == width || length * width == 0);
  FUZZ_CHECK(output.Samples == 3 && output.Bits == 16 && output.Resolution == 300);
  FUZZ_CHECK(output.GetTagValue(KX_Tiff_STL3::StripByteCounts) == width * length * 6);
  const Bytes expected = Converted(
      engine, source, width * length, false,
      std::max<std::size_t>(stripBytes, KX_Tiff_STL3::BytesOfRows(source.RowBytes, source.Length)));
  FUZZ_CHECK(std::equal(expected.begin(), expected.end(), output.ImageBuf));
}

/// `expected` is what the conversion has written, or was there before.
void CheckEveryWay(CIccEngineS& engine, const MemoryFile& input, int result, const Bytes& before,
                   const Bytes& expected, int piecePixels) {
  static MemoryFile other;
  other.Write(before);
  FUZZ_CHECK(ConvertWholeImage(engine, input.path(), other.path()) == result);
  FUZZ_CHECK(other.Contents() == expected);
  other.Write(before);
  const bool isInPieces = ConvertInPieces(engine, input.path(), other.path(), piecePixels);
  FUZZ_CHECK(!isInPieces || result == IccResultOk);
  FUZZ_CHECK(other.Contents() == (isInPieces ? expected : before));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

// Most mutations change the TIFF file alone, so that an engine at hand serves.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned int seed) {
  const std::size_t tiffAt = kChoiceBytes + ProfileBytesIn(data, size);
  if (seed % 256 == 0 || tiffAt >= size) return LLVMFuzzerMutate(data, size, maxSize);
  return tiffAt + LLVMFuzzerMutate(data + tiffAt, size - tiffAt, maxSize - tiffAt);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile input, output;
  // A dozen, so that the engines at hand serve most inputs.
  constexpr struct {
    int intent, input, output;
  } kSelections[] = {{0, RGB, sRGB},       {0, RGB_16, sRGB_16},    {1, RGB, Adobe_16},
                     {3, RGB, sRGB100},    {3, RGB_16, Apple},      {2, RGB, ColorMatch100},
                     {2, RGB_16, sRGB_16}, {0, RGB, sRGB_KodakMix}, {1, RGB_16, Lab},
                     {0, Lab, sRGB},       {0, RGB, CMYK},          {0, RGB_16, 65535}};
  Input all(data, size);
  Selection selection;
  const auto& chosen = kSelections[all.U8() % std::size(kSelections)];
  selection.intent = chosen.intent;
  selection.input = chosen.input;
  selection.output = chosen.output;
  const bool intoItself = all.U8() % 16 == 0;
  const unsigned profileBytes = all.U16();
  if (profileBytes >= all.left()) return 0;
  if (profileBytes == 0) {
    selection.profile = selection.intent == 2 ? fuzz::PlainProfile() : fuzz::ScannerProfile();
  } else {
    selection.profile = all.Take(profileBytes);
  }
  const fuzz::FileView profile(selection.profile.data(), selection.profile.size());
  const Bytes tiff = all.Rest();
  const std::uint64_t claimed =
      fuzz::ClaimedBytes(profile) + fuzz::TiffView(tiff.data(), tiff.size()).ClaimedBytes();
  if (fuzz::IsLeftOut(data, size, claimed)) return 0;
  input.Write(tiff);
  const Bytes marker = {'o', 'l', 'd'};
  output.Write(marker);

  CIccEngineS& engine = EngineFor(selection);
  CTiff source;
  const int readable = source.ReadFile(input.path());
  const MemoryFile& target = intoItself ? input : output;
  const int result = engine.Conversion(input.path(), target.path());
  FUZZ_CHECK(result == IccResultOk || result == IccResultFail);
  FUZZ_CHECK(readable >= 0 || result == IccResultFail);
  if (result == IccResultFail) {
    FUZZ_CHECK(target.Contents() == (intoItself ? tiff : marker));
  } else {
    CheckOutput(engine, source, target);
  }
  FUZZ_CHECK(intoItself || input.Contents() == tiff);
  if (!intoItself) {
    const int piecePixels = 1 + static_cast<int>(tiff.size() % 61);
    CheckEveryWay(engine, input, result, marker, target.Contents(), piecePixels);
  }
  return 0;
}
