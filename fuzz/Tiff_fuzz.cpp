#include <memory>

#include "fuzz/FuzzSupport.h"
#include "fuzz/TiffView.h"
#include "tiff/CTiff.h"
#include "tiff/Exif_IFD_Tag.h"
#include "tiff/PixelData.h"
#include "tiff/TagData.h"
#include "tiff/TiffResults.h"

// A TIFF file's bytes: every accessor keeps to the image's buffer wherever it is pointed, and the
// image that is written reads back as it was.
//
// Input: 32 bytes of choices, then the file.

namespace {

using namespace KX_Tiff_STL3;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::MemoryFile;

constexpr std::size_t kChoiceBytes = 32;
constexpr std::uint64_t kMaxRunBytes = 1 << 20;
constexpr unsigned kMaxEntries = 39;

/// Bytes of the rows that the accessors may touch.
std::uint64_t RowsBytes(const CTiff& image) {
  return image.ImageBuf == nullptr ? 0 : BytesOfRows(image.RowBytes, image.Length);
}

/// Whether rows follow one another as the dimensions say, without any 32-bit product wrapping.
bool HasPlainRows(const CTiff& image) {
  if (image.ImageBuf == nullptr || image.Width < 1 || image.Length < 1 || image.Samples < 1 ||
      image.Width > 65535 || image.Samples > 255 || (image.Bits != 8 && image.Bits != 16)) {
    return false;
  }
  return std::int64_t{image.Width} * image.Samples * image.Bits / 8 == image.RowBytes;
}

/// Bytes that a run of pixels takes in a caller's buffer.
std::int64_t RunBytes(const CTiff& image, int pixels) {
  const auto bits = static_cast<std::int64_t>(
      static_cast<std::uint64_t>(std::int64_t{image.Samples} * image.Bits) *
          static_cast<std::uint64_t>(std::int64_t{pixels}) &
      0xFFFFFFFF);
  return (bits > 0x7FFFFFFF ? bits - 0x100000000 : bits) >> 3;
}

void CheckGeometry(CTiff& image) {
  FUZZ_CHECK(image.Width == static_cast<int>(image.GetTagValue(ImageWidth)));
  FUZZ_CHECK(image.Length == static_cast<int>(image.GetTagValue(ImageLength)));
  FUZZ_CHECK(image.Samples == static_cast<int>(image.GetTagValue(SamplesPerPixel)));
  FUZZ_CHECK(image.Bits == static_cast<int>(image.GetTagValue(BitsPerSample)));
  FUZZ_CHECK(image.Resolution == static_cast<int>(image.GetTagValue(XResolution)));
  FUZZ_CHECK(image.ImageBuf != nullptr && image.GetImageBuf() == image.ImageBuf);
  FUZZ_CHECK(image.GetTag(StripOffsets)->GetData() == image.ImageBuf);
  // The last bytes that may be used are there: an address sanitizer looks.
  const std::uint64_t used =
      std::max<std::uint64_t>(RowsBytes(image), image.GetTagValue(StripByteCounts));
  static volatile unsigned char last;
  if (used > 0) last = image.ImageBuf[used - 1];
  static_cast<void>(last);
}

// ---- Accessors

/// Rows at any number of pixels; a caller's buffer is never as large as the image is not.
template <typename Sample>
void CheckRows(CTiff& image, Input& choices) {
  const int row = choices.Position();
  const int pixels = choices.Position();
  const std::int64_t runBytes = pixels == 0 ? image.RowBytes : RunBytes(image, pixels);
  const std::uint64_t rows = RowsBytes(image);
  const std::uint64_t taken = std::min<std::uint64_t>(
      static_cast<std::uint64_t>(std::max<std::int64_t>(runBytes, 0)), rows);
  if (taken > kMaxRunBytes) return;
  fuzz::GuardedBuffer buffer((taken + 1) / 2 * 2);
  auto* samples = reinterpret_cast<Sample*>(buffer.data());
  FUZZ_CHECK(image.GetRow(samples, row, pixels) == pixels && buffer.GuardsHold());
  const Bytes before = buffer.Contents();
  if (HasPlainRows(image)) {
    // From the row itself, or the nearest there is, and on into those behind it.
    const std::uint64_t at = std::uint64_t(std::clamp(row, 0, image.Length - 1)) * image.RowBytes;
    FUZZ_CHECK(std::equal(before.begin(), before.begin() + std::min(taken, rows - at),
                          image.ImageBuf + at));
  }
  FUZZ_CHECK(image.GetRow(static_cast<Sample*>(nullptr), row, pixels) == pixels);
  // The row put back changes nothing.
  const Bytes pixelsBefore(image.ImageBuf, image.ImageBuf + rows);
  FUZZ_CHECK(image.PutRow(samples, row, pixels) == pixels);
  FUZZ_CHECK(std::equal(pixelsBefore.begin(), pixelsBefore.end(), image.ImageBuf));
  FUZZ_CHECK(image.PutRow(static_cast<Sample*>(nullptr), row, pixels) == pixels);
  FUZZ_CHECK(buffer.Contents() == before);
}

template <typename Sample>
void CheckRectangle(CTiff& image, Input& choices) {
  const int x = choices.Position(), y = choices.Position();
  const int width = choices.Position();
  int height = std::min(choices.Position(), 300);
  const std::int64_t runBytes = std::max<std::int64_t>(RunBytes(image, width), 0);
  if (runBytes > static_cast<std::int64_t>(kMaxRunBytes)) return;
  if (runBytes > 0) height = std::min(height, static_cast<int>(kMaxRunBytes / runBytes));
  const std::size_t size = static_cast<std::size_t>(runBytes * std::max(height, 0));

  const bool hasDepth = image.Bits == 8 || image.Bits == 16;
  const int result = hasDepth ? 0 : -1;
  fuzz::GuardedBuffer out((size + 1) / 2 * 2), in((size + 1) / 2 * 2);
  const Bytes drawn = fuzz::SomePixels(in.size(), static_cast<unsigned>(x));
  std::copy(drawn.begin(), drawn.end(), in.data());
  auto* outSamples = reinterpret_cast<Sample*>(out.data());
  FUZZ_CHECK(image.GetRowColumn(outSamples, x, y, width, height) == result);
  FUZZ_CHECK(image.SetRowColumn(reinterpret_cast<Sample*>(in.data()), x, y, width, height) ==
             result);
  FUZZ_CHECK(image.GetRowColumn(outSamples, x, y, width, height) == result);
  FUZZ_CHECK(out.GuardsHold() && in.GuardsHold() && in.Contents() == drawn);

  const bool inside = HasPlainRows(image) && x >= 0 && y >= 0 && width > 0 && height > 0 &&
                      std::int64_t{x} + width <= image.Width &&
                      std::int64_t{y} + height <= image.Length;
  if (inside && image.Bits == 8 * static_cast<int>(sizeof(Sample))) {
    FUZZ_CHECK(std::equal(out.data(), out.data() + size, in.data()));
  }
  FUZZ_CHECK(image.GetRowColumn(static_cast<Sample*>(nullptr), x, y, width, height) == result);
  FUZZ_CHECK(image.SetRowColumn(static_cast<Sample*>(nullptr), x, y, width, height) == result);
}

void CheckAddresses(CTiff& image, Input& choices) {
  const int x = choices.Position(), y = choices.Position();
  const std::uint64_t rows = RowsBytes(image);
  for (const unsigned char* pixel : {image.GetXY(x, y), image.GetXY_M(x, y)}) {
    FUZZ_CHECK(pixel >= image.ImageBuf && pixel <= image.ImageBuf + (rows == 0 ? 0 : rows - 1));
  }
  if (!HasPlainRows(image)) return;
  const auto address = [&](int column, int row) {
    const std::int64_t at =
        std::int64_t{row} * image.RowBytes +
        std::int64_t{std::clamp(column, 0, image.Width - 1)} * image.Samples * image.Bits / 8;
    return image.ImageBuf + at;
  };
  const int nearest = std::clamp(y, 0, image.Length - 1);
  FUZZ_CHECK(image.GetXY(x, y) == address(x, nearest));
  // Rows past either end do not follow the bottom-up order.
  FUZZ_CHECK(image.GetXY_M(x, y) == address(x, nearest == y ? image.Length - 1 - y : nearest));
  if (nearest != y || x < 0 || x >= image.Width) return;
  FUZZ_CHECK(image.GetXY_Q(x, y) == address(x, y));
  FUZZ_CHECK(image.GetXY_MQ(x, y) == address(x, image.Length - 1 - y));
}

void RunAccessors(CTiff& image, Input& choices) {
  const unsigned which = choices.U8();
  if (which & 1) {
    CheckRows<unsigned char>(image, choices);
  } else {
    CheckRows<unsigned short>(image, choices);
  }
  if (which & 2) {
    CheckRectangle<unsigned char>(image, choices);
  } else {
    CheckRectangle<unsigned short>(image, choices);
  }
  CheckAddresses(image, choices);
}

// ---- Writing and reading again

/// Saving replaces the inline value of a tag of type 6..9 by an offset to room that is reserved but
/// never written.
bool LosesValue(const TiffTag& tag) {
  return AlwaysGetsOffset(tag.type) && !IsOutOfLine(tag);
}

/// Whether the directory of a written image tells where things are: the room for the lost values
/// shifts them. Absent data too large to be written as zeros take no room, but their tag says so.
bool IsLaidOutAsDescribed(const CTiff& image) {
  return std::none_of(image.tags.begin(), image.tags.end(),
                      [](const auto& tag) { return LosesValue(*tag) && TagDataBytes(*tag) > 0; });
}

/// Absent data too large to be written as zeros are not written: read again, their tag finds them
/// in what follows, and may leave no room for others.
bool IsComplete(const CTiff& image) {
  return std::all_of(image.tags.begin(), image.tags.end(), [](const auto& tag) {
    return !IsOutOfLine(*tag) || ReservedBytes(*tag) == TagDataBytes(*tag);
  });
}

/// Whether the written file describes the image that is in memory. Kept as they are: dimensions in
/// signed types become offsets; separate planes of several strips are stored one after another but
/// still called separate; a directory can grow past what is read.
bool DescribesItself(CTiff& image) {
  constexpr TiffTagSignature kGeometry[] = {ImageWidth,          ImageLength,     BitsPerSample,
                                            Compression,         SamplesPerPixel, RowsPerStrip,
                                            PlanarConfiguration, StripByteCounts};
  for (const TiffTagSignature number : kGeometry) {
    const auto tag = image.GetTag(number);
    if (tag && LosesValue(*tag)) return false;
  }
  return IsLaidOutAsDescribed(image) && IsComplete(image) &&
         image.GetTagValue(PlanarConfiguration) <= 1 && image.tags.size() <= kMaxEntries;
}

/// The bytes of a tag that a file keeps.
std::uint64_t KeptBytes(const TiffTag& tag) {
  if (tag.tag == ExifIfd) return tag.data == nullptr ? 0 : kExifBlockBytes;
  return tag.data == nullptr || !IsOutOfLine(tag) ? 0 : TagDataBytes(tag);
}

void CheckSameTags(CTiff& before, CTiff& after) {
  // Reading appends a RowsPerStrip tag while the first one is missing or 0.
  const bool isAppended = before.GetTagValue(RowsPerStrip) == 0;
  FUZZ_CHECK(after.tags.size() == before.tags.size() + (isAppended ? 1 : 0));
  for (std::size_t i = 0; i < before.tags.size(); ++i) {
    const TiffTag& old = *before.tags[i];
    const TiffTag& now = *after.tags[i];
    FUZZ_CHECK(now.tag == old.tag && now.type == old.type && now.count == old.count);
    if (now.tag != StripByteCounts) FUZZ_CHECK(now.value == old.value);
    if (now.tag == StripOffsets || now.tag == ExifIfd) continue;
    const std::uint64_t kept = KeptBytes(old);
    if (kept == 0) continue;
    FUZZ_CHECK(now.data != nullptr && std::equal(old.data, old.data + kept, now.data));
  }
}

/// What a file keeps of the pixels: a StripByteCounts that has lost its value counts as the offset
/// that it got, as far as there are pixels.
unsigned WrittenBytes(CTiff& image) {
  const unsigned value = image.GetTagValue(StripByteCounts);
  const auto counts = image.GetTag(StripByteCounts);
  if (!counts || !LosesValue(*counts)) return value;
  const auto held = HeldPixelBytes(*image.GetTag(StripOffsets));
  return held ? static_cast<unsigned>(std::min<std::uint64_t>(value, *held)) : value;
}

void CheckRoundTrip(CTiff& image) {
  static MemoryFile first, second;
  FUZZ_CHECK(image.SaveFile(first.path()) == 0);
  const unsigned stripBytes = WrittenBytes(image);
  const Bytes bytes = first.Contents();
  if (IsLaidOutAsDescribed(image)) {
    const std::uint64_t pixelsAt = image.GetTag(StripOffsets)->value;
    FUZZ_CHECK(stripBytes == 0 || bytes.size() >= pixelsAt + stripBytes);
    FUZZ_CHECK(std::equal(image.ImageBuf, image.ImageBuf + stripBytes,
                          bytes.begin() + static_cast<std::ptrdiff_t>(pixelsAt)));
  }

  CTiff again;
  const int result = again.ReadFile(first.path());
  if (image.tags.size() > kMaxEntries) FUZZ_CHECK(result == kTooManyEntries);
  if (!DescribesItself(image)) return;
  FUZZ_CHECK(result == 0);
  CheckGeometry(again);
  CheckSameTags(image, again);
  const unsigned readBytes = again.GetTagValue(StripByteCounts);
  FUZZ_CHECK(
      std::equal(image.ImageBuf, image.ImageBuf + std::min(stripBytes, readBytes), again.ImageBuf));
  FUZZ_CHECK(again.SaveFile(second.path()) == 0);
  // Of an Exif directory that claims more than its block, only the block is found again.
  const bool losesExif = std::any_of(image.tags.begin(), image.tags.end(), [](const auto& tag) {
    return tag->tag == ExifIfd && HeldDataBytes(*tag) > kExifBlockBytes;
  });
  if (readBytes == stripBytes && again.tags.size() == image.tags.size() && !losesExif) {
    FUZZ_CHECK(second.Contents() == bytes);
  }
}

// ---- The embedded profile, and raw files

void CheckIccProfile(CTiff& image, Input& choices) {
  static MemoryFile profile, saved;
  Bytes bytes = fuzz::SomePixels(choices.U8() % 64, 5);
  const unsigned claimed = choices.U16() & 0x0FFF;
  if (bytes.size() >= 4) {
    bytes[0] = bytes[1] = 0;
    bytes[2] = static_cast<unsigned char>(claimed >> 8);
    bytes[3] = static_cast<unsigned char>(claimed & 0xFF);
  }
  profile.Write(bytes);
  saved.Write({});
  const bool hasTag = image.GetTag(IccProfile) != nullptr;
  FUZZ_CHECK(image.SetIccProfile(profile.path()) == 0);
  FUZZ_CHECK(image.SaveIccProfile(saved.path()) == 0);
  if (!hasTag || bytes.size() < 4 || image.GetTag(IccProfile)->type != TIFF_UNDEFINED) return;
  FUZZ_CHECK(image.GetTag(IccProfile)->count == claimed);
  bytes.resize(claimed);
  FUZZ_CHECK(saved.Contents() == bytes);
}

void CheckRawFile(CTiff& image) {
  static MemoryFile raw;
  FUZZ_CHECK(image.SaveRaw(raw.path()) == 0);
  FUZZ_CHECK(raw.Size() == WrittenBytes(image));
  const std::uint64_t rows = RowsBytes(image);
  if (!HasPlainRows(image) || rows != raw.Size() || rows > kMaxRunBytes) return;
  CTiff copy;
  FUZZ_CHECK(copy.CreateNew(image.Width, image.Length, 72, image.Samples, image.Bits, raw.path()) ==
             0);
  FUZZ_CHECK(copy.RowBytes == image.RowBytes);
  FUZZ_CHECK(std::equal(image.ImageBuf, image.ImageBuf + rows, copy.ImageBuf));

  static MemoryFile tiff;
  FUZZ_CHECK(copy.CreateNew(image.Width, image.Length, 72, image.Samples, image.Bits, raw.path(),
                            tiff.path()) == 0);
  const CTiff written(tiff.path());
  // The depths of two samples fit their entry, where nobody looks for them.
  const int bitsFound = image.Samples == 2 ? 0 : image.Bits;
  FUZZ_CHECK(written.ImageBuf != nullptr && written.Width == image.Width &&
             written.Length == image.Length && written.Bits == bitsFound);
  if (bitsFound == 0) return;
  FUZZ_CHECK(std::equal(image.ImageBuf, image.ImageBuf + rows, written.ImageBuf));
}

// ---- Ownership

/// Copies keep tag, type, count and data, not the value.
void CheckTagCopies(CTiff& image) {
  for (const auto& tag : image.tags) {
    const bool isStrip = tag->tag == StripOffsets;
    const bool hasData = tag->data != nullptr && IsOutOfLine(*tag);
    // Of an Exif block, what type and count say: a program's own tag may hold no more.
    const std::uint64_t kept = isStrip || !hasData ? 0 : HeldDataBytes(*tag);
    const auto isSame = [&](const TiffTag& other) {
      return other.tag == tag->tag && other.type == tag->type && other.count == tag->count &&
             (kept == 0 || std::equal(tag->data, tag->data + kept, other.data));
    };
    TiffTag copy(*tag);
    FUZZ_CHECK(isSame(copy) && copy.value == 0);
    FUZZ_CHECK(copy.ValueIsOffset() == tag->ValueIsOffset());
    TiffTag assigned;
    assigned = copy;
    FUZZ_CHECK(isSame(assigned));
    TiffTag moved(std::move(copy));
    FUZZ_CHECK(isSame(moved) && copy.data == nullptr);
    assigned = std::move(moved);
    FUZZ_CHECK(isSame(assigned) && moved.data == nullptr);
  }
}

/// The buffer changes hands; nothing is freed twice or lost.
void CheckBuffers(CTiff& image) {
  const std::size_t size =
      std::max<std::uint64_t>(RowsBytes(image), image.GetTagValue(StripByteCounts));
  auto other = std::make_unique<unsigned char[]>(std::max<std::size_t>(size, 1));
  image.SetImageBuf(other.release(), true);
  FUZZ_CHECK(image.GetImageBuf() == image.GetTag(StripOffsets)->data);
  const std::unique_ptr<unsigned char[]> taken(image.GetImageBuf());
  image.ForgetImageBuf();
  FUZZ_CHECK(image.GetImageBuf() == nullptr && image.GetXY(0, 0) == nullptr);
  unsigned char pixel[4] = {};
  FUZZ_CHECK(image.GetRow(pixel, 0, 1) == 1 && image.PutRow(pixel, 0, 1) == 1);
  image.SetImageBuf(std::make_unique<unsigned char[]>(std::max<std::size_t>(size, 1)).release(),
                    false);
  FUZZ_CHECK(image.GetImageBuf() != nullptr);
}

void CheckNewImage(Input& choices) {
  const int width = choices.Position(), length = choices.Position();
  const int samples = choices.Position(), bits = choices.Position();
  const auto isSmall = [](int number) { return number > -64 && number < 64; };
  const bool small = isSmall(width) && isSmall(length) && isSmall(samples) && isSmall(bits);
  CTiff image(width, length, 300, samples, bits, small ? 1 : 0);
  FUZZ_CHECK(image.Width == width && image.Length == length && image.tags.size() == 15);
  FUZZ_CHECK((image.GetImageBuf() != nullptr) == small);
  if (small) RunAccessors(image, choices);
}

void RunChange(CTiff& image, Input& choices) {
  switch (choices.U8() % 7) {
    case 0:
      return CheckIccProfile(image, choices);
    case 1:
      return CheckRawFile(image);
    case 2:
      FUZZ_CHECK(image.RemoveIcc() == 0);
      return CheckRoundTrip(image);
    case 3:
      FUZZ_CHECK(image.SetTag(static_cast<TiffTagSignature>(choices.U16()),
                              static_cast<unsigned short>(choices.U8() % 16), choices.U8() % 4,
                              choices.U32(), nullptr) == 0);
      return;
    case 4:
      return CheckTagCopies(image);
    case 5:
      return CheckBuffers(image);
    default:
      return CheckNewImage(choices);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile file;
  Input all(data, size);
  const Bytes head = all.Take(kChoiceBytes);
  const Bytes tiff = all.Rest();
  if (fuzz::IsLeftOut(data, size, fuzz::TiffView(tiff.data(), tiff.size()).ClaimedBytes()))
    return 0;
  file.Write(tiff);
  CTiff image;
  const int result = image.ReadFile(file.path());
  FUZZ_CHECK(result == 0 || result == kOpenFailed || result == kTooManyEntries ||
             result == kCompressedImage);
  Input choices(head.data(), head.size());
  if (result != 0) {
    FUZZ_CHECK(image.GetImageBuf() == nullptr);
    if (choices.U8() % 8 == 0) CheckNewImage(choices);
    return 0;
  }
  CheckGeometry(image);
  RunAccessors(image, choices);
  CheckRoundTrip(image);
  RunChange(image, choices);
  return 0;
}
