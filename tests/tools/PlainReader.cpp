#include "PlainReader.h"

#include <algorithm>
#include <csetjmp>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include <jerror.h>

namespace {

using Bytes = std::vector<unsigned char>;
using Pages = std::vector<std::optional<PlainPage>>;
bool hasFailed = false;
std::string lastSaid;

void Fail(const char*, const char* format, va_list arguments) {
  char text[300];
  std::vsnprintf(text, sizeof text, format, arguments);
  lastSaid += text;
  lastSaid += '\n';
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

/// The first extra sample that is alpha.
void FindAlpha(TIFF* tiff, PlainPage& page) {
  std::uint16_t count = 0;
  const std::uint16_t* kinds = nullptr;
  TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
  for (unsigned i = 0; i < count; ++i) {
    if (kinds[i] == EXTRASAMPLE_UNSPECIFIED) continue;
    page.alpha = 3 + i;
    page.isAssociated = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
    return;
  }
}

std::optional<PlainPage> ReadPage(TIFF* tiff) {
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
  if (pixelBytes == 0 || width == 0 || height == 0) return std::nullopt;
  if (std::uint64_t{width} * height > kMost / pixelBytes) return std::nullopt;
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
  if (pieceRows == 0 || pieceWidth == 0 || pieceBytes > kMost) return std::nullopt;
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
        if (got != wanted || hasFailed) return std::nullopt;
        Place(piece, at, width, pixelBytes, image);
      }
    }
  }
  PlainPage page = {width, height, samples, bits, 0, false, std::move(image), {}};
  FindAlpha(tiff, page);
  const auto* const bytes = static_cast<const unsigned char*>(profile);
  page.profile.assign(bytes, bytes + profileBytes);
  return page;
}

Pages ReadTiff(const char* path) {
  TIFFSetWarningHandler(nullptr);
  TIFFSetErrorHandler(Fail);
  TIFF* const tiff = TIFFOpen(path, "rm");
  if (tiff == nullptr) return {std::nullopt};
  std::vector<std::uint64_t> directories;
  do {
    directories.push_back(TIFFCurrentDirOffset(tiff));
  } while (TIFFReadDirectory(tiff) != 0);
  Pages pages;
  const auto read = [&](std::uint64_t directory) {
    const bool isThere = TIFFSetSubDirectory(tiff, directory) != 0;
    pages.push_back(isThere ? ReadPage(tiff) : std::nullopt);
    return isThere;
  };
  for (const std::uint64_t directory : directories) {
    if (!read(directory)) continue;
    std::uint16_t count = 0;
    const std::uint64_t* positions = nullptr;
    TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &positions);
    const std::vector<std::uint64_t> below(positions, positions + count);
    for (const std::uint64_t sub : below) read(sub);
  }
  TIFFClose(tiff);
  return pages;
}

/// A file, and what libpng makes of it.
struct Png {
  explicit Png(const char* path)
      : file(std::fopen(path, "rb")),
        png(png_create_read_struct(
            PNG_LIBPNG_VER_STRING, nullptr,
            [](png_structp at, png_const_charp) { png_longjmp(at, 1); },
            [](png_structp, png_const_charp) {})),
        info(png_create_info_struct(png)) {}
  ~Png() {
    png_destroy_read_struct(&png, &info, nullptr);
    if (file != nullptr) std::fclose(file);
  }
  Png(const Png&) = delete;
  Png& operator=(const Png&) = delete;

  std::FILE* file;
  png_structp png;
  png_infop info;
};

