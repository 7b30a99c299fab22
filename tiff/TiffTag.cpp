#include "TiffTag.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "../base/Bytes.h"
#include "../base/FileStream.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {
namespace {

/// A copy (new[]) of a tag's out-of-line data, or null.
unsigned char* CloneData(const TiffTag& tag) {
  if (!tag.data || !IsOutOfLine(tag)) return nullptr;
  const std::uint64_t heldBytes = HeldDataBytes(tag);
  auto copy = NewTagData(tag.tag, heldBytes);
  std::copy_n(tag.data, heldBytes, copy.get());
  return copy.release();
}

}  // namespace

TiffTag::TiffTag() : TiffTag(static_cast<TiffTagSignature>(0)) {}

TiffTag::TiffTag(TiffTagSignature number)
    : TiffTag(number, static_cast<FieldType>(0), 0, 0, nullptr) {}

TiffTag::TiffTag(TiffTagSignature number, FieldType fieldType, unsigned itemCount,
                 unsigned valueOrOffset, unsigned char* ownedData)
    : tag(number), type(fieldType), count(itemCount), value(valueOrOffset), data(ownedData) {}

TiffTag::TiffTag(unsigned tagAndType, unsigned itemCount, unsigned valueOrOffset, FILE* file)
    : tag(tagAndType & 0xFFFF),
      type(tagAndType >> 16 & 15),
      count(itemCount),
      value(valueOrOffset),
      data(nullptr) {
  const std::uint64_t sizeBytes = TagDataBytes(*this);
  if (!file || !IsOutOfLine(*this) || sizeBytes > TagLimit(file)) return;
  auto bytes = NewTagData(tag, sizeBytes);
  ReadAt(file, value, bytes.get(), sizeBytes);
  data = bytes.release();
}

// Copying and move assignment leave `value` alone: kept so that results stay identical.
TiffTag::TiffTag(const TiffTag& other)
    : tag(other.tag), type(other.type), count(other.count), value(0), data(CloneData(other)) {}

TiffTag& TiffTag::operator=(const TiffTag& other) {
  if (this == &other) return *this;
  unsigned char* copy = CloneData(other);
  delete[] data;
  data = copy;
  tag = other.tag;
  type = other.type;
  count = other.count;
  return *this;
}

TiffTag::TiffTag(TiffTag&& other)
    : tag(other.tag),
      type(other.type),
      count(other.count),
      value(other.value),
      data(std::exchange(other.data, nullptr)) {}

TiffTag& TiffTag::operator=(TiffTag&& other) {
  if (this == &other) return *this;
  delete[] data;
  data = std::exchange(other.data, nullptr);
  tag = other.tag;
  type = other.type;
  count = other.count;
  return *this;
}

TiffTag::~TiffTag() {
  delete[] data;
}

// Out-of-line data are always taken as SHORTs: a LONG array gives the low half of its first
// element and a RATIONAL the low half of its numerator. Kept so that results stay identical.
unsigned TiffTag::GetValue() const {
  if (!IsOutOfLine(*this)) return value;
  return data ? kxcms::LittleEndianReader(data, HeldDataBytes(*this)).U16() : 0;
}

int TiffTag::SaveFile(FILE* file) {
  if (!file || !IsOutOfLine(*this) || ReservedBytes(*this) == 0) return 0;
  const std::size_t itemBytes = DataType[type & 15];
  if (data) return static_cast<int>(std::fwrite(data, itemBytes, count, file));
  const std::vector<unsigned char> zeros(ReservedBytes(*this));
  return static_cast<int>(std::fwrite(zeros.data(), itemBytes, count, file));
}

unsigned char* TiffTag::GetData() const {
  return data;
}

// A 32-bit signed size, unlike everywhere else, so that the answer is false from 2 GiB on: kept so
// that results stay identical.
bool TiffTag::ValueIsOffset() const {
  return static_cast<int>(DataType[type & 15] * count) > static_cast<int>(kInlineBytes);
}

}  // namespace KX_Tiff_STL3
