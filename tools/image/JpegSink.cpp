#include "tools/image/JpegSink.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/JpegEncoder.h"
#include "tools/image/JpegMarkers.h"
#include "tools/image/XmpPacket.h"

namespace kxcms::image {

JpegSink::JpegSink(OutputBytes& bytes, int quality, std::vector<std::string>& dropped)
    : bytes_(bytes), quality_(quality), dropped_(dropped) {}

JpegSink::~JpegSink() = default;

void JpegSink::BeginPage(Page page) {
  if (page.bits != 8) {
    throw ImageError(ImageError::Kind::kUnwritable, "JPEG holds 8 bits a sample, not 16");
  }
  if (page.width > JPEG_MAX_DIMENSION || page.height > JPEG_MAX_DIMENSION) {
    throw ImageError(
        ImageError::Kind::kUnwritable,
        "JPEG holds at most " + std::to_string(JPEG_MAX_DIMENSION) + " pixels in width and height");
  }
  if (!page.extras.empty()) dropped_.emplace_back("alpha and other extra samples");
  page_ = std::move(page);
  std::vector<Comment> plain;  // which have markers of their own
  std::erase_if(page_.metadata.comments, [&plain](const Comment& comment) {
    if (comment.keyword.empty()) plain.push_back(comment);
    return comment.keyword.empty();
  });
  TextsToTags(page_.metadata);
  page_.metadata.comments.insert(page_.metadata.comments.end(), plain.begin(), plain.end());
  row_.resize(std::size_t{page_.width} * 3);
  // Colours at half the resolution are the first thing that one sees of a high quality.
  constexpr int kFullColors = 90;
  JpegForm form{page_.width, page_.height, quality_};
  if (quality_ < kFullColors) form.horizontalSampling = form.verticalSampling = 2;
  form.resolution = ResolutionOf(page_.metadata);
  const Places places = PlacesOf(page_.metadata, kMostInMarker - kExifMark.size(), dropped_);
  encoder_ = std::make_unique<JpegEncoder>([this](std::span<const unsigned char> part) {
    bytes_.Write(bytes_.size(), part.data(), part.size());
    bytes_.Check();
  });
  encoder_->Start(form);

  if (!places.exif.empty()) encoder_->WriteMarker(JPEG_APP0 + 1, kExifMark, places.exif);
  if (!places.xmp.empty()) WriteXmp(places.xmp);
  std::span<const unsigned char> blocks = places.photoshop;
  while (!blocks.empty()) {
    const std::size_t most = std::min(blocks.size(), kMostInMarker - kPhotoshopMark.size());
    encoder_->WriteMarker(JPEG_APP0 + 13, kPhotoshopMark, blocks.first(most));
    blocks = blocks.subspan(most);
  }
  if (page_.profile) encoder_->WriteProfile(*page_.profile);
  for (const Comment& comment : page_.metadata.comments) {
    const std::span<const unsigned char> text(
        reinterpret_cast<const unsigned char*>(comment.text.data()), comment.text.size());
    if (!comment.keyword.empty() || text.size() > kMostInMarker) {
      dropped_.push_back("text " + comment.keyword);
    } else {
      encoder_->WriteMarker(JPEG_COM, "", text);
    }
  }
}

void JpegSink::WriteXmp(std::span<const unsigned char> packet) {
  if (packet.size() <= kMostInMarker - kXmpMark.size()) {
    encoder_->WriteMarker(JPEG_APP0 + 1, kXmpMark, packet);
    return;
  }
  const DividedXmp divided = DivideXmp(packet);
  const auto bytesOf = [](const std::string& text) {
    return std::vector<unsigned char>(text.begin(), text.end());
  };
  encoder_->WriteMarker(JPEG_APP0 + 1, kXmpMark, bytesOf(divided.packet));
  constexpr std::size_t kMostInPart = kMostInMarker - kXmpRestMark.size() - kXmpDigestDigits - 8;
  for (std::size_t at = 0; at < divided.rest.size(); at += kMostInPart) {
    const std::size_t size = std::min(kMostInPart, divided.rest.size() - at);
    std::vector<unsigned char> part = bytesOf(divided.digest);
    AppendNumber(part, divided.rest.size(), 4, ByteOrder::kBig);
    AppendNumber(part, at, 4, ByteOrder::kBig);
    const auto from = divided.rest.begin() + static_cast<std::ptrdiff_t>(at);
    part.insert(part.end(), from, from + static_cast<std::ptrdiff_t>(size));
    encoder_->WriteMarker(JPEG_APP0 + 1, kXmpRestMark, part);
  }
}

void JpegSink::WriteRows(const unsigned char* from, std::uint32_t rows) {
  const std::size_t pixelBytes = page_.PixelBytes();
  for (; rows > 0; --rows) {
    for (std::size_t at = 0; at < row_.size(); at += 3, from += pixelBytes) {
      std::memcpy(row_.data() + at, from, 3);
    }
    encoder_->WriteRow(row_.data());
  }
}

void JpegSink::EndPage() {
  encoder_->Finish();
  bytes_.Check();
}

void JpegSink::Finish() {}

}  // namespace kxcms::image
