#ifndef KXCMS_TOOLS_IMAGE_PNGPROFILE_H
#define KXCMS_TOOLS_IMAGE_PNGPROFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image/ProfileEditor.h"

namespace kxcms::image {

/// PNG files of any colours. Chunks are carried over as they are.
class PngProfile : public ProfileEditor {
 public:
  explicit PngProfile(const InputBytes& bytes);

  Format format() const override { return Format::kPng; }
  std::uint64_t Write(const std::vector<unsigned char>* profile, NamedColors colors,
                      OutputBytes& to, EditNotes& notes) const override;

 private:
  struct Chunk {
    std::string type;
    std::uint64_t begin;
    std::uint32_t size;  ///< of what it holds
  };
  /// What a chunk holds. Refuses one whose check sum is wrong.
  std::vector<unsigned char> Content(const Chunk& chunk) const;

  const InputBytes& bytes_;
  std::vector<Chunk> chunks_;  ///< those that hold no pixels
};

}  // namespace kxcms::image

#endif
