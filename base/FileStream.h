#ifndef KXCMS_BASE_FILESTREAM_H
#define KXCMS_BASE_FILESTREAM_H

#include <cstdint>
#include <cstdio>

#include "OwnedStream.h"

namespace KX_Tiff_STL3 {

/// @return null when the file cannot be opened or `path` is null.
OwnedStream OpenForReading(char const* path);
/// An emptied file, or a new one. @return null when it cannot be opened or `path` is null.
OwnedStream OpenForWriting(char const* path);

/// Size of the file behind a stream; 0 when it cannot be told or `file` is null.
std::uint64_t FileBytes(FILE* file);

/// Fills `to` with the bytes at `offset`; those that the file does not hold, or all when the
/// stream cannot seek or is null, become 0.
/// @return the number of bytes really read.
std::uint64_t ReadAt(FILE* file, std::uint64_t offset, unsigned char* to, std::uint64_t sizeBytes);

///@{
/// The same for several threads at once: the stream's position is neither used nor changed. What
/// the stream itself has still to write must be flushed before.
/// @return for writing, whether the file took all bytes.
void ReadApart(FILE* file, std::uint64_t offset, unsigned char* to, std::uint64_t sizeBytes);
bool WriteApart(FILE* file, std::uint64_t offset, const unsigned char* from,
                std::uint64_t sizeBytes);
///@}

/// Writes at the stream's position; nothing when a pointer is null.
/// @return the number of bytes that the stream took.
std::uint64_t WriteBytes(FILE* file, const unsigned char* from, std::uint64_t sizeBytes);

}  // namespace KX_Tiff_STL3

#endif
