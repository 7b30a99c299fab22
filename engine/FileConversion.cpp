#include <cstdint>
#include <limits>

#include "engine/CIccEngineS.h"
#include "engine/Stopwatch.h"
#include "interface/ResultCodes.h"
#include "tiff/CTiff.h"
#include "tiff/ImageBytes.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;
using KX_Tiff_STL3::CTiff;

namespace {

constexpr int kResolution = 300;
constexpr int kSamples = 3;
constexpr int kBits16 = 16;
constexpr int kAllocate = 1;

// Bytes that a conversion in the source image's own buffer reads and writes per sample.
int InPlaceSampleBytes(const CIccEngineS& engine) {
  const bool is8To8 = engine.inputColor == RGB && (engine.conversionType & 0xFF) == 1;
  return is8To8 ? 1 : 2;
}

int SourceSampleBytes(const CIccEngineS& engine) {
  return engine.inputColor == RGB ? 1 : 2;
}

// Whether the image's buffer holds width x length three-sample pixels of this depth, and their
// number is one that a conversion takes.
bool HoldsPixels(CTiff& image, unsigned width, unsigned length, int sampleBytes) {
  const std::uint64_t pixels = std::uint64_t{width} * length;
  return pixels <= std::numeric_limits<int>::max() && image.GetImageBuf() != nullptr &&
         pixels * kSamples * sampleBytes <= KX_Tiff_STL3::ImageBytes(image);
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
  if (!HoldsPixels(source, width, length,
                   inPlace ? InPlaceSampleBytes(*this) : SourceSampleBytes(*this))) {
    return IccResultFail;
  }
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
    newImage.CreateNew(static_cast<int>(width), static_cast<int>(length), kResolution, kSamples,
                       kBits16, kAllocate);
    Stopwatch stopwatch;
    Conversion(buffer, newImage.GetImageBuf(), pixels);
    stopwatch.Stop();
    newImage.SaveFile(outPath);
  }
  return IccResultOk;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
