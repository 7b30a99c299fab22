#include "tools/image/TiffSource.h"

#include <tiffio.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "base/SaturatingMath.h"
#include "tools/image/DirectoryBlock.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/WebpCheck.h"
#include "tools/image/XzStream.h"

namespace kxcms::image {

namespace {

// Scanners give infrared, cameras a handful of channels; each plane takes a decoder.
constexpr unsigned kMostSamples = 64;

std::string KindOf(std::uint64_t photometric) {
  switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
      return "grey";
    case PHOTOMETRIC_PALETTE:
      return "palette colours";
    case PHOTOMETRIC_MASK:
      return "a transparency mask";
    case PHOTOMETRIC_SEPARATED:
      return "CMYK or other inks";
    case PHOTOMETRIC_YCBCR:
      return "YCbCr";
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case PHOTOMETRIC_ITULAB:
      return "Lab";
    case PHOTOMETRIC_CFA:
      return "the raw data of a camera";
    default:
      return "colours of kind " + std::to_string(photometric);
  }
}

/// The name of a compression that is decoded, or null.
const char* NameOfCompression(std::uint64_t compression) {
  switch (compression) {
    case COMPRESSION_NONE:
      return "none";
    case COMPRESSION_LZW:
      return "LZW";
    case COMPRESSION_JPEG:
      return "JPEG";
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
      return "Deflate";
    case COMPRESSION_PACKBITS:
      return "PackBits";
    case COMPRESSION_LZMA:
      return "LZMA";
    case COMPRESSION_ZSTD:
      return "Zstandard";
    case COMPRESSION_WEBP:
      return "WebP";
    case COMPRESSION_LERC:
      return "LERC";
    default:
      return nullptr;
  }
}

/// Whether its decoder holds a whole strip.
bool DecodesWholeStrips(std::uint16_t compression) {
  return compression == COMPRESSION_WEBP || compression == COMPRESSION_LERC;
}

/// Whether libtiff gets to see a tag.
bool IsForDecoding(std::uint16_t number) {
  switch (number) {
    case tag::kNewSubfileType:
    case tag::kSubfileType:
    case tag::kSubIfds:
    case tag::kIccProfile:
      return false;
    default:
      return IsStructure(number);
  }
}

/// The numbers of one directory, for the reading of its form.
class Fields {
 public:
  Fields(const TiffDirectories::Raw& raw, ByteOrder order) : raw_(raw), order_(order) {}

  bool Has(std::uint16_t number) const { return Find(number) != nullptr; }

  /// The only item of a tag, or `absent`.
  std::uint64_t Number(std::uint16_t number, std::uint64_t absent) const {
    const Tag* const found = Find(number);
    if (found == nullptr) return absent;
    const std::optional<std::uint64_t> value = UnsignedItem(*found, 0, order_);
    if (!value) RefuseDamaged("tag " + std::to_string(number) + " is not a number");
    if (found->count != 1) {
      RefuseDamaged("tag " + std::to_string(number) + " is not a single number");
    }
    return *value;
  }
  std::uint64_t Required(std::uint16_t number, const char* name) const {
    if (!Has(number)) RefuseDamaged(std::string("no ") + name);
    return Number(number, 0);
  }

  /// All items of a tag; none if there is no such tag.
  std::vector<std::uint64_t> Numbers(std::uint16_t number) const {
    std::vector<std::uint64_t> values;
    const Tag* const found = Find(number);
    if (found == nullptr) return values;
    values.reserve(found->count);
    for (std::uint64_t i = 0; i < found->count; ++i) {
      const std::optional<std::uint64_t> value = UnsignedItem(*found, i, order_);
      if (!value) RefuseDamaged("tag " + std::to_string(number) + " is not a number");
      values.push_back(*value);
    }
    return values;
  }

  /// Refuses a tag of another type, which some readers take and others pass over.
  void ExpectType(std::uint16_t number, std::initializer_list<std::uint16_t> types) const {
    const Tag* const found = Find(number);
    if (found == nullptr || std::find(types.begin(), types.end(), found->type) != types.end()) {
      return;
    }
    RefuseDamaged("tag " + std::to_string(number) + " has type " + std::to_string(found->type));
  }

