#include "CTextType.h"

#include <utility>

#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

CTextType::CTextType() : text(nullptr) {}

CTextType::~CTextType() {
  delete[] text;
}

void Parse(CTextType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
  Replace(tag.text, CopyText(bytes, budget));
}

int CTextType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

}  // namespace ICCFILE
}  // namespace ICC40
