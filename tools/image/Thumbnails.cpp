#include "tools/image/Thumbnails.h"

#include <algorithm>
#include <utility>

#include "base/Bytes.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/JpegDecoder.h"
#include "tools/image/JpegEncoder.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

namespace {

using Bytes = std::vector<unsigned char>;

// Exif 2.3, 4.5.5: a JPEG stream is compression 6 here, with tags for its place; other pixels lie
// as TIFF has them.
constexpr std::uint64_t kUncompressed = 1, kJpegStream = 6, kRgb = 2, kInterleaved = 1;

// A blank picture of 4:2:0 has four bytes for each 16 x 16 pixels; what has fewer was made to take
// time and room.
constexpr std::size_t kMostPixelsForByte = 64;

constexpr bool IsSide(std::uint64_t pixels) {
  return pixels >= 1 && pixels <= kMostThumbnailSide;
}

/// A JPEG stream with other colours.
struct Stream {
  Bytes bytes;
  std::uint32_t width;
  std::uint32_t height;
};

std::optional<Stream> ConvertedStream(std::span<const unsigned char> stream,
                                      const ColorChange& change) {
  const MemoryBytes input(stream);
  JpegDecoder decoder(input);
  decoder.ReadHeader(false);
  const jpeg_decompress_struct& info = decoder.info();
  const bool isRgb = info.jpeg_color_space == JCS_YCbCr || info.jpeg_color_space == JCS_RGB;
  if (!isRgb || !IsSide(info.image_width) || !IsSide(info.image_height)) return std::nullopt;
  const std::size_t pixelCount = std::size_t{info.image_width} * info.image_height;
  if (pixelCount / kMostPixelsForByte > stream.size()) return std::nullopt;
  JpegForm form{info.image_width, info.image_height, kThumbnailQuality};
  form.hasJfif = info.saw_JFIF_marker == TRUE;
  form.horizontalSampling = std::clamp(info.comp_info[0].h_samp_factor, 1, 2);
  form.verticalSampling = std::clamp(info.comp_info[0].v_samp_factor, 1, 2);

  const std::size_t rowBytes = std::size_t{form.width} * 3;
  Bytes pixels(pixelCount * 3);
  decoder.Start();
  for (std::uint32_t row = 0; row < form.height; ++row) {
    decoder.ReadRow(pixels.data() + row * rowBytes);
  }
  change(pixels.data(), form.width, form.height);

  Stream converted{{}, form.width, form.height};
  JpegEncoder encoder([&converted](std::span<const unsigned char> part) {
    converted.bytes.insert(converted.bytes.end(), part.begin(), part.end());
  });
  encoder.Start(form);
  for (std::uint32_t row = 0; row < form.height; ++row) {
    encoder.WriteRow(pixels.data() + row * rowBytes);
  }
  encoder.Finish();
  return converted;
}

/// The same change for pixels of B, G and R.
ColorChange BlueFirst(const ColorChange& change) {
  return [&change](unsigned char* pixels, std::uint32_t width, std::uint32_t height) {
    const std::size_t count = std::size_t{width} * height * 3;
    const auto turn = [pixels, count] {
      for (std::size_t at = 0; at < count; at += 3) std::swap(pixels[at], pixels[at + 2]);
    };
    turn();
    change(pixels, width, height);
    turn();
  };
}

/// The numbers of a directory, where they are of the form that a thumbnail's have.
class Numbers {
 public:
  Numbers(const TiffDirectories::Raw& raw, ByteOrder order) : raw_(raw), order_(order) {}

  std::optional<std::vector<std::uint64_t>> All(std::uint16_t number) const {
    const auto found = std::find_if(raw_.tags.begin(), raw_.tags.end(),
                                    [number](const Tag& tag) { return tag.number == number; });
    if (found == raw_.tags.end() || found->count > kMostThumbnailSide) return std::nullopt;
    std::vector<std::uint64_t> values;
    for (std::uint64_t i = 0; i < found->count; ++i) {
      const std::optional<std::uint64_t> value = UnsignedItem(*found, i, order_);
      if (!value) return std::nullopt;
      values.push_back(*value);
    }
    return values;
  }
  std::optional<std::uint64_t> One(std::uint16_t number) const {
    const auto values = All(number);
    return values && values->size() == 1 ? std::optional(values->front()) : std::nullopt;
  }