  const Tag* Find(std::uint16_t number) const {
    const auto found = std::find_if(raw_.tags.begin(), raw_.tags.end(),
                                    [number](const Tag& tag) { return tag.number == number; });
    return found == raw_.tags.end() ? nullptr : &*found;
  }

 private:
  const TiffDirectories::Raw& raw_;
  ByteOrder order_;
};

std::uint64_t Pieces(std::uint64_t length, std::uint64_t piece) {
  return (length + piece - 1) / piece;
}

}  // namespace

/// A libtiff handle on one directory. What libtiff has to say becomes an `ImageError` instead of
/// being printed.
class TiffDecoder {
 public:
  TiffDecoder(const InputBytes& bytes, const Directory& structure, ByteOrder order,
              std::uint64_t mostMemory)
      : bytes_(bytes), directoryAt_(bytes.size() + bytes.size() % 2) {
    // Always a BigTIFF, whose offsets reach behind every file.
    std::vector<std::string> none;
    DirectoryBlock block(order, true, directoryAt_);
    const std::uint64_t directory = block.Append(structure, none);
    directory_ = block.bytes();
    header_ = TiffHeader(order, true, directory);

    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, KeepError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, KeepWarning, this);
    constexpr std::uint64_t kMostSigned = 0x7FFF'FFFF'FFFF'FFFF;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options,
                                        static_cast<tmsize_t>(std::min(mostMemory, kMostSigned)));
    // "m": no mapping into memory; "h": the header alone, no directory; "c": strips as they are.
    tiff_ = TIFFClientOpenExt("", "rmhc", this, ReadAt, WriteNothing, Seek, CloseNothing, Size,
                              nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    header_.clear();
    if (tiff_ == nullptr) RefuseDamaged(error_.text);
    if (TIFFSetSubDirectory(tiff_, directory) != 1) {
      TIFFClose(tiff_);
      RefuseDamaged(error_.text);
    }
    // What libtiff warns of in a directory has been looked at already, or concerns no pixels.
    warning_ = {};
    error_ = {};
  }
  ~TiffDecoder() { TIFFClose(tiff_); }
  TiffDecoder(const TiffDecoder&) = delete;
  TiffDecoder& operator=(const TiffDecoder&) = delete;

  TIFF* tiff() { return tiff_; }

  /// Refuses if a call failed, or warned: libtiff goes on with what a codec lost.
  void Check(bool isGood) const {
    if (isGood && error_.IsEmpty() && warning_.IsEmpty()) return;
    const char* const found = error_.IsEmpty() ? warning_.text : error_.text;
    RefuseDamaged(*found != '\0' ? found : "its pixels cannot be decoded");
  }

  template <typename Value>
  void Expect(std::uint32_t tag, std::uint64_t expected) const {
    Value value = 0;
    if (TIFFGetFieldDefaulted(tiff_, tag, &value) != 1 || value != expected) {
      RefuseDamaged("tag " + std::to_string(tag) + " can be read in two ways");
    }
  }
  void ExpectAll(std::uint32_t tag, const std::vector<std::uint64_t>& expected) const {
    const std::uint64_t* values = nullptr;
    if (TIFFGetField(tiff_, tag, &values) != 1 || values == nullptr ||
        !std::equal(expected.begin(), expected.end(), values)) {
      RefuseDamaged("tag " + std::to_string(tag) + " can be read in two ways");
    }
  }

 private:
  // Room of its own: no exception, not even for want of memory, may pass through libtiff.
  struct Message {
    char text[240] = "";
    bool IsEmpty() const { return text[0] == '\0'; }
    void Keep(const char* format, va_list arguments) {
      if (!IsEmpty()) return;  // what follows is a consequence
      std::vsnprintf(text, sizeof text, format, arguments);
      for (std::size_t end = std::strlen(text); end > 0; --end) {
        if (text[end - 1] != '.' && text[end - 1] != '\n') break;
        text[end - 1] = '\0';
      }
    }
  };
  static int KeepError(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    static_cast<TiffDecoder*>(self)->error_.Keep(format, arguments);
    return 1;  // and nobody else's handler
  }
  static int KeepWarning(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    static_cast<TiffDecoder*>(self)->warning_.Keep(format, arguments);
    return 1;
  }
  // What cannot be read is missing for libtiff, which reports it.
  static tmsize_t ReadAt(thandle_t handle, void* to, tmsize_t count) {
    auto& self = *static_cast<TiffDecoder*>(handle);
    const std::uint64_t at = self.position_;
    const auto wanted = static_cast<std::uint64_t>(count);
    const auto copy = [&](const Bytes& from, std::uint64_t start) {
      if (at < start || at - start > from.size() || wanted > from.size() - (at - start))
        return false;
      std::memcpy(to, from.data() + (at - start), static_cast<std::size_t>(wanted));
      return true;
    };
    if (!self.header_.empty()) {
      if (!copy(self.header_, 0)) return 0;
    } else if (at >= self.directoryAt_) {
      if (!copy(self.directory_, self.directoryAt_)) return 0;
    } else {
      if (!self.bytes_.Holds(at, wanted)) return 0;
      try {
        self.bytes_.Read(at, static_cast<unsigned char*>(to), static_cast<std::size_t>(wanted));
      } catch (const std::exception&) {
        return 0;
      }
    }
    self.position_ += wanted;
    return count;
  }
  static tmsize_t WriteNothing(thandle_t, void*, tmsize_t) { return 0; }
  static toff_t Seek(thandle_t handle, toff_t offset, int from) {
    auto& self = *static_cast<TiffDecoder*>(handle);
    if (from == SEEK_CUR) offset += self.position_;
    if (from == SEEK_END) offset += Size(handle);
    self.position_ = offset;
    return offset;
  }
  static int CloseNothing(thandle_t) { return 0; }
  static toff_t Size(thandle_t handle) {
    const auto& self = *static_cast<TiffDecoder*>(handle);
    return self.directoryAt_ + self.directory_.size();
  }

  using Bytes = std::vector<unsigned char>;
  const InputBytes& bytes_;
  std::uint64_t directoryAt_;
  Bytes directory_;
  Bytes header_;  ///< seen in place of the file's until that is open
  std::uint64_t position_ = 0;
  TIFF* tiff_ = nullptr;
  Message error_;
  Message warning_;
};

