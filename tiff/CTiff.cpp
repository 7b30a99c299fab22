#include "CTiff.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <span>

#include "../base/Diagnostics.h"
#include "../base/FileStream.h"
#include "../base/Limits.h"
#include "PixelData.h"
#include "TagData.h"
#include "TiffResults.h"

namespace KX_Tiff_STL3 {
namespace {

constexpr char const* kNoProfileFile =
    " *** CTiff::SetIccProfile() --> Icc Profile open Fail. *** ";
constexpr unsigned kInch = 2;

unsigned Photometric(int samples) {
  switch (samples) {
    case 3:
      return 2;  // RGB
    case 4:
      return 5;  // separated, CMYK
    case 6:
    case 7:
      return 0;
    default:
      return 1;  // black is zero
  }
}

/// StripByteCounts of a new image, or 0 for a size that is negative or needs more than 32 bits.
unsigned NewStripBytes(int width, int length, int samples, int bits) {
  const double stripBytes = std::ceil(static_cast<double>(width) * bits * 0.125) * length * samples;
  const bool fits = stripBytes >= 0 && stripBytes <= std::numeric_limits<unsigned>::max();
  return fits ? static_cast<unsigned>(stripBytes) : 0;
}

/// Bytes of a run of pixels; a 32-bit product, so it can be negative.
int RunBytes(const CTiff& image, int pixels) {
  const unsigned runBits = static_cast<unsigned>(image.Samples) * static_cast<unsigned>(pixels) *
                           static_cast<unsigned>(image.Bits);
  return static_cast<int>(runBits) >> 3;
}

int ClampIndex(std::int64_t index, int size) {
  if (index <= 0 || size <= 0) return 0;
  return static_cast<int>(std::min<std::int64_t>(index, size - 1));
}

std::int64_t PixelOffset(const CTiff& image, int x, std::int64_t y) {
  // Unsigned so that absurd dimensions wrap instead of overflowing.
  const auto xBits = static_cast<std::uint64_t>(std::int64_t{image.Samples} * x) *
                     static_cast<std::uint64_t>(std::int64_t{image.Bits});
  return (static_cast<std::int64_t>(xBits) >> 3) + y * image.RowBytes;
}

/// The rows of an image; empty without a buffer.
std::span<unsigned char> PixelsOf(const CTiff& image) {
  if (!image.ImageBuf) return {};
  return {image.ImageBuf, BytesOfRows(image.RowBytes, image.Length)};
}

/// The part of `bytes` that a run of `sizeBytes` at `offset` covers; empty for an offset outside.
std::span<unsigned char> Run(std::span<unsigned char> bytes, std::int64_t offset, int sizeBytes) {
  if (offset < 0 || sizeBytes <= 0 || static_cast<std::uint64_t>(offset) >= bytes.size()) return {};
  const auto tail = bytes.subspan(static_cast<std::size_t>(offset));
  return tail.first(std::min(tail.size(), static_cast<std::size_t>(sizeBytes)));
}

/// The bytes of row `row` (clamped) that `GetRow` and `PutRow` copy.
std::span<unsigned char> RowRun(const CTiff& image, std::int64_t row, int pixels) {
  const std::int64_t rowStart = std::int64_t{ClampIndex(row, image.Length)} * image.RowBytes;
  return Run(PixelsOf(image), rowStart, pixels == 0 ? image.RowBytes : RunBytes(image, pixels));
}

int CopyFromRow(const CTiff& image, void* dst, int row, int pixels) {
  const auto run = RowRun(image, row, pixels);
  if (dst && !run.empty()) std::memmove(dst, run.data(), run.size());
  return pixels;
}

int CopyToRow(const CTiff& image, const void* src, int row, int pixels) {
  const auto run = RowRun(image, row, pixels);
  if (src && !run.empty()) std::memmove(run.data(), src, run.size());
  return pixels;
}

bool HasRectangleDepth(const CTiff& image) {
  return image.Bits == 8 || image.Bits == 16;
}

/// `sampleBytes` is the caller's: it alone decides where a row is entered, whatever the depth.
int CopyFromRectangle(const CTiff& image, unsigned char* dst, int x, int y, int width, int height,
                      int sampleBytes) {
  if (!HasRectangleDepth(image)) return kUnsupportedDepth;
  const std::int64_t runBytes = RunBytes(image, width);
  const auto enterSample =
      static_cast<int>(static_cast<unsigned>(image.Samples) * static_cast<unsigned>(x));
  const std::int64_t enter = std::int64_t{enterSample} * sampleBytes;
  // What lies left or right of the row is left as it is in `dst`.
  const std::int64_t first = std::max<std::int64_t>(enter, 0);
  const std::int64_t last = std::min<std::int64_t>(enter + runBytes, image.RowBytes);
  if (!dst || first >= last) return 0;
  for (int i = 0; i < height; ++i) {
    const auto row = RowRun(image, std::int64_t{y} + i, 0);
    const auto run = Run(row, first, static_cast<int>(last - first));
    if (run.empty()) return 0;
    std::memmove(dst + (first - enter), run.data(), run.size());
    dst += runBytes;
  }
  return 0;
}

int CopyToRectangle(const CTiff& image, const void* src, int x, int y, int width, int height) {
  if (!HasRectangleDepth(image)) return kUnsupportedDepth;
  const auto pixels = PixelsOf(image);
  const int runBytes = RunBytes(image, width);
  if (!src || pixels.empty() || runBytes <= 0) return 0;
  const auto* from = static_cast<const unsigned char*>(src);
  const int column = ClampIndex(x, image.Width);
  for (int i = 0; i < height; ++i) {
    const int row = ClampIndex(std::int64_t{y} + i, image.Length);
    const auto run = Run(pixels, PixelOffset(image, column, row), runBytes);
    if (!run.empty()) std::memmove(run.data(), from, run.size());
    from += runBytes;
  }
  return 0;
}

/// Address of a pixel with clamped coordinates; the start of the buffer in an image without pixels.
unsigned char* PixelAddress(const CTiff& image, int x, int y) {
  const auto pixel = Run(PixelsOf(image), PixelOffset(image, x, y), 1);
  return pixel.empty() ? image.ImageBuf : pixel.data();
}

/// `Tiff::ReadTiff` and, after success, the fields of the image; failures are printed.
int ReadAndReport(CTiff& image, FILE* file) {
  try {
    if (const int result = image.Tiff::ReadTiff(file)) return result;
    image.Width = static_cast<int>(image.GetTagValue(ImageWidth));
    image.Length = static_cast<int>(image.GetTagValue(ImageLength));
    image.Samples = static_cast<int>(image.GetTagValue(SamplesPerPixel));
    image.Bits = static_cast<int>(image.GetTagValue(BitsPerSample));
    image.RowBytes = BytesPerRow(image.Bits, image.Width, image.Samples);
    image.Resolution = static_cast<int>(image.GetTagValue(XResolution));
    image.ImageBuf = image.GetTag(StripOffsets)->data;
    return 0;
  } catch (char const* message) {
    PrintLine({"*** ", message ? message : "", " Open Error. ***"});
    return kOpenFailed;
  } catch (const ErrCode& failure) {
    PrintLine({"Tiff Read Filer Error:", Decimal(failure.code)});
    return failure.code;
  } catch (...) {
    PrintLine({"*** CTiff::ReadFile() --> unknown Error. ***"});
    return kUnknownFailure;
  }
}

/// A read that failed may have released the pixels of the image before it.
void ForgetFreedPixels(CTiff& image) {
  const auto strips = image.GetTag(StripOffsets);
  const bool held = strips && HoldsPixels(*strips) && strips->data == image.ImageBuf;
  if (!held) image.ImageBuf = nullptr;
}

}  // namespace

CTiff::CTiff()
    : Width(0), Length(0), Samples(0), Bits(0), RowBytes(0), Resolution(0), ImageBuf(nullptr) {}

CTiff::CTiff(char const* path) : CTiff() {
  CTiff::ReadFile(path);
}

CTiff::CTiff(int width, int length, int resolution, int samples, int bits, int allocate) : CTiff() {
  CreateNew(width, length, resolution, samples, bits, allocate);
}

CTiff::~CTiff() = default;

int CTiff::ReadFile(char const* path) {
  try {
    Reset();
    ImageBuf = nullptr;
    const OwnedStream file = OpenForReading(path);
    if (!file) throw path;
    return ReadTiff(file.get());
  } catch (char const* message) {
    PrintLine({message ? message : "", " Open fail."});
    return kOpenFailed;
  } catch (const ErrCode& failure) {
    PrintLine({"Tiff Open fail, Error Code:", Decimal(failure.code)});
    return failure.code;
  } catch (...) {
    PrintLine({"Tiff Open fail, Unknown Error"});
    return kOpenFailed;
  }
}

int CTiff::ReadTiff(FILE* file) {
  const int result = ReadAndReport(*this, file);
  if (result != 0) ForgetFreedPixels(*this);
  return result;
}

int CTiff::CreateNew(int width, int length, int resolution, int samples, int bits, int allocate) {
  Reset();
  ImageBuf = nullptr;
  const unsigned stripBytes = NewStripBytes(width, length, samples, bits);
  const auto dotsPerInch = static_cast<unsigned>(resolution);
  const struct {
    TiffTagSignature tag;
    unsigned short type;
    unsigned count;
    unsigned value;
  } kTags[] = {
      {NewSubfileType, TIFF_LONG, 1, 0},
      {ImageWidth, TIFF_LONG, 1, static_cast<unsigned>(width)},
      {ImageLength, TIFF_LONG, 1, static_cast<unsigned>(length)},
      {BitsPerSample, TIFF_SHORT, static_cast<unsigned>(samples), static_cast<unsigned>(bits)},
      {Compression, TIFF_SHORT, 1, kUncompressed},
      {PhotometricInterpretation, TIFF_SHORT, 1, Photometric(samples)},
      {SamplesPerPixel, TIFF_SHORT, 1, static_cast<unsigned>(samples)},
      {RowsPerStrip, TIFF_LONG, 1, static_cast<unsigned>(length)},
      {StripByteCounts, TIFF_LONG, 1, stripBytes},
      {StripOffsets, TIFF_LONG, 1, 0},
      {XResolution, TIFF_RATIONAL, 1, dotsPerInch},
      {YResolution, TIFF_RATIONAL, 1, dotsPerInch},
      {ResolutionUnit, TIFF_SHORT, 1, kInch},
      {PlanarConfiguration, TIFF_SHORT, 1, kChunky},
      {IccProfile, TIFF_UNDEFINED, 0, 0},
  };
  static_assert(std::size(kTags) == kNewImageTags);
  for (const auto& row : kTags) SetTag(row.tag, row.type, row.count, row.value, nullptr);

  const int rowBytes = BytesPerRow(bits, width, samples);
  const std::uint64_t bufferBytes =
      std::max<std::uint64_t>(stripBytes, BytesOfRows(rowBytes, length));
  const auto strips = GetTag(StripOffsets);
  if (strips && allocate == 1 && bufferBytes <= std::numeric_limits<std::uint32_t>::max()) {
    auto pixels = UnfilledPixels(bufferBytes);
    std::fill_n(pixels.get(), bufferBytes, static_cast<unsigned char>(0));
    HoldPixels(*strips, pixels.release(), bufferBytes);
    ImageBuf = strips->data;
  }
  Width = width;
  Length = length;
  Samples = samples;
  Bits = bits;
  Resolution = resolution;
  RowBytes = rowBytes;
  return 0;
}

int CTiff::CreateNew(int width, int length, int resolution, int samples, int bits,
                     char const* rawPath) {
  const OwnedStream file = OpenForReading(rawPath);
  if (!file) {
    PrintLine({"*** CTiff::CreateNew() --> Create File Fail *** "});
    return kOpenFailed;
  }
  CreateNew(width, length, resolution, samples, bits, 1);
  const auto pixels = PixelsOf(*this);
  if (!pixels.empty()) {
    static_cast<void>(std::fread(pixels.data(), 1, pixels.size(), file.get()));
  }
  return 0;
}

int CTiff::CreateNew(int width, int length, int resolution, int samples, int bits,
                     char const* rawPath, char const* tiffPath) {
  CreateNew(width, length, resolution, samples, bits, rawPath);
  SaveFile(tiffPath);
  return 0;
}

int CTiff::SetTag(TiffTagSignature number, unsigned short type, unsigned count, unsigned value,
                  unsigned char* /*data*/) {
  return Tiff::SetTag(CreateTag(unsigned{type} << 16 | number, count, value, nullptr));
}

int CTiff::SetTagValue(TiffTagSignature number, unsigned value) {
  return Tiff::SetTagValue(number, value);
}

unsigned char* CTiff::GetImageBuf() {
  return ImageBuf;
}

void CTiff::SetImageBuf(unsigned char* buffer, bool release) {
  const auto strips = GetTag(StripOffsets);
  if (!strips) return;
  if (release && strips->data != buffer) delete[] strips->data;
  HoldPixels(*strips, buffer, BytesOfRows(RowBytes, Length));
  ImageBuf = buffer;
}

void CTiff::ForgetImageBuf() {
  if (const auto strips = GetTag(StripOffsets)) strips->data = nullptr;
  ImageBuf = nullptr;
}

int CTiff::GetRow(unsigned char* dst, int row, int pixels) {
  return CopyFromRow(*this, dst, row, pixels);
}

int CTiff::GetRow(unsigned short* dst, int row, int pixels) {
  return CopyFromRow(*this, dst, row, pixels);
}

int CTiff::PutRow(unsigned char* src, int row, int pixels) {
  return CopyToRow(*this, src, row, pixels);
}

int CTiff::PutRow(unsigned short* src, int row, int pixels) {
  return CopyToRow(*this, src, row, pixels);
}

int CTiff::GetRowColumn(unsigned char* dst, int x, int y, int width, int height) {
  return CopyFromRectangle(*this, dst, x, y, width, height, sizeof *dst);
}

int CTiff::GetRowColumn(unsigned short* dst, int x, int y, int width, int height) {
  return CopyFromRectangle(*this, reinterpret_cast<unsigned char*>(dst), x, y, width, height,
                           sizeof *dst);
}

int CTiff::SetRowColumn(unsigned char* src, int x, int y, int width, int height) {
  return CopyToRectangle(*this, src, x, y, width, height);
}

int CTiff::SetRowColumn(unsigned short* src, int x, int y, int width, int height) {
  return CopyToRectangle(*this, src, x, y, width, height);
}

unsigned char* CTiff::GetXY(int x, int y) {
  return PixelAddress(*this, ClampIndex(x, Width), ClampIndex(y, Length));
}

// Rows past either end do not follow the bottom-up order: above the range gives the bottom row in
// memory order, below it the top row. Kept so that results stay identical.
unsigned char* CTiff::GetXY_M(int x, int y) {
  const int row = y >= 0 && y < Length ? Length - 1 - y : ClampIndex(y, Length);
  return PixelAddress(*this, ClampIndex(x, Width), row);
}

unsigned char* CTiff::GetXY_Q(int x, int y) {
  return ImageBuf ? ImageBuf + PixelOffset(*this, x, y) : nullptr;
}

unsigned char* CTiff::GetXY_MQ(int x, int y) {
  return ImageBuf ? ImageBuf + PixelOffset(*this, x, std::int64_t{Length} - 1 - y) : nullptr;
}

int CTiff::SetIccProfile(char* path) {
  const OwnedStream file = OpenForReading(path);
  if (!file) throw kNoProfileFile;
  unsigned char size[4];
  ReadAt(file.get(), 0, size, sizeof size);
  // The first field of an ICC header is big-endian (ICC.1:2010 7.2.2).
  const std::uint32_t profileBytes = std::uint32_t{size[0]} << 24 | std::uint32_t{size[1]} << 16 |
                                     std::uint32_t{size[2]} << 8 | size[3];
  const auto profile = GetTag(IccProfile);
  if (!profile) return 0;

  std::unique_ptr<unsigned char[]> bytes;
  const std::uint64_t tagBytes = ItemBytes(profile->type, profileBytes);
  if (tagBytes <= ReaderLimit(FileBytes(file.get()))) {
    bytes = NewTagData(IccProfile, tagBytes);
    ReadAt(file.get(), 0, bytes.get(), profileBytes);
  }
  delete[] profile->data;
  profile->data = bytes.release();
  profile->count = profileBytes;
  profile->value = 0;
  return 0;
}

int CTiff::SaveIccProfile(char* path) {
  const auto profile = GetTag(IccProfile);
  if (!profile) return 0;
  const OwnedStream file = OpenForWriting(path);
  WriteBytes(file.get(), profile->data, profile->count);
  return 0;
}

int CTiff::RemoveIcc() {
  const auto profile = std::find_if(tags.begin(), tags.end(),
                                    [](const auto& tag) { return tag->tag == IccProfile; });
  if (profile != tags.end()) tags.erase(profile);
  return 0;
}

}  // namespace KX_Tiff_STL3
