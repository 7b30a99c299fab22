#include "TiffCheck.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "InputFile.h"
#include "Refusal.h"
#include "base/Bytes.h"
#include "tiff/TiffLayout.h"

// Layouts and tag values: TIFF 6.0, section 2 and the baseline and extension sections.

namespace {

using namespace KX_Tiff_STL3;

constexpr unsigned kMostImages = 1000;

// Pointers to directories elsewhere in the file; beside ExifIfd, which the library knows.
constexpr unsigned kSubIfds = 330;
constexpr unsigned kGpsIfd = 34853;
constexpr unsigned kInteroperabilityIfd = 40965;

struct Entry {
  unsigned tag;
  unsigned type;
  std::uint32_t count;
  std::uint32_t value;          ///< the four bytes as one number
  std::uint64_t valuePosition;  ///< of those four bytes in the file

  std::uint64_t Size() const { return std::uint64_t{StandardItemBytes(type)} * count; }
  std::uint64_t DataPosition() const { return Size() <= kInlineBytes ? valuePosition : value; }
};

std::string CompressionName(std::uint32_t compression) {
  switch (compression) {
    case 2:
    case 3:
    case 4:
      return "CCITT";
    case 5:
      return "LZW";
    case 6:
    case 7:
      return "JPEG";
    case 8:
    case 32946:
      return "Deflate";
    case 32773:
      return "PackBits";
    default:
      return "method " + std::to_string(compression);
  }
}

std::string PhotometricName(std::uint32_t photometric) {
  switch (photometric) {
    case 0:
    case 1:
      return "grey";
    case 3:
      return "palette colours";
    case 4:
      return "a mask";
    case 5:
      return "CMYK or other inks";
    case 6:
      return "YCbCr";
    case 8:
    case 9:
    case 10:
      return "Lab";
    default:
      return "photometric interpretation " + std::to_string(photometric);
  }
}

class TiffChecker {
 public:
  TiffChecker(int fd, const std::string& name)
      : fd_(fd), name_(name), fileSize_(RegularFileSize(fd, name)) {}

  TiffReport Inspect() {
    TiffReport report;
    const std::optional<std::uint32_t> directory = HeaderAndFirstDirectory();
    if (directory && ReadDirectory(*directory)) {
      CheckEntries();
      CheckSingleImage();
      CheckForm();
      CheckPixels(report.form);
      if (sizeKnown_) CheckStrips(report.form);
      for (const Entry& entry : entries_) {
        if (IsLeftOut(entry)) report.form.leftOut.push_back(static_cast<std::uint16_t>(entry.tag));
      }
      const Entry* profile = Find(IccProfile);
      if (profile != nullptr) report.form.profile = Read(profile->DataPosition(), profile->Size());
    }
    report.findings = findings_.list();
    return report;
  }

 private:
  /// For a file that the system cannot read.
  [[noreturn]] void Refuse(const std::string& reason) const {
    throw Refusal(Exit::InputUnreadable, name_ + ": " + reason);
  }
  void Error(const char* code, const std::string& text, Exit refusal) {
    findings_.Add({Finding::Severity::Error, code, text, refusal, IntentSet().set()});
  }
  void Damaged(const char* code, const std::string& reason) {
    Error(code, "damaged: " + reason, Exit::InputUnreadable);
  }
  void Unsupported(const char* code, const std::string& reason) {
    Error(code, reason, Exit::WouldBeWrong);
  }

  bool Holds(std::uint64_t offset, std::uint64_t size) const {
    return offset <= fileSize_ && size <= fileSize_ - offset;
  }

  /// Empty where the file does not hold all of it.
  std::optional<std::vector<unsigned char>> Read(std::uint64_t offset, std::uint64_t size) const {
    if (!Holds(offset, size)) return std::nullopt;
    std::vector<unsigned char> bytes(size);
    std::uint64_t done = 0;
    while (done < size) {
      const ssize_t got =
          pread(fd_, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) Refuse(std::strerror(errno));
      if (got == 0) return std::nullopt;
      done += static_cast<std::uint64_t>(got);
    }
    return bytes;
  }

  std::optional<std::uint32_t> HeaderAndFirstDirectory() {
    const auto header = Read(0, kHeaderBytes);
    const auto begins = [&header](const char(&magic)[5]) {
      return header && std::memcmp(header->data(), magic, 4) == 0;
    };
    if (begins("MM\0*")) {
      Unsupported("byte-order", "big-endian TIFF (MM); only little-endian files (II) work");
    } else if (begins("II+\0") || begins("MM\0+")) {
      Unsupported("bigtiff", "BigTIFF; only classic TIFF files work");
    } else if (!begins("II*\0")) {
      Error("not-a-tiff", "not a TIFF file", Exit::InputUnreadable);
    } else {
      return kxcms::LittleEndianView(*header).U32(kFirstDirectoryAt);
    }
    return std::nullopt;
  }