TiffSource::TiffSource(int fd, std::uint64_t sizeBytes)
    : bytes_(fd, sizeBytes), directories_(bytes_) {
  if (directories_.first() == 0) RefuseDamaged("no image");
  for (std::uint64_t position = directories_.first(); position != 0; position = next_) {
    ReadPage(position, std::nullopt);
  }
}

TiffSource::~TiffSource() = default;

void TiffSource::ReadPage(std::uint64_t position, std::optional<std::size_t> parent) {
  constexpr std::size_t kDeepest = 4;
  std::size_t depth = 0;
  for (auto above = parent; above; above = pages_[*above].parent) ++depth;
  if (depth > kDeepest) RefuseDamaged("directories nested too deeply");
  // A directory may take 18 bytes of the file, and twenty times that here.
  constexpr std::size_t kMostPages = 65535;
  if (pages_.size() == kMostPages) {
    RefuseForm("more than " + std::to_string(kMostPages) + " pages");
  }

  TiffDirectories::Raw raw = directories_.Read(position);
  const std::uint64_t following = raw.next;
  Page page;
  page.parent = parent;
  Pixels pixels;
  for (const std::uint16_t number : raw.unknownTypes) {
    if (IsStructure(number)) {
      RefuseDamaged("tag " + std::to_string(number) + " is of an unknown type");
    }
  }
  const Fields fields(raw, directories_.order());
  // What TIFF 5.0 said: 1 the main image, 2 a reduced one, 3 a page of several.
  const bool isReduced = fields.Number(tag::kSubfileType, 1) == 2;
  page.subfileType = static_cast<std::uint32_t>(
      fields.Number(tag::kNewSubfileType, isReduced ? Page::kReduced : 0));
  fields.ExpectType(tag::kSubIfds, {kLong, kIfd, kLong8, kIfd8});
  fields.ExpectType(tag::kIccProfile, {kByte, kAscii, kUndefined});
  const std::vector<std::uint64_t> subPages = fields.Numbers(tag::kSubIfds);
  try {
    ReadForm(raw, page, pixels);
    CheckPieces(raw, page, pixels);
  } catch (const ImageError& error) {
    if (error.kind != ImageError::Kind::kUnsupported) throw;
    page.refusal = error.what();
  }
  if (page.refusal.empty()) {
    for (const Tag& tag : raw.tags) {
      if (IsForDecoding(tag.number)) pixels.structure.tags.push_back(tag);
    }
    if (const Tag* const profile = fields.Find(tag::kIccProfile)) page.profile = profile->bytes;
    std::erase_if(raw.tags, [](const Tag& tag) { return IsStructure(tag.number); });
    page.metadata.order = directories_.order();
    page.metadata.directory = directories_.WithSubDirectories(std::move(raw), page.dropped);
  }
  const std::size_t index = pages_.size();
  pages_.push_back(std::move(page));
  pixels_.push_back(std::move(pixels));
  const std::set<std::uint64_t> linked(subPages.begin(), subPages.end());
  for (const std::uint64_t subPage : subPages) {
    ReadPage(subPage, index);
    // SubIFDs form no chain, though some writers link those of a page all the same; what else one
    // leads to has no place.
    if (next_ != 0 && !linked.contains(next_)) {
      pages_[index].dropped.emplace_back("directories behind a SubIFD");
    }
  }
  next_ = following;
}

