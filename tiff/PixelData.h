#ifndef KXCMS_TIFF_PIXELDATA_H
#define KXCMS_TIFF_PIXELDATA_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

#include "TiffTag.h"

// The way from the strips of a file to one interleaved pixel buffer.

namespace KX_Tiff_STL3 {

/// What an image's tags say about its size.
struct ImageGeometry {
  unsigned width = 0;
  unsigned length = 0;
  unsigned samples = 0;
  unsigned bits = 0;
};

/// Bytes of all pixels with interleaved samples and no row padding, rounded down; very large
/// products come out as some number above 2^60.
std::uint64_t ChunkyBytes(const ImageGeometry& geometry);

/// Bytes of all pixels of separate planes, as they are interleaved: 3 planes for three samples a
/// pixel, 4 for any other number. Very large products come out as 2^64 - 1.
std::uint64_t PlanarBytes(std::uint64_t pixelCount, unsigned samples, unsigned sampleBytes);

/// Bytes of a row, rounded up. The product is a 32-bit one, so it can be negative.
int BytesPerRow(int bits, int width, int samples);

/// Bytes of `length` rows; 0 when either number is negative.
std::uint64_t BytesOfRows(int rowBytes, int length);

/// How large a pixel buffer is made: everything that may index it later fits, be it by
/// StripByteCounts, by the sizes in the tags or by whole rows.
std::uint64_t PixelBufferBytes(const ImageGeometry& geometry, std::uint64_t stripBytes);

/// A pixel buffer that is about to be filled: clearing it first would touch every page twice. A
/// large one lies in huge pages where the system has them to give.
std::unique_ptr<unsigned char[]> UnfilledPixels(std::uint64_t bytes);

/// The numbers of a StripOffsets or StripByteCounts tag (borrowed): 16-bit for SHORT, otherwise
/// 32-bit whatever the type. A single SHORT is 32-bit too: the total of gathered strips is kept in
/// one. A number past the end of the array is 0.
class StripArray {
 public:
  explicit StripArray(const TiffTag& tag);
  StripArray(const StripArray&) = delete;
  StripArray& operator=(const StripArray&) = delete;

  /// Whether the tag has an array that is not held.
  bool IsAbsent() const { return !bytes_; }
  /// Numbers that the array really has; at most the tag's count.
  std::uint64_t Size() const { return size_; }
  std::uint32_t operator[](std::uint64_t index) const;

 private:
  const unsigned char* bytes_;
  unsigned itemBytes_;
  std::uint64_t size_;
  unsigned char inline_[4] = {};
};

/// The strips of an image, borrowed from its tags.
struct StripTable {
  StripTable(const TiffTag& stripOffsets, const TiffTag& stripByteCounts);

  bool IsUsable() const { return !offsets.IsAbsent() && !byteCounts.IsAbsent(); }

  StripArray offsets;
  StripArray byteCounts;
  /// Strips by the count of StripOffsets, without those at the end that have no byte count.
  std::uint64_t stripCount;
  std::uint64_t totalBytes;
};

/// Whether there are so many strips for the size of the file, more than one to 512 bytes, that they
/// are gathered from a copy of it.
bool AreGatheredFromCopy(FILE* file, const StripTable& strips);

/// Appends strip after strip to `pixels`, which holds `strips.totalBytes`. For very many of them it
/// holds a copy of the file meanwhile.
void GatherStrips(FILE* file, const StripTable& strips, unsigned char* pixels);

/// Writes sample i of every plane to pixel i. Planes follow one another in `planes`; what lies past
/// `availableBytes` is left as it is in `pixels`.
template <typename Sample>
void InterleavePlanes(const unsigned char* planes, std::uint64_t availableBytes,
                      std::uint64_t pixelCount, unsigned planeCount, unsigned char* pixels);

/// Makes `buffer` (new[]) the data of the StripOffsets tag; the old data are not released. The tag
/// then names one strip, which keeps pixels and strip arrays apart.
/// @param pixelBytes  what the pixels take of it; the buffer may be larger.
void HoldPixels(TiffTag& stripOffsets, unsigned char* buffer, std::uint64_t pixelBytes);

/// The same for a tag that names one strip already.
void SetPixels(TiffTag& stripOffsets, unsigned char* buffer, std::uint64_t pixelBytes);

/// Whether a StripOffsets tag holds pixels rather than an array of offsets.
bool HoldsPixels(const TiffTag& stripOffsets);

/// What the pixels take that a StripOffsets tag was given in this way; none for a tag or a buffer
/// of a program's own.
std::optional<std::uint64_t> HeldPixelBytes(const TiffTag& stripOffsets);

extern template void InterleavePlanes<unsigned char>(const unsigned char*, std::uint64_t,
                                                     std::uint64_t, unsigned, unsigned char*);
extern template void InterleavePlanes<unsigned short>(const unsigned char*, std::uint64_t,
                                                      std::uint64_t, unsigned, unsigned char*);

}  // namespace KX_Tiff_STL3

#endif