  /// A directory without its count of entries: the entries, and where the next directory stands.
  std::optional<std::vector<unsigned char>> ReadEntries(std::uint64_t position) {
    const auto count = Read(position, kEntryCountBytes);
    auto bytes =
        count ? Read(position + kEntryCountBytes,
                     DirectoryBytes(kxcms::LittleEndianView(*count).U16(0)) - kEntryCountBytes)
              : std::nullopt;
    if (!bytes) Damaged("directory-cut-off", "cut off");
    return bytes;
  }

  bool ReadDirectory(std::uint32_t position) {
    const auto bytes = ReadEntries(position);
    if (!bytes) return false;
    const kxcms::LittleEndianView table(*bytes);
    const std::uint64_t count = bytes->size() / kEntryBytes;
    if (count == 0) {
      Damaged("no-tags", "an image without tags");
      return false;
    }
    if (count > kMaxEntries) {
      Unsupported("tag-count", std::to_string(count) + " tags; up to " +
                                   std::to_string(kMaxEntries) + " can be read");
      return false;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t at = i * kEntryBytes;
      entries_.push_back({table.U16(at), table.U16(at + kEntryTypeAt),
                          table.U32(at + kEntryItemsAt), table.U32(at + kEntryValueAt),
                          std::uint64_t{position} + kEntryCountBytes + at + kEntryValueAt});
    }
    nextDirectory_ = table.U32(count * kEntryBytes);
    return true;
  }

  void CheckEntries() {
    for (std::size_t i = 0; i < entries_.size() && !findings_.full(); ++i) {
      const Entry& entry = entries_[i];
      const std::string tag = std::to_string(entry.tag);
      if (!Holds(entry.DataPosition(), entry.Size())) {
        Damaged("tag-outside", "the data of tag " + tag + " lie outside the file");
      }
      if (Find(entry.tag) != &entry) Damaged("duplicate-tag", "tag " + tag + " stands twice");
      if (i > 0 && entry.tag < entries_[i - 1].tag) {
        findings_.Add({Finding::Severity::Warning, "tag-order", "its tags are not in order",
                       Exit::Done, IntentSet()});
      }
    }
  }

  /// Only the first image is converted, so there must be no other one but reduced copies.
  void CheckSingleImage() {
    std::uint32_t position = nextDirectory_;
    for (unsigned images = 0; position != 0; ++images) {
      if (images == kMostImages) {
        Damaged("directory-circle", "its directories go round in a circle");
        return;
      }
      const auto bytes = ReadEntries(position);
      if (!bytes) return;
      const kxcms::LittleEndianView table(*bytes);
      const std::uint64_t count = bytes->size() / kEntryBytes;
      bool reduced = false;
      for (std::uint64_t i = 0; i < count; ++i) {
        if (table.U16(i * kEntryBytes) == NewSubfileType) {
          reduced = (table.U32(i * kEntryBytes + kEntryValueAt) & 1) != 0;
        }
      }
      if (!reduced) {
        Unsupported("several-images", "more than one image; only single images can be converted");
        return;
      }
      position = table.U32(count * kEntryBytes);
    }
  }

