#include "tools/image/JpegSource.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/SaturatingMath.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/JpegDecoder.h"
#include "tools/image/JpegMarkers.h"
#include "tools/image/PhotoshopBlocks.h"
#include "tools/image/TagNumbers.h"
#include "tools/image/XmpPacket.h"

namespace kxcms::image {

namespace {

constexpr const char* kBehind = "bytes behind the image";

std::span<const unsigned char> ContentBehind(const jpeg_saved_marker_ptr marker,
                                             std::string_view mark) {
  return std::span<const unsigned char>(marker->data, marker->data_length).subspan(mark.size());
}

/// The parts of XMP that stand in markers of their own.
class XmpRest {
 public:
  void Add(std::span<const unsigned char> marker) {
    constexpr std::size_t kHeadBytes = kXmpDigestDigits + 4 + 4;
    if (marker.size() < kHeadBytes) {
      parts_.push_back({});
      return;
    }
    const std::uint64_t at = NumberAt(&marker[kXmpDigestDigits + 4], 4, ByteOrder::kBig);
    parts_.push_back({{marker.begin(), marker.begin() + kXmpDigestDigits},
                      NumberAt(&marker[kXmpDigestDigits], 4, ByteOrder::kBig),
                      at,
                      marker.subspan(kHeadBytes)});
  }
  bool IsEmpty() const { return parts_.empty(); }

  /// All of it; none if parts are missing, or are of something that the packet does not name.
  std::optional<std::string> Text(std::string_view packet) {
    std::sort(parts_.begin(), parts_.end(),
              [](const Part& one, const Part& other) { return one.at < other.at; });
    if (packet.find(parts_[0].digest) == packet.npos) return std::nullopt;
    std::string text;
    for (const Part& part : parts_) {
      if (part.digest != parts_[0].digest || part.at != text.size()) return std::nullopt;
      text.append(part.bytes.begin(), part.bytes.end());
    }
    if (text.size() != parts_[0].whole) return std::nullopt;
    return text;
  }