void TiffSource::ReadForm(const TiffDirectories::Raw& raw, Page& page, Pixels& pixels) const {
  const Fields fields(raw, directories_.order());
  const std::uint64_t compression = fields.Number(tag::kCompression, COMPRESSION_NONE);
  const std::uint64_t photometric = fields.Required(tag::kPhotometric, "PhotometricInterpretation");
  // JPEG's YCbCr is RGB in another coat, which its decoder takes off.
  const bool isRgb = photometric == PHOTOMETRIC_RGB ||
                     (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG);
  if (!isRgb) RefuseForm("holds " + KindOf(photometric) + ", not RGB");
  pixels.photometric = static_cast<std::uint16_t>(photometric);
  if (NameOfCompression(compression) == nullptr) {
    RefuseForm("compressed by method " + std::to_string(compression) + ", which cannot be read");
  }
  if (TIFFIsCODECConfigured(static_cast<std::uint16_t>(compression)) != 1) {
    RefuseForm(std::string("compressed (") + NameOfCompression(compression) +
               "), which the installed libtiff cannot read");
  }
  page.layout.compression = static_cast<std::uint16_t>(compression);

  const std::uint64_t samples = fields.Number(tag::kSamplesPerPixel, 1);
  if (samples < 3 || samples > kMostSamples) {
    RefuseForm(std::to_string(samples) + " samples per pixel; 3 to " +
               std::to_string(kMostSamples) + " work");
  }
  std::vector<std::uint64_t> bits = fields.Numbers(tag::kBitsPerSample);
  if (bits.empty()) RefuseForm("1 bit per sample; only 8 and 16 work");
  if (bits.size() != samples && bits.size() != 1) {
    RefuseDamaged(std::to_string(bits.size()) + " depths of " + std::to_string(samples) +
                  " samples");
  }
  if (std::adjacent_find(bits.begin(), bits.end(), std::not_equal_to<>()) != bits.end()) {
    RefuseForm("samples of different depths");
  }
  if (bits[0] != 8 && bits[0] != 16) {
    RefuseForm(std::to_string(bits[0]) + " bits per sample; only 8 and 16 work");
  }
  page.bits = static_cast<unsigned>(bits[0]);
  for (const std::uint64_t form : fields.Numbers(tag::kSampleFormat)) {
    if (form != SAMPLEFORMAT_UINT) {
      RefuseForm("its samples are not unsigned integers (SampleFormat)");
    }
  }
  const std::vector<std::uint64_t> extras = fields.Numbers(tag::kExtraSamples);
  if (extras.size() > samples - 3) {
    RefuseForm(std::to_string(samples) + " samples per pixel, not all of them colours");
  }
  page.extras.resize(samples - 3, Extra::kUnspecified);
  for (std::size_t i = 0; i < extras.size(); ++i) {
    if (extras[i] == EXTRASAMPLE_ASSOCALPHA) page.extras[i] = Extra::kAssociatedAlpha;
    if (extras[i] == EXTRASAMPLE_UNASSALPHA) page.extras[i] = Extra::kAlpha;
  }

  const std::uint64_t width = fields.Required(tag::kImageWidth, "ImageWidth");
  const std::uint64_t height = fields.Required(tag::kImageLength, "ImageLength");
  if (width == 0 || height == 0) RefuseDamaged("no pixels");
  constexpr std::uint64_t kMostSide = 0x7FFF'FFFF;  // what libtiff counts in
  if (width > kMostSide || height > kMostSide) RefuseForm("more than 2^31 pixels wide or high");
  const std::uint64_t fillOrder = fields.Number(tag::kFillOrder, FILLORDER_MSB2LSB);
  if (fillOrder != FILLORDER_MSB2LSB && fillOrder != FILLORDER_LSB2MSB) {
    RefuseDamaged("bit order " + std::to_string(fillOrder));
  }
  page.width = static_cast<std::uint32_t>(width);
  page.height = static_cast<std::uint32_t>(height);

  const std::uint64_t planar = fields.Number(tag::kPlanarConfiguration, PLANARCONFIG_CONTIG);
  if (planar != PLANARCONFIG_CONTIG && planar != PLANARCONFIG_SEPARATE) {
    RefuseDamaged("planar configuration " + std::to_string(planar));
  }
  page.layout.separatePlanes = planar == PLANARCONFIG_SEPARATE;
  page.layout.predictor = static_cast<std::uint16_t>(fields.Number(tag::kPredictor, 1));
  const bool hasStrips = fields.Has(tag::kStripOffsets) || fields.Has(tag::kStripByteCounts);
  const bool hasTiles = fields.Has(tag::kTileOffsets) || fields.Has(tag::kTileByteCounts);
  // TIFF 6.0 forbids both, and its readers do not agree on which of them count.
  if (hasStrips && hasTiles) RefuseDamaged("both strips and tiles");
  if (fields.Has(tag::kTileWidth) || fields.Has(tag::kTileLength)) {
    const std::uint64_t tileWidth = fields.Required(tag::kTileWidth, "TileWidth");
    const std::uint64_t tileLength = fields.Required(tag::kTileLength, "TileLength");
    if (tileWidth == 0 || tileLength == 0) RefuseDamaged("tiles without pixels");
    if (tileWidth > kMostSide || tileLength > kMostSide) RefuseForm("tiles too large");
    page.layout.tileWidth = static_cast<std::uint32_t>(tileWidth);
    page.layout.tileLength = static_cast<std::uint32_t>(tileLength);
  } else {
    const std::uint64_t rows = std::min(fields.Number(tag::kRowsPerStrip, height), height);
    if (rows == 0) RefuseDamaged("no rows per strip");
    page.layout.rowsPerStrip = static_cast<std::uint32_t>(rows);
    pixels.isPlain = compression == COMPRESSION_NONE && fillOrder == FILLORDER_MSB2LSB;
  }
  pixels.isReversed = fillOrder == FILLORDER_LSB2MSB;
}

