#include "CDataType.h"

#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

CDataType::CDataType() = default;

CDataType::~CDataType() = default;

void Parse(CDataType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
}

int CDataType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

}  // namespace ICCFILE
}  // namespace ICC40
