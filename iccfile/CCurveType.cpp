#include "CCurveType.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "TagParsing.h"
#include "TagWriting.h"

namespace ICC40 {
namespace ICCFILE {

namespace {

/// An entry array whose count is 0 still has room for a whole 'curv' element of an identity curve.
/// `Save` writes from it.
constexpr std::uint64_t kIdentityBytes = 12;

}  // namespace

CCurveType::CCurveType() : count(0), entries(nullptr) {}

CCurveType::~CCurveType() {
  delete[] entries;
}

void Parse(CCurveType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
  kxcms::BigEndianReader reader = bytes.ReadFrom(8);
  const std::uint32_t count = reader.U32();
  auto entries = NewTable<unsigned short>(count == 0 ? kIdentityBytes / 2 : count, budget);
  if (entries) reader.Read(entries.get(), count);
  tag.count = count;
  Replace(tag.entries, std::move(entries));
}

int CCurveType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes,
                        int sizeBytes) {
  if (sizeBytes != 0 || bytes == nullptr) return ParseAlone(*this, signature, bytes, sizeBytes);
  // Size 0 is how the form without a size comes here: the caller vouches for the curve's bytes.
  ReadBudget unlimited(std::numeric_limits<std::uint64_t>::max());
  Parse(*this, signature, TagBytes{bytes, kLengthUnknown, 0}, unlimited);
  return size;
}

int CCurveType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes) {
  Initial(signature, bytes, 0);
  size = static_cast<int>(static_cast<std::uint32_t>(CurveAdvance(count)));
  return size;
}

int CCurveType::Initial(ICC4_HEADER::icTagSignature signature) {
  auto whole = std::make_unique<unsigned short[]>(kIdentityBytes / 2);
  std::memcpy(whole.get(), "curv", 4);
  tagSignature = signature;
  size = kIdentityBytes;
  count = 0;
  Replace(entries, std::move(whole));
  Replace(data, {});  // the copy of an earlier tag would be written in the place of this curve
  return 0;
}

int CCurveType::Save(FILE* stream) {
  if (stream == nullptr || size <= 0) return 0;
  const std::uint64_t held = count == 0 ? kIdentityBytes : std::uint64_t{count} * 2;
  WriteHeld(stream, entries, held, static_cast<std::uint64_t>(size));
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40
