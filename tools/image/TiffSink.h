#ifndef KXCMS_TOOLS_IMAGE_TIFFSINK_H
#define KXCMS_TOOLS_IMAGE_TIFFSINK_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/image/ImageSink.h"
#include "tools/image/TiffEncoder.h"

namespace kxcms::image {

/// TIFF 6.0 or BigTIFF, in the byte order of the metadata. libtiff encodes the pixels, whose
/// samples are interleaved; the directories are written here, because libtiff's hold only tags that
/// it knows and stand at odd positions too.
class TiffSink : public ImageSink {
 public:
  TiffSink(OutputBytes& bytes, bool isBig, std::vector<std::string>& dropped);
  void BeginPage(Page page) override;
  void WriteRows(const unsigned char* from, std::uint32_t rows) override;
  std::uint32_t RowsApart() const override;
  EncodedRows Encode(const unsigned char* from, std::uint32_t rows) const override;
  void WriteEncoded(const EncodedRows& rows) override;
  void EndPage() override;
  void Finish() override;

 private:
  struct Written {
    std::optional<std::size_t> parent;
    Directory directory;
  };

  OutputBytes& bytes_;
  bool isBig_;
  std::vector<std::string>& dropped_;
  ByteOrder order_ = ByteOrder::kLittle;
  std::vector<Written> written_;

  Page page_;
  std::unique_ptr<TiffEncoder> encoder_;
};

}  // namespace kxcms::image

#endif
