#ifndef KXCMS_TESTS_TIFF_TIFFBYTES_H
#define KXCMS_TESTS_TIFF_TIFFBYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// TIFF files for tests, made byte by byte without the code under test.

namespace tiff_test {

using Bytes = std::vector<std::uint8_t>;

/// Field types as TIFF 6.0 numbers them.
enum Type : unsigned {
  kByte = 1,
  kAscii,
  kShort,
  kLong,
  kRational,
  kSbyte,
  kUndefined,
  kSshort,
  kSlong
};

inline void Append(Bytes& to, const Bytes& bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

/// Little-endian 16-bit and 32-bit numbers.
inline Bytes Shorts(const std::vector<unsigned>& numbers) {
  Bytes bytes;
  for (unsigned n : numbers) Append(bytes, {std::uint8_t(n), std::uint8_t(n >> 8)});
  return bytes;
}
inline Bytes Longs(const std::vector<unsigned>& numbers) {
  Bytes bytes;
  for (unsigned n : numbers) Append(bytes, Shorts({n & 0xFFFF, n >> 16}));
  return bytes;
}

/// `size` bytes first, first + step, first + 2 step, ...
inline Bytes Ramp(std::size_t size, unsigned first = 1, unsigned step = 1) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = std::uint8_t(first + i * step);
  return bytes;
}

/// A little-endian file: header, directory at offset 8, out-of-line data, strips; nothing between.
class TiffBytes {
 public:
  /// An entry with its value word.
  TiffBytes& Add(unsigned tag, unsigned type, unsigned count, unsigned value) {
    entries_.push_back({tag, type, count, value, {}});
    return *this;
  }
  /// An entry with out-of-line data.
  TiffBytes& AddData(unsigned tag, unsigned type, unsigned count, Bytes data) {
    entries_.push_back({tag, type, count, 0, std::move(data)});
    return *this;
  }
  /// StripOffsets and StripByteCounts for these strips, LONG or SHORT.
  TiffBytes& AddStrips(std::vector<Bytes> strips, unsigned offsetType = kLong,
                       unsigned byteCountType = kLong) {
    strips_ = std::move(strips);
    const auto count = static_cast<unsigned>(strips_.size());
    entries_.push_back({273, offsetType, count, 0, {}});
    entries_.push_back({279, byteCountType, count, 0, {}});
    return *this;
  }
  /// Drops the entries of a tag.
  TiffBytes& Drop(unsigned tag) {
    std::erase_if(entries_, [tag](const Entry& entry) { return entry.tag == tag; });
    return *this;
  }
  /// Changes type, count and value of the first entry of a tag.
  TiffBytes& Change(unsigned tag, unsigned type, unsigned count, unsigned value) {
    for (Entry& entry : entries_) {
      if (entry.tag != tag) continue;
      entry = {tag, type, count, value, {}};
      fixed_.push_back(tag);
      break;
    }
    return *this;
  }

  Bytes Build() const {
    std::vector<Entry> entries = entries_;
    std::vector<unsigned> byteCounts;
    for (const Bytes& strip : strips_) byteCounts.push_back(unsigned(strip.size()));
    // The arrays of offsets take their size now and their contents when the sizes are known.
    unsigned next = 8 + 2 + 12 * unsigned(entries.size()) + 4;
    for (Entry& entry : entries) {
      if (IsStripArray(entry, 273)) SetArray(entry, std::vector<unsigned>(strips_.size()));
      if (IsStripArray(entry, 279)) SetArray(entry, byteCounts);
      if (entry.data.empty()) continue;
      entry.value = next;
      next += unsigned(entry.data.size());
    }
    std::vector<unsigned> offsets;
    for (unsigned byteCount : byteCounts) {
      offsets.push_back(next);
      next += byteCount;
    }
    for (Entry& entry : entries) {
      if (IsStripArray(entry, 273)) SetArray(entry, offsets);
    }
    Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
    Append(file, Shorts({unsigned(entries.size())}));
    for (const Entry& e : entries) Append(file, Longs({e.type << 16 | e.tag, e.count, e.value}));
    Append(file, Longs({0}));
    for (const Entry& e : entries) Append(file, e.data);
    for (const Bytes& strip : strips_) Append(file, strip);
    return file;
  }

 private:
  struct Entry {
    unsigned tag, type, count, value;
    Bytes data;
  };

  bool IsStripArray(const Entry& entry, unsigned tag) const {
    for (unsigned changed : fixed_) {
      if (changed == entry.tag) return false;
    }
    return entry.tag == tag && !strips_.empty();
  }

  /// Keeps the offset of an array that was placed before.
  static void SetArray(Entry& entry, const std::vector<unsigned>& numbers) {
    Bytes bytes = entry.type == kShort ? Shorts(numbers) : Longs(numbers);
    if (bytes.size() > 4) {
      entry.data = bytes;
      return;
    }
    bytes.resize(4);
    entry.value = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | unsigned(bytes[3]) << 24;
  }

  std::vector<Entry> entries_;
  std::vector<Bytes> strips_;
  std::vector<unsigned> fixed_;
};

/// Entries of an image without its strips: 256, 257, 258, 259, 277 and, unless 0, 278 and 284.
inline TiffBytes ImageEntries(unsigned width, unsigned length, unsigned samples, unsigned bits,
                              unsigned rowsPerStrip, unsigned planar) {
  TiffBytes tiff;
  tiff.Add(256, kLong, 1, width).Add(257, kLong, 1, length);
  if (samples == 1) {
    tiff.Add(258, kShort, 1, bits);
  } else if (samples == 2) {
    tiff.Add(258, kShort, 2, bits | bits << 16);
  } else {
    tiff.AddData(258, kShort, samples, Shorts(std::vector<unsigned>(samples, bits)));
  }
  tiff.Add(259, kShort, 1, 1).Add(277, kShort, 1, samples);
  if (rowsPerStrip) tiff.Add(278, kLong, 1, rowsPerStrip);
  if (planar) tiff.Add(284, kShort, 1, planar);
  return tiff;
}

/// The lines that `call` prints on standard output.
template <typename Call>
std::string PrintedBy(Call call) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

inline Bytes CopyOf(const unsigned char* bytes, std::size_t size) {
  return Bytes(bytes, bytes + size);
}
inline Bytes Slice(const Bytes& bytes, std::size_t at, std::size_t size) {
  if (at > bytes.size() || size > bytes.size() - at) return {};
  return Bytes(bytes.begin() + std::ptrdiff_t(at), bytes.begin() + std::ptrdiff_t(at + size));
}
inline unsigned LongAt(const Bytes& bytes, std::size_t at) {
  const Bytes b = Slice(bytes, at, 4);
  return b.empty() ? 0 : b[0] | b[1] << 8 | b[2] << 16 | unsigned(b[3]) << 24;
}

}  // namespace tiff_test

#endif
