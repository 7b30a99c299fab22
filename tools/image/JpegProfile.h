#ifndef KXCMS_TOOLS_IMAGE_JPEGPROFILE_H
#define KXCMS_TOOLS_IMAGE_JPEGPROFILE_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "tools/image/ProfileEditor.h"

namespace kxcms::image {

/// JPEG files of any components. Everything from the first scan on is carried over as it is.
class JpegProfile : public ProfileEditor {
 public:
  explicit JpegProfile(const InputBytes& bytes);

  Format format() const override { return Format::kJpeg; }
  std::uint64_t Write(const std::vector<unsigned char>* profile, NamedColors colors,
                      OutputBytes& to, EditNotes& notes) const override;

 private:
  struct Segment {
    unsigned marker;
    std::uint64_t begin;    ///< of the marker, with what fills up before it
    std::uint64_t content;  ///< behind the two bytes that count it
    std::uint64_t end;
  };

  std::vector<unsigned char> Content(const Segment& segment) const;
  bool Is(const Segment& segment, unsigned application, std::string_view mark) const;
  void ReadProfile();

  const InputBytes& bytes_;
  std::vector<Segment> segments_;  ///< before the first scan
  std::uint64_t rest_ = 0;         ///< where that begins
};

}  // namespace kxcms::image

#endif
