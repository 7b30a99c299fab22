#include "tools/image/FileForm.h"

#include <tiff.h>

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/InputBytes.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/TiffDirectories.h"

namespace kxcms::image {

namespace {

/// A number that has a name.
struct Named {
  std::uint64_t number;
  const char* name;
};

template <std::size_t N>
std::string NameOf(const Named (&names)[N], std::uint64_t number, const char* what) {
  for (const Named& named : names) {
    if (named.number == number) return named.name;
  }
  return what + std::to_string(number);
}

// TIFF 6.0 and its supplements.
constexpr Named kColors[] = {
    {PHOTOMETRIC_MINISWHITE, "grey (0 is white)"},
    {PHOTOMETRIC_MINISBLACK, "grey"},
    {PHOTOMETRIC_RGB, "RGB"},
    {PHOTOMETRIC_PALETTE, "palette"},
    {PHOTOMETRIC_MASK, "transparency mask"},
    {PHOTOMETRIC_SEPARATED, "CMYK or other inks"},
    {PHOTOMETRIC_YCBCR, "YCbCr"},
    {PHOTOMETRIC_CIELAB, "Lab"},
    {PHOTOMETRIC_ICCLAB, "Lab (ICC)"},
    {PHOTOMETRIC_ITULAB, "Lab (ITU)"},
    {PHOTOMETRIC_CFA, "raw data of a camera"},
    {PHOTOMETRIC_LOGL, "logarithmic luminance"},
    {PHOTOMETRIC_LOGLUV, "logarithmic Luv"},
    {34892, "linear raw data of a camera"},
};
constexpr Named kCompressions[] = {
    {COMPRESSION_NONE, "none"},
    {COMPRESSION_CCITTRLE, "CCITT RLE"},
    {COMPRESSION_CCITTFAX3, "CCITT Group 3"},
    {COMPRESSION_CCITTFAX4, "CCITT Group 4"},
    {COMPRESSION_LZW, "LZW"},
    {COMPRESSION_OJPEG, "JPEG (old form)"},
    {COMPRESSION_JPEG, "JPEG"},
    {COMPRESSION_ADOBE_DEFLATE, "Deflate"},
    {COMPRESSION_DEFLATE, "Deflate"},
    {COMPRESSION_PACKBITS, "PackBits"},
    {COMPRESSION_LZMA, "LZMA"},
    {COMPRESSION_ZSTD, "Zstandard"},
    {COMPRESSION_WEBP, "WebP"},
    {COMPRESSION_LERC, "LERC"},
    {COMPRESSION_JP2000, "JPEG 2000"},
};
constexpr Named kSampleFormats[] = {
    {SAMPLEFORMAT_UINT, "unsigned"},      {SAMPLEFORMAT_INT, "signed"},
    {SAMPLEFORMAT_IEEEFP, "float"},       {SAMPLEFORMAT_VOID, "undefined"},
    {SAMPLEFORMAT_COMPLEXINT, "complex"}, {SAMPLEFORMAT_COMPLEXIEEEFP, "complex float"},
};
constexpr Named kExtras[] = {
    {EXTRASAMPLE_UNSPECIFIED, "unspecified"},
    {EXTRASAMPLE_ASSOCALPHA, "associated alpha"},
    {EXTRASAMPLE_UNASSALPHA, "alpha"},
};

constexpr std::uint64_t kMostSamples = 64;

/// Samples that are colours.
std::uint64_t ColorsOf(std::uint64_t photometric) {
  switch (photometric) {
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_YCBCR:
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case PHOTOMETRIC_ITULAB:
    case PHOTOMETRIC_LOGLUV:
      return 3;
    case PHOTOMETRIC_SEPARATED:
      return 4;
    default:
      return 1;
  }
}

class TiffForm {
 public:
  TiffForm(const InputBytes& bytes, FileForm& form)
      : bytes_(bytes), directories_(bytes), form_(form) {
    form_.order = directories_.order();
    form_.isBigTiff = directories_.isBig();
  }