 private:
  struct Part {
    std::string digest;
    std::uint64_t whole = 0;
    std::uint64_t at = 0;
    std::span<const unsigned char> bytes;
  };
  std::vector<Part> parts_;
};

/// What the markers hold besides the profile.
void ReadMarkers(const jpeg_decompress_struct& info, Page& page) {
  std::vector<unsigned char> photoshop, xmp;
  XmpRest rest;
  bool hasExif = false;
  for (jpeg_saved_marker_ptr marker = info.marker_list; marker != nullptr; marker = marker->next) {
    const std::string_view content(reinterpret_cast<const char*>(marker->data),
                                   marker->data_length);
    const auto is = [&](int number, std::string_view mark) {
      return marker->marker == JPEG_APP0 + number && content.starts_with(mark);
    };
    if (marker->marker == JPEG_COM) {
      page.metadata.comments.push_back({"", std::string(content), false});
    } else if (is(1, kExifMark) && !hasExif) {
      ReadExif(ContentBehind(marker, kExifMark), page.metadata, page.dropped);
      hasExif = true;
    } else if (is(1, kXmpMark) && xmp.empty()) {
      const auto packet = ContentBehind(marker, kXmpMark);
      xmp.assign(packet.begin(), packet.end());
    } else if (is(1, kXmpRestMark)) {
      rest.Add(ContentBehind(marker, kXmpRestMark));
    } else if (is(13, kPhotoshopMark)) {
      const auto blocks = ContentBehind(marker, kPhotoshopMark);
      photoshop.insert(photoshop.end(), blocks.begin(), blocks.end());
    } else if (!is(2, kIccMark) && !is(0, kJfifMark) && !is(14, kAdobeMark)) {
      const std::string name = "application data APP" + std::to_string(marker->marker - JPEG_APP0);
      const auto end = page.dropped.end();
      if (std::find(page.dropped.begin(), end, name) == end) page.dropped.push_back(name);
    }
  }
  // Behind the Exif block, which replaces all tags.
  Directory& directory = page.metadata.directory;
  if (!rest.IsEmpty()) {
    const std::string packet(xmp.begin(), xmp.end());
    const std::optional<std::string> text = rest.Text(packet);
    const std::optional<std::string> joined = text ? JoinedXmp(packet, *text) : std::nullopt;
    if (joined) xmp.assign(joined->begin(), joined->end());
    if (!joined) page.dropped.emplace_back("a further part of XMP");
  }
  if (!xmp.empty()) directory.Set(BytesTag(tag::kXmp, kByte, std::move(xmp)));
  // TIFF has a tag of its own for what JPEG keeps in one of these blocks.
  if (std::optional<PhotoshopBlocks> blocks = PhotoshopBlocks::Parse(photoshop)) {
    std::vector<unsigned char> iptc = blocks->Data(PhotoshopBlocks::kIptc);
    if (!iptc.empty()) directory.Set(BytesTag(tag::kIptc, kUndefined, std::move(iptc)));
    blocks->Remove(PhotoshopBlocks::kIptc);
    photoshop = blocks->Bytes();
  }
  if (!photoshop.empty()) {
    directory.Set(BytesTag(tag::kPhotoshopBlocks, kByte, std::move(photoshop)));
  }
  if (info.saw_JFIF_marker) {
    // JFIF counts its units one less than TIFF. A proportion of 1 to 1 says nothing.
    const unsigned x = info.X_density, y = info.Y_density;
    if (info.density_unit <= 2 && x != 0 && y != 0 && (info.density_unit != 0 || x != y)) {
      AddResolution(page.metadata, x, y, 1, static_cast<std::uint16_t>(info.density_unit + 1));
    }
  }
}

std::string KindOf(J_COLOR_SPACE space, int components) {
  switch (space) {
    case JCS_GRAYSCALE:
      return "grey";
    case JCS_CMYK:
    case JCS_YCCK:
      return "CMYK";
    default:
      return std::to_string(components) + " components of unknown colours";
  }
}

}  // namespace

JpegSource::JpegSource(int fd, std::uint64_t sizeBytes) : bytes_(fd, sizeBytes) {
  JpegDecoder decoder(bytes_);
  decoder.ReadHeader(true);
  const jpeg_decompress_struct& info = decoder.info();
  Page page;
  if (info.jpeg_color_space != JCS_YCbCr && info.jpeg_color_space != JCS_RGB) {
    page.refusal = "holds " + KindOf(info.jpeg_color_space, info.num_components) + ", not RGB";
    pages_.push_back(std::move(page));
    return;
  }
  page.width = info.image_width;
  page.height = info.image_height;
  page.layout.compression = 7;
  page.profile = decoder.Profile();
  ReadMarkers(info, page);
  // Several scans: all coefficients, of 16 bits, wait for the last one.
  const std::uint64_t pixelBytes = SaturatingProduct(page.RowBytes(), page.height);
  page.memoryBytes =
      decoder.HasSeveralScans() ? SaturatingProduct(pixelBytes, 2) : 32 * page.RowBytes();
  CheckProportion(page.memoryBytes, pixelBytes, sizeBytes);
  pages_.push_back(std::move(page));
}

JpegSource::~JpegSource() = default;

void JpegSource::Select(std::size_t index) {
  if (!pages_.at(index).refusal.empty()) RefuseForm(pages_[index].refusal);
  decoder_ = std::make_unique<JpegDecoder>(bytes_);
  decoder_->ReadHeader(false);
  decoder_->Start();
}

void JpegSource::ReadRows(unsigned char* to, std::uint32_t rows) {
  for (; rows > 0; --rows, to += pages_[0].RowBytes()) decoder_->ReadRow(to);
  // The further images of a camera, or the film of a telephone.
  std::vector<std::string>& dropped = pages_[0].dropped;
  if (decoder_->IsAtEnd() && decoder_->BytesLeft() > 0 &&
      (dropped.empty() || dropped.back() != kBehind)) {
    dropped.emplace_back(kBehind);
  }
}

}  // namespace kxcms::image
