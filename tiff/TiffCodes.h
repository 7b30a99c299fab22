#ifndef KXCMS_TIFF_TIFFCODES_H
#define KXCMS_TIFF_TIFFCODES_H

#include "../base/KxApi.h"

/// TIFF images (TIFF 6.0, baseline) in memory and in files.
namespace KX_Tiff_STL3 {

/// Field types (TIFF 6.0, section 2). Only the low four bits of a type are kept from a file.
enum FieldType : unsigned int {
  TIFF_BYTE = 1,        ///< 8-bit unsigned
  TIFF_ASCII = 2,       ///< 7-bit text, ended by a zero byte
  TIFF_SHORT = 3,       ///< 16-bit unsigned
  TIFF_LONG = 4,        ///< 32-bit unsigned
  TIFF_RATIONAL = 5,    ///< two LONGs, numerator and denominator
  TIFF_SBYTE = 6,       ///< 8-bit signed
  TIFF_UNDEFINED = 7,   ///< bytes
  TIFF_SSHORT = 8,      ///< 16-bit signed
  TIFF_SLONG = 9,       ///< 32-bit signed
  TIFF_SRATIONAL = 10,  ///< two SLONGs
  TIFF_FLOAT = 11,      ///< 32-bit IEEE 754
  TIFF_DOUBLE = 12,     ///< 64-bit IEEE 754
};

/// Bytes per item of each field type 0..15. The entries for 10, 11 and 12 (4, 8, 1) are kept so
/// that files stay identical byte for byte.
extern KX_API const unsigned int DataType[16];

/// Tag numbers of TIFF 6.0, and of the extensions for Exif, ICC profiles, XMP, IPTC and image
/// resources. Any other number is kept and written back.
enum TiffTagSignature : unsigned int {
  NewSubfileType = 254,
  SubfileType = 255,
  ImageWidth = 256,
  ImageLength = 257,
  BitsPerSample = 258,
  Compression = 259,
  PhotometricInterpretation = 262,
  Threshholding = 263,
  CellWidth = 264,
  CellLength = 265,
  FillOrder = 266,
  DocumentName = 269,
  ImageDescription = 270,
  Make = 271,
  Model = 272,
  StripOffsets = 273,
  Orientation = 274,
  SamplesPerPixel = 277,
  RowsPerStrip = 278,
  StripByteCounts = 279,
  MinSampleValue = 280,
  MaxSampleValue = 281,
  XResolution = 282,
  YResolution = 283,
  PlanarConfiguration = 284,
  PageName = 285,
  XPosition = 286,
  YPosition = 287,
  FreeOffsets = 288,
  FreeByteCounts = 289,
  GrayResponseUnit = 290,
  GrayResponseCurve = 291,
  T4Options = 292,
  T6Options = 293,
  ResolutionUnit = 296,
  PageNumber = 297,
  TransferFunction = 301,
  Software = 305,
  DateTime = 306,
  Artist = 315,
  HostComputer = 316,
  Predictor = 317,
  WhitePoint = 318,
  PrimaryChromaticities = 319,
  ColorMap = 320,
  HalftoneHints = 321,
  TileWidth = 322,
  TileLength = 323,
  TileOffsets = 324,
  TileByteCounts = 325,
  InkSet = 332,
  InkNames = 333,
  NumberOfInks = 334,
  DotRange = 336,
  TargetPrinter = 337,
  ExtraSamples = 338,
  SampleFormat = 339,
  SMinSampleValue = 340,
  SMaxSampleValue = 341,
  TransferRange = 342,
  ClipPath = 343,
  JPEGInterchangeFormat = 513,
  JPEGInterchangeFormatLength = 514,
  JPEGRestartInterval = 515,
  JPEGLosslessPredictors = 517,
  JPEGPointTransforms = 518,
  JPEGQTables = 519,
  JPEGDCTables = 520,
  JPEGACTables = 521,
  YCbCrCoefficients = 529,
  YCbCrSubSampling = 530,
  YCbCrPositioning = 531,
  ReferenceBlackWhite = 532,
  XmlPacket = 700,
  Copyright = 33432,
  IptcNaa = 33723,
  ImageResources = 34377,
  ExifIfd = 34665,
  IccProfile = 34675,
};

/// Thrown for coded failures inside the TIFF classes; the outer operations catch it.
struct KX_API ErrCode {
  int code;  ///< -7: the image is compressed
};

}  // namespace KX_Tiff_STL3

#endif