  void Read() {
    std::uint64_t next = 0;
    for (std::uint64_t at = directories_.first(); at != 0; at = next) {
      next = ReadPage(at, std::nullopt, 0);
    }
  }

 private:
  // A directory's tags, and what is asked of them.
  struct Fields {
    TiffDirectories::Raw raw;
    ByteOrder order;

    const Tag* Find(std::uint16_t number) const {
      const auto found = std::find_if(raw.tags.begin(), raw.tags.end(),
                                      [number](const Tag& tag) { return tag.number == number; });
      return found == raw.tags.end() ? nullptr : &*found;
    }
    std::vector<std::uint64_t> Numbers(std::uint16_t number) const {
      std::vector<std::uint64_t> values;
      const Tag* const tag = Find(number);
      if (tag == nullptr) return values;
      while (const auto value = UnsignedItem(*tag, values.size(), order)) values.push_back(*value);
      return values;
    }
    /// Those of the samples, as many of them as an image source takes.
    std::vector<std::uint64_t> OfSamples(std::uint16_t number) const {
      std::vector<std::uint64_t> values = Numbers(number);
      if (values.size() > kMostSamples) values.resize(kMostSamples);
      return values;
    }
    std::uint64_t Number(std::uint16_t number, std::uint64_t absent) const {
      const Tag* const tag = Find(number);
      return tag == nullptr ? absent : UnsignedItem(*tag, 0, order).value_or(absent);
    }
  };

  /// @return the position of the following directory
  std::uint64_t ReadPage(std::uint64_t position, std::optional<std::size_t> parent,
                         unsigned depth) {
    constexpr unsigned kDeepest = 8;  // below what an ImageSource takes nothing lies
    if (depth > kDeepest) RefuseDamaged("directories nested too deeply");
    Fields fields{directories_.Read(position), directories_.order()};
    const std::uint64_t following = fields.raw.next;
    const std::vector<std::uint64_t> subPages = fields.Numbers(tag::kSubIfds);
    PageForm page;
    page.parent = parent;
    ReadPixels(fields, page);
    ReadPieces(fields, page);
    page.areTagsSorted =
        std::is_sorted(fields.raw.tags.begin(), fields.raw.tags.end(),
                       [](const Tag& a, const Tag& b) { return a.number < b.number; });
    page.orientation = fields.Number(tag::kOrientation, 1);
    if (const Tag* const profile = fields.Find(tag::kIccProfile)) page.profile = profile->bytes;
    page.hasProfile = !page.profile.empty();
    page.resolution = ResolutionOf({fields.order, {std::move(fields.raw.tags), {}}, {}});
    const std::size_t index = form_.pages.size();
    form_.pages.push_back(std::move(page));
    for (const std::uint64_t subPage : subPages) ReadPage(subPage, index, depth + 1);
    return following;
  }

  static void ReadPixels(const Fields& fields, PageForm& page) {
    page.subfileType = static_cast<std::uint32_t>(fields.Number(tag::kNewSubfileType, 0));
    page.width = fields.Number(tag::kImageWidth, 0);
    page.height = fields.Number(tag::kImageLength, 0);
    page.samples = fields.Number(tag::kSamplesPerPixel, 1);
    page.bits = fields.OfSamples(tag::kBitsPerSample);
    if (page.bits.empty()) page.bits = {1};
    if (std::adjacent_find(page.bits.begin(), page.bits.end(), std::not_equal_to<>()) ==
        page.bits.end()) {
      page.bits.resize(1);
    }
    page.sampleFormat =
        NameOf(kSampleFormats, fields.Number(tag::kSampleFormat, SAMPLEFORMAT_UINT), "format ");
    const std::uint64_t photometric = fields.Number(tag::kPhotometric, ~std::uint64_t{0});
    if (fields.Find(tag::kPhotometric) != nullptr) {
      page.colors = NameOf(kColors, photometric, "colours of kind ");
    }
    for (const std::uint64_t extra : fields.OfSamples(tag::kExtraSamples)) {
      page.extras.push_back(NameOf(kExtras, extra, "kind "));
    }
    // What no tag explains is there all the same.
    while (ColorsOf(photometric) + page.extras.size() < std::min(page.samples, kMostSamples)) {
      page.extras.emplace_back("unspecified");
    }
    page.areBitsReversed = fields.Number(tag::kFillOrder, FILLORDER_MSB2LSB) == FILLORDER_LSB2MSB;
  }

