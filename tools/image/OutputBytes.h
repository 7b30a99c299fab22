#ifndef KXCMS_TOOLS_IMAGE_OUTPUTBYTES_H
#define KXCMS_TOOLS_IMAGE_OUTPUTBYTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxcms::image {

/// Bytes to be written at any place, none at first. Usable from within C libraries: nothing throws
/// but `Check`.
class OutputBytes {
 public:
  virtual ~OutputBytes() = default;

  /// Bytes up to the last one that was written.
  virtual std::uint64_t size() const = 0;
  /// @return whether all could be written; if not, nothing later is.
  virtual bool Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept = 0;
  /// Throws if anything could not be written: an `ImageError` with the system's reason, or
  /// `std::bad_alloc`.
  virtual void Check() const = 0;
};

/// An open empty file, which the caller keeps open.
class FileOutput : public OutputBytes {
 public:
  explicit FileOutput(int fd) : fd_(fd) {}

  std::uint64_t size() const override { return size_; }
  bool Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept override;
  void Check() const override;

 private:
  int fd_;
  std::uint64_t size_ = 0;
  int failure_ = 0;  ///< errno of the first one
};

/// Memory; zeros where nothing was written.
class MemoryOutput : public OutputBytes {
 public:
  std::uint64_t size() const override { return bytes_.size(); }
  bool Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept override;
  void Check() const override;

  std::vector<unsigned char>& bytes() { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
  bool hasFailed_ = false;
};

}  // namespace kxcms::image

#endif
