#ifndef KXCMS_TOOLS_IMAGE_PNGSOURCE_H
#define KXCMS_TOOLS_IMAGE_PNGSOURCE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "tools/image/ImageSource.h"
#include "tools/image/InputBytes.h"

namespace kxcms::image {

class PngDecoder;

/// PNG files of true colour, with or without alpha, as libpng decodes them. A transparent colour
/// (tRNS) becomes alpha.
class PngSource : public ImageSource {
 public:
  PngSource(int fd, std::uint64_t sizeBytes);
  ~PngSource() override;

  Format format() const override { return Format::kPng; }
  void Select(std::size_t page) override;
  void ReadRows(unsigned char* to, std::uint32_t rows) override;

 private:
  FileBytes bytes_;
  std::unique_ptr<PngDecoder> decoder_;
  std::vector<unsigned char> image_;  ///< of an interlaced file
  std::uint32_t row_ = 0;
};

}  // namespace kxcms::image

#endif
