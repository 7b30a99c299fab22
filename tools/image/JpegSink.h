#ifndef KXCMS_TOOLS_IMAGE_JPEGSINK_H
#define KXCMS_TOOLS_IMAGE_JPEGSINK_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/image/ImageSink.h"

namespace kxcms::image {

class JpegEncoder;

/// JPEG files, by libjpeg. Samples of 8 bits; extra ones have no place.
class JpegSink : public ImageSink {
 public:
  JpegSink(OutputBytes& bytes, int quality, std::vector<std::string>& dropped);
  ~JpegSink() override;

  void BeginPage(Page page) override;
  void WriteRows(const unsigned char* from, std::uint32_t rows) override;
  void EndPage() override;
  void Finish() override;

 private:
  void WriteXmp(std::span<const unsigned char> packet);

  OutputBytes& bytes_;
  int quality_;
  std::vector<std::string>& dropped_;
  Page page_;
  std::unique_ptr<JpegEncoder> encoder_;
  std::vector<unsigned char> row_;
};

}  // namespace kxcms::image

#endif