 private:
  const TiffDirectories::Raw& raw_;
  ByteOrder order_;
};

/// Takes the pixels over that a directory points at. @return whether it could.
bool ReadPixels(const Numbers& numbers, const InputBytes& bytes, Thumbnail& thumbnail) {
  // Some cameras leave the compression out where the tags of a stream tell it.
  const std::uint64_t compression = numbers.One(tag::kCompression).value_or(kJpegStream);
  const auto append = [&](std::uint64_t at, std::uint64_t count) {
    const std::size_t end = thumbnail.bytes.size();
    // Strips may lie over each other, but together they are no more than there is.
    if (!bytes.Holds(at, count) || count > bytes.size() - end) return false;
    thumbnail.bytes.resize(end + count);
    bytes.Read(at, thumbnail.bytes.data() + end, static_cast<std::size_t>(count));
    return true;
  };
  if (compression == kJpegStream) {
    const auto at = numbers.One(tag::kThumbnailOffset);
    const auto count = numbers.One(tag::kThumbnailBytes);
    return at && count && *count > 0 && *count <= kMostThumbnailBytes && append(*at, *count);
  }
  const auto bits = numbers.All(tag::kBitsPerSample);
  const std::uint64_t width = numbers.One(tag::kImageWidth).value_or(0);
  const std::uint64_t height = numbers.One(tag::kImageLength).value_or(0);
  const bool isSimple =
      compression == kUncompressed && numbers.One(tag::kPhotometric) == kRgb &&
      numbers.One(tag::kSamplesPerPixel) == 3u && bits &&
      *bits == std::vector<std::uint64_t>{8, 8, 8} &&
      numbers.One(tag::kPlanarConfiguration).value_or(kInterleaved) == kInterleaved;
  const auto offsets = numbers.All(tag::kStripOffsets);
  const auto sizes = numbers.All(tag::kStripByteCounts);
  if (!isSimple || !IsSide(width) || !IsSide(height) || !offsets || !sizes) return false;
  const std::uint64_t rows = std::min(numbers.One(tag::kRowsPerStrip).value_or(height), height);
  if (rows == 0 || offsets->size() != (height + rows - 1) / rows ||
      sizes->size() != offsets->size()) {
    return false;
  }
  for (std::size_t i = 0; i < offsets->size(); ++i) {
    const std::uint64_t expected = std::min(rows, height - i * rows) * width * 3;
    if ((*sizes)[i] != expected || !append((*offsets)[i], expected)) return false;
  }
  thumbnail.width = static_cast<std::uint32_t>(width);
  thumbnail.height = static_cast<std::uint32_t>(height);
  return true;
}

}  // namespace

std::optional<Thumbnail> ReadThumbnail(TiffDirectories& directories, const InputBytes& bytes,
                                       std::uint64_t position, std::vector<std::string>& dropped) {
  TiffDirectories::Raw raw = directories.Read(position);
  Thumbnail thumbnail;
  if (!ReadPixels(Numbers(raw, directories.order()), bytes, thumbnail)) return std::nullopt;
  const bool isLast = raw.next == 0;
  std::erase_if(raw.tags, [&dropped](const Tag& tag) {
    // What is in packets and blocks belongs to the image, if to anything.
    if (tag.number == tag::kXmp || tag.number == tag::kPhotoshopBlocks) {
      dropped.push_back("tag " + std::to_string(tag.number) + " of the thumbnail");
      return true;
    }
    const bool isStructure = IsStructure(tag.number) && tag.number != tag::kNewSubfileType;
    return isStructure || tag.number == tag::kThumbnailOffset || tag.number == tag::kThumbnailBytes;
  });
  thumbnail.directory = directories.WithSubDirectories(std::move(raw), dropped);
  if (!isLast) dropped.emplace_back("directories behind the thumbnail");
  return thumbnail;
}

