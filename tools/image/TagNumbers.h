#ifndef KXCMS_TOOLS_IMAGE_TAGNUMBERS_H
#define KXCMS_TOOLS_IMAGE_TAGNUMBERS_H

#include <cstdint>

/// @file
/// Tags of TIFF 6.0, its supplements and Exif that are more than passengers here.

namespace kxcms::image::tag {

constexpr std::uint16_t kNewSubfileType = 254;
constexpr std::uint16_t kSubfileType = 255;
constexpr std::uint16_t kImageWidth = 256;
constexpr std::uint16_t kImageLength = 257;
constexpr std::uint16_t kBitsPerSample = 258;
constexpr std::uint16_t kCompression = 259;
constexpr std::uint16_t kPhotometric = 262;
constexpr std::uint16_t kFillOrder = 266;
constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kOrientation = 274;
constexpr std::uint16_t kSamplesPerPixel = 277;
constexpr std::uint16_t kRowsPerStrip = 278;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kXResolution = 282;
constexpr std::uint16_t kYResolution = 283;
constexpr std::uint16_t kPlanarConfiguration = 284;
constexpr std::uint16_t kResolutionUnit = 296;
constexpr std::uint16_t kTransferFunction = 301;
constexpr std::uint16_t kPredictor = 317;
constexpr std::uint16_t kWhitePoint = 318;
constexpr std::uint16_t kPrimaryChromaticities = 319;
constexpr std::uint16_t kTileWidth = 322;
constexpr std::uint16_t kTileLength = 323;
constexpr std::uint16_t kTileOffsets = 324;
constexpr std::uint16_t kTileByteCounts = 325;
constexpr std::uint16_t kSubIfds = 330;
constexpr std::uint16_t kExtraSamples = 338;
constexpr std::uint16_t kSampleFormat = 339;
constexpr std::uint16_t kTransferRange = 342;
constexpr std::uint16_t kJpegTables = 347;
constexpr std::uint16_t kGlobalParametersIfd = 400;
constexpr std::uint16_t kThumbnailOffset = 513;  // JPEGInterchangeFormat
constexpr std::uint16_t kThumbnailBytes = 514;
constexpr std::uint16_t kXmp = 700;
constexpr std::uint16_t kIptc = 33723;
constexpr std::uint16_t kPhotoshopBlocks = 34377;
constexpr std::uint16_t kExifIfd = 34665;
constexpr std::uint16_t kIccProfile = 34675;
constexpr std::uint16_t kGpsIfd = 34853;
constexpr std::uint16_t kPhotoshopLayers = 37724;
// Of Exif's own directory.
constexpr std::uint16_t kExifColorSpace = 40961;
constexpr std::uint16_t kInteroperabilityIfd = 40965;
constexpr std::uint16_t kExifGamma = 42240;
// Of the interoperability directory.
constexpr std::uint16_t kInteroperabilityIndex = 1;

}  // namespace kxcms::image::tag

#endif
