#ifndef KXCMS_TOOLS_DESCRIPTOR_H
#define KXCMS_TOOLS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

/// An open file, owned; negative: none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }

 private:
  int fd_;
};

#endif
