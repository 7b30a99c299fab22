#ifndef KXCMS_TIFF_TIFFRESULTS_H
#define KXCMS_TIFF_TIFFRESULTS_H

namespace KX_Tiff_STL3 {

/// The file could not be opened, or is not a little-endian TIFF.
constexpr int kOpenFailed = -1;
/// The image cannot be held: no StripOffsets, no usable strip arrays, a planar configuration above
/// 2, or dimensions out of proportion to the file. No message.
constexpr int kUnreadableImage = -1;
/// The directory has more than 39 entries. No message.
constexpr int kTooManyEntries = -3;
/// `ErrCode` of an image whose Compression is not 1.
constexpr int kCompressedImage = -7;
/// An exception that `CTiff::ReadTiff` does not know.
constexpr int kUnknownFailure = -9999;
/// The bit depth is neither 8 nor 16.
constexpr int kUnsupportedDepth = -1;

}  // namespace KX_Tiff_STL3

#endif