void TiffSource::CheckPieces(const TiffDirectories::Raw& raw, Page& page, Pixels& pixels) {
  const Fields fields(raw, directories_.order());
  const Layout& layout = page.layout;
  const bool isTiled = layout.rowsPerStrip == 0;
  const char* const name = isTiled ? "tile" : "strip";
  pixels.offsets = fields.Numbers(isTiled ? tag::kTileOffsets : tag::kStripOffsets);
  pixels.sizes = fields.Numbers(isTiled ? tag::kTileByteCounts : tag::kStripByteCounts);
  if (pixels.offsets.empty() || pixels.sizes.empty()) {
    RefuseDamaged(std::string("no ") + name + "s");
  }

  const std::uint64_t planes = layout.separatePlanes ? page.Samples() : 1;
  const std::uint64_t pixelBytes = page.PixelBytes() / planes;
  const std::uint64_t across = isTiled ? Pieces(page.width, layout.tileWidth) : 1;
  const std::uint64_t rows = isTiled ? layout.tileLength : layout.rowsPerStrip;
  const std::uint64_t down = Pieces(page.height, rows);
  // Compared by division: 2^31 tiles across and down in 64 planes are more than 64 bits.
  if (down > pixels.offsets.size() / planes / across ||
      pixels.offsets.size() != across * down * planes ||
      pixels.sizes.size() != pixels.offsets.size()) {
    RefuseDamaged(std::to_string(pixels.offsets.size()) + " " + name + "s where " +
                  (down > 0xFFFF'FFFF / planes / across ? std::string("many more")
                                                        : std::to_string(across * down * planes)) +
                  " make the image");
  }

  const std::uint64_t pieceBytes = SaturatingProduct(
      SaturatingProduct(rows, isTiled ? layout.tileWidth : page.width), pixelBytes);
  std::uint64_t largest = 0;
  for (std::size_t i = 0; i < pixels.offsets.size(); ++i) {
    const std::uint64_t top = i / across % down * rows;
    const std::uint64_t width = isTiled ? layout.tileWidth : page.width;
    const std::uint64_t height = isTiled ? rows : std::min(rows, page.height - top);
    const std::uint64_t size = pixels.sizes[i];
    const bool isWhole =
        layout.compression != COMPRESSION_NONE ? size > 0 : size / pixelBytes / width >= height;
    if (!isWhole || !bytes_.Holds(pixels.offsets[i], size)) {
      RefuseDamaged(std::string(name) + " " + std::to_string(i + 1) + " of " +
                    std::to_string(pixels.offsets.size()) + " is cut off");
    }
    largest = std::max(largest, size);
  }

  // What a decoder holds: the bytes of a piece, and the piece where it does not come in rows.
  std::uint64_t memory = pixels.isPlain ? 0 : largest;
  if (isTiled || DecodesWholeStrips(layout.compression)) memory += pieceBytes;
  memory = SaturatingProduct(memory, planes);
  const std::uint64_t rowsAtOnce = isTiled ? std::min<std::uint64_t>(rows, page.height) : 1;
  page.memoryBytes = std::max(memory, memory + SaturatingProduct(page.RowBytes(), rowsAtOnce));
  const std::uint64_t imageBytes = SaturatingProduct(page.RowBytes(), page.height);
  claimedBytes_ = std::max(imageBytes, claimedBytes_ + imageBytes);
  CheckProportion(page.memoryBytes, claimedBytes_, bytes_.size());
  // Its use is bounded by the pieces, whatever the size of the file.
  if (layout.compression == COMPRESSION_LZMA) {
    page.memoryBytes += planes * LargestDictionary(page, pixels, pieceBytes);
  }
}

