#ifndef KXCMS_TIFF_CTIFF_H
#define KXCMS_TIFF_CTIFF_H

#include "Tiff.h"

namespace KX_Tiff_STL3 {

/// A TIFF image with its geometry and pixel access. Reading never throws: failures are printed on
/// standard output and returned as negative numbers.
///
/// The pixel buffer is interleaved, rows top to bottom, 16-bit samples little-endian; it belongs to
/// the StripOffsets tag and `ImageBuf` borrows it. Accessors touch nothing outside the buffer: what
/// would lie past its end is not copied.
///
/// Only this class's own operations renew `ImageBuf`. It points to a freed buffer after `Reset`,
/// after a direct call of `ReadImage`, `ReadMultiStripOffset` or `Pack`, and after `SetTag` has
/// replaced StripOffsets, until the image is read or made anew, or `SetImageBuf` or
/// `ForgetImageBuf` is called.
class KX_API CTiff : public Tiff {
 public:
  /// No image: no tags, all fields 0 or null.
  CTiff();
  /// `ReadFile(path)`, its result discarded; after a failure `GetImageBuf()` is null.
  explicit CTiff(char const* path);
  /// `CreateNew` with the same arguments. May throw bad_alloc.
  CTiff(int width, int length, int resolution, int samples, int bits, int allocate);
  ~CTiff() override;

  /// As `Tiff::ReadTiff`, with failures printed and returned as by `ReadFile`; sets the fields
  /// after success only.
  int ReadTiff(FILE* file) override;
  /// Replaces the image by that of a file.
  /// @return 0; -1 for a file that cannot be opened, is no little-endian TIFF or cannot be held; -3
  ///         for more than 39 entries; -7 for a compressed image; -9999 for an unknown failure.
  ///         All but -3 and an image that cannot be held print a line. The geometry fields keep
  ///         their values after a failure, `ImageBuf` is null.
  int ReadFile(char const* path) override;

  /// Makes a new image with its fifteen tags. A size that is negative counts as 0; one of 4 GiB or
  /// more, which no TIFF can hold, has StripByteCounts 0 and gets no buffer. May throw bad_alloc.
  /// @param width       pixels a row.
  /// @param length      rows.
  /// @param resolution  dots per inch, both ways.
  /// @param samples     per pixel; 3 counts as RGB, 4 as CMYK.
  /// @param bits        per sample.
  /// @param allocate    1 gives the image a zeroed buffer, anything else none (see `SetImageBuf`).
  /// @return 0.
  int CreateNew(int width, int length, int resolution, int samples, int bits, int allocate);
  /// The same, with the pixels read from a raw file (missing bytes are 0).
  /// @return 0, or -1 after printing a line when the file cannot be opened (the image is kept).
  int CreateNew(int width, int length, int resolution, int samples, int bits, char const* rawPath);
  /// Raw file to TIFF file, by the form above and `SaveFile`. @return 0 whatever happened.
  int CreateNew(int width, int length, int resolution, int samples, int bits, char const* rawPath,
                char const* tiffPath);

  using Tiff::SetTag;
  /// Builds a tag without a file and adds or replaces it; `data` is not used. @return 0.
  int SetTag(TiffTagSignature tag, unsigned short type, unsigned count, unsigned value,
             unsigned char* data);
  /// Sets the value of the first tag with this number, if there is one. @return 0.
  int SetTagValue(TiffTagSignature tag, unsigned value);

  /// @return the pixel buffer (borrowed), or null.
  unsigned char* GetImageBuf();
  /// Makes `buffer` (new[]) the image's own. `release` frees the old one, otherwise it is dropped
  /// and stays the caller's. The buffer must hold `RowBytes` * `Length` bytes and StripByteCounts
  /// bytes. Without a StripOffsets tag nothing happens and the buffer stays the caller's.
  void SetImageBuf(unsigned char* buffer, bool release);
  /// Drops the buffer without freeing it; it now belongs to the caller, who frees it by delete[].
  void ForgetImageBuf();

  ///@{
  /// Copies `pixels` pixels (0: a whole row) from the left of row `row`, which is clamped, to `dst`
  /// (borrowed). The two forms copy the same bytes, in the image's depth. @return `pixels`.
  int GetRow(unsigned char* dst, int row, int pixels);
  int GetRow(unsigned short* dst, int row, int pixels);
  ///@}
  ///@{
  /// Copies `pixels` pixels (0: a whole row) from `src` (borrowed) to row `row`, which is clamped.
  /// The two forms copy the same bytes, in the image's depth. @return `pixels`.
  int PutRow(unsigned char* src, int row, int pixels);
  int PutRow(unsigned short* src, int row, int pixels);
  ///@}
  ///@{
  /// Copies a rectangle (top left corner x, y; pixels) into the packed rows of `dst` (borrowed);
  /// what lies left or right of the image is left as it is there, rows past either end repeat the
  /// last one. The form must fit the depth: the type of `dst` alone decides where a row is entered.
  /// @return 0, or -1 when `Bits` is neither 8 nor 16.
  int GetRowColumn(unsigned char* dst, int x, int y, int width, int height);
  int GetRowColumn(unsigned short* dst, int x, int y, int width, int height);
  ///@}
  ///@{
  /// Writes a rectangle from the packed rows of `src` (borrowed). Coordinates are clamped, and a
  /// run that reaches past the right edge goes on in the next row.
  /// @return 0, or -1 when `Bits` is neither 8 nor 16.
  int SetRowColumn(unsigned char* src, int x, int y, int width, int height);
  int SetRowColumn(unsigned short* src, int x, int y, int width, int height);
  ///@}

  /// @return the address of a pixel (borrowed), coordinates clamped; null without a buffer.
  unsigned char* GetXY(int x, int y);
  /// The same with rows counted from the bottom; y below 0 gives the top row, y past the end the
  /// bottom one: kept so that results stay identical. @return as `GetXY`.
  unsigned char* GetXY_M(int x, int y);
  /// Without clamping: the caller keeps x and y inside the image. @return as `GetXY`.
  unsigned char* GetXY_Q(int x, int y);
  /// Bottom-up without clamping. @return as `GetXY`.
  unsigned char* GetXY_MQ(int x, int y);

  /// Attaches a profile file to the ICC tag, if the image has one; its size is that in the ICC
  /// header. Missing bytes are 0; a size out of proportion to the file leaves the data null.
  /// @return 0. Throws a C string when the file cannot be opened.
  int SetIccProfile(char* path);
  /// Writes the embedded profile to a file; nothing happens without an ICC tag. @return 0.
  int SaveIccProfile(char* path);
  /// Drops the first ICC tag. @return 0.
  int RemoveIcc();

  int Width;                ///< pixels a row
  int Length;               ///< rows
  int Samples;              ///< per pixel
  int Bits;                 ///< per sample
  int RowBytes;             ///< bytes a row, rounded up
  int Resolution;           ///< XResolution, whole dots per unit
  unsigned char* ImageBuf;  ///< borrowed from the StripOffsets tag (see above), or null
};

}  // namespace KX_Tiff_STL3

#endif
