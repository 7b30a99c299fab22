#include "tools/image/ImageSource.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <initializer_list>

#include "tools/image/ImageError.h"
#include "tools/image/InputBytes.h"
#include "tools/image/JpegSource.h"
#include "tools/image/PngSource.h"
#include "tools/image/TiffSource.h"

namespace kxcms::image {

namespace {

// The best that the compressions make of a picture of one colour: Zstandard writes 128 KiB in 4
// bytes, others less.
constexpr std::uint64_t kBestCompression = 32768;
// Blank scans shrink a thousandfold; a row of their tiles is a small part of them.
constexpr std::uint64_t kMemoryForByte = 256;

}  // namespace

void CheckProportion(std::uint64_t memoryBytes, std::uint64_t pixelBytes, std::uint64_t fileBytes) {
  if (pixelBytes > kFreeMemory && pixelBytes / kBestCompression > fileBytes) {
    RefuseDamaged("it claims more pixels than the file can hold");
  }
  if (memoryBytes > kFreeMemory && memoryBytes / kMemoryForByte > fileBytes) {
    RefuseForm("reading it would take memory out of proportion to the file");
  }
}

std::optional<Format> FormatOfSuffix(const std::string& path) {
  std::string suffix = std::filesystem::path(path).extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (suffix == ".tif" || suffix == ".tiff") return Format::kTiff;
  if (suffix == ".jpg" || suffix == ".jpeg") return Format::kJpeg;
  if (suffix == ".png") return Format::kPng;
  return std::nullopt;
}

const char* NameOf(Format format) {
  switch (format) {
    case Format::kJpeg:
      return "JPEG";
    case Format::kPng:
      return "PNG";
    case Format::kTiff:
      break;
  }
  return "TIFF";
}

std::optional<Format> FormatOf(std::span<const unsigned char> start) {
  const auto startsWith = [start](std::initializer_list<unsigned char> mark) {
    return start.size() >= 8 && std::equal(mark.begin(), mark.end(), start.begin());
  };
  if (startsWith({'I', 'I', 42, 0}) || startsWith({'M', 'M', 0, 42}) ||
      startsWith({'I', 'I', 43, 0}) || startsWith({'M', 'M', 0, 43})) {
    return Format::kTiff;
  }
  if (startsWith({0xFF, 0xD8, 0xFF})) return Format::kJpeg;
  if (startsWith({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return Format::kPng;
  return std::nullopt;
}

std::unique_ptr<ImageSource> ImageSource::Open(int fd, std::uint64_t sizeBytes) {
  const FileBytes bytes(fd, sizeBytes);
  unsigned char start[8] = {};
  bytes.Read(0, start, static_cast<std::size_t>(std::min<std::uint64_t>(sizeBytes, sizeof start)));
  const std::optional<Format> format = FormatOf(start);
  if (!format) throw ImageError(ImageError::Kind::kUnreadable, "not a TIFF, JPEG or PNG file");
  switch (*format) {
    case Format::kJpeg:
      return std::make_unique<JpegSource>(fd, sizeBytes);
    case Format::kPng:
      return std::make_unique<PngSource>(fd, sizeBytes);
    case Format::kTiff:
      break;
  }
  return std::make_unique<TiffSource>(fd, sizeBytes);
}

}  // namespace kxcms::image
