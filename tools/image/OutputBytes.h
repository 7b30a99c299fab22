#ifndef KXCMS_TOOLS_IMAGE_OUTPUTBYTES_H
#define KXCMS_TOOLS_IMAGE_OUTPUTBYTES_H

#include <cstddef>
#include <cstdint>

namespace kxcms::image {

/// An open empty file to write at any place, which the caller keeps open. Usable from within C
/// libraries: nothing throws but `Check`.
class OutputBytes {
 public:
  explicit OutputBytes(int fd) : fd_(fd) {}

  /// Bytes up to the last one that was written.
  std::uint64_t size() const { return size_; }
  /// @return whether all could be written; if not, nothing later is.
  bool Write(std::uint64_t at, const void* bytes, std::size_t count) noexcept;
  /// Throws an `ImageError` with the system's reason if anything could not be written.
  void Check() const;

 private:
  int fd_;
  std::uint64_t size_ = 0;
  int failure_ = 0;  ///< errno of the first one
};

}  // namespace kxcms::image

#endif
