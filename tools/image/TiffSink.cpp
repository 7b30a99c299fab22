#include "tools/image/TiffSink.h"

#include <tiff.h>

#include <algorithm>
#include <utility>

#include "tools/image/DirectoryBlock.h"
#include "tools/image/ExifBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/TagNumbers.h"

namespace kxcms::image {

TiffSink::TiffSink(OutputBytes& bytes, bool isBig, std::vector<std::string>& dropped)
    : bytes_(bytes), isBig_(isBig), dropped_(dropped) {}

void TiffSink::BeginPage(Page page) {
  if (written_.empty()) order_ = page.metadata.order;
  TextsToTags(page.metadata);
  for (const Comment& comment : page.metadata.comments) {
    dropped_.push_back(comment.keyword.empty() ? "comment" : "text " + comment.keyword);
  }
  // Behind a directory of TIFF stands the next page.
  if (page.metadata.thumbnail) dropped_.emplace_back("thumbnail");
  page_ = std::move(page);
  encoder_ = std::make_unique<TiffEncoder>(bytes_, isBig_, order_, page_);
}

void TiffSink::WriteRows(const unsigned char* from, std::uint32_t rows) {
  encoder_->WriteRows(from, rows);
}

std::uint32_t TiffSink::RowsApart() const {
  const Layout& layout = page_.layout;
  switch (layout.compression) {
    case COMPRESSION_LZW:
    case COMPRESSION_ADOBE_DEFLATE:
      return layout.rowsPerStrip == 0 ? layout.tileLength : layout.rowsPerStrip;
    default:  // gains nothing, or takes more memory than several threads should have of it
      return 0;
  }
}

EncodedRows TiffSink::Encode(const unsigned char* from, std::uint32_t rows) const {
  Page page;
  page.width = page_.width;
  page.height = rows;
  page.bits = page_.bits;
  page.extras = page_.extras;
  page.layout = page_.layout;
  MemoryOutput memory;
  TiffEncoder encoder(memory, false, order_, page);
  encoder.WriteRows(from, rows);
  TiffEncoder::Places places = encoder.Finish();
  return {std::move(memory.bytes()), std::move(places.offsets), std::move(places.sizes)};
}

void TiffSink::WriteEncoded(const EncodedRows& rows) {
  encoder_->WriteEncoded(rows);
}

void TiffSink::EndPage() {
  const Layout& layout = page_.layout;
  const bool isTiled = layout.rowsPerStrip == 0;
  TiffEncoder::Places places = encoder_->Finish();
  encoder_.reset();

  Directory directory = std::move(page_.metadata.directory);
  const auto set = [&](std::uint16_t number, TagType type, std::vector<std::uint64_t> values) {
    directory.Set(NumbersTag(number, type, values, order_));
  };
  if (page_.subfileType != 0) set(tag::kNewSubfileType, kLong, {page_.subfileType});
  set(tag::kImageWidth, kLong, {page_.width});
  set(tag::kImageLength, kLong, {page_.height});
  set(tag::kBitsPerSample, kShort, std::vector<std::uint64_t>(page_.Samples(), page_.bits));
  set(tag::kCompression, kShort, {layout.compression});
  set(tag::kPhotometric, kShort, {PHOTOMETRIC_RGB});
  set(tag::kSamplesPerPixel, kShort, {page_.Samples()});
  set(tag::kPlanarConfiguration, kShort, {PLANARCONFIG_CONTIG});
  if (layout.predictor != 1) set(tag::kPredictor, kShort, {layout.predictor});
  if (!page_.extras.empty()) {
    std::vector<std::uint64_t> extras;
    for (const Extra extra : page_.extras) extras.push_back(static_cast<std::uint64_t>(extra));
    set(tag::kExtraSamples, kShort, std::move(extras));
  }
  const TagType wide = isBig_ ? kLong8 : kLong;
  if (isTiled) {
    set(tag::kTileWidth, kLong, {layout.tileWidth});
    set(tag::kTileLength, kLong, {layout.tileLength});
  } else {
    set(tag::kRowsPerStrip, kLong, {layout.rowsPerStrip});
  }
  set(isTiled ? tag::kTileOffsets : tag::kStripOffsets, wide, std::move(places.offsets));
  set(isTiled ? tag::kTileByteCounts : tag::kStripByteCounts, wide, std::move(places.sizes));
  if (page_.profile) directory.Set(BytesTag(tag::kIccProfile, kUndefined, *page_.profile));
  written_.push_back({page_.parent, std::move(directory)});
}

void TiffSink::Finish() {
  const std::uint64_t base = bytes_.size() + bytes_.size() % 2;
  DirectoryBlock block(order_, isBig_, base);
  // From the last to the first: a SubIFD stands behind the page that points at it.
  std::vector<std::vector<std::uint64_t>> subPages(written_.size());
  std::vector<std::uint64_t> chain;
  for (std::size_t left = written_.size(); left > 0; --left) {
    const std::size_t i = left - 1;
    Written& page = written_[i];
    if (!subPages[i].empty()) {
      std::reverse(subPages[i].begin(), subPages[i].end());
      page.directory.Set(NumbersTag(tag::kSubIfds, isBig_ ? kIfd8 : kIfd, subPages[i], order_));
    }
    const std::uint64_t position = block.Append(std::move(page.directory), dropped_);
    (page.parent ? subPages[*page.parent] : chain).push_back(position);
  }
  for (std::size_t i = 1; i < chain.size(); ++i) block.Link(chain[i], chain[i - 1]);
  bytes_.Write(base, block.bytes().data(), block.bytes().size());
  const std::vector<unsigned char> header = TiffHeader(order_, isBig_, chain.back());
  bytes_.Write(0, header.data(), header.size());
  bytes_.Check();
}

}  // namespace kxcms::image
