#include "FileKind.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "base/Bytes.h"

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kProfileHeader = 128;  // ICC.1:2010, 7.2

bool Has(const kxcms::BigEndianView& bytes, std::uint64_t at, std::string_view text) {
  return bytes.Holds(at, text.size()) &&
         std::equal(text.begin(), text.end(), bytes.data() + at,
                    [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

/// A profile shows in its signature; one that has lost it, in its size, or in its colour space and
/// connection space (ICC.1:2010, 7.2).
bool IsProfile(const kxcms::BigEndianView& head, std::uint64_t sizeBytes) {
  if (Has(head, 36, "acsp")) return true;
  if (head.size() < kProfileHeader) return false;
  if (head.U32(0) == sizeBytes) return true;
  return Has(head, 16, "RGB ") && (Has(head, 20, "Lab ") || Has(head, 20, "XYZ "));
}

}  // namespace

FileKind KindOf(int fd, std::uint64_t sizeBytes) {
  std::array<unsigned char, kProfileHeader> head;
  ssize_t got = 0;
  do {
    got = pread(fd, head.data(), head.size(), 0);
  } while (got < 0 && errno == EINTR);
  const kxcms::BigEndianView bytes(head.data(),
                                   static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  for (const std::string_view mark : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
    if (Has(bytes, 0, mark)) return FileKind::kTiff;
  }
  if (Has(bytes, 0, "\xFF\xD8\xFF")) return FileKind::kJpeg;
  if (Has(bytes, 0, "\x89PNG\r\n\x1A\n")) return FileKind::kPng;
  return IsProfile(bytes, sizeBytes) ? FileKind::kProfile : FileKind::kUnknown;
}

const char* NameOf(FileKind kind) {
  switch (kind) {
    case FileKind::kProfile:
      return "profile";
    case FileKind::kTiff:
      return "tiff";
    case FileKind::kJpeg:
      return "jpeg";
    case FileKind::kPng:
      return "png";
    case FileKind::kUnknown:
      break;
  }
  return "unknown";
}
