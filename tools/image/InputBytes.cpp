#include "tools/image/InputBytes.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tools/image/ImageError.h"

namespace kxcms::image {

void FileBytes::Read(std::uint64_t at, unsigned char* to, std::size_t count) const {
  while (count > 0) {
    const ssize_t got = pread(fd_, to, count, static_cast<off_t>(at));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw ImageError(ImageError::Kind::kUnreadable, std::strerror(errno));
    if (got == 0) RefuseDamaged("cut off");
    to += got;
    at += static_cast<std::uint64_t>(got);
    count -= static_cast<std::size_t>(got);
  }
}

void MemoryBytes::Read(std::uint64_t at, unsigned char* to, std::size_t count) const {
  if (!Holds(at, count)) RefuseDamaged("cut off");
  if (count > 0) std::memcpy(to, bytes_.data() + at, count);
}

}  // namespace kxcms::image
