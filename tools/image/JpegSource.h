#ifndef KXCMS_TOOLS_IMAGE_JPEGSOURCE_H
#define KXCMS_TOOLS_IMAGE_JPEGSOURCE_H

#include <cstdint>
#include <memory>

#include "tools/image/ImageSource.h"
#include "tools/image/InputBytes.h"

namespace kxcms::image {

class JpegDecoder;

/// JPEG files of three components, as libjpeg decodes them.
class JpegSource : public ImageSource {
 public:
  JpegSource(int fd, std::uint64_t sizeBytes);
  ~JpegSource() override;

  Format format() const override { return Format::kJpeg; }
  void Select(std::size_t page) override;
  void ReadRows(unsigned char* to, std::uint32_t rows) override;

 private:
  FileBytes bytes_;
  std::unique_ptr<JpegDecoder> decoder_;
};

}  // namespace kxcms::image

#endif
