#include "tools/image/OutputBytes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>

#include "tools/image/ImageError.h"

namespace kxcms::image {

bool FileOutput::Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept {
  const char* from = static_cast<const char*>(bytes);
  while (failure_ == 0 && count > 0) {
    const ssize_t put = pwrite(fd_, from, count, static_cast<off_t>(at));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      failure_ = put < 0 ? errno : EIO;
      break;
    }
    from += put;
    at += static_cast<std::uint64_t>(put);
    count -= static_cast<std::size_t>(put);
    size_ = std::max(size_, at);
  }
  return failure_ == 0;
}

void FileOutput::Check() const {
  if (failure_ == 0) return;
  throw ImageError(ImageError::Kind::kUnwritable, std::strerror(failure_), failure_);
}

bool MemoryOutput::Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept {
  if (hasFailed_) return false;
  try {
    if (bytes_.size() < at + count) bytes_.resize(at + count);
  } catch (const std::exception&) {
    hasFailed_ = true;
    return false;
  }
  if (count > 0) std::memcpy(bytes_.data() + at, bytes, count);
  return true;
}

void MemoryOutput::Check() const {
  if (hasFailed_) throw std::bad_alloc();
}

}  // namespace kxcms::image
