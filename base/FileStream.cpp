#include "FileStream.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Limits.h"

namespace KX_Tiff_STL3 {

OwnedStream OpenForReading(char const* path) {
  return OwnedStream(path ? std::fopen(path, "rb") : nullptr);
}

OwnedStream OpenForWriting(char const* path) {
  return OwnedStream(path ? std::fopen(path, "wb+") : nullptr);
}

std::uint64_t FileBytes(FILE* file) {
  return file ? StreamSize(file) : 0;
}

std::uint64_t ReadAt(FILE* file, std::uint64_t offset, unsigned char* to, std::uint64_t sizeBytes) {
  std::uint64_t read = 0;
  if (file && fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0) {
    read = std::fread(to, 1, sizeBytes, file);
  }
  std::fill(to + read, to + sizeBytes, static_cast<unsigned char>(0));
  return read;
}

void ReadApart(FILE* file, std::uint64_t offset, unsigned char* to, std::uint64_t sizeBytes) {
  while (sizeBytes > 0) {
    const ssize_t part = pread(fileno(file), to, sizeBytes, static_cast<off_t>(offset));
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) break;
    to += part;
    offset += static_cast<std::uint64_t>(part);
    sizeBytes -= static_cast<std::uint64_t>(part);
  }
  std::fill_n(to, sizeBytes, static_cast<unsigned char>(0));
}

bool WriteApart(FILE* file, std::uint64_t offset, const unsigned char* from,
                std::uint64_t sizeBytes) {
  while (sizeBytes > 0) {
    const ssize_t part = pwrite(fileno(file), from, sizeBytes, static_cast<off_t>(offset));
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) return false;
    from += part;
    offset += static_cast<std::uint64_t>(part);
    sizeBytes -= static_cast<std::uint64_t>(part);
  }
  return true;
}

std::uint64_t WriteBytes(FILE* file, const unsigned char* from, std::uint64_t sizeBytes) {
  if (!file || !from || sizeBytes == 0) return 0;
  return std::fwrite(from, 1, sizeBytes, file);
}

}  // namespace KX_Tiff_STL3
