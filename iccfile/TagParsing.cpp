#include "TagParsing.h"

#include <utility>

namespace ICC40 {
namespace ICCFILE {

void ParseBase(iccTagBase& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
               ReadBudget& budget) {
  std::unique_ptr<unsigned char[]> copy;
  if (bytes.size > 0) {
    const auto size = static_cast<std::size_t>(bytes.size);
    copy = NewTable<unsigned char>(size, budget);
    if (copy) bytes.ReadFrom(0).Read(copy.get(), size);
  }
  tag.typeSignature = static_cast<ICC4_HEADER::icTagTypeSignature>(bytes.ReadFrom(0).U32());
  tag.reserved = 0;
  tag.tagSignature = signature;
  tag.size = bytes.size;
  Replace(tag.data, std::move(copy));
}

std::unique_ptr<unsigned char[]> CopyText(const TagBytes& bytes, ReadBudget& budget) {
  const unsigned int length = TextLength(bytes.size);
  std::unique_ptr<unsigned char[]> text = NewTable<unsigned char>(length, budget);
  if (text) bytes.ReadFrom(8).Read(text.get(), length);
  return text;
}

}  // namespace ICCFILE
}  // namespace ICC40
