#ifndef KXCMS_TOOLS_IMAGE_TIFFPROFILE_H
#define KXCMS_TOOLS_IMAGE_TIFFPROFILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/image/ProfileEditor.h"
#include "tools/image/TiffDirectories.h"
#include "tools/image/TiffPatch.h"

namespace kxcms::image {

/// What a directory, and those of Exif below it, say of colours besides a profile.
struct ColorClaims {
  std::uint64_t position = 0;  ///< of the directory
  Metadata claims;             ///< these tags alone; Exif and interoperability as subdirectories
  /// A directory below it.
  struct Below {
    std::uint64_t position;
    unsigned pointerBytes;
  };
  std::optional<Below> exif;
  std::optional<Below> interoperability;

  /// @param raw    the directory at `at`
  /// @param taken  receives what the directories below it take
  static ColorClaims Read(TiffDirectories& directories, const InputBytes& bytes, std::uint64_t at,
                          const TiffDirectories::Raw& raw, std::vector<Region>& taken);

  /// Makes them true for colours of this kind.
  /// @param pointer  the one that points at the directory
  /// @param own      further changes of the directory
  TiffPatch::Placed Correct(TiffPatch& patch, const TiffPatch::Pointer& pointer, NamedColors colors,
                            TiffPatch::Changes own, EditNotes& notes) const;
};

/// A block of Exif that says nothing of other colours; none if it does not do so as it is.
std::optional<std::vector<unsigned char>> CorrectedExif(std::span<const unsigned char> block,
                                                        NamedColors colors, EditNotes& notes);

/// TIFF and BigTIFF files with any pixels.
class TiffProfile : public ProfileEditor {
 public:
  explicit TiffProfile(const InputBytes& bytes);

  Format format() const override { return Format::kTiff; }
  std::uint64_t Write(const std::vector<unsigned char>* profile, NamedColors colors,
                      OutputBytes& to, EditNotes& notes) const override;

 private:
  struct Place {
    ColorClaims colors;
    std::optional<Tag> photoshop;
    unsigned subWordBytes = 0;  ///< of a number of its SubIFDs tag
    std::size_t ofParent = 0;   ///< which number of the parent's tag points at it
  };

  void ReadPage(std::uint64_t position, std::optional<std::size_t> parent, std::size_t ofParent);

  const InputBytes& bytes_;
  TiffDirectories directories_;
  std::vector<Place> places_;  ///< one for each page
  std::vector<Region> taken_;
  std::uint64_t next_ = 0;  ///< behind the directory that was read last
};

}  // namespace kxcms::image

#endif