std::uint64_t AppendThumbnail(const Thumbnail& thumbnail, ByteOrder order, DirectoryBlock& block,
                              std::vector<std::string>& dropped) {
  Directory directory = thumbnail.directory;
  const auto set = [&](std::uint16_t number, TagType type,
                       const std::vector<std::uint64_t>& values) {
    directory.Set(NumbersTag(number, type, values, order));
  };
  const std::uint64_t position = block.AppendData(thumbnail.bytes);
  if (thumbnail.width == 0) {
    set(tag::kCompression, kShort, {kJpegStream});
    set(tag::kThumbnailOffset, kLong, {position});
    set(tag::kThumbnailBytes, kLong, {thumbnail.bytes.size()});
  } else {
    set(tag::kImageWidth, kLong, {thumbnail.width});
    set(tag::kImageLength, kLong, {thumbnail.height});
    set(tag::kBitsPerSample, kShort, {8, 8, 8});
    set(tag::kCompression, kShort, {kUncompressed});
    set(tag::kPhotometric, kShort, {kRgb});
    set(tag::kStripOffsets, kLong, {position});
    set(tag::kSamplesPerPixel, kShort, {3});
    set(tag::kRowsPerStrip, kLong, {thumbnail.height});
    set(tag::kStripByteCounts, kLong, {thumbnail.bytes.size()});
    set(tag::kPlanarConfiguration, kShort, {kInterleaved});
  }
  return block.Append(std::move(directory), dropped);
}

bool Convert(Thumbnail& thumbnail, const ColorChange& change) {
  try {
    if (thumbnail.width != 0) {
      Bytes pixels = thumbnail.bytes;
      change(pixels.data(), thumbnail.width, thumbnail.height);
      thumbnail.bytes = std::move(pixels);
      return true;
    }
    std::optional<Stream> converted = ConvertedStream(thumbnail.bytes, change);
    if (!converted) return false;
    thumbnail.bytes = std::move(converted->bytes);
    return true;
  } catch (const ImageError&) {
    return false;
  }
}

std::optional<std::vector<unsigned char>> ConvertedPhotoshopThumbnail(
    std::span<const unsigned char> data, bool isBlueFirst, const ColorChange& change) {
  // Format, width, height, bytes of a row and of all pixels, bytes of the stream, bits of a pixel,
  // planes: big-endian, all of 4 bytes but for the last two.
  constexpr std::size_t kWidthAt = 4, kHeightAt = 8, kSizeAt = 20, kHeaderBytes = 28;
  constexpr std::uint32_t kJpegRgb = 1;
  const BigEndianView view(data);
  if (!view.Holds(0, kHeaderBytes) || view.U32(0) != kJpegRgb) return std::nullopt;
  const std::uint32_t size = view.U32(kSizeAt);
  if (size > kMostThumbnailBytes || !view.Holds(kHeaderBytes, size)) return std::nullopt;
  try {
    const auto stream = data.subspan(kHeaderBytes, size);
    const auto converted =
        isBlueFirst ? ConvertedStream(stream, BlueFirst(change)) : ConvertedStream(stream, change);
    if (!converted || converted->width != view.U32(kWidthAt) ||
        converted->height != view.U32(kHeightAt)) {
      return std::nullopt;
    }
    Bytes result(data.begin(), data.begin() + kSizeAt);
    AppendNumber(result, converted->bytes.size(), 4, ByteOrder::kBig);
    result.insert(result.end(), data.begin() + kSizeAt + 4, data.begin() + kHeaderBytes);
    result.insert(result.end(), converted->bytes.begin(), converted->bytes.end());
    return result;
  } catch (const ImageError&) {
    return std::nullopt;
  }
}

}  // namespace kxcms::image
