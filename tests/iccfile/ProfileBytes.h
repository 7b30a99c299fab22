#ifndef KXCMS_TESTS_ICCFILE_PROFILEBYTES_H
#define KXCMS_TESTS_ICCFILE_PROFILEBYTES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// Builds ICC profiles (ICC.1:2010) byte by byte for tests, damaged ones included. Nothing of the
// library is used here, so that what is written is an independent check of what is read.

namespace profile_bytes {

using Bytes = std::vector<unsigned char>;

/// Four characters as a number, the first in the most significant byte.
constexpr std::uint32_t Signature(std::string_view fourCharacters) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(fourCharacters[i]);
  return value;
}

/// A growing run of big-endian numbers.
class BigEndianBytes {
 public:
  BigEndianBytes& U8(unsigned value) {
    bytes_.push_back(static_cast<unsigned char>(value));
    return *this;
  }
  BigEndianBytes& U16(unsigned value) { return U8(value >> 8).U8(value); }
  BigEndianBytes& U32(std::uint32_t value) { return U16(value >> 16).U16(value); }
  BigEndianBytes& Text(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  BigEndianBytes& Append(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  BigEndianBytes& U16s(const std::vector<std::uint16_t>& values) {
    for (const unsigned value : values) U16(value);
    return *this;
  }
  /// Zeros up to a multiple of `alignment`.
  BigEndianBytes& Align(std::size_t alignment) {
    while (bytes_.size() % alignment != 0) U8(0);
    return *this;
  }
  /// Overwrites four bytes.
  BigEndianBytes& Put32(std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
      bytes_.at(at + i) = static_cast<unsigned char>(value >> (24 - 8 * i));
    return *this;
  }
  std::size_t size() const { return bytes_.size(); }
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

/// 'XYZ ': s15Fixed16 words.
inline Bytes XyzTag(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
  return BigEndianBytes().Text("XYZ ").U32(0).U32(x).U32(y).U32(z).bytes();
}

/// 'curv': no values for the identity, one u8Fixed8 value for a gamma, or a table.
inline Bytes CurvTag(const std::vector<std::uint16_t>& values) {
  BigEndianBytes tag;
  tag.Text("curv").U32(0).U32(static_cast<std::uint32_t>(values.size())).U16s(values);
  return tag.bytes();
}

/// A tag of any type: the signature, four zeros and the content.
inline Bytes PlainTag(std::string_view type, std::string_view content) {
  return BigEndianBytes().Text(type).U32(0).Text(content).bytes();
}

/// 'sf32' with nine words, as in a 'chad' tag.
inline Bytes MatrixTag(const std::array<std::uint32_t, 9>& words) {
  BigEndianBytes tag;
  tag.Text("sf32").U32(0);
  for (const std::uint32_t word : words) tag.U32(word);
  return tag.bytes();
}

/// An 'mft2' tag. The vectors are written as they are; the counts need not agree with them.
struct Mft2 {
  int inputs = 3;
  int outputs = 3;
  int gridPoints = 2;
  int reservedByte = 0;
  std::array<std::uint32_t, 9> matrix = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x10000};
  int inputEntries = 2;
  int outputEntries = 2;
  std::vector<std::uint16_t> inputTables = {0, 65535, 0, 65535, 0, 65535};
  std::vector<std::uint16_t> colorTable = std::vector<std::uint16_t>(24);
  std::vector<std::uint16_t> outputTables = {0, 65535, 0, 65535, 0, 65535};

  Bytes Tag() const {
    BigEndianBytes tag;
    tag.Text("mft2").U32(0).U8(inputs).U8(outputs).U8(gridPoints).U8(reservedByte);
    for (const std::uint32_t word : matrix) tag.U32(word);
    tag.U16(inputEntries).U16(outputEntries);
    return tag.U16s(inputTables).U16s(colorTable).U16s(outputTables).bytes();
  }
};

/// An 'mAB ' or 'mBA ' tag: B curves, M curves, CLUT, A curves in this order behind the header. An
/// element without contents gets offset 0.
struct Mab {
  enum class Spacing {
    kPadded,  ///< each curve padded to four bytes, as the standard wants it
    kAsRead,  ///< 2 * count + 14 bytes from curve to curve, as the library reads them
  };
  using Curves = std::vector<std::vector<std::uint16_t>>;

  std::string_view type = "mAB ";
  int inputs = 3;
  int outputs = 3;
  Curves curvesB;
  Curves curvesM;
  Curves curvesA;
  std::vector<unsigned char> gridPoints;  ///< the rest of the 16 bytes is 0
  int precision = 2;
  std::vector<std::uint16_t> clut;  ///< written as bytes when the precision is 1
  Spacing spacing = Spacing::kAsRead;

  Bytes Tag() const {
    BigEndianBytes tag;
    tag.Text(type).U32(0).U8(inputs).U8(outputs).U16(0);
    for (int i = 0; i < 5; ++i) tag.U32(0);
    AppendCurves(tag, kOffsetB, curvesB);
    AppendCurves(tag, kOffsetM, curvesM);
    if (!gridPoints.empty()) {
      tag.Put32(kOffsetClut, static_cast<std::uint32_t>(tag.size()));
      for (std::size_t i = 0; i < 16; ++i) tag.U8(i < gridPoints.size() ? gridPoints[i] : 0);
      tag.U8(precision).U8(0).U16(0);
      for (const unsigned value : clut) precision == 1 ? tag.U8(value) : tag.U16(value);
      tag.Align(4);
    }
    AppendCurves(tag, kOffsetA, curvesA);
    return tag.bytes();
  }

  static constexpr std::size_t kOffsetB = 12, kOffsetMatrix = 16, kOffsetM = 20, kOffsetClut = 24,
                               kOffsetA = 28;

 private:
  void AppendCurves(BigEndianBytes& tag, std::size_t offsetAt, const Curves& curves) const {
    if (curves.empty()) return;
    tag.Put32(offsetAt, static_cast<std::uint32_t>(tag.size()));
    for (const std::vector<std::uint16_t>& values : curves) {
      tag.Append(CurvTag(values));
      if (spacing == Spacing::kPadded) {
        tag.Align(4);
      } else {
        tag.U16(0);
      }
    }
    tag.Align(4);
  }
};

/// A profile: header, tag table and tags in the order they are added, each from a multiple of four.
class ProfileBytes {
 public:
  /// A version 2.4 input profile, RGB to Lab, of a device made by nobody ("none").
  ProfileBytes() : header_(128) {
    Header(8, 0x02400000).Header(12, "scnr").Header(16, "RGB ").Header(20, "Lab ");
    Header(24, 2001u << 16 | 2).Header(28, 3u << 16 | 4).Header(32, 5u << 16 | 6);
    Header(36, "acsp").Header(48, "none");
    Header(68, 0x0000F6D6).Header(72, 0x00010000).Header(76, 0x0000D32D);
  }

  /// Overwrites four bytes of the header. Bytes 0 to 3 are the profile's size unless they are set.
  ProfileBytes& Header(std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
      header_.at(at + i) = static_cast<unsigned char>(value >> (24 - 8 * i));
    sizeIsSet_ = sizeIsSet_ || at == 0;
    return *this;
  }
  ProfileBytes& Header(std::size_t at, std::string_view signature) {
    return Header(at, Signature(signature));
  }

  ProfileBytes& AddTag(std::string_view signature, const Bytes& tag) {
    return AddTag(signature, tag, static_cast<std::uint32_t>(tag.size()));
  }
  /// With a size in the tag table that need not be the tag's.
  ProfileBytes& AddTag(std::string_view signature, const Bytes& tag, std::uint32_t claimedSize) {
    entries_.push_back({Signature(signature), static_cast<std::uint32_t>(body_.size()), claimedSize,
                        /*inBody=*/true});
    body_.Append(tag).Align(4);
    return *this;
  }
  /// Another table entry for the tag that was added as number `index`.
  ProfileBytes& AddLink(std::string_view signature, std::size_t index) {
    Entry entry = entries_.at(index);
    entry.signature = Signature(signature);
    entries_.push_back(entry);
    return *this;
  }
  /// A table entry with any offset (from the start of the file) and size.
  ProfileBytes& AddEntry(std::string_view signature, std::uint32_t offset, std::uint32_t size) {
    entries_.push_back({Signature(signature), offset, size, /*inBody=*/false});
    return *this;
  }
  /// Makes the file claim another number of tags than it has.
  ProfileBytes& ClaimTagCount(std::uint32_t count) {
    claimedCount_ = count;
    countIsClaimed_ = true;
    return *this;
  }

  Bytes Build() const {
    const std::size_t bodyAt = 132 + 12 * entries_.size();
    BigEndianBytes file;
    file.Append(header_);
    if (!sizeIsSet_) file.Put32(0, static_cast<std::uint32_t>(bodyAt + body_.size()));
    file.U32(countIsClaimed_ ? claimedCount_ : static_cast<std::uint32_t>(entries_.size()));
    for (const Entry& entry : entries_) {
      const std::size_t base = entry.inBody ? bodyAt : 0;
      file.U32(entry.signature).U32(static_cast<std::uint32_t>(base + entry.offset));
      file.U32(entry.size);
    }
    return file.Append(body_.bytes()).bytes();
  }

 private:
  struct Entry {
    std::uint32_t signature;
    std::uint32_t offset;
    std::uint32_t size;
    bool inBody;  ///< the offset counts from the end of the tag table
  };

  Bytes header_;
  bool sizeIsSet_ = false;
  std::vector<Entry> entries_;
  bool countIsClaimed_ = false;
  std::uint32_t claimedCount_ = 0;
  BigEndianBytes body_;
};

}  // namespace profile_bytes

#endif
