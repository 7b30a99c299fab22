#ifndef KXCMS_FUZZ_PROFILEVIEW_H
#define KXCMS_FUZZ_PROFILEVIEW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzSupport.h"

// A profile's bytes as they stand, read without the library.

namespace fuzz {

constexpr std::size_t kHeaderBytes = 128;
constexpr std::size_t kTableAt = 132;
constexpr std::size_t kEntryBytes = 12;

struct Entry {
  std::uint32_t signature, offset;
  std::uint64_t paddedSize;
};

/// Big-endian numbers anywhere in a file; bytes past its end are 0.
class FileView {
 public:
  FileView(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}
  std::size_t size() const { return size_; }
  unsigned U8(std::uint64_t at) const { return at < size_ ? data_[at] : 0; }
  unsigned U16(std::uint64_t at) const { return U8(at) << 8 | U8(at + 1); }
  std::uint32_t U32(std::uint64_t at) const { return std::uint32_t{U16(at)} << 16 | U16(at + 2); }
  std::int32_t S32(std::uint64_t at) const { return static_cast<std::int32_t>(U32(at)); }

  /// The bytes of one tag: those from its offset on, as many as the tag claims.
  FileView Tag(const Entry& entry) const {
    const std::size_t offset = std::min<std::size_t>(entry.offset, size_);
    return FileView(data_ + offset, std::min<std::size_t>(entry.paddedSize, size_ - offset));
  }

 private:
  const unsigned char* data_;
  std::size_t size_;
};

inline Entry EntryAt(const FileView& file, std::size_t index) {
  const std::size_t at = kTableAt + index * kEntryBytes;
  return {file.U32(at), file.U32(at + 4), (std::uint64_t{file.U32(at + 8)} + 3) / 4 * 4};
}

inline std::size_t EntryCount(const FileView& file) {
  const std::size_t present =
      file.size() > kTableAt ? (file.size() - kTableAt + kEntryBytes - 1) / kEntryBytes : 0;
  return std::min<std::size_t>(file.U32(kHeaderBytes), present);
}

/// Roughly what a lookup tag or curve makes the library hold; more when its element offsets are
/// taken for numbers, which does not matter here.
inline std::uint64_t ClaimedTableBytes(const FileView& tag) {
  const std::uint64_t inputs = tag.U8(8), outputs = tag.U8(9), points = tag.U8(10);
  constexpr std::uint32_t kCurve = 0x63757276;  // 'curv'
  constexpr std::uint32_t kMab = 0x6D414220, kMba = 0x6D424120;
  const std::uint32_t type = tag.U32(0);
  if (type == kCurve) return 2 * std::uint64_t{tag.U32(8)};
  if (type != kMab && type != kMba) {
    return 2 * (inputs * tag.U16(48) + points * points * points * outputs + outputs * tag.U16(50));
  }
  const std::uint64_t clut = tag.U32(24);
  std::uint64_t bytes = outputs * 2;
  for (unsigned axis = 0; axis < std::min<std::uint64_t>(inputs, 16); ++axis) {
    bytes = std::min<std::uint64_t>(bytes * tag.U8(clut + axis), std::uint64_t{1} << 40);
  }
  return bytes;
}

/// The same for a profile, with the tags' own sizes.
inline std::uint64_t ClaimedBytes(const FileView& file) {
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < std::min<std::size_t>(EntryCount(file), 64); ++i) {
    const Entry entry = EntryAt(file, i);
    bytes += entry.paddedSize;
    constexpr std::uint32_t kA2B = 0x413242, kB2A = 0x423241, kTrc = 0x545243;
    const std::uint32_t start = entry.signature >> 8, end = entry.signature & 0xFFFFFF;
    if (start == kA2B || start == kB2A || end == kTrc) bytes += ClaimedTableBytes(file.Tag(entry));
  }
  return bytes;
}

}  // namespace fuzz

#endif