bool ReadRows(Png& from) {
  if (setjmp(png_jmpbuf(from.png)) != 0) return false;
  png_init_io(from.png, from.file);
  png_set_option(from.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
  png_read_png(from.png, from.info, PNG_TRANSFORM_EXPAND | PNG_TRANSFORM_SWAP_ENDIAN, nullptr);
  return true;
}

std::optional<PlainPage> ReadPng(const char* path) {
  Png from(path);
  if (from.file == nullptr || !ReadRows(from)) return std::nullopt;
  PlainPage page;
  page.width = png_get_image_width(from.png, from.info);
  page.height = png_get_image_height(from.png, from.info);
  page.samples = png_get_channels(from.png, from.info);
  page.bits = png_get_bit_depth(from.png, from.info);
  page.alpha = page.samples == 4 ? 3 : 0;
  const std::size_t rowBytes = png_get_rowbytes(from.png, from.info);
  for (std::uint32_t y = 0; y < page.height; ++y) {
    const png_bytep row = png_get_rows(from.png, from.info)[y];
    page.rows.insert(page.rows.end(), row, row + rowBytes);
  }
  png_charp name = nullptr;
  int method = 0;
  png_bytep profile = nullptr;
  png_uint_32 profileBytes = 0;
  png_get_iCCP(from.png, from.info, &name, &method, &profile, &profileBytes);
  page.profile.assign(profile, profile + profileBytes);
  return page;
}

/// A file, and what libjpeg makes of it.
struct Jpeg {
  explicit Jpeg(const char* path) : file(std::fopen(path, "rb")) {
    info.err = jpeg_std_error(&errors);
    errors.error_exit = [](j_common_ptr at) {
      std::longjmp(static_cast<Jpeg*>(at->client_data)->leave, 1);
    };
    // A warning tells of bytes that were made up or passed over, but for the one of a version.
    errors.emit_message = [](j_common_ptr at, int level) {
      if (level < 0 && at->err->msg_code != JWRN_JFIF_MAJOR) at->err->error_exit(at);
    };
    jpeg_create_decompress(&info);
    info.client_data = this;
  }
  ~Jpeg() {
    jpeg_destroy_decompress(&info);
    if (file != nullptr) std::fclose(file);
  }
  Jpeg(const Jpeg&) = delete;
  Jpeg& operator=(const Jpeg&) = delete;

  std::FILE* file;
  jpeg_decompress_struct info = {};
  jpeg_error_mgr errors = {};
  std::jmp_buf leave;
  PlainPage page;
  JOCTET* profile = nullptr;
  unsigned profileBytes = 0;
};

bool ReadRows(Jpeg& from) {
  if (setjmp(from.leave) != 0) return false;
  jpeg_stdio_src(&from.info, from.file);
  jpeg_save_markers(&from.info, JPEG_APP0 + 2, 0xFFFF);
  jpeg_read_header(&from.info, TRUE);
  constexpr std::uint64_t kMost = 64u << 20;
  if (std::uint64_t{from.info.image_width} * from.info.image_height > kMost / 3) return false;
  jpeg_read_icc_profile(&from.info, &from.profile, &from.profileBytes);
  from.info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&from.info);
  const std::size_t rowBytes = std::size_t{from.info.output_width} * 3;
  from.page.rows.resize(rowBytes * from.info.output_height);
  while (from.info.output_scanline < from.info.output_height) {
    JSAMPROW row = from.page.rows.data() + from.info.output_scanline * rowBytes;
    jpeg_read_scanlines(&from.info, &row, 1);
  }
  jpeg_finish_decompress(&from.info);
  return true;
}

std::optional<PlainPage> ReadJpeg(const char* path) {
  Jpeg from(path);
  const bool isRead = from.file != nullptr && ReadRows(from);
  const std::unique_ptr<JOCTET, void (*)(void*)> profile(from.profile, std::free);
  if (!isRead) return std::nullopt;
  PlainPage page = std::move(from.page);
  page.width = from.info.output_width;
  page.height = from.info.output_height;
  page.samples = 3;
  page.bits = 8;
  page.profile.assign(profile.get(), profile.get() + from.profileBytes);
  return page;
}

}  // namespace

PlainFormat PlainFormatOf(const std::string& path) {
  if (path.ends_with(".png")) return PlainFormat::kPng;
  return path.ends_with(".jpg") ? PlainFormat::kJpeg : PlainFormat::kTiff;
}

Pages ReadPlainly(const char* path, PlainFormat format, std::string& said) {
  lastSaid.clear();
  Pages pages;
  if (format == PlainFormat::kPng) pages.push_back(ReadPng(path));
  if (format == PlainFormat::kJpeg) pages.push_back(ReadJpeg(path));
  if (format == PlainFormat::kTiff) pages = ReadTiff(path);
  said += lastSaid;
  return pages;
}