std::uint64_t TiffSource::LargestDictionary(const Page& page, const Pixels& pixels,
                                            std::uint64_t pieceBytes) const {
  std::uint64_t largest = 0;
  for (std::size_t i = 0; i < pixels.offsets.size(); ++i) {
    const std::uint64_t dictionary =
        XzDictionaryBytes(bytes_, pixels.offsets[i], pixels.sizes[i], pixels.isReversed);
    largest = std::max(largest, dictionary);
  }
  // The encoder's largest preset has 64 MiB.
  if (largest > std::max(kFreeMemory, pieceBytes)) {
    RefuseForm("its compression (LZMA) asks for a dictionary of " + std::to_string(largest >> 20) +
               " MiB, more than its " + (page.layout.rowsPerStrip == 0 ? "tiles" : "strips") +
               " have use for");
  }
  return largest;
}

void TiffSource::Select(std::size_t index) {
  decoders_.clear();
  const Page& page = pages_.at(index);
  if (!page.refusal.empty()) RefuseForm(page.refusal);
  const Pixels& pixels = pixels_[index];
  const Layout& layout = page.layout;
  const bool isTiled = layout.rowsPerStrip == 0;
  for (unsigned plane = 0; plane < (layout.separatePlanes ? page.Samples() : 1); ++plane) {
    auto decoder = std::make_unique<TiffDecoder>(bytes_, pixels.structure, directories_.order(),
                                                 kFreeMemory + 2 * page.memoryBytes);
    decoder->Expect<std::uint32_t>(TIFFTAG_IMAGEWIDTH, page.width);
    decoder->Expect<std::uint32_t>(TIFFTAG_IMAGELENGTH, page.height);
    decoder->Expect<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, page.bits);
    decoder->Expect<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, page.Samples());
    decoder->Expect<std::uint16_t>(TIFFTAG_COMPRESSION, layout.compression);
    decoder->Expect<std::uint16_t>(TIFFTAG_PHOTOMETRIC, pixels.photometric);
    decoder->Expect<std::uint16_t>(
        TIFFTAG_PLANARCONFIG, layout.separatePlanes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    if (isTiled) {
      decoder->Expect<std::uint32_t>(TIFFTAG_TILEWIDTH, layout.tileWidth);
      decoder->Expect<std::uint32_t>(TIFFTAG_TILELENGTH, layout.tileLength);
    }
    decoder->ExpectAll(isTiled ? TIFFTAG_TILEOFFSETS : TIFFTAG_STRIPOFFSETS, pixels.offsets);
    decoder->ExpectAll(isTiled ? TIFFTAG_TILEBYTECOUNTS : TIFFTAG_STRIPBYTECOUNTS, pixels.sizes);
    if (layout.compression == COMPRESSION_JPEG && pixels.photometric == PHOTOMETRIC_YCBCR) {
      decoder->Check(TIFFSetField(decoder->tiff(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB) == 1);
    }
    decoders_.push_back(std::move(decoder));
  }
  const std::size_t planes = decoders_.size();
  if (isTiled) {
    tile_.resize(page.PixelBytes() / planes * layout.tileWidth * layout.tileLength);
    tileRow_.resize(page.RowBytes() * std::min(layout.tileLength, page.height));
  } else {
    plane_.resize(page.RowBytes() / planes);
  }
  for (const auto& decoder : decoders_) {
    const auto bytes =
        isTiled ? TIFFTileSize64(decoder->tiff()) : TIFFScanlineSize64(decoder->tiff());
    decoder->Check(bytes == (isTiled ? tile_.size() : plane_.size()));
  }
  selected_ = index;
  row_ = 0;
}

