#include "CTextDescriptionType.h"

#include <utility>

#include "TagParsing.h"
#include "TagWriting.h"

namespace ICC40 {
namespace ICCFILE {

CTextDescriptionType::CTextDescriptionType() : length(0), text(nullptr) {}

CTextDescriptionType::~CTextDescriptionType() {
  delete[] text;
}

void Parse(CTextDescriptionType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
  auto text = CopyText(bytes, budget);
  tag.length = TextLength(bytes.size);
  Replace(tag.text, std::move(text));
}

int CTextDescriptionType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes,
                                  int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

int CTextDescriptionType::Save(FILE* stream) {
  if (stream == nullptr || size <= 0) return 0;
  WriteHeld(stream, text, length, static_cast<std::uint64_t>(size));
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40
