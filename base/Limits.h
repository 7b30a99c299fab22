#ifndef KXCMS_BASE_LIMITS_H
#define KXCMS_BASE_LIMITS_H

#include <cstdint>
#include <cstdio>

// How much memory a file may make the library hold, whatever the file claims. The promise to
// applications is 64 MiB plus eight times the file's size for everything that happens in one
// operation; readers keep to half of that, which leaves the other half for what is derived from
// the data (converted lookup tags, the pipeline's tables, a second image).

/// What a reader may hold for a file of any size: room for the zero-filled parts of a small
/// damaged file.
constexpr std::uint64_t kReaderFloorBytes = 32u << 20;
/// What it may hold on top, in multiples of the file's size: one copy and its parsed form, twice.
constexpr std::uint64_t kReaderTimesFileSize = 4;

/// Bytes that may be held for a source of `sourceBytes` bytes.
constexpr std::uint64_t ReaderLimit(std::uint64_t sourceBytes) {
  return kReaderFloorBytes + kReaderTimesFileSize * sourceBytes;
}

/// Bytes that everything which happens in one operation may hold for such a source.
constexpr std::uint64_t OperationLimit(std::uint64_t sourceBytes) {
  return 2 * ReaderLimit(sourceBytes);
}

/// Size of a file; 0 when it cannot be told.
std::uint64_t FileSize(char const* path);

/// Size of the file behind a stream; 0 when it cannot be told. The position is kept.
std::uint64_t StreamSize(FILE* stream);

#endif
