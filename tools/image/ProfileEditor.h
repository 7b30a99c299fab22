#ifndef KXCMS_TOOLS_IMAGE_PROFILEEDITOR_H
#define KXCMS_TOOLS_IMAGE_PROFILEEDITOR_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/image/ImageSource.h"
#include "tools/image/InputBytes.h"
#include "tools/image/OutputBytes.h"
#include "tools/image/TrueTags.h"

namespace kxcms::image {

/// What became of the rest of a file, in names for people; each may stand there more than once.
struct EditNotes {
  std::vector<std::string> removed;
  std::vector<std::string> corrected;
  std::vector<std::string> kept;  ///< what could not be looked at, and stays as it is
};

/// The profiles that an image file carries, whatever its colours and the coding of its pixels, and
/// the same file with another one or without. The pixels are not decoded: their coded bytes are
/// carried over, and so is everything that says nothing of their colours.
class ProfileEditor {
 public:
  struct Carrier {
    std::optional<std::size_t> parent;  ///< the page whose SubIFDs tag points at this one
    bool isCopy = false;                ///< a reduced copy or a mask
    std::string space;  ///< data colour space of profiles that fit (ICC.1:2010 7.2.6); empty: none
    std::string kind;   ///< of its colours, for people
    std::optional<std::vector<unsigned char>> profile;

    /// Whether a profile, of at least a header, describes colours of this kind.
    bool FitsProfile(const std::vector<unsigned char>& other) const;
  };

  virtual ~ProfileEditor() = default;

  /// @param bytes  a whole file, borrowed. Throws an `ImageError` for what is no image or damaged.
  static std::unique_ptr<ProfileEditor> Open(const InputBytes& bytes);

  virtual Format format() const = 0;
  /// The pages in the order of `ImageSource`. At least one.
  const std::vector<Carrier>& pages() const { return pages_; }
  /// The first page that is no copy, or the first one.
  std::size_t MainPage() const;

  /// Writes the file with a profile in each page that it fits; what contradicts it there
  /// is taken out or corrected. A null profile: with none in any page, nor in Photoshop's blocks.
  /// @param colors  what the profile describes
  /// @param to      an empty file
  /// @return the size of the file; what `to` holds behind it does not belong to it.
  virtual std::uint64_t Write(const std::vector<unsigned char>* profile, NamedColors colors,
                              OutputBytes& to, EditNotes& notes) const = 0;

 protected:
  std::vector<Carrier> pages_;
};

/// Bytes `at` to `at + count` of a file, to position `target` of another.
void CopyBytes(const InputBytes& from, std::uint64_t at, std::uint64_t count, OutputBytes& to,
               std::uint64_t target);

/// A packet of XMP without what it says of other colours; none if it says nothing of them.
std::optional<std::vector<unsigned char>> CorrectedXmp(const std::vector<unsigned char>& packet,
                                                       NamedColors colors, EditNotes& notes);

/// Photoshop's blocks without a profile, and without the mark of its absence where there is one
/// now; none if they have neither.
std::optional<std::vector<unsigned char>> CorrectedPhotoshop(
    const std::vector<unsigned char>& blocks, bool isTagged, EditNotes& notes);

}  // namespace kxcms::image

#endif
