#ifndef KXCMS_TOOLS_IMAGE_TIFFSOURCE_H
#define KXCMS_TOOLS_IMAGE_TIFFSOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tools/image/DeflateCheck.h"
#include "tools/image/ImageSource.h"
#include "tools/image/InputBytes.h"
#include "tools/image/TiffDirectories.h"

namespace kxcms::image {

class TiffDecoder;

/// TIFF and BigTIFF files. The directories are read by `TiffDirectories`, the pixels by libtiff.
/// That gets to see, behind the bytes of the file, a directory of those tags alone that decoding
/// needs and that were found to be good; and it must agree with what they were found to say.
class TiffSource : public ImageSource {
 public:
  TiffSource(int fd, std::uint64_t sizeBytes);
  ~TiffSource() override;

  Format format() const override { return Format::kTiff; }
  void Select(std::size_t page) override;
  void ReadRows(unsigned char* to, std::uint32_t rows) override;

 private:
  /// What only the reading of a page's pixels needs.
  struct Pixels {
    Directory structure;  ///< the tags that say how the pixels lie
    std::uint16_t photometric = 2;
    bool isReversed = false;  ///< the bits of each byte
    bool isPlain = false;     ///< strips of bytes as they are, in an order of 16-bit samples
    std::vector<std::uint64_t> offsets;  ///< of strips or tiles
    std::vector<std::uint64_t> sizes;
  };

  void ReadPage(std::uint64_t position, std::optional<std::size_t> parent);
  void ReadForm(const TiffDirectories::Raw& raw, Page& page, Pixels& pixels) const;
  void CheckPieces(const TiffDirectories::Raw& raw, Page& page, Pixels& pixels);
  /// Refuses dictionaries that are no use to strips or tiles of that size.
  std::uint64_t LargestDictionary(const Page& page, const Pixels& pixels,
                                  std::uint64_t pieceBytes) const;
  /// Refuses a strip or tile, that of the next row, whose check sum is wrong.
  /// @param left  a column of the tile
  void CheckPiece(std::size_t plane, std::uint32_t left);
  void ReadTileRow();
  /// The next rows of a plane, as many as the strip has of them. @return their number.
  std::uint32_t ReadPlainRows(std::size_t plane, unsigned char* to, std::uint32_t most);

  FileBytes bytes_;
  TiffDirectories directories_;
  std::vector<Pixels> pixels_;      ///< one for each page
  std::uint64_t next_ = 0;          ///< behind the directory that was read last
  std::uint64_t claimedBytes_ = 0;  ///< by the pixels of all pages

  std::size_t selected_ = 0;
  std::uint32_t row_ = 0;  ///< the next one to give
  /// One for all samples, or one for each plane, so that every plane is read in its own order.
  std::vector<std::unique_ptr<TiffDecoder>> decoders_;
  std::vector<unsigned char> plane_;  ///< a row of one plane
  std::optional<DeflateCheck> deflateCheck_;
  std::vector<unsigned char> tile_;
  std::vector<unsigned char> tileRow_;  ///< interleaved; as many rows as a tile has
};

}  // namespace kxcms::image

#endif
