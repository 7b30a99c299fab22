#include "Tiff.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "../base/Bytes.h"
#include "../base/Diagnostics.h"
#include "../base/FileStream.h"
#include "../base/Limits.h"
#include "BitsPerSampleTag.h"
#include "Exif_IFD_Tag.h"
#include "ImageBytes.h"
#include "PixelData.h"
#include "PixelRuns.h"
#include "ResolutionTag.h"
#include "StripOffsetsTag.h"
#include "TagData.h"
#include "TiffResults.h"

namespace KX_Tiff_STL3 {
namespace {

constexpr char const* kNoFileName = " *** Tiff::ReadFile() --> FileName is nullptr. *** ";
constexpr char const* kNotPcVersion = " *** Tiff is not PC version. *** ";
constexpr char const* kSaveOpenError = "*** File(Save) Open Error. ***";
constexpr char const* kNoTags = "*** Tiff::SaveFile() --> TiffTag EntryCounts is 0. ***";

/// What the pixel buffers may take while these tags are held.
std::uint64_t PixelLimit(const Tiff& image, FILE* file) {
  const std::uint64_t limit = ReaderLimit(FileBytes(file));
  return limit - std::min(limit, HeldBytes(image.tags));
}

/// Bytes of the pixel buffer that are meant by StripByteCounts: its value. Saving replaces that of
/// types 6..9 by an offset, which then counts as a size like any other: kept so that files stay
/// identical byte for byte, but for what would lie past the pixels.
std::uint64_t StripBytes(Tiff& image, const TiffTag& strips) {
  const auto byteCounts = image.GetTag(StripByteCounts);
  if (!byteCounts) return 0;
  const std::uint64_t value = byteCounts->GetValue();
  if (!AlwaysGetsOffset(byteCounts->type) || IsOutOfLine(*byteCounts)) return value;
  return std::min(value, HeldPixelBytes(strips).value_or(value));
}

/// How the pixels lie in the file.
enum class Layout { kUnreadable, kChunkyStrip, kStrips, kPlanes, kBitPlanes };

/// The layout by the tags. A missing RowsPerStrip is appended. Throws `ErrCode`.
Layout SettleLayout(Tiff& image) {
  if (image.GetTagValue(Compression) != kUncompressed) throw ErrCode{kCompressedImage};
  const auto strips = image.GetTag(StripOffsets);
  if (!strips) return Layout::kUnreadable;

  const unsigned length = image.GetTagValue(ImageLength);
  const unsigned rowsPerStrip = image.GetTagValue(RowsPerStrip);
  if (rowsPerStrip == 0) {
    image.tags.push_back(std::make_shared<TiffTag>(RowsPerStrip, TIFF_SHORT, 1, length, nullptr));
  } else if (rowsPerStrip != length && strips->count != 1) {
    // Whatever the planar configuration, so that planes in several strips stay one after another:
    // kept so that results stay identical.
    return Layout::kStrips;
  }
  switch (image.GetTagValue(PlanarConfiguration)) {
    case kPlanarMissing:
    case kChunky:
      return Layout::kChunkyStrip;
    case kSeparatePlanes:
      return image.GetTagValue(BitsPerSample) == 1 ? Layout::kBitPlanes : Layout::kPlanes;
    default:
      return Layout::kUnreadable;
  }
}

/// What the pixel buffer takes for a strip of `stripBytes` bytes.
std::uint64_t StripBufferBytes(Tiff& image, std::uint64_t stripBytes) {
  return std::max(stripBytes,
                  PixelBufferBytes(GeometryOf(image), image.GetTagValue(StripByteCounts)));
}

/// Reads `stripBytes` bytes at the StripOffsets value into a new pixel buffer.
int ReadSingleStrip(Tiff& image, FILE* file, std::uint64_t stripBytes) {
  const std::uint64_t bufferBytes = StripBufferBytes(image, stripBytes);
  if (bufferBytes > PixelLimit(image, file)) return kUnreadableImage;
  const auto strips = image.GetTag(StripOffsets);
  std::unique_ptr<unsigned char[]> pixels = UnfilledPixels(bufferBytes);
  ReadAt(file, strips->GetValue(), pixels.get(), stripBytes);
  std::fill(pixels.get() + stripBytes, pixels.get() + bufferBytes, std::uint8_t{0});
  delete[] strips->data;
  HoldPixels(*strips, pixels.release(), stripBytes);
  return 0;
}

/// Sets StripByteCounts to the size that the dimensions take.
/// @return that size; nothing, and the tag as it was, when it needs more than 32 bits.
std::optional<std::uint32_t> SettleChunkyBytes(Tiff& image) {
  const std::uint64_t stripBytes = ChunkyBytes(GeometryOf(image));
  if (stripBytes > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  if (image.GetTagValue(StripByteCounts) != stripBytes) {
    image.SetTagValue(StripByteCounts, static_cast<unsigned>(stripBytes));
  }
  return static_cast<std::uint32_t>(stripBytes);
}

int ReadChunkyStrip(Tiff& image, FILE* file) {
  const auto stripBytes = SettleChunkyBytes(image);
  return stripBytes ? ReadSingleStrip(image, file, *stripBytes) : kUnreadableImage;
}

/// Whether the strips may become one buffer.
bool MayGather(Tiff& image, FILE* file, const StripTable& strips) {
  return strips.IsUsable() && strips.totalBytes <= std::numeric_limits<std::uint32_t>::max() &&
         PixelBufferBytes(GeometryOf(image), strips.totalBytes) <= PixelLimit(image, file);
}

/// The tags of an image whose strips have become one. `pixels` (new[], may be null) is its buffer.
void SettleGathered(Tiff& image, std::uint64_t totalBytes, unsigned char* pixels) {
  const auto offsets = image.GetTag(StripOffsets);
  delete[] offsets->data;
  offsets->type = TIFF_LONG;
  offsets->count = 1;
  HoldPixels(*offsets, pixels, totalBytes);

  const auto byteCounts = image.GetTag(StripByteCounts);
  delete[] byteCounts->data;
  byteCounts->data = nullptr;
  // SHORT although the total is a 32-bit number: the entry keeps all 32 bits. Kept so that files
  // stay identical byte for byte.
  byteCounts->type = TIFF_SHORT;
  byteCounts->count = 1;
  byteCounts->value = static_cast<unsigned>(totalBytes);
  image.SetTagValue(RowsPerStrip, image.GetTagValue(ImageLength));
}

// One-bit planes are not interleaved: they stay one after another as in the file.
int ReadBitPlanes(Tiff& image, FILE* file) {
  const ImageGeometry geometry = GeometryOf(image);
  return ReadSingleStrip(
      image, file,
      ChunkyBytes({geometry.width / 8, geometry.length, geometry.samples, /*bits=*/8}));
}

int ReadPlanes(Tiff& image, FILE* file) {
  const auto byteCounts = image.GetTag(StripByteCounts);
  if (!byteCounts) return kUnreadableImage;
  const ImageGeometry geometry = GeometryOf(image);
  const std::uint64_t gatheredBytes =
      PixelBufferBytes(geometry, StripTable(*image.GetTag(StripOffsets), *byteCounts).totalBytes);
  const std::uint64_t planarBytes =
      PlanarBytes(std::uint64_t{geometry.width} * geometry.length, geometry.samples,
                  geometry.bits == 8 ? sizeof(unsigned char) : sizeof(unsigned short));
  // Gathered and interleaved pixels are held side by side for a moment, in which nothing else of
  // the operation is: each may take what a reader may.
  if (std::max(gatheredBytes, planarBytes) > PixelLimit(image, file)) return kUnreadableImage;
  if (const int result = image.ReadMultiStripOffset(file)) return result;
  const auto width = static_cast<int>(geometry.width);
  const auto length = static_cast<int>(geometry.length);
  if (geometry.bits == 8) {
    image.Pack<unsigned char>(width, length);
  } else {
    image.Pack<unsigned short>(width, length);
  }
  image.SetTagValue(PlanarConfiguration, kChunky);
  return 0;
}

/// Header and directory. @return 0 or -3. Throws a C string for a header other than "II" 42.
int ReadTags(Tiff& image, FILE* file) {
  unsigned char header[kHeaderBytes];
  ReadAt(file, 0, header, sizeof header);
  kxcms::LittleEndianReader headerWords(header, sizeof header);
  if (headerWords.U32() != kLittleEndianMark) throw kNotPcVersion;
  image.IFDOffset = headerWords.U32();

  unsigned char countBytes[kEntryCountBytes];
  ReadAt(file, image.IFDOffset, countBytes, sizeof countBytes);
  const unsigned entryCount = kxcms::LittleEndianReader(countBytes, sizeof countBytes).U16();
  if (entryCount > kMaxEntries) return kTooManyEntries;
  unsigned char entries[kMaxEntries * kEntryBytes];
  ReadAt(file, std::uint64_t{image.IFDOffset} + sizeof countBytes, entries,
         entryCount * kEntryBytes);

  const std::uint64_t tagLimit = TagLimit(file);
  kxcms::LittleEndianReader words(entries, entryCount * kEntryBytes);
  for (unsigned i = 0; i < entryCount; ++i) {
    const std::uint32_t tagAndType = words.U32();
    const std::uint32_t count = words.U32();
    const std::uint32_t valueOrOffset = words.U32();
    // An Exif tag bounds what it holds by itself. Any other that does not fit is made without
    // items, so that it reads no data, and is told their number afterwards.
    const bool fits = (tagAndType & 0xFFFF) == ExifIfd ||
                      HeldBytes(image.tags) + ItemBytes(tagAndType >> 16, count) <= tagLimit;
    const std::size_t tagsBefore = image.tags.size();
    image.AddTags(tagAndType, fits ? count : 0, valueOrOffset, file);
    if (!fits && image.tags.size() > tagsBefore) image.tags.back()->count = count;
  }
  return 0;
}

/// A stream for saving an image with these tags. Throws a C string.
OwnedStream OpenForSaving(char const* path, const Tiff& image) {
  OwnedStream file = OpenForWriting(path);
  if (!file) throw kSaveOpenError;
  if (image.tags.empty()) throw kNoTags;
  return file;
}

int ReportSaveFailure(char const* message) {
  PrintLine({message ? message : ""});
  return kOpenFailed;
}

}  // namespace

Tiff::Tiff() : IFDOffset(0) {}

Tiff::Tiff(char const* path) : Tiff() {
  Tiff::ReadFile(path);
}

Tiff::~Tiff() = default;

void Tiff::Reset() {
  tags.clear();
}

int Tiff::CheckFile(FILE* file) {
  return file ? 0 : -1;
}

int Tiff::ReadFile(char const* path) {
  Reset();
  if (!path) throw kNoFileName;
  const OwnedStream file = OpenForReading(path);
  if (CheckFile(file.get()) != 0) throw path;
  return ReadTiff(file.get());
}

int Tiff::ReadTiff(FILE* file) {
  const int result = ReadTags(*this, file);
  return result == 0 ? ReadImage(file) : result;
}

std::optional<PixelRuns> ReadWithoutPixels(Tiff& image, FILE* file) {
  if (ReadTags(image, file) != 0) return std::nullopt;
  const Layout layout = SettleLayout(image);
  const auto offsets = image.GetTag(StripOffsets);
  const auto byteCounts = image.GetTag(StripByteCounts);
  if (!offsets || !byteCounts) return std::nullopt;
  // Saving gives such a tag another value, and with it another number of bytes to the pixels.
  if (AlwaysGetsOffset(byteCounts->type) && !IsOutOfLine(*byteCounts)) return std::nullopt;

  PixelRuns pixels;
  if (layout == Layout::kStrips) {
    const StripTable strips(*offsets, *byteCounts);
    if (!MayGather(image, file, strips) || AreGatheredFromCopy(file, strips)) return std::nullopt;
    for (std::uint64_t i = 0; i < strips.stripCount; ++i) {
      pixels.Append(strips.offsets[i], strips.byteCounts[i]);
    }
    SettleGathered(image, strips.totalBytes, nullptr);
    return pixels;
  }
  if (layout != Layout::kChunkyStrip) return std::nullopt;
  const auto stripBytes = SettleChunkyBytes(image);
  if (!stripBytes || StripBufferBytes(image, *stripBytes) > PixelLimit(image, file)) {
    return std::nullopt;
  }
  pixels.Append(offsets->GetValue(), *stripBytes);
  delete[] offsets->data;
  HoldPixels(*offsets, nullptr, 0);
  return pixels;
}

std::shared_ptr<TiffTag> Tiff::CreateTag(unsigned tagAndType, unsigned count,
                                         unsigned valueOrOffset, FILE* file) {
  try {
    switch (tagAndType & 0xFFFF) {
      case BitsPerSample:
        return std::make_shared<BitsPerSampleTag>(tagAndType, count, valueOrOffset, file);
      case XResolution:
      case YResolution:
        return std::make_shared<ResolutionTag>(tagAndType, count, valueOrOffset, file);
      case ExifIfd:
        return std::make_shared<Exif_IFD_Tag>(tagAndType, count, valueOrOffset, file);
      case StripOffsets:
        return std::make_shared<StripOffsetsTag>(tagAndType, count, valueOrOffset, file);
      default:
        return std::make_shared<TiffTag>(tagAndType, count, valueOrOffset, file);
    }
  } catch (const std::bad_alloc& failure) {
    ReportBadAlloc(failure);
    return nullptr;
  }
}

int Tiff::AddTags(unsigned tagAndType, unsigned count, unsigned valueOrOffset, FILE* file) {
  if (auto tag = CreateTag(tagAndType, count, valueOrOffset, file)) tags.push_back(std::move(tag));
  return 0;
}

int Tiff::ReadImage(FILE* file) {
  switch (SettleLayout(*this)) {
    case Layout::kChunkyStrip:
      return ReadChunkyStrip(*this, file);
    case Layout::kStrips:
      return ReadMultiStripOffset(file);
    case Layout::kPlanes:
      return ReadPlanes(*this, file);
    case Layout::kBitPlanes:
      return ReadBitPlanes(*this, file);
    case Layout::kUnreadable:
      break;
  }
  return kUnreadableImage;
}

int Tiff::ReadMultiStripOffset(FILE* file) {
  const auto offsets = GetTag(StripOffsets);
  const auto byteCounts = GetTag(StripByteCounts);
  if (!offsets || !byteCounts) return kUnreadableImage;
  const StripTable strips(*offsets, *byteCounts);
  if (!MayGather(*this, file, strips)) return kUnreadableImage;
  const std::uint64_t bufferBytes = PixelBufferBytes(GeometryOf(*this), strips.totalBytes);
  std::unique_ptr<unsigned char[]> pixels = UnfilledPixels(bufferBytes);
  GatherStrips(file, strips, pixels.get());
  std::fill(pixels.get() + strips.totalBytes, pixels.get() + bufferBytes, std::uint8_t{0});
  SettleGathered(*this, strips.totalBytes, pixels.release());
  return 0;
}

template <typename T>
void Tiff::Pack(int width, int length) {
  const auto strips = GetTag(StripOffsets);
  if (!strips || !HoldsPixels(*strips)) return;
  const unsigned samples = GetTagValue(SamplesPerPixel);
  const std::uint64_t planeBytes = StripBytes(*this, *strips);
  const std::uint64_t pixelCount = BytesOfRows(width, length);
  const std::uint64_t packedBytes = std::max(PlanarBytes(pixelCount, samples, sizeof(T)),
                                             PixelBufferBytes(GeometryOf(*this), planeBytes));
  auto packed = std::make_unique<unsigned char[]>(packedBytes);
  InterleavePlanes<T>(strips->data, planeBytes, pixelCount, samples == 3 ? 3 : 4, packed.get());
  delete[] strips->data;
  SetPixels(*strips, packed.release(), packedBytes);
}

template void Tiff::Pack<unsigned char>(int width, int length);
template void Tiff::Pack<unsigned short>(int width, int length);

std::shared_ptr<TiffTag> Tiff::GetTag(TiffTagSignature number) {
  const auto found = std::find_if(tags.begin(), tags.end(),
                                  [number](const auto& tag) { return tag->tag == number; });
  return found == tags.end() ? nullptr : *found;
}

unsigned Tiff::GetTagValue(TiffTagSignature number) {
  const auto tag = GetTag(number);
  return tag ? tag->GetValue() : 0;
}

int Tiff::SetTag(std::shared_ptr<TiffTag> tag) {
  if (!tag) return 0;
  const auto same = std::find_if(tags.begin(), tags.end(),
                                 [&tag](const auto& held) { return held->tag == tag->tag; });
  if (same == tags.end()) {
    tags.push_back(std::move(tag));
  } else {
    *same = std::move(tag);
  }
  return 0;
}

int Tiff::SetTagValue(TiffTagSignature number, unsigned value) {
  if (const auto tag = GetTag(number)) tag->value = value;
  return 0;
}

int Tiff::SaveFile(char const* path) {
  try {
    return SaveTiff(OpenForSaving(path, *this).get());
  } catch (char const* message) {
    return ReportSaveFailure(message);
  }
}

int Tiff::SaveRaw(char const* path) {
  try {
    const OwnedStream file = OpenForSaving(path, *this);
    PrintLine({});
    PrintLine({"Width:", Decimal(GetTagValue(ImageWidth)),
               " Length:", Decimal(GetTagValue(ImageLength)),
               " Samples:", Decimal(GetTagValue(SamplesPerPixel)),
               " Bits:", Decimal(GetTagValue(BitsPerSample))});
    return WriteImageData(file.get());
  } catch (char const* message) {
    return ReportSaveFailure(message);
  }
}

int Tiff::SaveTiff(FILE* file) {
  WriteHeader(file);
  WriteIFD(file);
  WriteTagData(file);
  WriteImageData(file);
  return WriteData_Exif_IFD_Tag(file);
}

int Tiff::WriteHeader(FILE* file) {
  unsigned char header[kHeaderBytes];
  kxcms::StoreLittle32(header, kLittleEndianMark);
  kxcms::StoreLittle32(header + kFirstDirectoryAt, kHeaderBytes);
  WriteBytes(file, header, sizeof header);
  return 0;
}

int Tiff::WriteIFD(FILE* file) {
  const auto entryCount = static_cast<unsigned>(tags.size());
  const auto pixels = static_cast<unsigned>(LayOutTagData(
      tags, [](TiffTag& tag, std::uint64_t offset) { tag.value = static_cast<unsigned>(offset); }));
  SetTagValue(StripOffsets, pixels);
  SetTagValue(ExifIfd, pixels + GetTagValue(StripByteCounts));

  std::vector<unsigned char> directory(DirectoryBytes(entryCount));
  kxcms::StoreLittle16(directory.data(), entryCount);
  unsigned char* entry = directory.data() + kEntryCountBytes;
  for (const auto& tag : tags) {
    kxcms::StoreLittle32(entry, tag->tag | tag->type << 16);
    kxcms::StoreLittle32(entry + kEntryItemsAt, tag->count);
    kxcms::StoreLittle32(entry + kEntryValueAt, tag->value);
    entry += kEntryBytes;
  }
  if (file) static_cast<void>(std::fseek(file, kHeaderBytes, SEEK_SET));
  WriteBytes(file, directory.data(), directory.size());
  return 0;
}

int Tiff::WriteTagData(FILE* file) {
  for (const auto& tag : tags) tag->SaveFile(file);
  return 0;
}

int Tiff::WriteImageData(FILE* file) {
  const auto strips = GetTag(StripOffsets);
  if (strips && HoldsPixels(*strips)) {
    WriteBytes(file, strips->data, StripBytes(*this, *strips));
  }
  return 0;
}

int Tiff::WriteData_Exif_IFD_Tag(FILE* file) {
  const auto exif = GetTag(ExifIfd);
  if (!exif) return 0;
  // A plain tag with out-of-line data holds just those.
  const bool holdsBlock = dynamic_cast<Exif_IFD_Tag*>(exif.get()) || !IsOutOfLine(*exif);
  const std::uint64_t heldBytes = !exif->data  ? 0
                                  : holdsBlock ? kExifBlockBytes
                                               : std::min(kExifBlockBytes, TagDataBytes(*exif));
  unsigned char block[kExifBlockBytes] = {};
  std::copy_n(exif->data, heldBytes, block);
  WriteBytes(file, block, sizeof block);
  return 0;
}

}  // namespace KX_Tiff_STL3
