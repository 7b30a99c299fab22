#ifndef KXCMS_TIFF_TIFF_H
#define KXCMS_TIFF_TIFF_H

#include <cstdio>
#include <memory>
#include <vector>

#include "../base/KxApi.h"
#include "TiffTag.h"

namespace KX_Tiff_STL3 {

/// The first image of an uncompressed little-endian TIFF file in memory: a list of tags, of which
/// StripOffsets owns the pixels as one interleaved buffer.
///
/// Supported: "II" files, at most 39 directory entries, Compression 1, planar configuration 1 or 2.
/// All streams and paths are borrowed. Write errors are left to the stream's own error state. One
/// thread at a time. Field and slot order are interface.
class KX_API Tiff {
 public:
  /// No tags.
  Tiff();
  /// `ReadFile(path)`; its exceptions pass.
  explicit Tiff(char const* path);
  Tiff(const Tiff&) = delete;
  Tiff& operator=(const Tiff&) = delete;
  virtual ~Tiff();

  /// Releases every tag, and with them the pixels. The fields of a `CTiff` stay as they were: its
  /// `ImageBuf` is then no longer valid.
  virtual void Reset();
  /// @return 0 when `file` is not null, otherwise -1. A hook for subclasses.
  virtual int CheckFile(FILE* file);
  /// Reads header, directory and image from an open stream (not closed).
  /// Bytes that the file does not hold read as 0.
  /// @return 0, -3 for more than 39 entries, -1 for an image that cannot be held (see
  ///         `ReadImage`). Throws a C string for a header other than "II" 42, `ErrCode` -7 for a
  ///         compressed image.
  virtual int ReadTiff(FILE* file);
  /// Writes header, directory, tag data, pixels and Exif block to an open stream. @return 0.
  virtual int SaveTiff(FILE* file);
  /// Replaces the image by that of a file. @return the result of `ReadTiff`. Throws a C string for
  /// a null path, and `path` itself for a file that cannot be opened.
  virtual int ReadFile(char const* path);
  /// @return 0, or -1 after printing a line on standard output.
  virtual int SaveFile(char const* path);
  /// Writes the pixels only, and prints the geometry. @return 0, or -1 after printing a line.
  virtual int SaveRaw(char const* path);
  /// Makes the tag object for a directory entry: a `BitsPerSampleTag`, `ResolutionTag` or
  /// `Exif_IFD_Tag` by its number, else a `TiffTag`.
  /// @param tagAndType     tag number in the low, field type in the high 16 bits.
  /// @param count          items.
  /// @param valueOrOffset  the last word of the entry.
  /// @param file           where out-of-line data are read from; may be null.
  /// @return the object; an empty pointer (and "bad_alloc caught: ..." on standard error) when
  ///         memory is exhausted.
  virtual std::shared_ptr<TiffTag> CreateTag(unsigned tagAndType, unsigned count,
                                             unsigned valueOrOffset, FILE* file);
  /// Writes the 8 header bytes. @return 0.
  virtual int WriteHeader(FILE* file);

  /// Appends the tag that `CreateTag` makes. @return 0.
  int AddTags(unsigned tagAndType, unsigned count, unsigned valueOrOffset, FILE* file);
  /// Reads the pixels that the tags describe; afterwards StripOffsets stands for one strip and
  /// holds them. The buffer is large enough for StripByteCounts, for whole rows and for the size
  /// that the dimensions take; what the file does not hold is 0.
  /// @return 0, or -1 without pixels: no StripOffsets, a planar configuration above 2, strip
  ///         arrays that are missing or not held, or a size out of proportion to the file. Throws
  ///         `ErrCode` -7 for a compressed image.
  int ReadImage(FILE* file);
  /// Gathers all strips into one buffer, in file order. @return 0 or -1, as `ReadImage`.
  int ReadMultiStripOffset(FILE* file);
  /// Interleaves the separate planes in the pixel buffer: 3 for three samples a pixel, else 4.
  /// Only StripByteCounts bytes of it are used, the rest counts as 0. The buffer is a new one; the
  /// `ImageBuf` of a `CTiff` is not renewed.
  template <typename T>
  void Pack(int width, int length);

  /// @return the first tag with this number, or an empty pointer.
  std::shared_ptr<TiffTag> GetTag(TiffTagSignature tag);
  /// @return the value of that tag, or 0 when there is none.
  unsigned GetTagValue(TiffTagSignature tag);
  /// Replaces the first tag with the same number, or appends. An empty pointer is ignored.
  /// @return 0.
  int SetTag(std::shared_ptr<TiffTag> tag);
  /// Sets the value of the first tag with this number, if there is one. @return 0.
  int SetTagValue(TiffTagSignature tag, unsigned value);

  /// Computes all offsets and writes the directory; tags get their new offsets in `value`. What
  /// `TiffTag::SaveFile` does not write takes no room, but for the inline data of types 6 to 9.
  /// @return 0.
  int WriteIFD(FILE* file);
  /// Writes the out-of-line data of every tag by its `SaveFile`. @return 0.
  int WriteTagData(FILE* file);
  /// Writes StripByteCounts bytes of the pixel buffer, nothing without a buffer. A caller who
  /// changes that tag sees to it that the buffer is as large. Of one of types 6 to 9 that is the
  /// offset which `WriteIFD` has made its value, on purpose, but no more than the pixels. @return
  /// 0.
  int WriteImageData(FILE* file);
  /// Writes 256 bytes if there is an Exif tag: its block, or zeros without one. @return 0.
  int WriteData_Exif_IFD_Tag(FILE* file);

  unsigned IFDOffset;                          ///< offset of the first directory as read
  std::vector<std::shared_ptr<TiffTag>> tags;  ///< in the order read or added
};

extern template KX_API void Tiff::Pack<unsigned char>(int width, int length);
extern template KX_API void Tiff::Pack<unsigned short>(int width, int length);

}  // namespace KX_Tiff_STL3

#endif