void TiffSource::CheckPiece(std::size_t plane, std::uint32_t left) {
  const Page& page = pages_[selected_];
  const Layout& layout = page.layout;
  const bool isDeflate =
      layout.compression == COMPRESSION_ADOBE_DEFLATE || layout.compression == COMPRESSION_DEFLATE;
  if (!isDeflate && layout.compression != COMPRESSION_WEBP) return;
  const bool isTiled = layout.rowsPerStrip == 0;
  const auto sample = static_cast<std::uint16_t>(plane);
  TIFF* const tiff = decoders_[plane]->tiff();
  const std::size_t piece =
      isTiled ? TIFFComputeTile(tiff, left, row_, 0, sample) : TIFFComputeStrip(tiff, row_, sample);
  const std::uint64_t rowBytes = page.RowBytes() / decoders_.size();
  const std::uint64_t rows = std::min(layout.rowsPerStrip, page.height - row_);
  const Pixels& pixels = pixels_[selected_];
  const std::uint64_t at = pixels.offsets[piece], sizeBytes = pixels.sizes[piece];
  if (!isDeflate) {
    CheckWebp(bytes_, at, sizeBytes, pixels.isReversed, isTiled ? layout.tileWidth : page.width,
              isTiled ? layout.tileLength : static_cast<std::uint32_t>(rows));
    return;
  }
  if (!deflateCheck_) deflateCheck_.emplace();
  deflateCheck_->Check(bytes_, at, sizeBytes, pixels.isReversed,
                       isTiled ? tile_.size() : rows * rowBytes,
                       isTiled ? tile_.size() : layout.rowsPerStrip * rowBytes);
}

