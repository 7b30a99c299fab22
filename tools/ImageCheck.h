#ifndef KXCMS_TOOLS_IMAGECHECK_H
#define KXCMS_TOOLS_IMAGECHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "Finding.h"

struct ImageReport {
  std::vector<Finding> findings;
  std::vector<std::vector<unsigned char>> profiles;  ///< embedded ones, each once
};

/// Reads an image file as `convert` does, every page and row of it, and tells the damage that keeps
/// it from being read. Pages of forms that are not converted are noted, and their pixels not looked
/// at. Embedded profiles are not looked into. Refuses what cannot be read at all; throws
/// `std::bad_alloc` where memory is too short to tell.
/// @param fd    the open file, of which nothing is trusted
/// @param name  how messages call it
ImageReport InspectImage(int fd, std::uint64_t sizeBytes, const std::string& name);

/// Throws `std::bad_alloc` unless so many bytes could be had. libtiff and libpng speak alike of
/// damage and of memory that they do not get: what they have said counts only where there is
/// enough.
void RequireMemory(std::uint64_t bytes);

#endif
