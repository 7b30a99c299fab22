#ifndef KXCMS_TOOLS_IMAGE_TIFFSINK_H
#define KXCMS_TOOLS_IMAGE_TIFFSINK_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/image/ImageSink.h"

namespace kxcms::image {

class TiffEncoder;

/// TIFF 6.0 or BigTIFF, in the byte order of the metadata. libtiff encodes the pixels, whose
/// samples are interleaved; the directories are written here, because libtiff's hold only tags that
/// it knows and stand at odd positions too.
class TiffSink : public ImageSink {
 public:
  TiffSink(OutputBytes& bytes, bool isBig, std::vector<std::string>& dropped);
  ~TiffSink() override;

  void BeginPage(Page page) override;
  void WriteRows(const unsigned char* from, std::uint32_t rows) override;
  void EndPage() override;
  void Finish() override;

 private:
  struct Written {
    std::optional<std::size_t> parent;
    Directory directory;
  };

  void WriteTileRow();

  OutputBytes& bytes_;
  bool isBig_;
  std::vector<std::string>& dropped_;
  ByteOrder order_ = ByteOrder::kLittle;
  std::vector<Written> written_;

  Page page_;
  std::uint32_t row_ = 0;
  std::unique_ptr<TiffEncoder> encoder_;
  std::vector<unsigned char> scratch_;  ///< a row, or a tile; encoding changes it
  std::vector<unsigned char> tileRow_;
};

}  // namespace kxcms::image

#endif