void TiffSource::ReadTileRow() {
  const Page& page = pages_[selected_];
  const std::size_t sampleBytes = page.bits / 8;
  const std::size_t pixelBytes = page.PixelBytes();
  const std::uint32_t rows = std::min(page.layout.tileLength, page.height - row_);
  const std::size_t planeBytes = pixelBytes / decoders_.size();
  for (std::size_t plane = 0; plane < decoders_.size(); ++plane) {
    TIFF* const tiff = decoders_[plane]->tiff();
    for (std::uint32_t left = 0; left < page.width; left += page.layout.tileWidth) {
      CheckPiece(plane, left);
      const auto number = TIFFComputeTile(tiff, left, row_, 0, static_cast<std::uint16_t>(plane));
      const auto size = static_cast<tmsize_t>(tile_.size());
      decoders_[plane]->Check(TIFFReadEncodedTile(tiff, number, tile_.data(), size) == size);
      const std::uint32_t columns = std::min(page.layout.tileWidth, page.width - left);
      for (std::uint32_t y = 0; y < rows; ++y) {
        const unsigned char* from =
            tile_.data() + std::size_t{y} * page.layout.tileWidth * planeBytes;
        unsigned char* to = tileRow_.data() + y * page.RowBytes() + left * pixelBytes;
        if (decoders_.size() == 1) {
          std::memcpy(to, from, columns * pixelBytes);
          continue;
        }
        to += plane * sampleBytes;
        for (std::uint32_t x = 0; x < columns; ++x, from += sampleBytes, to += pixelBytes) {
          std::memcpy(to, from, sampleBytes);
        }
      }
    }
  }
}

std::uint32_t TiffSource::ReadPlainRows(std::size_t plane, unsigned char* to, std::uint32_t most) {
  const Page& page = pages_[selected_];
  const std::uint32_t stripRows = page.layout.rowsPerStrip;
  const std::size_t strips = (page.height - 1) / stripRows + 1;
  const std::uint32_t inStrip = row_ % stripRows;
  const std::uint32_t rows = std::min({most, stripRows - inStrip, page.height - row_});
  const std::size_t rowBytes = page.RowBytes() / decoders_.size();
  bytes_.Read(pixels_[selected_].offsets[plane * strips + row_ / stripRows] + inStrip * rowBytes,
              to, rows * rowBytes);
  constexpr bool kIsLittle = std::endian::native == std::endian::little;
  if (page.bits == 16 && kIsLittle != (directories_.order() == ByteOrder::kLittle)) {
    for (std::size_t at = 0; at < rows * rowBytes; at += 2) std::swap(to[at], to[at + 1]);
  }
  return rows;
}

void TiffSource::ReadRows(unsigned char* to, std::uint32_t rows) {
  const Page& page = pages_[selected_];
  const bool isPlain = pixels_[selected_].isPlain;
  if (isPlain && decoders_.size() == 1) {
    // libtiff would hold a whole strip, which often is the image.
    while (rows > 0) {
      const std::uint32_t count = ReadPlainRows(0, to, rows);
      to += count * page.RowBytes();
      row_ += count;
      rows -= count;
    }
    return;
  }
  const std::size_t sampleBytes = page.bits / 8;
  for (; rows > 0; --rows, ++row_, to += page.RowBytes()) {
    if (page.layout.rowsPerStrip == 0) {
      const std::uint32_t inTile = row_ % page.layout.tileLength;
      if (inTile == 0) ReadTileRow();
      std::memcpy(to, tileRow_.data() + inTile * page.RowBytes(), page.RowBytes());
      continue;
    }
    if (row_ % page.layout.rowsPerStrip == 0) {
      for (std::size_t plane = 0; plane < decoders_.size(); ++plane) CheckPiece(plane, 0);
    }
    if (decoders_.size() == 1) {
      decoders_[0]->Check(TIFFReadScanline(decoders_[0]->tiff(), to, row_, 0) == 1);
      continue;
    }
    for (std::size_t plane = 0; plane < decoders_.size(); ++plane) {
      if (isPlain) {
        ReadPlainRows(plane, plane_.data(), 1);
      } else {
        decoders_[plane]->Check(TIFFReadScanline(decoders_[plane]->tiff(), plane_.data(), row_,
                                                 static_cast<std::uint16_t>(plane)) == 1);
      }
      unsigned char* sample = to + plane * sampleBytes;
      for (std::size_t at = 0; at < plane_.size(); at += sampleBytes, sample += page.PixelBytes()) {
        std::memcpy(sample, plane_.data() + at, sampleBytes);
      }
    }
  }
}

}  // namespace kxcms::image