  const Entry* Find(unsigned tag) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [tag](const Entry& entry) { return entry.tag == tag; });
    return found == entries_.end() ? nullptr : &*found;
  }

  /// All items of a SHORT or LONG tag; none where that is not what it holds.
  std::vector<std::uint32_t> Numbers(const Entry& entry) {
    if ((entry.type != TIFF_SHORT && entry.type != TIFF_LONG) || entry.count == 0) {
      Damaged("tag-form", "tag " + std::to_string(entry.tag) + " is not a number");
      return {};
    }
    const auto bytes = Read(entry.DataPosition(), entry.Size());
    if (!bytes) return {};  // which has been found already
    const kxcms::LittleEndianView data(*bytes);
    std::vector<std::uint32_t> numbers(entry.count);
    for (std::uint32_t i = 0; i < entry.count; ++i) {
      numbers[i] = entry.type == TIFF_SHORT ? data.U16(2ull * i) : data.U32(4ull * i);
    }
    return numbers;
  }

  std::optional<std::uint32_t> Number(unsigned tag) {
    const Entry* entry = Find(tag);
    if (entry == nullptr) return std::nullopt;
    const std::vector<std::uint32_t> numbers = Numbers(*entry);
    if (numbers.empty()) return std::nullopt;
    // The library takes all four bytes of the field, so that those past a SHORT must be zero.
    if (entry->count != 1 || numbers.front() != entry->value) {
      Damaged("tag-form", "tag " + std::to_string(tag) + " is not a single number");
      return std::nullopt;
    }
    return numbers.front();
  }

  std::optional<std::uint32_t> Required(unsigned tag, const char* what) {
    if (Find(tag) == nullptr) Damaged("tag-missing", std::string("no ") + what);
    return Number(tag);
  }

  void CheckForm() {
    const std::uint32_t compression = Required(Compression, "Compression").value_or(kUncompressed);
    if (compression != kUncompressed) {
      Unsupported("compressed", "compressed (" + CompressionName(compression) +
                                    "); only uncompressed images work");
    }
    if (Find(TileWidth) != nullptr || Find(TileOffsets) != nullptr) {
      Unsupported("tiled", "tiled; only images in strips work");
    }
    if (Number(FillOrder).value_or(1) != 1) {
      Unsupported("fill-order", "reversed bit order (FillOrder 2)");
    }
  }

  void CheckPixels(TiffForm& form) {
    const std::uint32_t photometric =
        Required(PhotometricInterpretation, "PhotometricInterpretation").value_or(kPhotometricRgb);
    if (photometric != kPhotometricRgb) {
      Unsupported("photometric", "holds " + PhotometricName(photometric) + ", not RGB");
    }
    const std::uint32_t samples = Number(SamplesPerPixel).value_or(1);
    if (samples != 3 || Find(ExtraSamples) != nullptr) {
      Unsupported("samples", std::to_string(samples) + " samples per pixel" +
                                 (samples == 3 ? ", not all of them colours" : "; only 3 work"));
    }
    CheckDepth(form);
    if (const Entry* format = Find(SampleFormat)) {
      for (const std::uint32_t code : Numbers(*format)) {
        if (code != 1) {
          Unsupported("sample-format", "its samples are not unsigned integers (SampleFormat)");
        }
      }
    }
    CheckDimensions(form, samples);
    const std::uint32_t orientation = Number(Orientation).value_or(1);
    form.orientation = static_cast<std::uint16_t>(orientation);
  }

  void CheckDimensions(TiffForm& form, std::uint32_t samples) {
    const std::optional<std::uint32_t> width = Required(ImageWidth, "ImageWidth");
    const std::optional<std::uint32_t> length = Required(ImageLength, "ImageLength");
    if (!width || !length) return;
    form.width = *width;
    form.length = *length;
    if (form.width == 0 || form.length == 0) {
      Damaged("no-pixels", "no pixels");
      return;
    }
    if (form.bits == 0 || samples != 3) return;
    // The library counts bytes in 32-bit integers.
    const std::uint64_t rowBytes = std::uint64_t{form.width} * 3 * (form.bits / 8);
    if (rowBytes > std::numeric_limits<std::int32_t>::max() / form.length) {
      Unsupported("too-large", "more than 2 GiB of pixels");
      return;
    }
    sizeKnown_ = true;
  }

  void CheckDepth(TiffForm& form) {
    const Entry* entry = Find(BitsPerSample);
    if (entry == nullptr) {
      Unsupported("depth", "1 bit per sample; only 8 and 16 work");
      return;
    }
    const std::vector<std::uint32_t> depths = Numbers(*entry);
    if (depths.empty()) return;
    if (entry->type != TIFF_SHORT || (entry->count != 1 && entry->count != 3)) {
      Damaged("tag-form", "BitsPerSample does not fit three samples");
    } else if (std::adjacent_find(depths.begin(), depths.end(), std::not_equal_to<>()) !=
               depths.end()) {
      Unsupported("depth", "samples of different depths");
    } else if (depths[0] != 8 && depths[0] != 16) {
      Unsupported("depth", std::to_string(depths[0]) + " bits per sample; only 8 and 16 work");
    } else {
      form.bits = static_cast<int>(depths[0]);
      if (entry->count == 1) Number(BitsPerSample);
    }
  }

  /// Every strip lies in the file and holds exactly its rows, so that strung together they are the
  /// image, or its three planes.
  void CheckStrips(const TiffForm& form) {
    const std::uint32_t planar = Number(PlanarConfiguration).value_or(kChunky);
    if (planar != kChunky && planar != kSeparatePlanes) {
      Damaged("planar", "planar configuration " + std::to_string(planar));
      return;
    }
    const std::uint32_t rowsPerStrip = Number(RowsPerStrip).value_or(form.length);
    if (rowsPerStrip == 0) {
      Damaged("strips", "no rows per strip");
      return;
    }
    const Entry* offsetsEntry = Find(StripOffsets);
    const Entry* countsEntry = Find(StripByteCounts);
    if (offsetsEntry == nullptr || countsEntry == nullptr) {
      Damaged("strips", "no strips");
      return;
    }
    const std::vector<std::uint32_t> offsets = Numbers(*offsetsEntry);
    const std::vector<std::uint32_t> counts = Numbers(*countsEntry);

    const std::uint32_t rows = std::min(rowsPerStrip, form.length);
    const std::uint64_t perPlane = (form.length + std::uint64_t{rows} - 1) / rows;
    const std::uint64_t strips = planar == kSeparatePlanes ? 3 * perPlane : perPlane;
    if (offsets.size() != strips || counts.size() != strips) {
      Damaged("strips", std::to_string(offsets.size()) + " strips where " + std::to_string(strips) +
                            " make the image");
      return;
    }
    const std::uint64_t rowBytes =
        form.PixelBytes() / form.length / (planar == kSeparatePlanes ? 3 : 1);
    for (std::uint64_t i = 0; i < strips && !findings_.full(); ++i) {
      const std::uint64_t firstRow = i % perPlane * rows;
      const std::uint64_t needed = std::min<std::uint64_t>(rows, form.length - firstRow) * rowBytes;
      const std::string strip = "strip " + std::to_string(i + 1);
      // Bytes past the rows do no harm only behind the last pixel.
      const bool last = planar == kChunky && i + 1 == strips;
      if (!Holds(offsets[i], needed) || counts[i] < needed) {
        Damaged("strip-cut-off", strip + " of " + std::to_string(strips) + " is cut off");
      } else if (counts[i] > needed && !last) {
        Unsupported("strip-too-long", strip + " holds more than its rows");
      } else if (!Holds(offsets[i], counts[i])) {
        Damaged("strip-cut-off", "the last strip is cut off");
      }
    }
  }

  bool IsLeftOut(const Entry& entry) const {
    switch (entry.tag) {
      case IccProfile:
      case TransferFunction:
      case WhitePoint:
      case PrimaryChromaticities:
      case ReferenceBlackWhite:
      case TransferRange:
        return true;  // they describe the colours before the conversion
      case FreeOffsets:
      case FreeByteCounts:
      case kSubIfds:
      case kGpsIfd:
      case kInteroperabilityIfd:
        return true;
      case ExifIfd:
        return !IsExifSelfContained(entry);
      default:
        break;
    }
    // The library's writer gives data of these types an offset even where they fit into the entry,
    // and then does not store them.
    if (AlwaysGetsOffset(entry.type)) return entry.Size() <= kInlineBytes;
    // It has other sizes for these (see DataType), or none.
    return entry.type == TIFF_SRATIONAL || entry.type == TIFF_FLOAT || entry.type == TIFF_DOUBLE ||
           entry.type > TIFF_DOUBLE || entry.type == 0;
  }

  /// The Exif directory moves as a block, so nothing in it may point elsewhere.
  bool IsExifSelfContained(const Entry& pointer) const {
    if (pointer.type != TIFF_LONG || pointer.count != 1) return false;
    if (!Holds(pointer.value, kEntryCountBytes)) return false;
    const std::uint64_t size = std::min<std::uint64_t>(kExifBlockBytes, fileSize_ - pointer.value);
    const auto bytes = Read(pointer.value, size);
    if (!bytes) return false;
    const kxcms::LittleEndianView block(*bytes);
    const unsigned count = block.U16(0);
    if (DirectoryBytes(count) > size) return false;
    for (unsigned i = 0; i < count; ++i) {
      const std::uint64_t at = kEntryCountBytes + i * kEntryBytes;
      const std::uint32_t itemSize = StandardItemBytes(block.U16(at + kEntryTypeAt));
      const bool pointsAway = block.U16(at) == kInteroperabilityIfd;
      if (itemSize == 0 || std::uint64_t{itemSize} * block.U32(at + kEntryItemsAt) > kInlineBytes ||
          pointsAway) {
        return false;
      }
    }
    return block.U32(kEntryCountBytes + count * kEntryBytes) == 0;
  }

  int fd_;
  const std::string& name_;
  std::uint64_t fileSize_;
  std::vector<Entry> entries_;
  std::uint32_t nextDirectory_ = 0;
  bool sizeKnown_ = false;  ///< whether the form tells how many bytes the pixels have
  Findings findings_;
};

}  // namespace

TiffReport InspectTiff(int fd, const std::string& name) {
  return TiffChecker(fd, name).Inspect();
}

TiffForm CheckTiff(int fd, const std::string& name) {
  TiffReport report = InspectTiff(fd, name);
  for (const Finding& finding : report.findings) {
    if (finding.severity == Finding::Severity::Error) {
      throw Refusal(finding.refusal, name + ": " + finding.text);
    }
  }
  return std::move(report.form);
}
