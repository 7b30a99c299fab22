#ifndef KXCMS_ICCFILE_TAGPARSING_H
#define KXCMS_ICCFILE_TAGPARSING_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include "../base/Bytes.h"
#include "../base/Limits.h"
#include "../base/ReadBudget.h"
#include "CChad.h"
#include "CCurveType.h"
#include "CDataType.h"
#include "CLut.h"
#include "CLut16Type.h"
#include "CLut8Type.h"
#include "CTextDescriptionType.h"
#include "CTextType.h"
#include "CXYZType.h"

namespace ICC40 {
namespace ICCFILE {

/// One tag as its parser gets it: the bytes that are really there, and the size that the tag
/// claims. Claimed bytes that are not there read as 0.
struct TagBytes {
  const unsigned char* data;  ///< borrowed; begins with the type signature
  std::size_t present;        ///< bytes behind `data`
  int size;                   ///< claimed; zero and negative sizes have no copy of the bytes

  kxcms::BigEndianReader ReadFrom(std::uint64_t position) const {
    kxcms::BigEndianReader reader(data, present);
    reader.Seek(position);
    return reader;
  }
};

/// The value of `TagBytes::present` when only the caller knows how far its buffer goes.
constexpr std::size_t kLengthUnknown = std::numeric_limits<std::size_t>::max();

/// What all tags have: both signatures, the size and the copy of the bytes.
void ParseBase(iccTagBase& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
               ReadBudget& budget);

// One parser per class. Each replaces what the object held; arrays that the budget does not allow
// become null, with their counts as read. A throw (bad_alloc) leaks nothing.
void Parse(CXYZType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CCurveType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CTextType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CTextDescriptionType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CDataType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CChad& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CLut16Type& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CLut8Type& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);
void Parse(CLut& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget);

/// Bytes from one curve of a lookup tag to the next. For even counts this goes 2 bytes beyond the
/// padded length of a 'curv' element: kept so that results stay identical.
constexpr std::uint64_t CurveAdvance(std::uint32_t count) {
  return 2 * std::uint64_t{count} + 14;
}

/// s15Fixed16Number (ICC.1:2010 4.6) as a number.
constexpr double FromS15Fixed16(std::int32_t word) {
  return word * 1.52587890625e-5;
}

/// How many bytes of text the tag claims: all behind the 8 bytes of the type's header.
constexpr unsigned int TextLength(int size) {
  return size > 8 ? static_cast<unsigned int>(size) - 8 : 0;
}

std::unique_ptr<unsigned char[]> CopyText(const TagBytes& bytes, ReadBudget& budget);

/// The bytes of a caller's buffer. Without a buffer, or with a negative size, none are there.
inline TagBytes CallersBytes(const unsigned char* data, int size) {
  const bool there = data != nullptr && size > 0;
  return {data, there ? static_cast<std::size_t>(size) : 0, size};
}

/// Parses a tag that comes alone, not as part of a profile. @return `size`.
template <class Tag>
int ParseAlone(Tag& tag, ICC4_HEADER::icTagSignature signature, const unsigned char* data,
               int size) {
  const TagBytes bytes = CallersBytes(data, size);
  ReadBudget budget(ReaderLimit(bytes.present));
  Parse(tag, signature, bytes, budget);
  return size;
}

}  // namespace ICCFILE
}  // namespace ICC40

#endif
