// What libtiff and libpng read of a file, without any code of the command: for each page of a TIFF
// file (those of SubIFDs behind the one that they belong to), or for the image of a PNG file, a
// line "WIDTH HEIGHT SAMPLES BITS ALPHA ASSOCIATED PROFILE-BYTES", the interleaved samples as the
// machine holds them, and the profile. ALPHA is the first sample that is one, or 0.
//
//   plain_reader FILE
//
// Exit status 1 for what cannot be read, or only with an error.

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <png.h>
#include <tiffio.h>

namespace {

using Bytes = std::vector<unsigned char>;
bool hasFailed = false;

struct Alpha {
  unsigned sample = 0;
  bool isAssociated = false;
};

void Print(std::uint32_t width, std::uint32_t height, unsigned samples, unsigned bits, Alpha alpha,
           const Bytes& rows, const void* profile, std::uint32_t profileBytes) {
  std::printf("%u %u %u %u %u %d %u\n", width, height, samples, bits, alpha.sample,
              int{alpha.isAssociated}, profileBytes);
  std::fwrite(rows.data(), 1, rows.size(), stdout);
  if (profileBytes > 0) std::fwrite(profile, 1, profileBytes, stdout);
}

void Fail(const char*, const char* format, va_list arguments) {
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
  hasFailed = true;
}

/// One plane, or all samples, of a rectangle of pieces put in its place.
struct Placement {
  std::uint32_t left, top, columns, rows, pieceWidth;
  std::size_t plane, planes;
};

void Place(const Bytes& piece, const Placement& at, std::uint32_t width, std::size_t pixelBytes,
           Bytes& image) {
  const std::size_t planeBytes = pixelBytes / at.planes;
  for (std::uint32_t y = 0; y < at.rows; ++y) {
    for (std::uint32_t x = 0; x < at.columns; ++x) {
      std::memcpy(&image[((std::size_t{at.top} + y) * width + at.left + x) * pixelBytes +
                         at.plane * planeBytes],
                  &piece[(std::size_t{y} * at.pieceWidth + x) * planeBytes], planeBytes);
    }
  }
}

Alpha AlphaOf(TIFF* tiff) {
  std::uint16_t count = 0;
  const std::uint16_t* kinds = nullptr;
  TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
  for (unsigned i = 0; i < count; ++i) {
    if (kinds[i] != EXTRASAMPLE_UNSPECIFIED) return {3 + i, kinds[i] == EXTRASAMPLE_ASSOCALPHA};
  }
  return {};
}

bool ReadPage(TIFF* tiff) {
  std::uint32_t width = 0, height = 0, profileBytes = 0;
  std::uint16_t samples = 0, bits = 0, planar = 0, compression = 0, photometric = 0;
  const void* profile = nullptr;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
  TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &profileBytes, &profile);
  if (compression == COMPRESSION_JPEG && photometric == PHOTOMETRIC_YCBCR) {
    TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  constexpr std::uint64_t kMost = 64u << 20;
  const std::size_t pixelBytes = std::size_t{samples} * (bits / 8);
  if (pixelBytes == 0 || width == 0 || height == 0) return false;
  if (std::uint64_t{width} * height > kMost / pixelBytes) return false;
  Bytes image(pixelBytes * width * height);
  const std::size_t planes = planar == PLANARCONFIG_SEPARATE ? samples : 1;
  const bool isTiled = TIFFIsTiled(tiff) != 0;
  std::uint32_t pieceWidth = width, pieceRows = height;
  if (isTiled) {
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &pieceWidth);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &pieceRows);
  } else {
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &pieceRows);
    pieceRows = std::min(pieceRows, height);
  }
  const std::uint64_t pieceBytes = std::uint64_t{pieceWidth} * pieceRows * pixelBytes / planes;
  if (pieceRows == 0 || pieceWidth == 0 || pieceBytes > kMost) return false;
  Bytes piece(pieceBytes);
  hasFailed = false;  // so far, of tags that concern no pixels
  for (std::size_t plane = 0; plane < planes; ++plane) {
    for (std::uint32_t top = 0; top < height; top += pieceRows) {
      for (std::uint32_t left = 0; left < width; left += pieceWidth) {
        const Placement at = {left,
                              top,
                              std::min(pieceWidth, width - left),
                              std::min(pieceRows, height - top),
                              pieceWidth,
                              plane,
                              planes};
        const auto sample = static_cast<std::uint16_t>(plane);
        const auto wanted = static_cast<tmsize_t>(
            isTiled ? piece.size() : std::size_t{at.rows} * width * pixelBytes / planes);
        const tmsize_t got =
            isTiled ? TIFFReadEncodedTile(tiff, TIFFComputeTile(tiff, left, top, 0, sample),
                                          piece.data(), wanted)
                    : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, top, sample), piece.data(),
                                           wanted);
        if (got != wanted || hasFailed) return false;
        Place(piece, at, width, pixelBytes, image);
      }
    }
  }
  Print(width, height, samples, bits, AlphaOf(tiff), image, profile, profileBytes);
  return true;
}

bool ReadTiff(const char* path) {
  TIFFSetWarningHandler(nullptr);
  TIFFSetErrorHandler(Fail);
  TIFF* const tiff = TIFFOpen(path, "rm");
  if (tiff == nullptr) return false;
  std::vector<std::uint64_t> directories;
  do {
    directories.push_back(TIFFCurrentDirOffset(tiff));
  } while (TIFFReadDirectory(tiff) != 0);
  bool isRead = true;
  for (const std::uint64_t directory : directories) {
    isRead = isRead && TIFFSetSubDirectory(tiff, directory) != 0;
    std::uint16_t count = 0;
    const std::uint64_t* positions = nullptr;
    TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &positions);
    const std::vector<std::uint64_t> below(positions, positions + count);
    isRead = isRead && ReadPage(tiff);
    for (const std::uint64_t sub : below) {
      isRead = isRead && TIFFSetSubDirectory(tiff, sub) != 0 && ReadPage(tiff);
    }
  }
  TIFFClose(tiff);
  return isRead;
}

bool ReadPng(const char* path) {
  std::FILE* const file = std::fopen(path, "rb");
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_init_io(png, file);
  png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
  png_read_png(png, info, PNG_TRANSFORM_EXPAND | PNG_TRANSFORM_SWAP_ENDIAN, nullptr);
  const std::uint32_t width = png_get_image_width(png, info);
  const std::uint32_t height = png_get_image_height(png, info);
  Bytes rows;
  for (std::uint32_t y = 0; y < height; ++y) {
    const png_bytep row = png_get_rows(png, info)[y];
    rows.insert(rows.end(), row, row + png_get_rowbytes(png, info));
  }
  png_charp name = nullptr;
  int method = 0;
  png_bytep profile = nullptr;
  png_uint_32 profileBytes = 0;
  png_get_iCCP(png, info, &name, &method, &profile, &profileBytes);
  const unsigned channels = png_get_channels(png, info);
  Print(width, height, channels, png_get_bit_depth(png, info), {channels == 4 ? 3u : 0u, false},
        rows, profile, profileBytes);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string path = argv[1];
  const bool isRead = path.ends_with(".png") ? ReadPng(argv[1]) : ReadTiff(argv[1]);
  return isRead && std::fflush(stdout) == 0 ? 0 : 1;
}
