#include <cstdint>
#include <limits>

#include "base/Limits.h"
#include "codes/ResultCodes.h"
#include "engine/CIccEngineS.h"
#include "engine/ConversionTypes.h"
#include "engine/Stopwatch.h"
#include "tiff/CTiff.h"
#include "tiff/ImageBytes.h"
#include "tiff/TiffLayout.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;
using KX_Tiff_STL3::CTiff;

namespace {

constexpr int kSamples = 3;
constexpr int kBits16 = 16;
constexpr int kAllocate = 1;

// Bytes per sample of the source image that a conversion touches: reads, and in place also writes.
// An engine without tables, or with a pair of codes that it does not convert, touches none.
int TouchedSampleBytes(const CIccEngineS& engine, bool inPlace) {
  if (engine.inLut0 == nullptr) return 0;
  if (engine.inputColor != RGB) return 2;
  const bool widens = engine.conversionType == kType8To16;
  if (!widens && engine.conversionType != kType8To8) return 0;
  return widens && inPlace ? 2 : 1;
}

// Whether the image's buffer holds width x length three-sample pixels of this depth, and their
// number is one that a conversion takes.
bool HoldsPixels(CTiff& image, unsigned width, unsigned length, int sampleBytes) {
  const std::uint64_t pixels = std::uint64_t{width} * length;
  return pixels <= std::numeric_limits<int>::max() &&
         pixels * kSamples * static_cast<unsigned>(sampleBytes) <= KX_Tiff_STL3::ImageBytes(image);
}

// Whether the new image of a conversion that is not done in place stays in proportion to the file.
// It does for every image that has all its pixels.
bool MayHoldNewImage(char const* inPath, unsigned width, unsigned length) {
  const std::uint64_t pixels = std::uint64_t{width} * length;
  return pixels * kSamples * (kBits16 / 8) <= ReaderLimit(FileSize(inPath));
}

}  // namespace

int CIccEngineS::Conversion(char const* inPath, char const* outPath) {
  CTiff source;
  CTiff newImage;
  if (source.ReadFile(inPath) < 0) return IccResultFail;
  const unsigned width = source.GetTagValue(KX_Tiff_STL3::ImageWidth);
  const unsigned length = source.GetTagValue(KX_Tiff_STL3::ImageLength);
  const unsigned bits = source.GetTagValue(KX_Tiff_STL3::BitsPerSample);
  const bool inPlace = bits == 8;
  if (!HoldsPixels(source, width, length, TouchedSampleBytes(*this, inPlace))) {
    return IccResultFail;
  }
  if (!inPlace && !MayHoldNewImage(inPath, width, length)) return IccResultFail;
  const int pixels = static_cast<int>(width * length);
  unsigned char* buffer = source.GetImageBuf();
  if (inPlace) {
    Stopwatch stopwatch;
    Conversion(buffer, buffer, pixels);
    stopwatch.Stop();
    // The embedded profile no longer describes the pixels.
    source.RemoveIcc();
    source.SaveFile(outPath);
  } else {
    newImage.CreateNew(static_cast<int>(width), static_cast<int>(length),
                       KX_Tiff_STL3::kNewImageResolution, kSamples, kBits16, kAllocate);
    Stopwatch stopwatch;
    Conversion(buffer, newImage.GetImageBuf(), pixels);
    stopwatch.Stop();
    newImage.SaveFile(outPath);
  }
  return IccResultOk;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
