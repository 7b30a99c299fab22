#ifndef KXCMS_TOOLS_FILEKIND_H
#define KXCMS_TOOLS_FILEKIND_H

#include <cstdint>

/// What a file is, by its first bytes, whether it is sound or not.
enum class FileKind { kUnknown, kProfile, kTiff, kJpeg, kPng };

/// @param fd         an open file; its position is left alone
/// @param sizeBytes  its size
FileKind KindOf(int fd, std::uint64_t sizeBytes);

/// "unknown", "profile", "tiff", "jpeg" or "png".
const char* NameOf(FileKind kind);

inline bool IsImage(FileKind kind) {
  return kind == FileKind::kTiff || kind == FileKind::kJpeg || kind == FileKind::kPng;
}

/// Why a file of unknown kind is not looked at.
constexpr char kUnknownKind[] = "neither an ICC profile nor a TIFF, JPEG or PNG file";

#endif