  void ReadPieces(const Fields& fields, PageForm& page) const {
    const std::uint64_t compression = fields.Number(tag::kCompression, COMPRESSION_NONE);
    page.compression = NameOf(kCompressions, compression, "method ");
    page.predictor = fields.Number(tag::kPredictor, 1);
    page.hasSeparatePlanes =
        fields.Number(tag::kPlanarConfiguration, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    page.tileWidth = fields.Number(tag::kTileWidth, 0);
    page.tileLength = fields.Number(tag::kTileLength, 0);
    const bool isTiled = page.tileWidth != 0;
    if (!isTiled) {
      page.rowsPerStrip = std::min(fields.Number(tag::kRowsPerStrip, page.height), page.height);
    }
    const auto offsets = fields.Numbers(isTiled ? tag::kTileOffsets : tag::kStripOffsets);
    const auto sizes = fields.Numbers(isTiled ? tag::kTileByteCounts : tag::kStripByteCounts);
    page.pieces = sizes.size();
    for (std::size_t i = 0; i < std::min(offsets.size(), sizes.size()); ++i) {
      page.arePiecesInside = page.arePiecesInside && bytes_.Holds(offsets[i], sizes[i]);
    }
    const bool isOnePiece = isTiled ? page.tileLength >= page.height && page.tileWidth >= page.width
                                    : page.rowsPerStrip >= page.height;
    if (isOnePiece && (compression == COMPRESSION_WEBP || compression == COMPRESSION_LERC)) {
      page.wholeBecause =
          "one " + std::string(isTiled ? "tile" : "strip") + " of " + page.compression;
    }
  }

  const InputBytes& bytes_;
  TiffDirectories directories_;
  FileForm& form_;
};

/// A part of a profile that stands in the marker APP2, whose contents begin at `at` (ICC.1:2010
/// B.4): its number, and the bytes. None if the marker holds something else.
std::optional<std::pair<unsigned, std::vector<unsigned char>>> ProfilePart(const InputBytes& bytes,
                                                                           std::uint64_t at,
                                                                           std::uint64_t count) {
  constexpr std::string_view kMark("ICC_PROFILE\0", 12);
  constexpr std::size_t kHead = kMark.size() + 2;  // number of the part, count of parts
  if (count < kHead || !bytes.Holds(at, count)) return std::nullopt;
  std::vector<unsigned char> content(static_cast<std::size_t>(count));
  bytes.Read(at, content.data(), content.size());
  if (!std::equal(kMark.begin(), kMark.end(), content.begin())) return std::nullopt;
  const unsigned number = content[kMark.size()];
  content.erase(content.begin(), content.begin() + kHead);
  return std::pair(number, std::move(content));
}

/// The frame and the first scan of a JPEG file (ITU-T T.81, Annex B).
PageForm JpegForm(const InputBytes& bytes) {
  PageForm page;
  page.compression = "JPEG";
  page.sampleFormat = "unsigned";
  unsigned char head[10];
  const auto number = [&head](std::size_t at, unsigned size) {
    return NumberAt(head + at, size, ByteOrder::kBig);
  };
  constexpr unsigned kFrame0 = 0xC0, kFrame15 = 0xCF, kScan = 0xDA, kApp2 = 0xE2;
  bool isProgressive = false;
  std::map<unsigned, std::vector<unsigned char>> parts;
  for (std::uint64_t at = 2; bytes.Holds(at, 4);) {
    bytes.Read(at, head, 4);
    if (head[0] != 0xFF) break;
    const unsigned marker = head[1];
    if (marker == 0xFF) {  // filling
      ++at;
      continue;
    }
    if (marker == kScan) {
      if (!bytes.Holds(at + 4, 1)) break;
      bytes.Read(at + 4, head, 1);
      if (isProgressive) page.wholeBecause = "progressive JPEG";
      if (!isProgressive && head[0] < page.samples) page.wholeBecause = "JPEG in several scans";
      break;
    }
    const bool isTable = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    if (marker >= kFrame0 && marker <= kFrame15 && !isTable) {
      if (!bytes.Holds(at, sizeof head)) break;
      bytes.Read(at, head, sizeof head);
      page.bits = {head[4]};
      page.height = number(5, 2);
      page.width = number(7, 2);
      page.samples = head[9];
      isProgressive = (marker & 3) == 2;
    }
    const std::uint64_t size = number(2, 2);
    if (marker == kApp2 && size > 2) {
      if (auto part = ProfilePart(bytes, at + 4, size - 2)) parts.insert(std::move(*part));
    }
    at += 2 + size;
  }
  for (const auto& [ignored, part] : parts) {
    page.profile.insert(page.profile.end(), part.begin(), part.end());
  }
  page.hasProfile = !page.profile.empty();
  constexpr Named kComponents[] = {{1, "grey"}, {3, "RGB"}, {4, "CMYK"}};
  page.colors = NameOf(kComponents, page.samples, "components: ");
  return page;
}

/// The header of a PNG file (ISO/IEC 15948, 11.2.2).
PageForm PngForm(const InputBytes& bytes) {
  PageForm page;
  page.compression = "Deflate";
  page.sampleFormat = "unsigned";
  unsigned char head[29];
  if (!bytes.Holds(0, sizeof head)) RefuseDamaged("cut off");
  bytes.Read(0, head, sizeof head);
  page.width = NumberAt(head + 16, 4, ByteOrder::kBig);
  page.height = NumberAt(head + 20, 4, ByteOrder::kBig);
  page.bits = {head[24]};
  constexpr unsigned kPalette = 1, kColor = 2, kAlpha = 4;
  const unsigned type = head[25];
  page.colors = (type & kPalette) != 0 ? "palette" : (type & kColor) != 0 ? "RGB" : "grey";
  page.samples = (type & kPalette) == 0 && (type & kColor) != 0 ? 3 : 1;
  if ((type & kAlpha) != 0) {
    ++page.samples;
    page.extras = {"alpha"};
  }
  if (head[28] != 0) page.wholeBecause = "interlaced PNG";
  // A profile stands before the pixels.
  constexpr std::uint64_t kSignature = 8, kChunk = 12;  // length, type, check sum
  for (std::uint64_t at = kSignature; bytes.Holds(at, kChunk);) {
    bytes.Read(at, head, 8);
    const std::string_view chunk(reinterpret_cast<const char*>(head) + 4, 4);
    if (chunk == "IDAT") break;
    page.hasProfile = page.hasProfile || chunk == "iCCP";
    at += kChunk + NumberAt(head, 4, ByteOrder::kBig);
  }
  return page;
}

}  // namespace

FileForm ReadForm(int fd, std::uint64_t sizeBytes) {
  const FileBytes bytes(fd, sizeBytes);
  unsigned char start = 0;
  if (!bytes.Holds(0, 1)) RefuseDamaged("cut off");
  bytes.Read(0, &start, 1);
  FileForm form;
  if (start == 0xFF) {
    form.format = Format::kJpeg;
    form.pages.push_back(JpegForm(bytes));
  } else if (start == 0x89) {
    form.format = Format::kPng;
    form.pages.push_back(PngForm(bytes));
  } else {
    TiffForm(bytes, form).Read();
  }
  return form;
}

}  // namespace kxcms::image
