#ifndef KXCMS_TOOLS_IMAGE_INPUTBYTES_H
#define KXCMS_TOOLS_IMAGE_INPUTBYTES_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace kxcms::image {

/// Bytes of a known number, read at any place.
class InputBytes {
 public:
  virtual ~InputBytes() = default;
  virtual std::uint64_t size() const = 0;
  /// Fills `to` with `count` bytes that `Holds` has found to be there; throws an `ImageError` if
  /// they cannot be read all the same.
  virtual void Read(std::uint64_t at, unsigned char* to, std::size_t count) const = 0;

  bool Holds(std::uint64_t at, std::uint64_t count) const {
    return at <= size() && count <= size() - at;
  }
};

/// Those of an open regular file, which the caller keeps open.
class FileBytes : public InputBytes {
 public:
  FileBytes(int fd, std::uint64_t size) : fd_(fd), size_(size) {}
  std::uint64_t size() const override { return size_; }
  void Read(std::uint64_t at, unsigned char* to, std::size_t count) const override;

 private:
  int fd_;
  std::uint64_t size_;
};

/// Borrowed ones.
class MemoryBytes : public InputBytes {
 public:
  explicit MemoryBytes(std::span<const unsigned char> bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  void Read(std::uint64_t at, unsigned char* to, std::size_t count) const override;

 private:
  std::span<const unsigned char> bytes_;
};

}  // namespace kxcms::image

#endif
