#ifndef KXCMS_TOOLS_IMAGE_PNGSINK_H
#define KXCMS_TOOLS_IMAGE_PNGSINK_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/image/ImageSink.h"

namespace kxcms::image {

class PngEncoder;

/// PNG files, by libpng: RGB, or RGB with the first alpha that the page has. PNG's alpha is not
/// associated.
class PngSink : public ImageSink {
 public:
  PngSink(OutputBytes& bytes, std::vector<std::string>& dropped);
  ~PngSink() override;

  void BeginPage(Page page) override;
  void WriteRows(const unsigned char* from, std::uint32_t rows) override;
  void EndPage() override;
  void Finish() override;

 private:
  OutputBytes& bytes_;
  std::vector<std::string>& dropped_;
  Page page_;
  std::optional<std::size_t> alpha_;  ///< which sample
  std::unique_ptr<PngEncoder> encoder_;
  std::vector<unsigned char> row_;
};

}  // namespace kxcms::image

#endif
